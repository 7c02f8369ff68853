#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class Greeter : public NSObject {
 public:
  NSString greet(const NSString& name) const { return NSString("Hello ") + name; }
  /// A dynamic method: its C++ face sends the message.
  NSString part(const NSString& name) const { return objc_msgSend<NSString>(this, "part:", name); }

  static void kvtDescribe(ClassBuilder<Greeter>& c) {
    c.method<&Greeter::greet>("greet:");
    c.method<&Greeter::sayGoodbye>("part:");
  }
  KVT_CLASS(Greeter)

 private:
  NSString sayGoodbye(const NSString& name) const { return NSString("Goodbye ") + name; }
};
// <<<

int main() {
  // >>>
  Class cls = classOf<Greeter>();
  method_exchangeImplementations(class_getInstanceMethod(cls, "greet:"), class_getInstanceMethod(cls, "part:"));

  Ref<Greeter> greeter = make<Greeter>();
  std::cout << greeter->greet("Ann") << "\n";                                       // Hello Ann
  std::cout << objc_msgSend<NSString>(greeter, "greet:", NSString("Ann")) << "\n";  // Goodbye Ann
  std::cout << greeter->part("Ann") << "\n";                                        // Hello Ann
  // <<<
}
