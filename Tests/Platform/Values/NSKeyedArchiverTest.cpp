#include <KVTPlatform/Values/NSKeyedArchiver.h>

#include <thread>

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSValue.h>

#include "KeyedArchives.h"
#include "Raised.h"

namespace kvt {
namespace {

using namespace archive_test;

/// Encodes and decodes every kind of value.
class Track : public NSObject {
 public:
  NSString title;
  id anything;
  Ref<Track> next;
  Weak<Track> previous;
  double seconds = 0;
  void encodeWithCoder(const NSCoder& coder) {
    coder.encodeObject_forKey(title, "title");
    coder.encodeObject_forKey(anything, std::string("anything"));
    coder.encodeObject_forKey(next, NSString("next"));
    coder.encodeConditionalObject_forKey(previous.lock(), "previous");
    coder.encodeDouble_forKey(seconds, std::string_view("seconds"));
  }
  id initWithCoder(const NSCoder& coder) {
    title = coder.decodeObjectOfClass<NSString>("title");
    anything = coder.decodeObjectForKey("anything");
    next = coder.decodeObjectOfClass<Track>("next");
    previous = coder.decodeObjectOfClass<Track>("previous");
    seconds = coder.decodeDoubleForKey("seconds");
    return Ref<Track>(this);
  }
  static bool supportsSecureCoding() { return true; }
  KVT_CLASS(Track, title, anything, next, previous, seconds)
};

/// Adds to what its superclass encodes.
class Single : public Track {
 public:
  int number = 0;
  void encodeWithCoder(const NSCoder& coder) {
    objc_msgSendSuper(this, classOf<Single>(), "encodeWithCoder:", coder);
    coder.encodeInt_forKey(number, "number");
  }
  id initWithCoder(const NSCoder& coder) {
    objc_msgSendSuper<id>(this, classOf<Single>(), "initWithCoder:", coder);
    number = coder.decodeIntForKey("number");
    return Ref<Single>(this);
  }
  KVT_CLASS(Single, number)
};

class Scalars : public NSObject {
 public:
  void encodeWithCoder(const NSCoder& coder) {
    coder.encodeBool_forKey(true, "bool");
    coder.encodeInt_forKey(-1, "int");
    coder.encodeInt32_forKey(INT32_MIN, "int32");
    coder.encodeInt64_forKey(INT64_MIN, "int64");
    coder.encodeInteger_forKey(INT64_MAX, "integer");
    coder.encodeFloat_forKey(1.5f, "float");
    coder.encodeDouble_forKey(0.1, "double");
    coder.encodeBytes_length_forKey("ab\0c", 4, "bytes");
    coder.encodeBytes_length_forKey(nullptr, 9, "no bytes");
    coder.encodePoint_forKey({1, 2}, "point");
    coder.encodeSize_forKey({0.5, -3}, "size");
    coder.encodeRect_forKey({{1, 2}, {3, 4}}, "rect");
    coder.encodeObject_forKey("text", "boxed");
    coder.encodeObject_forKey(nullptr, "nil");
  }
  id initWithCoder(const NSCoder& coder);
  static inline std::vector<std::string> seen;
  KVT_CLASS(Scalars)
};

id Scalars::initWithCoder(const NSCoder& coder) {
  const auto see = [](const char* name, const std::string& text) { seen.push_back(std::string(name) + " " + text); };
  see("bool", coder.decodeBoolForKey("bool") ? "YES" : "NO");
  see("int", std::to_string(coder.decodeIntForKey("int")));
  see("int32", std::to_string(coder.decodeInt32ForKey("int32")));
  see("int64", std::to_string(coder.decodeInt64ForKey("int64")));
  see("integer", std::to_string(coder.decodeIntegerForKey("integer")));
  see("float", NSNumber(coder.decodeFloatForKey("float")).stringValue().str());
  see("double", NSNumber(coder.decodeDoubleForKey("double")).stringValue().str());
  NSUInteger length = 7;
  const std::uint8_t* bytes = coder.decodeBytesForKey_returnedLength("bytes", &length);
  see("bytes", hex({reinterpret_cast<const char*>(bytes), length}));
  static_cast<void>(coder.decodeBytesForKey_returnedLength("no bytes", &length));
  see("no bytes", std::to_string(length));
  see("point", NSValue::valueWithPoint(coder.decodePointForKey("point")).description().str());
  see("size", NSValue::valueWithSize(coder.decodeSizeForKey("size")).description().str());
  see("rect", NSValue::valueWithRect(coder.decodeRectForKey("rect")).description().str());
  see("boxed", coder.decodeObjectForKey("boxed").description().str());
  see("nil", coder.decodeObjectForKey("nil") ? "an object" : "nil");
  see("contains nil", coder.containsValueForKey("nil") ? "YES" : "NO");
  // What is not there, and what is there as another number.
  see("missing", coder.containsValueForKey("missing") ? "YES" : "NO");
  see("missing object", coder.decodeObjectForKey("missing") ? "an object" : "nil");
  see("missing int", std::to_string(coder.decodeIntForKey("missing")));
  see("missing bytes", coder.decodeBytesForKey_returnedLength("missing", &length) == nullptr ? "null" : "bytes");
  see("missing rect", NSValue::valueWithRect(coder.decodeRectForKey("missing")).description().str());
  see("int as double", NSNumber(coder.decodeDoubleForKey("int")).stringValue().str());
  see("bool as int", std::to_string(coder.decodeIntForKey("bool")));
  see("int as bool", coder.decodeBoolForKey("int") ? "YES" : "NO");
  return Ref<Scalars>(this);
}

NSData archive(const id& object) { return NSKeyedArchiver::archivedDataWithRootObject(object); }
template <class T>
Ref<T> unarchive(const NSData& data) {
  return NSKeyedUnarchiver::unarchiveObjectWithData(data).as<T>();
}

// ---- what an archive is ---------------------------------------------------------------------------------------------

TEST(NSKeyedArchiver, WritesThePlatformsFormat) {
  auto track = make<Single>();
  track->title = "One";
  track->seconds = 2.5;
  track->number = 3;
  const NSDictionary list = listOf(archive(track));
  EXPECT_EQ(list.allKeys(), (NSArray{"$version", "$archiver", "$top", "$objects"}));
  EXPECT_EQ(list["$version"], NSNumber(100000));
  EXPECT_EQ(list["$archiver"], NSString("NSKeyedArchiver"));
  EXPECT_EQ(list["$top"], (NSDictionary{{"root", uid(1)}}));
  const NSArray objects = list["$objects"].as<NSArray>();
  ASSERT_EQ(objects.count(), 4u);
  EXPECT_EQ(objects[0], NSString("$null"));
  EXPECT_EQ(objects[1], (NSDictionary{{"title", uid(2)},
                                      {"anything", uid(0)},
                                      {"next", uid(0)},
                                      {"previous", uid(0)},
                                      {"seconds", 2.5},
                                      {"number", 3},
                                      {"$class", uid(3)}}));
  EXPECT_EQ(objects[2], NSString("One"));
  EXPECT_EQ(objects[3], (NSDictionary{{"$classname", "Single"}, {"$classes", NSArray{"Single", "Track", "NSObject"}}}));
}

TEST(NSKeyedArchiver, KeepsScalarsInPlace) {
  const NSData data = archive(make<Scalars>());
  EXPECT_EQ(
      layoutOf(data),
      "Scalars{bool: true, int: -1, int32: -2147483648, int64: -9223372036854775808, integer: 9223372036854775807, "
      "float: 1.5f, double: 0.1r, bytes: <61620063>, no bytes: <>, point: '{1, 2}', size: '{0.5, -3}', "
      "rect: '{{1, 2}, {3, 4}}', boxed: 'text', nil: nil}");
  Scalars::seen.clear();
  ASSERT_TRUE(unarchive<Scalars>(data));
  EXPECT_EQ(Scalars::seen, (std::vector<std::string>{"bool YES",
                                                     "int -1",
                                                     "int32 -2147483648",
                                                     "int64 -9223372036854775808",
                                                     "integer 9223372036854775807",
                                                     "float 1.5",
                                                     "double 0.1",
                                                     "bytes 61620063",
                                                     "no bytes 0",
                                                     "point NSPoint: {1, 2}",
                                                     "size NSSize: {0.5, -3}",
                                                     "rect NSRect: {{1, 2}, {3, 4}}",
                                                     "boxed text",
                                                     "nil nil",
                                                     "contains nil YES",
                                                     "missing NO",
                                                     "missing object nil",
                                                     "missing int 0",
                                                     "missing bytes null",
                                                     "missing rect NSRect: {{0, 0}, {0, 0}}",
                                                     "int as double -1",
                                                     "bool as int 1",
                                                     "int as bool YES"}));
}

TEST(NSKeyedArchiver, WritesEqualScalarsOnceAndObjectsByIdentity) {
  const NSMutableString changeable = NSMutableString::stringWithString("m");
  const NSArray list = {"text",
                        NSString("te") + "xt",
                        1000,
                        NSNumber(1000),
                        changeable,
                        changeable,
                        changeable.mutableCopy(),
                        NSArray::array(),
                        NSData(std::string_view("d")),
                        NSData(std::string_view("d"))};
  const NSArray back = NSKeyedUnarchiver::unarchiveObjectWithData(archive(list)).as<NSArray>();
  ASSERT_EQ(back, list);
  EXPECT_TRUE(isIdentical(back[0], back[1]));
  EXPECT_TRUE(isIdentical(back[2], back[3]));
  EXPECT_TRUE(isIdentical(back[4], back[5]));
  EXPECT_FALSE(isIdentical(back[4], back[6]));
  EXPECT_TRUE(isIdentical(back[8], back[9]));
  // A number is told from another of the same value and another kind.
  const NSArray kinds = {1, 1.0, true, 1.0f};
  EXPECT_EQ(layoutOf(archive(kinds)), "NSArray{NS.objects: [1, 1r, true, 1f]}");
}

// ---- graphs ---------------------------------------------------------------------------------------------------------

TEST(NSKeyedArchiver, KeepsSharedReferencesAndCircles) {
  auto first = make<Track>(), second = make<Track>();
  first->title = "first";
  first->next = second;
  second->next = first;
  second->previous = first;
  first->anything = NSArray{second, second, NSDictionary{{"me", first}}};
  const auto back = unarchive<Track>(archive(first));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->title, "first");
  EXPECT_TRUE(isIdentical(back->next->next, back));
  EXPECT_TRUE(isIdentical(back->next->previous.lock(), back));
  const NSArray list = back->anything.as<NSArray>();
  EXPECT_TRUE(isIdentical(list[0], back->next));
  EXPECT_TRUE(isIdentical(list[1], back->next));
  EXPECT_TRUE(isIdentical(list[2].as<NSDictionary>()["me"], back));
  for (const auto& each : {first, back}) {
    each->next->next = nullptr;
    each->anything = nullptr;
  }
}

TEST(NSKeyedArchiver, KeepsCollectionsThatContainThemselves) {
  const NSMutableArray array = NSMutableArray::array();
  array.addObject(NSDictionary{{"again", array}});
  const NSMutableArray back = NSKeyedUnarchiver::unarchiveObjectWithData(archive(array)).as<NSMutableArray>();
  ASSERT_EQ(back.count(), 1u);
  EXPECT_TRUE(isIdentical(back[0].as<NSDictionary>()["again"], back));

  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  dictionary.setObject_forKey(NSSet{NSArray{1}, dictionary}, "set");
  EXPECT_EQ(raisedByReading(archive(dictionary)),
            "NSInvalidUnarchiveOperationException: A set is a part of its own element.");
  for (const NSMutableArray& each : {array, back}) each.removeAllObjects();
  dictionary.removeAllObjects();
}

TEST(NSKeyedArchiver, EncodesConditionalObjectsOnlyIfSomebodyElseDoes) {
  auto lonely = make<Track>(), parent = make<Track>();
  lonely->previous = parent;
  EXPECT_FALSE(unarchive<Track>(archive(lonely))->previous.lock());
  // Before and after the one that counts.
  for (const bool before : {true, false}) {
    const NSArray list = before ? NSArray{parent, lonely} : NSArray{lonely, parent};
    const NSArray back = NSKeyedUnarchiver::unarchiveObjectWithData(archive(list)).as<NSArray>();
    const auto child = back[before ? 1 : 0].as<Track>();
    EXPECT_TRUE(isIdentical(child->previous.lock(), back[before ? 0 : 1]));
  }
  // Text is always there.
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  archiver.encodeConditionalObject_forKey(NSString("text"), "root");
  EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(archiver.encodedData()), NSString("text"));
}

TEST(NSKeyedArchiver, EndsWhereObjectsAreNestedTooDeep) {
  Ref<Track> chain;
  for (int i = 0; i < 1000; ++i) {
    auto next = std::move(chain);
    chain = make<Track>();
    chain->next = next;
  }
  const NSData data = archive(chain);
  Ref<Track> back = unarchive<Track>(data);
  int count = 0;
  for (Ref<Track> each = back; each; each = each->next) ++count;
  EXPECT_EQ(count, 1000);

  auto longer = make<Track>();
  longer->next = chain;
  EXPECT_EQ(raised([&] { return archive(longer); }),
            "NSInvalidArchiveOperationException: objects are nested more than 1000 deep in an archive");
  NSError error;
  EXPECT_FALSE(NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(longer, true, &error));
  EXPECT_EQ(reasonOf(error), "4866: objects are nested more than 1000 deep in an archive");
}

TEST(NSKeyedArchiver, RefusesArchivesThatAreNestedTooDeep) {
  // Arrays within arrays, which cost a few bytes each.
  NSMutableArray objects = NSMutableArray::array();
  objects.addObject(classNamed("NSArray"));
  for (NSUInteger i = 2; i < 100000; ++i) {
    objects.addObject(NSDictionary{{"$class", uid(1)}, {"NS.objects", NSArray{uid(i + 1)}}});
  }
  objects.addObject("end");
  NSError error;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<NSArray>(archiveOf(objects, uid(2)), &error));
  EXPECT_EQ(reasonOf(error), "4864: Objects are nested more than 1000 deep.");
}

// ---- keys -----------------------------------------------------------------------------------------------------------

class Odd : public NSObject {
 public:
  static inline Block<void(const NSCoder&)> encode;
  static inline Block<void(const NSCoder&)> decode;
  void encodeWithCoder(const NSCoder& coder) { encode(coder); }
  id initWithCoder(const NSCoder& coder) {
    decode(coder);
    return Ref<Odd>(this);
  }
  KVT_CLASS(Odd)
};

TEST(NSKeyedArchiver, TakesAnyKey) {
  const NSString long_ = NSString("").stringByPaddingToLength_withString_startingAtIndex(300, "key", 0);
  const std::vector<NSString> keys = {"a", "", "$class", "$", "$$x", "Zoë", "日本😀", "NS.objects", long_};
  Odd::encode = [&keys](const NSCoder& coder) {
    for (std::size_t i = 0; i < keys.size(); ++i) coder.encodeInt_forKey(static_cast<int>(i), keys[i]);
  };
  const NSData data = archive(make<Odd>());
  EXPECT_EQ(objectsOf(data)[1].as<NSDictionary>()["$$class"], NSNumber(2));
  bool wasDecoded = false;
  Odd::decode = [&](const NSCoder& coder) {
    // In any order.
    for (std::size_t i = keys.size(); i-- > 0;)
      EXPECT_EQ(coder.decodeIntForKey(keys[i]), static_cast<int>(i)) << keys[i];
    EXPECT_FALSE(coder.containsValueForKey("Zoe"));
    EXPECT_FALSE(coder.containsValueForKey("日本"));
    wasDecoded = true;
  };
  ASSERT_TRUE(unarchive<Odd>(data));
  EXPECT_TRUE(wasDecoded);
}

TEST(NSKeyedArchiver, ReplacesTheValueOfAnEqualKey) {
  // Whether its keys come in the order of the object before or not.
  const std::vector<std::vector<std::string>> orders = {
      {"a", "b"},      {"b", "a"},           {"a", "b", "a"},          {"a", "b", "c"},
      {"b", "a", "b"}, {"c", "a", "c", "a"}, {"x", "a", "x", "b", "a"}};
  NSMutableArray list = NSMutableArray::array();
  for (std::size_t i = 0; i < orders.size(); ++i) list.addObject(make<Odd>());
  std::size_t next = 0;
  Odd::encode = [&](const NSCoder& coder) {
    int value = 0;
    for (const std::string& key : orders[next]) coder.encodeInt_forKey(++value, key);
    ++next;
  };
  EXPECT_EQ(layoutOf(archive(list)),
            "NSMutableArray{NS.objects: [Odd{a: 1, b: 2}, Odd{b: 1, a: 2}, Odd{a: 3, b: 2}, Odd{a: 1, b: 2, c: 3}, "
            "Odd{b: 3, a: 2}, Odd{c: 3, a: 4}, "
            "Odd{x: 3, a: 5, b: 4}]}");
}

TEST(NSKeyedArchiver, RaisesForNoKey) {
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  const std::string reason = "NSInvalidArgumentException: a coder was given a nil key";
  EXPECT_EQ(raised([&] { return archiver.encodeObject_forKey("x", NSString()), 0; }), reason);
  EXPECT_EQ(raised([&] { return archiver.encodeInt_forKey(1, static_cast<const char*>(nullptr)), 0; }), reason);
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(archive(NSString("x")));
  EXPECT_EQ(raised([&] { return unarchiver.decodeObjectForKey(NSString()); }), reason);
  EXPECT_EQ(raised([&] { return unarchiver.decodeObjectForKey(NSString(u"\xD800")); }), reason);
  for (const char* bad : {"\xFF", "a\xC3", "\xE6\x97", "\xF0\x9F\x98"}) {
    EXPECT_EQ(raised([&] { return archiver.encodeInt_forKey(1, bad), 0; }),
              "NSInvalidArgumentException: a coder was given a key that is not UTF-8");
    EXPECT_EQ(raised([&] { return unarchiver.decodeIntForKey(std::string(bad)); }),
              "NSInvalidArgumentException: a coder was given a key that is not UTF-8");
  }
}

TEST(NSKeyedArchiver, RaisesOnTheOtherCoder) {
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(archive(NSString("x")));
  EXPECT_EQ(raised([&] { return archiver.decodeObjectForKey("x"); }),
            "NSInvalidArgumentException: -[NSKeyedArchiver decodeObjectForKey:]: this coder encodes");
  EXPECT_EQ(raised([&] { return archiver.decodeIntForKey("x"); }),
            "NSInvalidArgumentException: -[NSKeyedArchiver decodeIntForKey:]: this coder encodes");
  EXPECT_EQ(raised([&] { return unarchiver.encodeBool_forKey(true, "x"), 0; }),
            "NSInvalidArgumentException: -[NSKeyedUnarchiver encodeBool:forKey:]: this coder decodes");
  EXPECT_EQ(raised([&] { return objc_msgSend(NSArray{1}, "encodeWithCoder:", unarchiver), 0; }),
            "NSInvalidArgumentException: encodeWithCoder: needs a coder that encodes");
  EXPECT_EQ(raised([&] { return objc_msgSend<id>(NSArray{1}, "initWithCoder:", archiver); }),
            "NSInvalidArgumentException: initWithCoder: needs a coder that decodes");
}

// ---- classes --------------------------------------------------------------------------------------------------------

TEST(NSKeyedArchiver, WritesClassesUnderOtherNames) {
  const auto track = make<Track>();
  const auto nameIn = [](const NSData& data) {
    const NSArray objects = objectsOf(data);
    return objects.lastObject().as<NSDictionary>()["$classes"].description().str();
  };
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  EXPECT_FALSE(archiver.classNameForClass(classOf<Track>()));
  archiver.setClassName_forClass("Song", classOf<Track>());
  EXPECT_EQ(archiver.classNameForClass(classOf<Track>()), "Song");
  archiver.encodeObject_forKey(track, "root");
  const NSData data = archiver.encodedData();
  EXPECT_EQ(nameIn(data), "(\n    Song,\n    NSObject\n)");
  EXPECT_EQ(
      raisedByReading(data),
      "NSInvalidUnarchiveOperationException: cannot decode object of class (Song) for key (root); the class may be "
      "defined in source code or a library that is not linked");

  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(data);
  unarchiver.setClass_forClassName(classOf<Track>(), "Song");
  EXPECT_EQ(unarchiver.classForClassName("Song"), classOf<Track>());
  EXPECT_TRUE(unarchiver.decodeObjectForKey("root").is<Track>());

  // For all of them.
  NSKeyedArchiver::setClassName_forClass_class("Tune", classOf<Track>());
  NSKeyedUnarchiver::setClass_forClassName_class(classOf<Single>(), "Tune");
  const NSData tune = archive(track);
  EXPECT_EQ(nameIn(tune), "(\n    Tune,\n    NSObject\n)");
  EXPECT_TRUE(unarchive<Single>(tune));
  const NSKeyedArchiver other = NSKeyedArchiver::initRequiringSecureCoding(false);
  other.setClassName_forClass("Song", classOf<Track>());
  other.encodeObject_forKey(track, "root");
  EXPECT_EQ(nameIn(other.encodedData()), "(\n    Song,\n    NSObject\n)");
  EXPECT_EQ(NSKeyedArchiver::classNameForClass_class(classOf<Track>()), "Tune");
  EXPECT_EQ(NSKeyedUnarchiver::classForClassName_class("Tune"), classOf<Single>());
  NSKeyedArchiver::setClassName_forClass_class(nullptr, classOf<Track>());
  NSKeyedUnarchiver::setClass_forClassName_class(nullptr, "Tune");
  EXPECT_EQ(nameIn(archive(track)), "(\n    Track,\n    NSObject\n)");
}

/// Written as a text, and read as the one object of its kind.
class Shared : public NSObject {
 public:
  static Ref<Shared> shared() {
    static const Ref<Shared> one = make<Shared>();
    return one;
  }
  id replacement(const id&) { return replacementValue; }
  id awake(const id&) { return shared(); }
  void encodeWithCoder(const NSCoder&) {}
  id initWithCoder(const NSCoder&) { return Ref<Shared>(this); }
  static inline id replacementValue;

 private:
  static void kvtDescribe(ClassBuilder<Shared>& c) {
    c.method<&Shared::replacement>("replacementObjectForKeyedArchiver:")
        .method<&Shared::awake>("awakeAfterUsingCoder:");
  }
  KVT_CLASS(Shared)
};

TEST(NSKeyedArchiver, AsksObjectsForOthersInTheirPlace) {
  const auto one = make<Shared>();
  Shared::replacementValue = NSString("instead");
  EXPECT_EQ(layoutOf(archive(NSArray{one, one, "instead"})), "NSArray{NS.objects: ['instead', 'instead', 'instead']}");
  const auto track = make<Track>();
  track->anything = one;
  Shared::replacementValue = track;
  EXPECT_EQ(layoutOf(archive(track)), "Track{title: nil, anything: ^1, next: nil, previous: nil, seconds: 0r}");
  Shared::replacementValue = nullptr;
  EXPECT_EQ(layoutOf(archive(track)), "Track{title: nil, anything: nil, next: nil, previous: nil, seconds: 0r}");
  Shared::replacementValue = one;
  EXPECT_EQ(layoutOf(archive(one)), "Shared{}");
  EXPECT_TRUE(isIdentical(unarchive<Shared>(archive(one)), Shared::shared()));
  Shared::replacementValue = nullptr;
  track->anything = nullptr;
}

TEST(NSKeyedArchiver, TakesClassesBuiltAtRunTime) {
  Class cls = objc_allocateClassPair(classOf<NSObject>(), "ArchivedAtRunTime");
  ASSERT_TRUE(cls);
  ASSERT_TRUE(class_synthesizeProperty(cls, "name", {{"T", "@\"NSString\""}, {"C", ""}}));
  ASSERT_TRUE(class_synthesizeProperty(cls, "friend", {{"T", "@\"ArchivedAtRunTime\""}, {"&", ""}}));
  ASSERT_TRUE(class_synthesizeProperty(cls, "age", {{"T", "i"}}));
  using Encode = void (*)(Object*, SEL, Object*);
  const Encode encode = [](Object* self, SEL, Object* coder) {
    const id me(borrow, self);
    const NSCoder to(borrow, coder);
    for (const char* key : {"name", "friend", "age"}) to.encodeObject_forKey(me.valueForKey(key), key);
  };
  using Init = Object* (*)(Object*, SEL, Object*);
  const Init init = [](Object* self, SEL, Object* coder) {
    id me(borrow, self);
    const NSCoder from(borrow, coder);
    for (const char* key : {"name", "friend", "age"}) me.setValue_forKey(from.decodeObjectForKey(key), key);
    return me.detach();
  };
  class_addMethod(cls, "encodeWithCoder:", reinterpret_cast<IMP>(encode), "v24@0:8@16");
  class_addMethod(cls, "initWithCoder:", reinterpret_cast<IMP>(init), "@24@0:8@16");
  objc_registerClassPair(cls);

  const id one(adopt, class_createInstance(cls));
  one.setValue_forKey(NSString("Ann"), "name");
  one.setValue_forKey(NSNumber(7), "age");
  one.setValue_forKey(one, "friend");
  const id back = NSKeyedUnarchiver::unarchiveObjectWithData(archive(one));
  EXPECT_EQ(back.class_(), cls);
  EXPECT_EQ(back.valueForKey("name"), NSString("Ann"));
  EXPECT_EQ(back.valueForKey("age"), NSNumber(7));
  EXPECT_TRUE(isIdentical(back.valueForKey("friend"), back));
  // A member of a class does not take an object of another one, whatever the archive says.
  const NSData wrong =
      archiveOf({NSDictionary{{"$class", uid(2)}, {"name", uid(3)}, {"friend", uid(4)}, {"age", uid(3)}},
                 classNamed("ArchivedAtRunTime"), 42, "text"});
  const id odd = NSKeyedUnarchiver::unarchiveObjectWithData(wrong);
  EXPECT_FALSE(odd.valueForKey("name"));
  EXPECT_FALSE(odd.valueForKey("friend"));
  EXPECT_EQ(odd.valueForKey("age"), NSNumber(42));
  for (const id& each : {one, back}) each.setValue_forKey(nullptr, "friend");
}

TEST(NSKeyedArchiver, TakesSubclassesOfValues) {
  struct Pair {
    Class superclass;
    const char* name;
    id (*fill)(const id& made);
  };
  const auto same = [](const id& made) { return made; };
  const auto withElement = [](const id& made) {
    made.as<NSMutableArray>().addObject("x");
    return made;
  };
  const Pair pairs[] = {
      {classOf<NSArray>(), "ArchivedArray", same},
      {classOf<NSMutableArray>(), "ArchivedMutableArray", withElement},
      {classOf<NSDictionary>(), "ArchivedDictionary", same},
      {classOf<NSSet>(), "ArchivedSet", same},
      {classOf<NSString>(), "ArchivedString", same},
      {classOf<NSMutableString>(), "ArchivedMutableString", same},
      {classOf<NSDate>(), "ArchivedDate", same},
  };
  for (const Pair& pair : pairs) {
    SCOPED_TRACE(pair.name);
    const Class cls = objc_allocateClassPair(pair.superclass, pair.name);
    objc_registerClassPair(cls);
    const id made = pair.fill(id(adopt, class_createInstance(cls)));
    if (made.class_() != cls) continue;  // these have no instances of their own
    const id back = NSKeyedUnarchiver::unarchiveObjectWithData(archive(made));
    EXPECT_EQ(back, made);
    EXPECT_EQ(back.class_(), cls);
    EXPECT_EQ(back.is<NSMutableArray>(), made.is<NSMutableArray>());
    EXPECT_EQ(back.is<NSMutableString>(), made.is<NSMutableString>());
  }
}

/// A method that comes to the class while its objects are being archived.
TEST(NSKeyedArchiver, SeesMethodsThatAreReplacedMeanwhile) {
  const Method method = class_getInstanceMethod(classOf<Odd>(), "encodeWithCoder:");
  static IMP original;
  using Encode = void (*)(Object*, SEL, Object*);
  const Encode other = [](Object*, SEL, Object* coder) { NSCoder(borrow, coder).encodeInt_forKey(2, "other"); };
  Odd::encode = [&](const NSCoder& coder) {
    coder.encodeInt_forKey(1, "one");
    original = method_setImplementation(method, reinterpret_cast<IMP>(other));
  };
  EXPECT_EQ(layoutOf(archive(NSArray{make<Odd>(), make<Odd>()})), "NSArray{NS.objects: [Odd{one: 1}, Odd{other: 2}]}");
  method_setImplementation(method, original);
}

// ---- archivers ------------------------------------------------------------------------------------------------------

TEST(NSKeyedArchiver, WritesSeveralTopLevelObjects) {
  const NSMutableData data = NSMutableData::dataWithLength(3);
  const NSKeyedArchiver archiver = NSKeyedArchiver::initForWritingWithMutableData(data);
  archiver.encodeObject_forKey(NSArray{"x"}, "list");
  archiver.encodeInt_forKey(7, "number");
  EXPECT_EQ(data.length(), 3u);
  archiver.finishEncoding();
  EXPECT_EQ(data, archiver.encodedData());
  EXPECT_EQ(raised([&] { return archiver.encodeInt_forKey(1, "late"), 0; }),
            "NSInvalidArchiveOperationException: an archiver that has finished cannot encode");
  EXPECT_EQ(raised([&] { return archiver.encodeObject_forKey(NSArray::array(), "late"), 0; }),
            "NSInvalidArchiveOperationException: an archiver that has finished cannot encode");
  archiver.finishEncoding();

  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(data);
  EXPECT_EQ(unarchiver.decodeObjectForKey("list"), NSArray{"x"});
  EXPECT_EQ(unarchiver.decodeIntForKey("number"), 7);
  EXPECT_TRUE(unarchiver.containsValueForKey("list"));
  EXPECT_FALSE(unarchiver.containsValueForKey("root"));
  unarchiver.finishDecoding();
  EXPECT_EQ(raised([&] { return unarchiver.decodeObjectForKey("list"); }),
            "NSInvalidUnarchiveOperationException: An unarchiver that has finished cannot decode.");
}

TEST(NSKeyedArchiver, KnowsItsState) {
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(true);
  EXPECT_TRUE(archiver.allowsKeyedCoding());
  EXPECT_TRUE(archiver.requiresSecureCoding());
  EXPECT_EQ(archiver.outputFormat(), NSPropertyListBinaryFormat_v1_0);
  archiver.setOutputFormat(NSPropertyListXMLFormat_v1_0);
  EXPECT_EQ(archiver.outputFormat(), NSPropertyListXMLFormat_v1_0);
  EXPECT_EQ(raisedName([&] { return archiver.setOutputFormat(NSPropertyListOpenStepFormat), 0; }),
            "NSInvalidArgumentException");
  archiver.setRequiresSecureCoding(false);
  EXPECT_FALSE(archiver.requiresSecureCoding());
  EXPECT_EQ(raisedName([] { return NSKeyedArchiver::initForWritingWithMutableData(nullptr); }),
            "NSInvalidArgumentException");
}

TEST(NSKeyedArchiver, EncodesNothingForNil) {
  const NSData data = archive(nullptr);
  EXPECT_EQ(objectsOf(data), NSArray{"$null"});
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(data));
  const NSKeyedArchiver archiver;
  const NSKeyedUnarchiver unarchiver;
  archiver.encodeObject_forKey("x", "x");
  archiver.encodeConditionalObject_forKey(nullptr, "x");
  archiver.encodeInt_forKey(1, "x");
  archiver.encodeRect_forKey({}, "x");
  archiver.finishEncoding();
  archiver.setClassName_forClass("x", classOf<Track>());
  EXPECT_FALSE(archiver.encodedData());
  EXPECT_FALSE(archiver.allowsKeyedCoding());
  EXPECT_FALSE(unarchiver.decodeObjectForKey("x"));
  EXPECT_FALSE(unarchiver.decodeObjectOfClass<NSString>("x"));
  EXPECT_EQ(unarchiver.decodeIntForKey("x"), 0);
  EXPECT_EQ(unarchiver.decodeRectForKey("x"), CGRect{});
  EXPECT_FALSE(unarchiver.containsValueForKey("x"));
  EXPECT_FALSE(unarchiver.error());
  EXPECT_FALSE(unarchiver.allowedClasses());
  unarchiver.failWithError(NSError::errorWithDomain_code_userInfo("D", 1, nullptr));
  unarchiver.finishDecoding();
}

TEST(NSKeyedArchiver, GoesOnAfterAnObjectThatRaised) {
  Odd::encode = [](const NSCoder& coder) {
    coder.encodeInt_forKey(1, "before");
    try {
      coder.encodeObject_forKey(NSArray{"x", NSValue::valueWithPointer(nullptr)}, "bad");
    } catch (const NSException&) {
      coder.encodeInt_forKey(2, "after");
    }
  };
  const NSData data = archive(NSArray{make<Odd>(), "end"});
  EXPECT_EQ(layoutOf(data), "NSArray{NS.objects: [Odd{before: 1, after: 2}, 'end']}");
  Odd::decode = [](const NSCoder& coder) { EXPECT_EQ(coder.decodeIntForKey("after"), 2); };
  EXPECT_TRUE(NSKeyedUnarchiver::unarchiveObjectWithData(data));
}

TEST(NSKeyedArchiver, FailsWithTheErrorOfAnObject) {
  const NSError failure = NSError::errorWithDomain_code_userInfo("D", 5, nullptr);
  Odd::encode = [&](const NSCoder& coder) {
    coder.failWithError(failure);
    coder.failWithError(NSError::errorWithDomain_code_userInfo("D", 6, nullptr));
    EXPECT_EQ(coder.error(), failure);
  };
  NSError error;
  EXPECT_FALSE(NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(make<Odd>(), false, &error));
  EXPECT_EQ(error, failure);
  EXPECT_FALSE(archive(make<Odd>()));
}

TEST(NSKeyedArchiver, RequiresSecureCoding) {
  NSError error;
  EXPECT_TRUE(NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(make<Track>(), true, &error));
  EXPECT_FALSE(
      NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(NSArray{make<Odd>()}, true, &error));
  EXPECT_EQ(reasonOf(error),
            "4866: This encoder will only encode classes that adopt NSSecureCoding. Class 'Odd' does not adopt it.");
}

TEST(NSKeyedArchiver, WritesFiles) {
  const TemporaryFile file;
  EXPECT_TRUE(NSKeyedArchiver::archiveRootObject_toFile(NSArray{1, "x"}, NSString(file.path())));
  EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithFile(NSString(file.path())), (NSArray{1, "x"}));
  EXPECT_FALSE(NSKeyedArchiver::archiveRootObject_toFile(NSArray::array(), "/nowhere/at/all"));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithFile("/nowhere/at/all"));
}

TEST(NSKeyedArchiver, IsKnownToTheRunTime) {
  for (const char* selector : {"encodeObject:forKey:",
                               "encodeConditionalObject:forKey:",
                               "encodeBool:forKey:",
                               "encodeInt:forKey:",
                               "encodeInt32:forKey:",
                               "encodeInt64:forKey:",
                               "encodeInteger:forKey:",
                               "encodeFloat:forKey:",
                               "encodeDouble:forKey:",
                               "encodeBytes:length:forKey:",
                               "encodePoint:forKey:",
                               "encodeSize:forKey:",
                               "encodeRect:forKey:",
                               "containsValueForKey:",
                               "decodeObjectForKey:",
                               "decodeObjectOfClass:forKey:",
                               "decodeObjectOfClasses:forKey:",
                               "decodePropertyListForKey:",
                               "decodeBoolForKey:",
                               "decodeIntForKey:",
                               "decodeInt32ForKey:",
                               "decodeInt64ForKey:",
                               "decodeIntegerForKey:",
                               "decodeFloatForKey:",
                               "decodeDoubleForKey:",
                               "decodeBytesForKey:returnedLength:",
                               "decodePointForKey:",
                               "decodeSizeForKey:",
                               "decodeRectForKey:",
                               "allowsKeyedCoding",
                               "requiresSecureCoding",
                               "allowedClasses",
                               "error",
                               "decodingFailurePolicy",
                               "failWithError:"}) {
    EXPECT_TRUE(class_respondsToSelector(classOf<NSCoder>(), selector)) << selector;
  }
  EXPECT_EQ(class_getSuperclass(classOf<NSKeyedArchiver>()), classOf<NSCoder>());
  EXPECT_EQ(class_getSuperclass(classOf<NSKeyedUnarchiver>()), classOf<NSCoder>());

  // As a message, from the class object on.
  const auto data = objc_msgSend<NSData>(classOf<NSKeyedArchiver>(), "archivedDataWithRootObject:", NSArray{1});
  EXPECT_EQ(objc_msgSend<id>(classOf<NSKeyedUnarchiver>(), "unarchiveObjectWithData:", data), NSArray{1});
  const id made = objc_msgSend<id>(classOf<NSKeyedArchiver>(), "alloc");
  const id archiver = objc_msgSend<id>(made, "initRequiringSecureCoding:", true);
  objc_msgSend(archiver, "encodeObject:forKey:", NSString("x"), NSString("key"));
  objc_msgSend(archiver, "encodeInt64:forKey:", 7, NSString("number"));
  objc_msgSend(archiver, "encodePoint:forKey:", CGPoint{1, 2}, NSString("point"));
  const auto encoded = objc_msgSend<NSData>(archiver, "encodedData");
  const id empty = objc_msgSend<id>(classOf<NSKeyedUnarchiver>(), "new");
  EXPECT_FALSE(objc_msgSend<id>(empty, "decodeObjectForKey:", NSString("key")));
  const id unarchiver = objc_msgSend<id>(empty, "initForReadingWithData:", encoded);
  EXPECT_EQ(objc_msgSend<id>(unarchiver, "decodeObjectOfClass:forKey:", classOf<NSString>(), NSString("key")),
            NSString("x"));
  EXPECT_EQ(objc_msgSend<int>(unarchiver, "decodeIntForKey:", NSString("number")), 7);
  EXPECT_EQ(objc_msgSend<CGPoint>(unarchiver, "decodePointForKey:", NSString("point")), (CGPoint{1, 2}));
  EXPECT_FALSE(objc_msgSend<id>(classOf<NSCoder>(), "new"));
}

/// Makes an archive of its own while it is encoded.
class Parcel : public NSObject {
 public:
  id content;
  void encodeWithCoder(const NSCoder& coder) {
    coder.encodeObject_forKey(NSKeyedArchiver::archivedDataWithRootObject(content), "content");
    coder.encodeObject_forKey(content, "again");
  }
  KVT_CLASS(Parcel, content)
};

TEST(NSKeyedArchiver, WritesTheSameWhateverItsThreadWroteBefore) {
  const auto texts = [](int count) {
    NSMutableArray list = NSMutableArray::array();
    for (int i = 0; i < count; ++i) list.addObject(NSString("text " + std::to_string(i % 3000)));
    return list;
  };
  auto parcel = make<Parcel>();
  parcel->content = texts(200);
  auto outer = make<Parcel>();
  outer->content = parcel;
  const std::vector<id> roots = {id(),
                                 NSString("x"),
                                 NSArray{1, "x", 2.5},
                                 texts(40),
                                 outer,
                                 texts(70'000),
                                 NSData(std::string(9 << 20, 'd')),
                                 texts(5000),
                                 parcel,
                                 NSString()};
  std::vector<NSData> fresh;
  for (const id& root : roots) std::thread([&] { fresh.push_back(archive(root)); }).join();
  EXPECT_GT(fresh[5].length(), 200'000);
  for (std::size_t first = 0; first < roots.size(); ++first) {
    for (std::size_t second = 0; second < roots.size(); ++second) {
      const NSData a = archive(roots[first]), b = archive(roots[second]);
      EXPECT_TRUE(a == fresh[first]) << first << " before " << second;
      EXPECT_TRUE(b == fresh[second]) << second << " after " << first;
    }
  }
}

TEST(NSKeyedArchiver, WorksInConcurrentThreads) {
  // A list that threads share; classes and names are looked up by all of them.
  auto track = make<Track>();
  track->title = "shared";
  track->anything = NSArray{1, 2.5, "x", NSDictionary{{"a", NSDate::dateWithTimeIntervalSinceReferenceDate(1)}}};
  const NSData expected = archive(track);
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 50; ++round) {
        if (i == 0) NSKeyedUnarchiver::setClass_forClassName_class(classOf<Track>(), "NoSuchName");
        const NSData data = archive(track);
        const auto back = unarchive<Track>(data);
        if (data == expected && back && back->anything == track->anything) ++good;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 200);
  NSKeyedUnarchiver::setClass_forClassName_class(nullptr, "NoSuchName");
}

}  // namespace
}  // namespace kvt
