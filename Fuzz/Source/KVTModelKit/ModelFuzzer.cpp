// Any bytes as JSON into models of several shapes, and back. What is held here, whatever the bytes:
//   - text and the dictionary that it stands for make the same model, or none;
//   - a model that came out has a description, and a copy of it writes the same JSON;
//   - its JSON text, when it has one, is JSON, and the model made of that writes the same JSON again;
//   - the builders of arrays and dictionaries of models hold nothing but models.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSSet.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace kvt;

/// One property of each kind, and models in models.
class FuzzPlain : public NSObject {
 public:
  bool flag = false;
  std::int8_t int8 = 0;
  std::uint8_t uint8 = 0;
  std::int16_t int16 = 0;
  std::uint16_t uint16 = 0;
  std::int32_t int32 = 0;
  std::uint32_t uint32 = 0;
  std::int64_t int64 = 0;
  std::uint64_t uint64 = 0;
  float real32 = 0;
  double real64 = 0;
  long double real80 = 0;
  NSString text;
  NSMutableString changing;
  NSNumber number;
  NSDecimalNumber decimal;
  NSValue value;
  NSURL url;
  NSDate date;
  NSData data;
  NSArray list;
  NSMutableArray changingList;
  NSDictionary map;
  NSMutableDictionary changingMap;
  NSSet set;
  NSMutableSet changingSet;
  id any;
  Class cls;
  SEL sel;
  Block<void()> block;
  void* pointer = nullptr;
  CGSize size;
  Ref<FuzzPlain> next;
  NSArray models;
  NSDictionary modelsByName;
  NSSet modelSet;
  static NSDictionary modelContainerPropertyGenericClass() {
    return {{"models", classOf<FuzzPlain>()}, {"modelsByName", "FuzzPlain"}, {"modelSet", "FuzzPlain"}};
  }
  KVT_MODEL(FuzzPlain, flag, int8, uint8, int16, uint16, int32, uint32, int64, uint64, real32, real64, real80, text,
            changing, number, decimal, value, url, date, data, list, changingList, map, changingMap, set, changingSet,
            any, cls, sel, block, pointer, size, next, models, modelsByName, modelSet)
};

/// Keys of every kind, meeting each other.
class FuzzKeys : public NSObject {
 public:
  NSString a, b, c, d, e, f, g, h;
  id any;
  Ref<FuzzKeys> next;
  static NSArray modelPropertyBlacklist() { return {"h"}; }
  static NSDictionary modelCustomPropertyMapper() {
    return {{"a", "k"},   {"b", "k"},    {"c", "p.q"},   {"d", "p.r.s"},    {"e", NSArray{"id", "ID", "p.id"}},
            {"f", "k.l"}, {"g", "p..q"}, {"any", "any"}, {"next", "p.next"}};
  }
  KVT_MODEL(FuzzKeys, a, b, c, d, e, f, g, h, any, next)
};

/// Hooks that choose, rewrite, refuse and extend.
class FuzzHooks : public NSObject {
 public:
  NSString kind;
  std::int64_t count = 0;
  Ref<FuzzHooks> next;
  NSArray list;
  KVT_MODEL(FuzzHooks, kind, count, next, list)

 private:
  static NSDictionary modelContainerPropertyGenericClass() { return {{"list", "FuzzHooks"}}; }
  static Class modelCustomClassForDictionary(const NSDictionary& dictionary);
  NSDictionary modelCustomWillTransformFromDictionary(const NSDictionary& dictionary) {
    if (dictionary["no"]) return {};
    NSMutableDictionary changed = dictionary.mutableCopy();
    if (!changed["count"]) changed.setObject_forKey(1, "count");
    return changed;
  }
  bool modelCustomTransformFromDictionary(const NSDictionary& dictionary) { return !dictionary["refuse"]; }
  bool modelCustomTransformToDictionary(const NSMutableDictionary& dictionary) {
    dictionary.setObject_forKey("yes", "extended");
    return count >= 0;
  }
};
class FuzzChosen : public FuzzHooks {
 public:
  NSString own;
  KVT_MODEL(FuzzChosen, own)
};
Class FuzzHooks::modelCustomClassForDictionary(const NSDictionary& dictionary) {
  const NSString kind = dictionary["kind"].as<NSString>();
  if (kind == "chosen") return classOf<FuzzChosen>();
  if (kind == "plain") return classOf<FuzzPlain>();
  return {};
}

void check(bool holds, const char* what, const id& object) {
  if (holds) return;
  std::fprintf(stderr, "%s:\n%s\n", what, kvt_modelDescription(object).str().c_str());
  std::abort();
}

/// A model's description without the addresses in it.
std::string described(const id& model) {
  std::string text = kvt_modelDescription(model).str(), plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isAddress = text.compare(i, 4, ": 0x") == 0;
    if (isAddress) i = std::min(text.find_first_not_of("0123456789abcdef", i + 4), text.size() - 1);
    plain += text[i];
  }
  return plain;
}

/// The model's JSON as it comes back from its text; nil when it has none.
id throughText(const id& model) {
  const NSData data = kvt_modelToJSONData(model);
  const id object = kvt_modelToJSONObject(model);
  check(data == (NSJSONSerialization::isValidJSONObject(object)
                     ? NSJSONSerialization::dataWithJSONObject_options_error(object)
                     : NSData()),
        "the text is not that of the JSON object", model);
  if (!data) return {};
  const id json = NSJSONSerialization::JSONObjectWithData_options_error(data);
  check(json.is<NSDictionary>(), "the text of a model is no JSON object", model);
  const NSString text = kvt_modelToJSONString(model);
  check(text.utf8() == data.view(), "text and bytes differ", model);
  return json;
}

void checkModel(Class cls, const id& model) {
  check(static_cast<bool>(kvt_modelDescription(model)), "no description", model);
  const id copy(adopt, class_createInstance(model.class_()));
  kvt_modelSetWithModel(copy, model);
  const id first = throughText(model);
  check(first == throughText(copy), "a copy writes other JSON", model);
  if (!first) return;
  const id again = kvt_modelWithJSON(cls, first);
  if (!again) return;  // refused by a hook
  const id second = throughText(again);
  if (!second) return;
  const id third = throughText(kvt_modelWithJSON(cls, second));
  check(second == third, "the second round differs", model);
  if (cls == classOf<FuzzPlain>()) check(first == second, "the first round differs", model);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
  const NSData data = NSData::dataWithBytes_length(bytes, size);
  const id object = NSJSONSerialization::JSONObjectWithData_options_error(data);
  for (Class cls : {classOf<FuzzPlain>(), classOf<FuzzKeys>(), classOf<FuzzHooks>()}) {
    const id model = kvt_modelWithJSON(cls, data), same = kvt_modelWithDictionary(cls, object);
    check(static_cast<bool>(model) == static_cast<bool>(same) && described(model) == described(same),
          "two ways, two models", model);
    if (model) checkModel(cls, model);
    const NSArray list = kvt_modelArrayWithClass_json(cls, data);
    for (const id& each : list)
      check(each.isKindOfClass(classOf<NSObject>()) && !each.is<NSDictionary>(), "no model", each);
    if (list.count() > 0) check(static_cast<bool>(kvt_modelToJSONObject(list)), "no JSON of a list of models", list);
    const NSDictionary map = kvt_modelDictionaryWithClass_json(cls, data);
    for (const auto& [key, each] : map) check(key.is<NSString>() && !each.is<NSDictionary>(), "no model", each);
  }
  // Text goes the same way as bytes.
  if (const NSString text = NSString(std::string_view(reinterpret_cast<const char*>(bytes), size))) {
    const id fromText = kvt_modelWithJSON(classOf<FuzzPlain>(), text),
             fromData = kvt_modelWithJSON(classOf<FuzzPlain>(), data);
    check(!fromText || fromData, "read as text, not as bytes", fromText);
  }
  return 0;
}
