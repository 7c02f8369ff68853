#include <KVTFoundation/KVTFoundation.h>

#include <iostream>
#include <string>
#include <vector>

using namespace kvt;

int main() {
  // >>>
  NSString line = NSString::stringWithFormat("%@ paid %.2f for %d", "Zoë", 3.5, 2);
  std::cout << line << ", " << line.length() << " units\n";                           // Zoë paid 3.50 for 2, 19 units
  std::cout << line.substringFromIndex(line.rangeOfString("paid").location) << "\n";  // paid 3.50 for 2

  std::string utf8(line);  // to the standard library and back
  std::vector<std::string> words = line.componentsSeparatedByString(" ").toVector<std::string>();
  NSArray sorted = NSArray(words).sortedArrayUsingSelector("compare:");
  std::cout << utf8.size() << ", " << sorted.componentsJoinedByString(" ") << "\n";  // 20, 2 3.50 Zoë for paid
  // <<<
}
