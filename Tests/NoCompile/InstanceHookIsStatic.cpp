// Refused: modelCustomTransformFromDictionary is looked for by this name
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  static bool modelCustomTransformFromDictionary(const NSDictionary&) { return true; }
  KVT_MODEL(Model, name)
};
