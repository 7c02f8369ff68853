// Refused: modelCustomTransformFromDictionary is looked for by this name and must have its signature
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  int modelCustomTransformFromDictionary(const NSDictionary&) { return 1; }
  KVT_MODEL(Model, name)
};
