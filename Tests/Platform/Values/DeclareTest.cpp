// How classes are declared: what the macro makes of members, overrides and bases.
#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

namespace kvt {
namespace {

class Later;

class Earlier : public NSObject {
 public:
  Ref<Later> later;
  Weak<Earlier> parent;
  NSMutableString notes;
  NSArray list;
  kvt::id anything;
  Block<void()> action;
  SEL selector;
  Class cls;
  const char* text = nullptr;
  void* pointer = nullptr;
  int id = 0;  // a member of this name does no harm
  KVT_CLASS(Earlier, later, parent, notes, list, anything, action, selector, cls, text, pointer, id)
};

class Later : public Earlier {
 public:
  Ref<Earlier> earlier;
  KVT_CLASS(Later, earlier)

 private:
  std::uint64_t hash() const { return 42; }
  bool isEqual(const kvt::id& other) const { return other.is<Later>(); }
  kvt::id copyWithZone() const { return make<Later>(); }
};

class Latest : public Later {
 public:
  KVT_CLASS(Latest)
};

class Private : public NSObject {
 public:
  KVT_CLASS(Private, secret_)

 private:
  Private() = default;
  int secret_ = 3;
};

class Needy : public NSObject {
 public:
  explicit Needy(int n) : value(n) {}
  int value;
  KVT_CLASS(Needy, value)
};

class LongForm : public NSObject {
 public:
  NSString title() const { return "made"; }
  void play_at(const NSString&, double) {}
  NSString stored;
  NSArray tracks;
  NSString assigned;
  static void kvtDescribe(ClassBuilder<LongForm>& c) {
    c.protocol("Playable").protocol("Seekable");
    c.propertyOf<NSString>("title", {.readonly = true}).method<&LongForm::title>("title");
    c.property<&LongForm::stored>("stored", {.atomic = true, .getter = "getStored", .setter = "storeIt:"});
    c.property<&LongForm::tracks>("tracks", {.protocols = "Track,Other"});
    c.property<&LongForm::assigned>("assigned", {.readonly = true, .ownership = Ownership::kStrong});
    c.propertyOf<int>("later", {.dynamic = true});
    c.method<&LongForm::play_at>("play:at:");
  }
  KVT_CLASS_NAMED(LongForm, "media.Track")
};

std::string attributes(Class cls, const char* name) {
  const char* text = property_getAttributes(class_getProperty(cls, name));
  return text != nullptr ? text : "";
}

TEST(Declare, AttributesFollowFromMembers) {
  struct Row {
    const char* name;
    const char* attributes;
  };
  const Row rows[] = {
      {"later", "T@\"Later\",&,N,Vlater"},
      {"parent", "T@\"Earlier\",W,N,Vparent"},
      {"notes", "T@\"NSMutableString\",&,N,Vnotes"},
      {"list", "T@\"NSArray\",&,N,Vlist"},
      {"anything", "T@,&,N,Vanything"},
      {"action", "T@?,C,N,Vaction"},
      {"selector", "T:,N,Vselector"},
      {"cls", "T#,N,Vcls"},
      {"text", "Tr*,N,Vtext"},
      {"pointer", "T^v,N,Vpointer"},
      {"id", "Ti,N,Vid"},
  };
  for (const Row& row : rows) EXPECT_EQ(attributes(classOf<Earlier>(), row.name), row.attributes);
}

TEST(Declare, LongFormSaysTheRest) {
  const Class cls = objc_getClass("media.Track");
  ASSERT_EQ(cls, classOf<LongForm>());
  EXPECT_EQ(attributes(cls, "title"), "T@\"NSString\",R,C,N");
  EXPECT_EQ(attributes(cls, "stored"), "T@\"NSString\",C,GgetStored,SstoreIt:,Vstored");
  EXPECT_EQ(attributes(cls, "tracks"), "T@\"NSArray<Track><Other>\",&,N,Vtracks");
  EXPECT_EQ(attributes(cls, "assigned"), "T@\"NSString\",R,&,N,Vassigned");
  EXPECT_EQ(attributes(cls, "later"), "Ti,D,N");
  EXPECT_TRUE(class_conformsToProtocol(cls, objc_getProtocol("Seekable")));
  EXPECT_TRUE(class_respondsToSelector(cls, "storeIt:"));
  EXPECT_FALSE(class_respondsToSelector(cls, "setStored:"));
  EXPECT_FALSE(class_respondsToSelector(cls, "setAssigned:"));
  EXPECT_FALSE(class_respondsToSelector(cls, "later"));
  EXPECT_STREQ(method_getTypeEncoding(class_getInstanceMethod(cls, "play:at:")), "v32@0:8@16d24");
}

TEST(Declare, SuperclassIsTheNearestDescribedBase) {
  EXPECT_EQ(class_getSuperclass(classOf<Later>()), classOf<Earlier>());
  EXPECT_EQ(class_getSuperclass(classOf<Latest>()), classOf<Later>());
  EXPECT_TRUE(Ref<Earlier>(make<Latest>()));
}

TEST(Declare, OverridesAreMethodsOfTheirClassAlone) {
  id a = make<Later>();
  id b = make<Later>();
  EXPECT_EQ(a.hash(), 42u);
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(isIdentical(a.copy(), a));
  EXPECT_TRUE(a.copy().is<Later>());
  // Inherited ones stay where they were declared.
  EXPECT_TRUE(class_copyMethodList(classOf<Latest>()).empty());
  EXPECT_EQ(id(make<Latest>()).hash(), 42u);
  EXPECT_NE(id(make<Earlier>()).hash(), 42u);
}

TEST(Declare, PrivateMembersAndConstructorsCount) {
  id object(adopt, class_createInstance(classOf<Private>()));
  ASSERT_TRUE(object);
  EXPECT_EQ(object.valueForKey("secret_"), NSNumber(3));
}

TEST(Declare, ClassesThatNeedArgumentsAreNotCreatedByName) {
  EXPECT_EQ(class_createInstance(classOf<Needy>()), nullptr);
  EXPECT_EQ(make<Needy>(5)->value, 5);
  // Nor can a class be built on one.
  Class cls = objc_allocateClassPair(classOf<Needy>(), "Needier");
  objc_registerClassPair(cls);
  EXPECT_EQ(class_createInstance(cls), nullptr);
}

TEST(Declare, CopySettersCopyAndWeakOnesLetGo) {
  auto form = make<LongForm>();
  const id text = NSString("x").mutableCopy();
  objc_msgSend(form, "storeIt:", text);
  EXPECT_EQ(form->stored, NSString("x"));
  EXPECT_FALSE(isIdentical(form->stored, text));

  auto child = make<Earlier>();
  auto parent = make<Earlier>();
  objc_msgSend(child, "setParent:", parent);
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(child, "parent"), parent));
  parent = nullptr;
  EXPECT_FALSE(objc_msgSend<id>(child, "parent"));
}

TEST(Declare, MembersHoldTheirOwnKindOnly) {
  auto object = make<Earlier>();
  objc_msgSend(object, "setNotes:", NSString("immutable"));
  EXPECT_FALSE(object->notes);
  objc_msgSend(object, "setLater:", make<Earlier>());
  EXPECT_FALSE(object->later);
  objc_msgSend(object, "setLater:", make<Latest>());
  EXPECT_TRUE(object->later);
  objc_msgSend(object, "setAction:", Block<void()>([] {}));
  EXPECT_TRUE(object->action);
  objc_msgSend(object, "setAction:", Block<int()>([] { return 1; }));
  EXPECT_FALSE(object->action);
  objc_msgSend(object, "setAnything:", NSNumber(1));
  EXPECT_EQ(object->anything, NSNumber(1));
}

namespace first {
class Twin : public NSObject {
 public:
  int a = 0;
  KVT_CLASS(Twin, a)
};
}  // namespace first
namespace second {
class Twin : public NSObject {
 public:
  int b = 0;
  KVT_CLASS(Twin, b)
};
}  // namespace second

TEST(Declare, ASecondClassOfANameIsRefusedButUsable) {
  EXPECT_NE(classOf<first::Twin>(), classOf<second::Twin>());
  const Class known = objc_getClass("Twin");
  EXPECT_TRUE(known == classOf<first::Twin>() || known == classOf<second::Twin>());
  EXPECT_EQ(id(make<second::Twin>()).valueForKey("b"), NSNumber(0));
}

}  // namespace
}  // namespace kvt
