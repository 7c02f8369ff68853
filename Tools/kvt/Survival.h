// What of a document is still there after a round trip through models, and why the rest is not.
//
//     Survival survival(plan, progress);
//     survival.compare(document, kvt_modelToJSONObject(models));
//     for (const Loss& loss : survival.losses()) loss.count, loss.example, loss.reason;
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <KVTPlatform/Values/id.h>

namespace kvt {
class NSArray;
class NSDictionary;
}  // namespace kvt

namespace kvt::tool {

class Progress;
struct ClassPlan;
struct Plan;
struct PropertyPlan;

/// One kind of difference.
struct Loss {
  std::string_view what;
  std::string_view reason;
  std::uint64_t count = 0;
  std::string example;  // the path of the first one
};

class Survival {
 public:
  Survival(const Plan& plan, Progress& progress) : plan_(plan), progress_(progress) {}

  /// `after` is nil when nothing came back.
  void compare(const id& before, const id& after);

  /// In the order in which they were first met.
  const std::vector<Loss>& losses() const noexcept { return losses_; }
  /// Values compared: everything that stands under a key or in an array.
  std::uint64_t compared() const noexcept { return compared_; }
  std::uint64_t lost() const noexcept;

 private:
  struct Step {  // of the path to the present place
    std::string_view key;
    std::uint64_t index = 0;
    bool isIndex = false;
  };
  struct Kind {
    std::string_view what, reason;
  };
  static const Kind kNullValue, kNullElement, kEmptyKey, kPathKey, kForeignElement, kNumber, kOther, kMissing, kAdded;

  void compareObject(const ClassPlan& cls, const NSDictionary& before, const NSDictionary& after);
  void compareProperty(const PropertyPlan& property, const id& before, const id& after);
  void compareModels(const ClassPlan& cls, const NSArray& before, const NSArray& after);
  void compareModels(const ClassPlan& cls, const NSDictionary& before, const NSDictionary& after);
  void comparePlain(const id& before, const id& after);
  void lose(const Kind& kind);
  std::string path() const;

  const Plan& plan_;
  Progress& progress_;
  std::vector<Step> steps_;
  std::vector<Loss> losses_;
  std::uint64_t compared_ = 0;
};

}  // namespace kvt::tool
