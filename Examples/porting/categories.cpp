#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

namespace {

// >>>
/// Each word with a capital; nil for nil.
NSString kvt_titled(const NSString& text) { return text.lowercaseString().capitalizedString(); }

/// What messages and the method list shall see of it.
[[maybe_unused]] const Class registered = [] {
  ClassBuilder<NSString> text(classOf<NSString>());
  text.method<&kvt_titled>("kvt_titled");
  return text.registerClass();
}();
// <<<

}  // namespace

int main() {
  // >>>
  std::cout << kvt_titled("the QUICK fox") << "\n";                              // The Quick Fox
  std::cout << kvt_titled(nullptr) << "\n";                                      // (null)
  std::cout << NSString("the QUICK fox").performSelector("kvt_titled") << "\n";  // The Quick Fox
  // <<<
}
