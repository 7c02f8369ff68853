#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;

// >>>
class Period : public NSObject {
 public:
  NSDate begins, ends;
  NSArray notes;

  static NSArray modelPropertyBlacklist() { return {"notes"}; }
  static NSDictionary modelCustomPropertyMapper() { return {{"begins", NSArray{"begin", "from"}}, {"ends", "to"}}; }
  bool modelCustomTransformFromDictionary(const NSDictionary&) { return begins.compare(ends) != NSOrderedDescending; }
  KVT_MODEL(Period, begins, ends, notes)
};
// <<<

int main() {
  // >>>
  Ref<Period> january = kvt_modelWithJSON<Period>(R"({"from": "2024-01-01", "to": "2024-01-31"})");
  Ref<Period> backwards = kvt_modelWithJSON<Period>(R"({"from": "2024-02-01", "to": "2024-01-31"})");
  std::cout << january->ends << "\n";                     // 2024-01-31 00:00:00 +0000
  std::cout << (backwards ? "a period" : "nil") << "\n";  // nil
  // <<<
}
