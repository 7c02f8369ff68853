// Refused: static
#include <KVTFoundation/KVTModelKit/KVTModel.h>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  NSDictionary modelCustomPropertyMapper() { return {{"name", "n"}}; }
  KVT_MODEL(Model, name)
};
