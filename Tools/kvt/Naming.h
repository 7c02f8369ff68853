// Names of properties and classes for keys of JSON, which may be any text.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace kvt::tool {

/// The names of one class's properties, one for each key in its order. A key that can be a property's name is its own
/// name. It cannot when it is no identifier, when C++ keeps the word for itself, when its getter or setter would shadow
/// an operation that every object has (`description`), and when its setter is another key's ("Name" beside "name").
std::vector<std::string> propertyNames(const std::vector<std::string_view>& keys);

/// Hands out names of classes, each once, and none that is registered already.
class ClassNames {
 public:
  /// From the key that leads to the objects: "postal_address" gives PostalAddress. `outer` is the name of the class
  /// whose property it is: it stands in front where the key has no letter to begin with.
  std::string nameFor(std::string_view key, std::string_view outer);
  /// From the key of an array or map, by its singular: "countries" gives Country.
  std::string elementNameFor(std::string_view key, std::string_view outer);

 private:
  std::string unique(const std::string& name);
  std::unordered_set<std::string> taken_;
  std::unordered_map<std::string, unsigned> numbers_;
};

}  // namespace kvt::tool
