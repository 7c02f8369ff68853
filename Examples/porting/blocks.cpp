#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
using Completion = Block<void(const NSString& result, const NSError& error)>;

void fetch(const NSString& name, const Completion& completion) {
  completion(NSString("fetched ") + name, nullptr);  // a nil block would be called without effect
}
// <<<

int main() {
  // >>>
  NSMutableArray results = NSMutableArray::array();
  fetch("a.txt", [results](const NSString& result, const NSError&) { results.addObject(result); });
  std::cout << results.firstObject() << "\n";  // fetched a.txt

  NSArray words = {"pear", "fig", "banana"};
  NSArray byLength = words.sortedArrayUsingComparator(
      [](const id& a, const id& b) { return NSNumber(a.as<NSString>().length()).compare(b.as<NSString>().length()); });
  std::cout << byLength.componentsJoinedByString(" ") << "\n";  // fig pear banana
  // <<<
}
