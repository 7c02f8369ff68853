#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

int main() {
  // >>>
  NSError error;
  NSData text = NSString("{\n  \"name\": \"Ann\",\n  \"age\": 31,,\n}").dataUsingEncoding(NSUTF8StringEncoding);
  id object = NSJSONSerialization::JSONObjectWithData_options_error(text, 0, &error);
  std::cout << object << "\n";  // (null)
  NSString reason = error.userInfo()[NSDebugDescriptionErrorKey].as<NSString>();
  std::cout << reason << "\n";  // No string key for value in object around line 3, column 13.
  // <<<
}
