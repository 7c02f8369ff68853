#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

int main() {
  // >>>
  NSDictionary settings = {{"theme", "dark"}, {"size", 12}, {"proxy", NSNull::null()}};
  NSString theme = settings["theme"].as<NSString>();
  NSString font = settings["font"].as<NSString>();                      // no such key: nil
  NSString size = settings["size"].as<NSString>();                      // not a text: nil
  std::cout << theme.uppercaseString() << "\n";                         // DARK
  std::cout << font.uppercaseString().length() << "\n";                 // 0
  std::cout << (size ? "text" : "nil") << "\n";                         // nil
  std::cout << settings["proxy"].is<NSNull>() << "\n";                  // 1
  std::cout << settings["size"].as<NSNumber>().intValue() + 1 << "\n";  // 13
  // <<<
}
