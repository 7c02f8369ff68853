#include <KVTPlatform/Values/NSKeyedUnarchiver.h>

#include <algorithm>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>

#include "KeyedArchives.h"
#include "Raised.h"

namespace kvt {
namespace {

using namespace archive_test;

class Animal : public NSObject {
 public:
  NSString name;
  id owner;
  void encodeWithCoder(const NSCoder& coder) {
    coder.encodeObject_forKey(name, "name");
    coder.encodeObject_forKey(owner, "owner");
  }
  id initWithCoder(const NSCoder& coder) {
    name = coder.decodeObjectOfClass<NSString>("name");
    owner = coder.decodeObjectForKey("owner");
    return Ref<Animal>(this);
  }
  static bool supportsSecureCoding() { return true; }
  KVT_CLASS(Animal, name, owner)
};

class Dog : public Animal {
 public:
  KVT_CLASS(Dog)
};

/// Says of itself that it is not secure.
class Stray : public Animal {
 public:
  static bool supportsSecureCoding() { return false; }
  KVT_CLASS(Stray)
};

/// Does with the coder what a test says.
class Probe : public NSObject {
 public:
  static inline Block<id(const NSCoder& coder, const Ref<Probe>& self)> decode;
  void encodeWithCoder(const NSCoder&) {}
  id initWithCoder(const NSCoder& coder) { return decode(coder, Ref<Probe>(this)); }
  static bool supportsSecureCoding() { return true; }
  KVT_CLASS(Probe)
};

class NotCodable : public NSObject {
 public:
  KVT_CLASS(NotCodable)
};

NSData archive(const id& object) { return NSKeyedArchiver::archivedDataWithRootObject(object); }

/// An archive whose root is a Probe with these values; UID 3 and on are `others`.
NSData probeWith(const NSDictionary& values = NSDictionary::dictionary(), const NSArray& others = NSArray::array()) {
  NSMutableDictionary probe = values.mutableCopy();
  probe.setObject_forKey(uid(2), "$class");
  NSMutableArray objects = NSMutableArray::arrayWithObjects(probe, classNamed("Probe"));
  objects.addObjectsFromArray(others);
  return archiveOf(objects);
}

// ---- allowed classes ------------------------------------------------------------------------------------------------

TEST(NSKeyedUnarchiver, MakesObjectsOfAllowedClassesOnly) {
  struct Row {
    id object;
    std::vector<Class> classes;
    std::string reason;  // "" when it is let through
  };
  const auto dog = make<Dog>(), owned = make<Dog>();
  dog->name = "Rex";
  owned->owner = dog;
  const auto ownedByText = make<Dog>();
  const auto stray = make<Stray>();
  ownedByText->owner = NSString("me");
  const std::string key = "4864: The value for key ";
  const Row rows[] = {
      {dog, {classOf<Dog>()}, ""},
      {dog, {classOf<Animal>()}, ""},
      {dog, {classOf<NSObject>()}, ""},
      {dog, {classOf<NSString>(), classOf<Animal>()}, ""},
      {dog, {classOf<NSString>()}, key + "'root' is of the unexpected class 'Dog'. Allowed classes are: {NSString}."},
      {make<Animal>(),
       {classOf<Dog>()},
       key + "'root' is of the unexpected class 'Animal'. Allowed classes are: {Dog}."},
      {dog, {}, key + "'root' is of the unexpected class 'Dog'. Allowed classes are: {}."},
      {dog, {Class()}, key + "'root' is of the unexpected class 'Dog'. Allowed classes are: {nil}."},
      // What an object holds is of what it may be itself, unless it says more.
      {owned, {classOf<Dog>()}, ""},
      {ownedByText,
       {classOf<Dog>()},
       key + "'owner' is of the unexpected class 'NSString'. Allowed classes are: {Dog}."},
      {ownedByText, {classOf<Dog>(), classOf<NSString>()}, ""},
      {NSArray{dog},
       {classOf<NSArray>()},
       key + "'NS.objects' is of the unexpected class 'Dog'. Allowed classes are: {NSArray}."},
      {NSArray{dog, "x"}, {classOf<NSArray>(), classOf<Dog>(), classOf<NSString>()}, ""},
      {NSDictionary{{"k", dog}},
       {classOf<NSDictionary>(), classOf<NSString>()},
       key + "'NS.objects' is of the unexpected class 'Dog'. Allowed classes are: {NSDictionary, NSString}."},
      {NSDictionary{{"k", 1}},
       {classOf<NSDictionary>(), classOf<NSNumber>()},
       key + "'NS.keys' is of the unexpected class 'NSString'. Allowed classes are: {NSDictionary, NSNumber}."},
      {NSNumber(1), {classOf<NSValue>()}, ""},
      {NSString("x"),
       {classOf<NSMutableString>()},
       key + "'root' is of the unexpected class 'NSString'. Allowed classes are: {NSMutableString}."},
      {NSString("x").mutableCopy(), {classOf<NSString>()}, ""},
      {stray,
       {classOf<Animal>()},
       "4864: This decoder will only decode classes that adopt NSSecureCoding. Class 'Stray' does not adopt it."},
      {NSURL::URLWithString("a"), {classOf<NSURL>()}, ""},
      {NSError::errorWithDomain_code_userInfo("D", 1, NSDictionary{{"k", NSArray{1, NSURL::URLWithString("a")}}}),
       {classOf<NSError>()},
       ""},
      {NSError::errorWithDomain_code_userInfo("D", 1, NSDictionary{{"k", dog}}),
       {classOf<NSError>()},
       key + "'NS.objects' is of the unexpected class 'Dog'. Allowed classes are: {NSString, NSNumber, NSDate, NSData, "
             "NSArray, NSDictionary, NSError, NSURL, NSNull}."},
  };
  for (const Row& row : rows) {
    const NSData data = archive(row.object);
    SCOPED_TRACE(layoutOf(data));
    NSError error;
    const NSSet classes = NSSet::setWithArray(NSArray::arrayWithRange([&row] {
      std::vector<id> objects;
      for (const Class each : row.classes) objects.push_back(each ? id(each) : id(NSString("no class")));
      return objects;
    }()));
    const id object = NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(classes, data, &error);
    EXPECT_EQ(static_cast<bool>(object), row.reason.empty());
    EXPECT_EQ(reasonOf(error), row.reason);
    if (row.classes.size() == 1 && row.classes[0]) {
      error = nullptr;
      EXPECT_EQ(
          static_cast<bool>(NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(row.classes[0], data, &error)),
          row.reason.empty());
      EXPECT_EQ(reasonOf(error), row.reason);
    }
    // Without secure coding everything is made.
    EXPECT_TRUE(NSKeyedUnarchiver::unarchiveObjectWithData(data));
  }
}

TEST(NSKeyedUnarchiver, ChecksObjectsThatWereMadeBefore) {
  // First as what may be anything, then as a text.
  Probe::decode = [](const NSCoder& coder, const Ref<Probe>& self) -> id {
    EXPECT_TRUE(coder.decodeObjectOfClass<Animal>("first"));
    EXPECT_FALSE(coder.error());
    EXPECT_FALSE(coder.decodeObjectOfClass<NSString>("second"));
    EXPECT_TRUE(coder.error());
    EXPECT_FALSE(coder.decodeObjectOfClass<Animal>("first"));  // nothing any more
    EXPECT_FALSE(coder.containsValueForKey("first"));
    EXPECT_EQ(coder.decodeIntForKey("number"), 0);
    return self;
  };
  const NSData data = probeWith({{"first", uid(3)}, {"second", uid(3)}, {"number", 7}},
                                {NSDictionary{{"$class", uid(4)}}, classNamed("Dog")});
  NSError error;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<Probe>(data, &error));
  EXPECT_EQ(reasonOf(error),
            "4864: The value for key 'second' is of the unexpected class 'Dog'. Allowed classes are: {NSString}.");
}

TEST(NSKeyedUnarchiver, TellsWhatIsAllowed) {
  const auto names = [](const NSSet& classes) {
    std::vector<std::string> all;
    for (const id& each : classes) all.emplace_back(class_getName(each.asClass()));
    std::sort(all.begin(), all.end());
    std::string text = classes ? "" : "nil";
    for (const std::string& each : all) text += each + " ";
    return text;
  };
  std::string seen;
  Probe::decode = [&](const NSCoder& coder, const Ref<Probe>& self) -> id {
    seen = names(coder.allowedClasses());
    EXPECT_TRUE(coder.allowsKeyedCoding());
    return self;
  };
  const NSData data = probeWith();
  ASSERT_TRUE(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error({classOf<Probe>(), classOf<Dog>()}, data));
  EXPECT_EQ(seen, "Dog Probe ");
  NSKeyedUnarchiver::unarchiveObjectWithData(data);
  EXPECT_EQ(seen, "nil");
  // At the top nothing but what property lists hold, unless it is named.
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingFromData_error(data);
  EXPECT_TRUE(unarchiver.requiresSecureCoding());
  EXPECT_EQ(names(unarchiver.allowedClasses()), "NSArray NSData NSDate NSDictionary NSNumber NSString ");
  EXPECT_FALSE(unarchiver.decodeObjectForKey("root"));
  EXPECT_EQ(
      reasonOf(unarchiver.error()),
      "4864: The value for key 'root' is of the unexpected class 'Probe'. Allowed classes are: {NSString, NSNumber, "
      "NSDate, NSData, NSArray, NSDictionary}.");
}

TEST(NSKeyedUnarchiver, DecodesPropertyLists) {
  const NSArray list = {"x", 1, NSDictionary{{"k", NSDate::dateWithTimeIntervalSinceReferenceDate(1)}}};
  const NSKeyedUnarchiver good = NSKeyedUnarchiver::initForReadingFromData_error(archive(list));
  EXPECT_EQ(good.decodePropertyListForKey("root"), list);
  const NSKeyedUnarchiver bad = NSKeyedUnarchiver::initForReadingFromData_error(archive(NSArray{make<Dog>()}));
  EXPECT_FALSE(bad.decodePropertyListForKey("root"));
  EXPECT_TRUE(bad.error());
}

// ---- failures -------------------------------------------------------------------------------------------------------

TEST(NSKeyedUnarchiver, RaisesOrSetsTheError) {
  const NSData data = archiveOf({NSDictionary{{"$class", uid(2)}}, classNamed("NoSuchClass")});
  const std::string reason =
      "cannot decode object of class (NoSuchClass) for key (root); the class may be defined in source code or a "
      "library "
      "that is not linked";
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(data);
  EXPECT_EQ(unarchiver.decodingFailurePolicy(), NSDecodingFailurePolicyRaiseException);
  EXPECT_FALSE(unarchiver.requiresSecureCoding());
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(raised([&] { return unarchiver.decodeObjectForKey("root"); }),
              "NSInvalidUnarchiveOperationException: " + reason);
    EXPECT_FALSE(unarchiver.error());
  }
  unarchiver.setDecodingFailurePolicy(NSDecodingFailurePolicySetErrorAndReturn);
  EXPECT_EQ(unarchiver.decodingFailurePolicy(), NSDecodingFailurePolicySetErrorAndReturn);
  EXPECT_FALSE(unarchiver.decodeObjectForKey("root"));
  EXPECT_EQ(reasonOf(unarchiver.error()), "4864: " + reason);

  const NSKeyedUnarchiver secure = NSKeyedUnarchiver::initForReadingFromData_error(data);
  EXPECT_EQ(secure.decodingFailurePolicy(), NSDecodingFailurePolicySetErrorAndReturn);
  secure.setDecodingFailurePolicy(NSDecodingFailurePolicyRaiseException);
  secure.setRequiresSecureCoding(false);
  EXPECT_EQ(raised([&] { return secure.decodeObjectForKey("root"); }),
            "NSInvalidUnarchiveOperationException: " + reason);
}

TEST(NSKeyedUnarchiver, FailsForNumbersThatDoNotFit) {
  struct Row {
    const char* what;
    Block<void(const NSCoder&)> decode;
    std::string reason;
  };
  const NSData data = probeWith({{"text", "x"},
                                 {"large", INT64_MAX},
                                 {"larger", UINT64_MAX},
                                 {"half", 0.5},
                                 {"whole", 3.0},
                                 {"huge", 1e300},
                                 {"object", uid(3)},
                                 {"data", NSData(std::string_view("x"))},
                                 {"list", NSArray{1}}},
                                {42});
  const auto reasonFor = [&](const Block<void(const NSCoder&)>& decode) {
    Probe::decode = [&](const NSCoder& coder, const Ref<Probe>& self) -> id { return decode(coder), self; };
    NSError error;
    const bool isDecoded = static_cast<bool>(NSKeyedUnarchiver::unarchivedObjectOfClass<Probe>(data, &error));
    EXPECT_NE(isDecoded, static_cast<bool>(error));
    return reasonOf(error);
  };
  const Row rows[] = {
      {"whole", [](const NSCoder& c) { EXPECT_EQ(c.decodeIntForKey("whole"), 3); }, ""},
      {"larger", [](const NSCoder& c) { EXPECT_EQ(c.decodeDoubleForKey("larger"), 18446744073709551616.0); }, ""},
      {"half", [](const NSCoder& c) { EXPECT_EQ(c.decodeFloatForKey("half"), 0.5f); }, ""},
      {"int", [](const NSCoder& c) { EXPECT_EQ(c.decodeIntForKey("large"), 0); },
       "4864: The value 9223372036854775807 for key 'large' is too large for its type."},
      {"int64", [](const NSCoder& c) { EXPECT_EQ(c.decodeInt64ForKey("larger"), 0); },
       "4864: The value for key 'larger' is no integer of 64 bits."},
      {"fraction", [](const NSCoder& c) { EXPECT_EQ(c.decodeInt64ForKey("half"), 0); },
       "4864: The value for key 'half' is no integer of 64 bits."},
      {"huge", [](const NSCoder& c) { EXPECT_EQ(c.decodeInt64ForKey("huge"), 0); },
       "4864: The value for key 'huge' is no integer of 64 bits."},
      {"text", [](const NSCoder& c) { EXPECT_EQ(c.decodeIntForKey("text"), 0); },
       "4864: The value for key 'text' is no integer of 64 bits."},
      {"object", [](const NSCoder& c) { EXPECT_EQ(c.decodeIntForKey("object"), 0); },
       "4864: The value for key 'object' is no integer of 64 bits."},
      {"bool", [](const NSCoder& c) { EXPECT_FALSE(c.decodeBoolForKey("half")); },
       "4864: The value for key 'half' is no boolean."},
      {"double", [](const NSCoder& c) { EXPECT_EQ(c.decodeDoubleForKey("text"), 0); },
       "4864: The value for key 'text' is no number."},
      {"bytes", [](const NSCoder& c) { EXPECT_TRUE(c.decodeBytesForKey_returnedLength("text", nullptr) == nullptr); },
       "4864: The value for key 'text' is no data."},
      {"point", [](const NSCoder& c) { EXPECT_EQ(c.decodePointForKey("object"), CGPoint{}); },
       "4864: The value for key 'object' is of the unexpected class 'NSNumber'. Allowed classes are: {NSString}."},
      {"in place", [](const NSCoder& c) { EXPECT_FALSE(c.decodeObjectForKey("text")); },
       "4864: The value for key 'text' is no object."},
      {"a list", [](const NSCoder& c) { EXPECT_FALSE(c.decodeObjectForKey("list")); },
       "4864: The value for key 'list' is no object."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(reasonFor(row.decode), row.reason);
  }
}

TEST(NSKeyedUnarchiver, PassesTheErrorOfAnObjectOn) {
  const NSError failure =
      NSError::errorWithDomain_code_userInfo("D", 5, NSDictionary{{NSDebugDescriptionErrorKey, "no good"}});
  Probe::decode = [&](const NSCoder& coder, const Ref<Probe>&) -> id {
    coder.failWithError(failure);
    coder.failWithError(NSError::errorWithDomain_code_userInfo("D", 6, nullptr));
    return id();
  };
  NSError error;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<Probe>(probeWith(), &error));
  EXPECT_EQ(error, failure);
  EXPECT_EQ(raisedByReading(probeWith()), "NSInvalidUnarchiveOperationException: no good");
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<Probe>(probeWith()));
}

TEST(NSKeyedUnarchiver, CatchesWhatObjectsRaise) {
  Probe::decode = [](const NSCoder&, const Ref<Probe>&) -> id {
    NSException("NSRangeException", "out of range").raise();
  };
  NSError error;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<Probe>(probeWith(), &error));
  EXPECT_EQ(reasonOf(error), "4864: out of range");
  EXPECT_EQ(raisedByReading(probeWith()), "NSRangeException: out of range");
}

TEST(NSKeyedUnarchiver, TakesNilForAnObject) {
  Probe::decode = [](const NSCoder&, const Ref<Probe>&) -> id { return id(); };
  NSError error;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<Probe>(probeWith(), &error));
  EXPECT_FALSE(error);
  // Another object than the one that was made.
  Probe::decode = [](const NSCoder&, const Ref<Probe>&) -> id { return NSString("instead"); };
  EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(probeWith()), NSString("instead"));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<Probe>(probeWith()));  // a typed handle holds none
}

TEST(NSKeyedUnarchiver, AnswersNilForNilAndNoRoot) {
  NSError error;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(nullptr));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<NSString>(nullptr, &error));
  EXPECT_EQ(reasonOf(error), "4864: There is no data.");
  EXPECT_FALSE(NSKeyedUnarchiver::initForReadingFromData_error(nullptr));

  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  archiver.encodeInt_forKey(1, "x");
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<NSString>(archiver.encodedData(), &error));
  EXPECT_EQ(reasonOf(error), "4865: The keyed archive has no root object.");
  EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData(archiver.encodedData()));
  // nil is a root, too.
  error = nullptr;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<NSString>(archive(nullptr), &error));
  EXPECT_FALSE(error);
}

// ---- what is no archive ---------------------------------------------------------------------------------------------

TEST(NSKeyedUnarchiver, RefusesWhatIsNoArchive) {
  struct Row {
    id list;
    std::string reason;
  };
  const auto with = [](const char* key, const id& value) {
    NSMutableDictionary list = listOf(archive(NSString("x"))).mutableCopy();
    list.setObject_forKeyedSubscript(value, key);
    return list;
  };
  const Row rows[] = {
      {NSString("x"), "The property list is no keyed archive."},
      {NSArray{1}, "The property list is no keyed archive."},
      {NSDictionary{{"a", 1}}, "The property list is no keyed archive: it names another archiver or none."},
      {with("$archiver", NSString("NSArchiver")),
       "The property list is no keyed archive: it names another archiver or none."},
      {with("$archiver", NSNumber(1)), "The property list is no keyed archive: it names another archiver or none."},
      {with("$version", nullptr), "The version of the keyed archive is unknown."},
      {with("$version", NSNumber(100001)), "The version of the keyed archive is unknown."},
      {with("$version", NSString("100000")), "The version of the keyed archive is unknown."},
      {with("$objects", nullptr), "The keyed archive has no objects."},
      {with("$objects", NSArray::array()), "The keyed archive has no objects."},
      {with("$objects", NSDictionary::dictionary()), "The keyed archive has no objects."},
      {with("$top", nullptr), "The keyed archive has no top."},
      {with("$top", uid(1)), "The keyed archive has no top."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.list.description().str());
    for (const NSPropertyListFormat format : {NSPropertyListBinaryFormat_v1_0, NSPropertyListXMLFormat_v1_0}) {
      const NSData data = write(row.list, format);
      EXPECT_EQ(
          raisedByReading(data),
          "NSInvalidArgumentException: *** -[NSKeyedUnarchiver initForReadingWithData:]: incomprehensible archive: " +
              row.reason);
      NSError error;
      EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<NSString>(data, &error));
      EXPECT_EQ(reasonOf(error), "4864: " + row.reason);
    }
  }
  EXPECT_EQ(
      raisedByReading(NSData(std::string_view("junk"))),
      "NSInvalidArgumentException: *** -[NSKeyedUnarchiver initForReadingWithData:]: incomprehensible archive: The "
      "data is neither a binary nor an XML property list.");
}

TEST(NSKeyedUnarchiver, RefusesTwistedArchives) {
  struct Row {
    NSArray objects;  // from UID 1 on
    id root;
    std::string reason;
  };
  const NSDictionary array = classNamed("NSArray");
  const Row rows[] = {
      {{"x"}, uid(2), "The value for key 'root' is object 2 of 2."},
      {{"x"}, uid(UINT64_MAX), "The value for key 'root' is object 18446744073709551615 of 2."},
      {{"x"}, NSString("x"), "The value for key 'root' is no object."},
      {{"x"}, NSArray{uid(1)}, "The value for key 'root' is no object."},
      {{uid(2), "x"}, uid(1), "Object 1 is none. "},
      {{NSArray{1}}, uid(1), "Object 1 has no class."},
      {{NSDictionary::dictionary()}, uid(1), "Object 1 has no class."},
      {{NSDictionary{{"$class", "NSArray"}}}, uid(1), "Object 1 has no class."},
      {{NSDictionary{{"$class", uid(7)}}}, uid(1), "Object 1 has no class."},
      {{NSDictionary{{"$class", uid(0)}}}, uid(1), "Object 1 has no class."},
      {{NSDictionary{{"$class", uid(1)}}}, uid(1), "Object 1 has no class."},
      {{NSDictionary{{"$class", uid(2)}}, "NSArray"}, uid(1), "Object 1 has no class."},
      {{NSDictionary{{"$class", uid(2)}}, NSDictionary{{"$classname", 7}}}, uid(1), "Object 1 has no class."},
      {{NSDictionary{{"$class", uid(2)}}, NSDictionary{{"$classname", uid(3)}}, "NSArray"},
       uid(1),
       "Object 1 has no class."},
      {{NSDictionary{{"$class", uid(2)}}, classNamed("")},
       uid(1),
       "cannot decode object of class () for key (root); the class may be defined in source code or a library that is "
       "not "
       "linked"},
      {{NSDictionary{{"$class", uid(2)}}, classNamed("NotCodable")},
       uid(1),
       "Class 'NotCodable' for key 'root' does not answer initWithCoder:."},
      {{NSDictionary{{"$class", uid(2)}}, classNamed("NSObject")},
       uid(1),
       "Class 'NSObject' for key 'root' does not answer initWithCoder:."},
      {{NSDictionary{{"$class", uid(2)}}, classNamed("NSKeyedUnarchiver")},
       uid(1),
       "Class 'NSKeyedUnarchiver' for key 'root' does not answer initWithCoder:."},
      // A class's description as an object, and an array in the place of one.
      {{NSDictionary{{"$class", uid(2)}, {"NS.objects", NSArray{uid(2)}}}, array}, uid(1), "Object 2 has no class."},
      // A list that is its own element, and one that is its own class.
      {{NSDictionary{{"$class", uid(2)}, {"NS.objects", NSArray{uid(1), uid(9)}}}, array},
       uid(1),
       "The value for key 'NS.objects' is object 9 of 3."},
      {{NSDictionary{{"$class", uid(1)}, {"$classname", "NSArray"}, {"NS.objects", NSArray{uid(8)}}}},
       uid(1),
       "The value for key 'NS.objects' is object 8 of 2."},
  };
  for (const Row& row : rows) {
    const NSData data = archiveOf(row.objects, row.root);
    SCOPED_TRACE(meaning(row.objects));
    EXPECT_EQ(raisedByReading(data), "NSInvalidUnarchiveOperationException: " + row.reason);
    NSError error;
    EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error({classOf<NSObject>()}, data, &error));
    EXPECT_EQ(reasonOf(error), "4864: " + row.reason);
  }
}

TEST(NSKeyedUnarchiver, ReadsTheFirstOfEqualKeysAndNoMore) {
  // A dictionary of a property list whose keys come twice can only be made by hand; it is one that reads, not one that
  // hurts.
  BinaryList list{{
      "\xD4\x01\x02\x03\x04\x05\x06\x07\x08",  // top
      "\x58$version",
      "\x59$archiver",
      "\x54$top",
      "\x58$objects",
      "\x12" + BinaryList::bigEndian(100000, 4),
      "\x5F\x10\x0FNSKeyedArchiver",
      "\xD2\x09\x09\x0A\x0B",  // root twice
      "\xA3\x0C\x0D\x0E",
      "\x54root",
      std::string("\x80\x01", 2),
      std::string("\x80\x02", 2),
      "\x55$null",
      "\x51"
      "a",
      "\x51"
      "b",
  }};
  EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(NSData(std::string_view(list.bytes()))), NSString("a"));
}

TEST(NSKeyedUnarchiver, DecodesEachObjectOnce) {
  // Each level holds the next one twice; two to the 200th, if they were counted.
  NSMutableArray objects = NSMutableArray::arrayWithObject(classNamed("NSArray"));
  for (NSUInteger i = 2; i < 200; ++i) {
    objects.addObject(NSDictionary{{"$class", uid(1)}, {"NS.objects", NSArray{uid(i + 1), uid(i + 1)}}});
  }
  objects.addObject("end");
  const NSArray back = NSKeyedUnarchiver::unarchiveObjectWithData(archiveOf(objects, uid(2))).as<NSArray>();
  ASSERT_TRUE(back);
  EXPECT_TRUE(isIdentical(back[0], back[1]));
}

TEST(NSKeyedUnarchiver, EndsWhereKeysTakeTooLongToBeToldApart) {
  const auto array = [](const NSArray& elements) { return NSDictionary{{"$class", uid(1)}, {"NS.objects", elements}}; };
  const auto set = [](const NSArray& elements) { return NSDictionary{{"$class", uid(2)}, {"NS.objects", elements}}; };
  NSMutableArray objects = NSMutableArray::arrayWithObjects(classNamed("NSArray"), classNamed("NSSet"), "end");
  const auto add = [&objects](const NSDictionary& object) {
    objects.addObject(object);
    return uid(objects.count());
  };
  // Each level holds the next one and a list of it: two to the 40th comparisons.
  id twins[2];
  for (id& twin : twins) {
    twin = uid(3);
    for (int i = 0; i < 40; ++i) {
      const id list = add(array({twin}));
      twin = add(set({twin, list}));
    }
  }
  NSError error;
  const id root = add(set({twins[0], twins[1]}));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error({classOf<NSObject>()},
                                                                           archiveOf(objects, root), &error));
  EXPECT_EQ(reasonOf(error), "4864: A key or an element of a set is too large a collection.");

  // Lists that differ below what their hashes see.
  objects = NSMutableArray::arrayWithObjects(classNamed("NSArray"), classNamed("NSSet"), "end");
  NSMutableArray elements = NSMutableArray::array();
  for (int i = 0; i < 4000; ++i) {
    objects.addObject(i);
    id list = uid(objects.count());
    for (int level = 0; level < 4; ++level) list = add(array({list}));
    elements.addObject(list);
  }
  const id many = add(set(elements));
  error = nullptr;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error({classOf<NSObject>()},
                                                                           archiveOf(objects, many), &error));
  EXPECT_EQ(reasonOf(error), "4864: Keys or elements of sets take too long to be told apart.");

  // What people put into sets and keys goes through.
  NSMutableSet pairs = NSMutableSet::set();
  NSMutableDictionary byPair = NSMutableDictionary::dictionary();
  for (int i = 0; i < 20000; ++i) {
    pairs.addObject(NSArray{i, i % 7});
    byPair.setObject_forKey(i, NSArray{i % 7, NSSet{i}});
  }
  const NSArray both = {pairs, byPair};
  EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(archive(both)), both);
}

TEST(NSKeyedUnarchiver, DoesNotGoBackToAnObjectThatRaised) {
  int calls = 0;
  Probe::decode = [&](const NSCoder&, const Ref<Probe>&) -> id {
    ++calls;
    NSException("NSRangeException", "again").raise();
  };
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(probeWith());
  EXPECT_EQ(raised([&] { return unarchiver.decodeObjectForKey("root"); }), "NSRangeException: again");
  EXPECT_FALSE(unarchiver.decodeObjectForKey("root"));
  EXPECT_EQ(calls, 1);
}

TEST(NSKeyedUnarchiver, ReadsXML) {
  auto dog = make<Dog>();
  dog->name = "Zoë <&>";
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(true);
  archiver.setOutputFormat(NSPropertyListXMLFormat_v1_0);
  archiver.encodeObject_forKey(NSArray{dog, dog}, "root");
  const NSArray back = NSKeyedUnarchiver::unarchiveObjectWithData(archiver.encodedData()).as<NSArray>();
  EXPECT_EQ(back[0].as<Dog>()->name, "Zoë <&>");
  EXPECT_TRUE(isIdentical(back[0], back[1]));
}

TEST(NSKeyedUnarchiver, KeepsTheDataAsItWas) {
  const NSMutableData data = NSMutableData::dataWithData(archive(NSArray{"abcdef", NSData(std::string_view("ghi"))}));
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(data);
  data.resetBytesInRange({0, data.length()});
  EXPECT_EQ(unarchiver.decodeObjectForKey("root"), (NSArray{"abcdef", NSData(std::string_view("ghi"))}));
}

/// A key of a client's class: one that is copied, one that cannot be.
class Key : public NSObject {
 public:
  void encodeWithCoder(const NSCoder&) {}
  id initWithCoder(const NSCoder&) { return Ref<Key>(this); }
  id copyWithZone() { return copied; }
  static inline id copied;
  KVT_CLASS(Key)
};
class PlainKey : public NSObject {
 public:
  void encodeWithCoder(const NSCoder&) {}
  id initWithCoder(const NSCoder&) { return Ref<PlainKey>(this); }
  KVT_CLASS(PlainKey)
};

TEST(NSKeyedUnarchiver, CopiesKeys) {
  const auto dictionaryWith = [](const char* keyClass) {
    return archiveOf({NSDictionary{{"$class", uid(2)}, {"NS.keys", NSArray{uid(3)}}, {"NS.objects", NSArray{uid(5)}}},
                      classNamed("NSDictionary"), NSDictionary{{"$class", uid(4)}, {"NS.string", "k"}},
                      classNamed(keyClass), "value"});
  };
  const NSDictionary text =
      NSKeyedUnarchiver::unarchiveObjectWithData(dictionaryWith("NSMutableString")).as<NSDictionary>();
  EXPECT_EQ(text["k"], NSString("value"));
  EXPECT_FALSE(text.allKeys()[0].is<NSMutableString>());
  Key::copied = NSString("copy");
  EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(dictionaryWith("Key")), (NSDictionary{{"copy", "value"}}));
  const std::string reason = "NSInvalidUnarchiveOperationException: A dictionary has a key that cannot be copied.";
  Key::copied = nullptr;
  EXPECT_EQ(raisedByReading(dictionaryWith("Key")), reason);
  EXPECT_EQ(raisedByReading(dictionaryWith("PlainKey")), reason);
}

}  // namespace
}  // namespace kvt
