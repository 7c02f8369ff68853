// What the run time's tables know of the categories.
#include <KVTFoundation/Category/Category.h>
#include <KVTFoundation/KVTFoundation.h>
#include <Platform/Values/Raised.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace kvt {
namespace {

bool isListed(Class cls, SEL sel) {
  const std::vector<Method> methods = class_copyMethodList(cls);
  return std::any_of(methods.begin(), methods.end(), [&](Method method) { return method_getName(method) == sel; });
}

TEST(Category, InstanceOperationsAreMethods) {
  const struct {
    Class cls;
    const char* selector;
    const char* types;
  } rows[] = {
      {classOf<NSArray>(), "kvt_isNotBlank", "B16@0:8"},
      {classOf<NSArray>(), "kvt_safeObjectAtIndex:", "@24@0:8Q16"},
      {classOf<NSArray>(), "kvt_safeFirstObject", "@16@0:8"},
      {classOf<NSArray>(), "kvt_safeLastObject", "@16@0:8"},
      {classOf<NSArray>(), "kvt_safeAddObject:", "v24@0:8@16"},
      {classOf<NSArray>(), "kvt_safeInsertObject:atIndex:", "v32@0:8@16Q24"},
      {classOf<NSArray>(), "kvt_safeSubarrayWithRange:", "@32@0:8{_NSRange=QQ}16"},
      {classOf<NSArray>(), "kvt_deepCopy", "@16@0:8"},
      {classOf<NSArray>(), "kvt_mutableDeepCopy", "@16@0:8"},
      {classOf<NSArray>(), "__description", "@16@0:8"},
      {classOf<NSDictionary>(), "kvt_safeObjectForKey:", "@24@0:8@16"},
      {classOf<NSDictionary>(), "kvt_boolForKey:", "B24@0:8@16"},
      {classOf<NSDictionary>(), "kvt_boolForKey:defaultValue:", "B28@0:8@16B24"},
      {classOf<NSDictionary>(), "kvt_URLQueryString", "@16@0:8"},
      {classOf<NSDictionary>(), "kvt_URLQueryStringWithSortedKeys:", "@20@0:8B16"},
      {classOf<NSDictionary>(), "kvt_deepCopy", "@16@0:8"},
      {classOf<NSDictionary>(), "kvt_mutableDeepCopy", "@16@0:8"},
      {classOf<NSDictionary>(), "__description", "@16@0:8"},
      {classOf<NSMutableDictionary>(), "kvt_safeSetObject:forKey:", "v32@0:8@16@24"},
      {classOf<NSMutableDictionary>(), "kvt_safeRemoveObjectForKey:", "v24@0:8@16"},
      {classOf<NSMutableDictionary>(), "kvt_setBool:forKey:", "v28@0:8B16@20"},
      {classOf<NSObject>(), "kvt_JSONString", "@16@0:8"},
      {classOf<NSObject>(), "kvt_modelCopy", "@16@0:8"},
      {classOf<NSObject>(), "kvt_modelHash", "Q16@0:8"},
      {classOf<NSObject>(), "kvt_modelIsEqual:", "B24@0:8@16"},
      {classOf<NSObject>(), "kvt_modelSetWithModel:", "v24@0:8@16"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(class_getName(row.cls)) + " " + row.selector);
    EXPECT_TRUE(isListed(row.cls, row.selector));
    EXPECT_STREQ(method_getTypeEncoding(class_getInstanceMethod(row.cls, row.selector)), row.types);
  }
}

TEST(Category, ClassOperationsAreMethodsOfTheMetaclass) {
  const struct {
    Class cls;
    const char* selector;
    const char* types;
  } rows[] = {
      {classOf<NSDictionary>(), "kvt_dictionaryWithJsonContentFile:", "@24@0:8@16"},
      {classOf<NSError>(), "kvt_errorWithDomain:code:description:", "@40@0:8@16q24@32"},
      {classOf<NSError>(), "kvt_errorWithCode:description:", "@32@0:8q16@24"},
      {classOf<NSError>(), "kvt_errorWithCode:description:failureReason:", "@40@0:8q16@24@32"},
      {classOf<NSArray>(), "kvt_modelArrayWithClass:json:", "@32@0:8#16@24"},
      {classOf<NSDictionary>(), "kvt_modelDictionaryWithClass:json:", "@32@0:8#16@24"},
      {classOf<NSObject>(), "kvt_modelWithJSON:", "@24@0:8@16"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(class_getName(row.cls)) + " " + row.selector);
    EXPECT_TRUE(isListed(object_getClass(class_asObject(row.cls)), row.selector));
    EXPECT_STREQ(method_getTypeEncoding(class_getClassMethod(row.cls, row.selector)), row.types);
    EXPECT_FALSE(isListed(row.cls, row.selector));
  }
}

TEST(Category, WhoAnswersWhat) {
  const NSArray list = {1};
  const NSDictionary dictionary = {{"a", 1}};
  const struct {
    const char* selector;
    id receiver;
    bool answers;
  } rows[] = {
      {"kvt_safeFirstObject", list, true},
      {"kvt_safeFirstObject", list.mutableCopy(), true},
      {"kvt_safeFirstObject", dictionary, false},
      {"kvt_safeObjectForKey:", dictionary, true},
      {"kvt_safeObjectForKey:", dictionary.mutableCopy(), true},
      {"kvt_safeSetObject:forKey:", dictionary, false},
      {"kvt_safeSetObject:forKey:", dictionary.mutableCopy(), true},
      {"kvt_deepCopy", NSSet{1}, false},
      {"kvt_isNotBlank", NSNumber(1), false},
      {"kvt_JSONString", NSNumber(1), true},
      {"kvt_errorWithCode:description:", classOf<NSError>(), true},
      {"kvt_errorWithCode:description:", NSError::errorWithDomain_code_userInfo("d", 1, nullptr), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.selector) + " " + row.receiver.description().str());
    EXPECT_EQ(row.receiver.respondsToSelector(row.selector), row.answers);
  }
}

class CategoryBase : public NSObject {
 public:
  int own() const { return 1; }
  static void kvtDescribe(ClassBuilder<CategoryBase>& c) { c.method<&CategoryBase::own>("own"); }
  KVT_CLASS(CategoryBase)
};
class CategoryDerived : public CategoryBase {
 public:
  KVT_CLASS(CategoryDerived)
};

int added(const Ref<CategoryBase>&, int number) { return number + 1; }
int inPlaceOfOwn(const Ref<CategoryBase>&) { return 2; }
int ofTheClass(Class cls) { return cls == classOf<CategoryDerived>() ? 1 : 0; }

TEST(Category, IsAddedToAClassThatIsThere) {
  const Ref<CategoryDerived> object = make<CategoryDerived>();
  ASSERT_FALSE(object.respondsToSelector("added:"));
  EXPECT_EQ(sendIfAnswered<int>(object, "added:", 41), 0);
  addCategory<CategoryBase>([](ClassBuilder<CategoryBase>& c) {
    c.method<&added>("added:").method<&inPlaceOfOwn>("own").classMethod<&ofTheClass>("ofTheClass");
  });
  EXPECT_EQ(objc_msgSend<int>(object, "added:", 41), 42) << "a cached look-up that found nothing is made again";
  EXPECT_EQ(objc_msgSend<int>(object, "own"), 1) << "the class's own method stands";
  EXPECT_EQ(objc_msgSend<int>(classOf<CategoryDerived>(), "ofTheClass"), 1);
  EXPECT_EQ(objc_msgSend<int>(classOf<CategoryBase>(), "ofTheClass"), 0);
}

TEST(Category, IsSentToWhoAnswers) {
  EXPECT_EQ(sendIfAnswered<NSUInteger>(NSArray{1, 2}, "count"), 2u);
  EXPECT_EQ(sendIfAnswered<NSUInteger>(NSNumber(1), "count"), 0u);
  EXPECT_EQ(sendIfAnswered<NSUInteger>(id(), "count"), 0u);
  EXPECT_FALSE(sendIfAnswered<id>(NSNumber(1), "firstObject"));
  EXPECT_FALSE(sendIfAnswered<bool>(id(), "boolValue"));
}

}  // namespace
}  // namespace kvt
