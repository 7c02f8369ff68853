#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class User : public NSObject {
 public:
  int64_t uid = 0;
  NSString name;
  bool vip = false;
  KVT_MODEL(User, uid, name, vip)
};
// <<<

int main() {
  // >>>
  Ref<User> user = kvt_modelWithJSON<User>(R"({"uid": "7", "name": "Zoë", "vip": "yes"})");
  std::cout << user->name << " is number " << user->uid << "\n";  // Zoë is number 7
  std::cout << kvt_modelToJSONString(user) << "\n";               // {"uid":7,"name":"Zoë","vip":true}
  // <<<
}
