// Refused: NSObject|KVTClassType
#include <KVTFoundation/KVTModelKit/KVTModel.h>

class Model {
 public:
  kvt::NSString name;
  KVT_MODEL(Model, name)
};
