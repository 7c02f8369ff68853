// Compiles.
// What the other files do wrong, done right.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSNumber.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  static NSArray modelPropertyBlacklist() { return {"x"}; }
  static NSDictionary modelCustomPropertyMapper() { return {{"name", "n"}}; }
  static Class modelCustomClassForDictionary(const NSDictionary&) { return {}; }
  NSDictionary modelCustomWillTransformFromDictionary(const NSDictionary& dictionary) { return dictionary; }
  bool modelCustomTransformFromDictionary(const NSDictionary&) const { return true; }
  bool modelCustomTransformToDictionary(const NSMutableDictionary&) noexcept { return true; }
  NSString description() const { return name; }
  KVT_MODEL(Model, name)
};
class Sub : public Model {
 public:
  Ref<Sub> next;
  KVT_MODEL(Sub, next)
};

void use() {
  classOf<Sub>();
  id text = NSString("text");
  id yes = NSNumber(true);
  NSNumber number = 5;
  NSArray list = {"text", 5, true, number};
  NSMutableArray changing = list.mutableCopy();
  Ref<Model> model = make<Sub>();
  Ref<Sub> sub = model.as<Sub>();
  kvt_modelWithJSON<Model>("{}");
  static_cast<void>(text), static_cast<void>(yes), static_cast<void>(changing), static_cast<void>(sub);
}
