// Refused: name the fields of this type with KVT_STRUCT_ENCODING
#include <KVTFoundation/KVTModelKit/KVTModel.h>

struct Pair {
  int a, b;
};

class Model : public kvt::NSObject {
 public:
  Pair pair;
  KVT_MODEL(Model, pair)
};
