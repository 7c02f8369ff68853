// Refused: modelCustomTransformFromDictionary
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  bool modelCustomTransformFromDictionary(const NSDictionary&) { return true; }
  bool modelCustomTransformFromDictionary(int) { return false; }
  KVT_MODEL(Model, name)
};
