// Refused: description is looked for by this name and must have its signature
#include <KVTFoundation/KVTModelKit/KVTModel.h>

#include <string>

using namespace kvt;

class Model : public NSObject {
 public:
  NSString name;
  std::string description() const { return "x"; }
  KVT_MODEL(Model, name)
};
