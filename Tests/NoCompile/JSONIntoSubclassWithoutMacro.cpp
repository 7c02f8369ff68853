// Refused: derives from a described one but has no KVT_CLASS or KVT_MODEL of its own
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  KVT_MODEL(Model, name)
};
class Sub : public Model {};

id use() { return kvt_modelWithJSON<Sub>("{}"); }
