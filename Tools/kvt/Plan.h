// The classes that a document calls for: names, properties, encodings, and which JSON key fills which property.
//
//     Plan plan = makePlan(schema);
//     for (const auto& cls : plan.classes) for (const PropertyPlan& property : cls->properties) property.encoding;
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <KVTPlatform/Runtime/Class.h>

namespace kvt::tool {

class Schema;
struct ClassPlan;

struct PropertyPlan {
  std::string key;                     // in JSON
  std::string name;                    // of the property
  std::string encoding;                // "q", "@\"NSString\"", …
  const ClassPlan* object = nullptr;   // what an object becomes
  const ClassPlan* element = nullptr;  // what the objects of an array or map become
  bool isMap = false;                  // a dictionary whose keys are data
  std::uint64_t present = 0;           // how many objects have the key

  /// The engine takes "" for "not mapped".
  bool isMapped() const noexcept { return !key.empty(); }
  /// Whether the engine reads the key as a path from object to object.
  bool isPath() const noexcept;
};

struct ClassPlan {
  std::string name;
  std::string place;  // where the first objects of the class stand, "users[].address"
  std::uint64_t objects = 0;
  std::vector<PropertyPlan> properties;
  std::unordered_map<std::string_view, const PropertyPlan*> byKey;
  Class cls;

  bool hasPaths() const noexcept;
};

enum class TopLevel { kObject, kArray, kMap };

struct Plan {
  TopLevel topLevel = TopLevel::kObject;
  std::vector<std::unique_ptr<ClassPlan>> classes;  // the top level's first, then in the order of the document
  std::uint64_t objects = 0;                        // that become instances
  std::uint64_t dictionaries = 0;                   // places whose objects stay dictionaries because there are too many

  const ClassPlan& top() const noexcept { return *classes.front(); }
};

/// Raises a bad-data failure when there is nothing that a class could be made for. `name` is the input's, for its
/// message.
Plan makePlan(const Schema& schema, std::string_view name);

/// A key as it stands in a path: `.name`, or `["a b"]` where it is no plain word. Control characters are escaped.
std::string pathStep(std::string_view key);

}  // namespace kvt::tool
