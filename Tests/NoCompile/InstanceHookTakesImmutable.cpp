// Refused: modelCustomTransformToDictionary is looked for by this name and must have its signature
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  bool modelCustomTransformToDictionary(const NSDictionary&) { return true; }
  KVT_MODEL(Model, name)
};
