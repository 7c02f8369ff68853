#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class Account : public NSObject {
 public:
  int64_t uid = 0;                // assign
  NSString name;                  // copy
  NSMutableArray messages;        // strong
  Weak<Account> manager;          // weak, zeroing
  Block<void(bool done)> finish;  // copy
  Class rowClass;
  NSUInteger count() const { return messages.count(); }

  static void kvtDescribe(ClassBuilder<Account>& c) {
    c.protocol("Listed");
    c.property<&Account::vip_>("vip", {.getter = "isVip"});
    c.propertyOf<NSUInteger>("count", {.readonly = true}).method<&Account::count>("count");
  }
  KVT_MODEL(Account, uid, name, messages, manager, finish, rowClass)

 private:
  bool vip_ = false;
};
// <<<

int main() {
  // >>>
  Ref<Account> account = make<Account>();
  objc_msgSend(account, "setVip:", true);
  std::cout << objc_msgSend<bool>(account, "isVip") << "\n";  // 1
  Property manager = class_getProperty(classOf<Account>(), "manager");
  std::cout << property_getAttributes(manager) << "\n";                         // T@"Account",W,N,Vmanager
  std::cout << account.conformsToProtocol(objc_getProtocol("Listed")) << "\n";  // 1
  // <<<
}
