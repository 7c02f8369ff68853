#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class Session : public NSObject {
 public:
  NSString token;
  KVT_CLASS(Session, token)
};
// <<<

int main() {
  // >>>
  NSString name;                                           // nil
  std::cout << name.length() << "\n";                      // 0
  std::cout << (name == nullptr) << (name == "") << "\n";  // 10
  std::cout << (NSNull::null() == nullptr) << "\n";        // 0

  Ref<Session> session;                               // nil
  std::cout << session.get(&Session::token) << "\n";  // (null)
  try {
    session->token = "abc";
  } catch (const NSException& exception) {
    std::cout << exception.reason() << "\n";  // nil Ref<Session> dereferenced
  }
  // <<<
}
