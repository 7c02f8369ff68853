// Refused: derives from a described one but has no KVT_CLASS or KVT_MODEL of its own
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  KVT_MODEL(Model, name)
};
class Sub : public Model {};

Ref<Model> use() { return make<Sub>(); }
