// What the tests of the model kit share: classes built by hand, their metas, and JSON.
#pragma once

#include <KVTFoundation/KVTModelKit/ModelMeta.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSSet.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kvt::modeltest {

/// Builds a class without a C++ type. Names are shared by the whole executable: each test takes its own.
class ClassMaker {
 public:
  explicit ClassMaker(const std::string& name, Class superclass = classOf<NSObject>())
      : cls_(objc_allocateClassPair(superclass, name)) {
    EXPECT_TRUE(cls_) << name << " is taken";
  }
  ~ClassMaker() { make(); }
  ClassMaker(const ClassMaker&) = delete;
  ClassMaker& operator=(const ClassMaker&) = delete;

  /// A property with an ivar and accessors: property("title", "@\"NSString\"", "C").
  ClassMaker& property(const std::string& name, const std::string& type, const std::string& attribute = "") {
    std::vector<PropertyAttribute> attributes = {{"T", type}};
    if (!attribute.empty()) {
      attributes.push_back({attribute, ""});
    } else if (type.starts_with("@")) {
      attributes.push_back({"&", ""});
    }
    attributes.push_back({"N", ""});
    EXPECT_TRUE(class_synthesizeProperty(cls_, name, attributes)) << name;
    return *this;
  }
  /// A property as these attributes describe it, with nothing behind it.
  ClassMaker& describe(const std::string& name, const std::vector<PropertyAttribute>& attributes) {
    EXPECT_TRUE(class_addProperty(cls_, name, attributes)) << name;
    return *this;
  }
  template <class F>
  ClassMaker& method(const char* selector, F* function, const char* types) {
    EXPECT_TRUE(class_addMethod(cls_, selector, reinterpret_cast<IMP>(function), types)) << selector;
    return *this;
  }
  template <class F>
  ClassMaker& classMethod(const char* selector, F* function, const char* types) {
    EXPECT_TRUE(
        class_addMethod(object_getClass(class_asObject(cls_)), selector, reinterpret_cast<IMP>(function), types))
        << selector;
    return *this;
  }
  /// A class operation without arguments that answers this object.
  ClassMaker& answers(const char* selector, const id& object) {
    {
      std::lock_guard lock(mutex());
      table()[{cls_.body(), selector}] = object;
    }
    return classMethod(selector, &answer, "@16@0:8");
  }
  /// Registers the class, once.
  Class make() {
    objc_registerClassPair(cls_);
    return cls_;
  }

 private:
  using Table = std::map<std::pair<const void*, std::string>, id>;
  static Table& table() {
    static auto* shared = new Table;
    return *shared;
  }
  static std::mutex& mutex() {
    static auto* shared = new std::mutex;
    return *shared;
  }
  static Object* answer(Object* self, SEL sel) {
    std::lock_guard lock(mutex());
    for (Class cls = object_asClass(self); cls; cls = class_getSuperclass(cls)) {
      auto found = table().find({cls.body(), sel.name()});
      if (found != table().end()) return id(found->second).detach();
    }
    return nullptr;
  }

  Class cls_;
};

inline id newInstance(Class cls) { return id(adopt, class_createInstance(cls)); }

/// The meta of one property, mapped or not; nil when the class has none of that name.
inline Ref<_KVTModelPropertyMeta> metaOf(Class cls, const NSString& name) {
  for (const id& each : _KVTModelMeta::metaWithClass(cls)->allPropertyMetas) {
    if (auto meta = each.as<_KVTModelPropertyMeta>(); meta->name == name) return meta;
  }
  return {};
}

/// Parsed JSON of any kind; nil when it is none.
inline id parse(const NSString& text) {
  return NSJSONSerialization::JSONObjectWithData_options_error(text.dataUsingEncoding(NSUTF8StringEncoding),
                                                               NSJSONReadingAllowFragments, nullptr);
}

using Names = std::vector<std::string>;

/// The names on the chain that a key leads to.
inline Names chain(Class cls, const id& key) {
  Names names;
  for (auto meta = _KVTModelMeta::metaWithClass(cls)->mapper[key].as<_KVTModelPropertyMeta>(); meta;
       meta = meta->next) {
    names.push_back(meta->name.str());
  }
  return names;
}
inline Names chain(Class cls, const char* key) { return chain(cls, NSString(key)); }

/// The names of the metas in a list, sorted.
inline Names namesOf(const NSArray& metas) {
  Names names;
  for (const id& each : metas) names.push_back(each.as<_KVTModelPropertyMeta>()->name.str());
  std::sort(names.begin(), names.end());
  return names;
}
inline Names allNames(Class cls) { return namesOf(_KVTModelMeta::metaWithClass(cls)->allPropertyMetas); }

/// A class with plain text properties.
inline ClassMaker& withText(ClassMaker& maker, const Names& names) {
  for (const std::string& name : names) maker.property(name, "@\"NSString\"", "C");
  return maker;
}

}  // namespace kvt::modeltest
