// Declares model classes: the macro that describes a class's properties and finds the hooks it implements.
//
//     class User : public NSObject {
//      public:
//       int64_t uid = 0;
//       NSString name;
//       NSArray phones;
//       static NSDictionary modelContainerPropertyGenericClass() { return {{"phones", classOf<Phone>()}}; }
//       KVT_MODEL(User, uid, name, phones)
//     };
//
// Hooks are found by name and signature alone, private ones too; a function of a hook's name with another signature
// does not compile, and a hook that a base class implements is the base's. All are optional:
//
//     static NSArray modelPropertyBlacklist();                 // names of properties that are never mapped
//     static NSArray modelPropertyWhitelist();                 // if given, only these are mapped
//     static NSDictionary modelContainerPropertyGenericClass();// property name → class or class name of the elements
//     static NSDictionary modelCustomPropertyMapper();         // property name → JSON key, "a.b" path, or array of
//     those static Class modelCustomClassForDictionary(const NSDictionary& dictionary); NSDictionary
//     modelCustomWillTransformFromDictionary(const NSDictionary& dictionary); bool
//     modelCustomTransformFromDictionary(const NSDictionary& dictionary); bool modelCustomTransformToDictionary(const
//     NSMutableDictionary& dictionary);
//
// A class with more to say than member names (read-only or computed properties, own accessors, protocols) leaves their
// names out and writes `static void kvtDescribe(ClassBuilder<User>& c)`; both may be used together.
#pragma once

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

#define KVT_MODEL_HOOKS_(builder)                                                                                \
  KVT_CLASS_HOOK_(builder, "modelPropertyBlacklist", modelPropertyBlacklist, ::kvt::NSArray)                     \
  KVT_CLASS_HOOK_(builder, "modelPropertyWhitelist", modelPropertyWhitelist, ::kvt::NSArray)                     \
  KVT_CLASS_HOOK_(builder, "modelContainerPropertyGenericClass", modelContainerPropertyGenericClass,             \
                  ::kvt::NSDictionary)                                                                           \
  KVT_CLASS_HOOK_(builder, "modelCustomPropertyMapper", modelCustomPropertyMapper, ::kvt::NSDictionary)          \
  KVT_CLASS_HOOK_(builder, "modelCustomClassForDictionary:", modelCustomClassForDictionary, ::kvt::Class,        \
                  ::kvt::NSDictionary)                                                                           \
  KVT_INSTANCE_HOOK_(builder, "modelCustomWillTransformFromDictionary:", modelCustomWillTransformFromDictionary, \
                     ::kvt::NSDictionary, ::kvt::NSDictionary)                                                   \
  KVT_INSTANCE_HOOK_(builder, "modelCustomTransformFromDictionary:", modelCustomTransformFromDictionary, bool,   \
                     ::kvt::NSDictionary)                                                                        \
  KVT_INSTANCE_HOOK_(builder, "modelCustomTransformToDictionary:", modelCustomTransformToDictionary, bool,       \
                     ::kvt::NSMutableDictionary)

/// Describes a model class; the arguments are the members that become properties.
#define KVT_MODEL(Self, ...) KVT_DESCRIBE_(Self, #Self, KVT_MODEL_HOOKS_, __VA_ARGS__)
/// The same under another name than the C++ one: KVT_MODEL_NAMED(Track, "media.Track", title).
#define KVT_MODEL_NAMED(Self, Name, ...) KVT_DESCRIBE_(Self, Name, KVT_MODEL_HOOKS_, __VA_ARGS__)
