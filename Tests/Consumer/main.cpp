// The smallest useful program: a model class, JSON in, fields, JSON out.
#include <KVTFoundation/KVTFoundation.h>

#include <cstdio>

using namespace kvt;

class User : public NSObject {
 public:
  int64_t uid = 0;
  NSString name;
  KVT_MODEL(User, uid, name)
};

int main() {
  const Ref<User> user = kvt_modelWithJSON<User>(NSString(R"({"uid": 123456, "name": "Harry"})"));
  if (!user) return 1;
  std::printf("%lld %s\n", static_cast<long long>(user->uid), user->name.UTF8String());
  std::printf("%s\n", kvt_modelToJSONString(user).UTF8String());
}
