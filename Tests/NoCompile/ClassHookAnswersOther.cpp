// Refused: modelCustomPropertyMapper is looked for by this name and must be static with its signature
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  static NSArray modelCustomPropertyMapper() { return {"x"}; }
  KVT_MODEL(Model, name)
};
