// Refused: no (known|viable) conversion|conversion from|could not convert
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  KVT_MODEL(Model)
};
class Sub : public Model {
 public:
  KVT_MODEL(Sub)
};

Ref<Sub> use(const Ref<Model>& model) { return model; }
