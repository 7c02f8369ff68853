#include "Selector.h"

#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <unordered_set>

namespace kvt {
namespace {

struct SelectorTable {
  std::shared_mutex mutex;
  std::unordered_set<std::string_view> names;  // each views an immortal, NUL-terminated copy
};

// Never destroyed: selectors are used by static destructors of other units.
SelectorTable& selectorTable() {
  static auto* table = new SelectorTable;
  return *table;
}

}  // namespace

SEL::SEL(std::string_view name) {
  SelectorTable& table = selectorTable();
  {
    std::shared_lock lock(table.mutex);
    if (auto found = table.names.find(name); found != table.names.end()) {
      name_ = found->data();
      return;
    }
  }
  std::unique_lock lock(table.mutex);
  auto found = table.names.find(name);
  if (found == table.names.end()) {
    char* copy = new char[name.size() + 1];
    std::memcpy(copy, name.data(), name.size());
    copy[name.size()] = '\0';
    found = table.names.emplace(copy, name.size()).first;
  }
  name_ = found->data();
}

}  // namespace kvt
