#include "SharedOperations.h"

#include <unordered_set>
#include <vector>

#include "Category.h"

namespace kvt {
namespace {

const SEL kIsNotBlank = "kvt_isNotBlank";
const SEL kDeepCopy = "kvt_deepCopy";
const SEL kMutableDeepCopy = "kvt_mutableDeepCopy";
const SEL kReadableDescription = "__description";
const SEL kDescription = "description";
const SEL kCopyWithZone = "copyWithZone:";
const SEL kMutableCopyWithZone = "mutableCopyWithZone:";

// ---- deep copies ---------------------------------------------------------------------------------------------------

/// One of the two kinds of copies.
struct Way {
  SEL operation;
  IMP own;  // the operation as it is registered here
  bool isMutable;
};
extern const Way kDeep, kMutableDeep;

/// One collection that is being copied: a shallow copy, in which the elements are replaced one after the other.
class Level {
 public:
  Level(const id& source, bool isMutable) : source_(source), isMutable_(isMutable) {
    if (const NSArray array = source.as<NSArray>()) {
      array_ = array.mutableCopy();
      count_ = array_.count();
    } else {
      dictionary_ = source.as<NSDictionary>().mutableCopy();
      keys_ = dictionary_.allKeys();
      count_ = keys_.count();
    }
  }

  const id& source() const { return source_; }
  bool isDone() const { return next_ == count_; }
  id element() const { return array_ ? array_[next_] : dictionary_[keys_[next_]]; }
  /// Puts the copy in the element's place, nil: leaves the element; and goes on to the next one.
  void finishElement(const id& copy) {
    if (copy) {
      if (array_)
        array_.replaceObjectAtIndex_withObject(next_, copy);
      else
        dictionary_.setObject_forKey(copy, keys_[next_]);
    }
    ++next_;
  }
  id result() const {
    if (array_) return isMutable_ ? id(array_) : id(array_.copy());
    return isMutable_ ? id(dictionary_) : id(dictionary_.copy());
  }

 private:
  id source_;
  NSMutableArray array_;
  NSMutableDictionary dictionary_;
  NSArray keys_;
  NSUInteger next_ = 0;
  NSUInteger count_ = 0;
  bool isMutable_;
};

/// Works through nested collections with a list of its own, so that any depth is copied.
class DeepCopy {
 public:
  explicit DeepCopy(const Way& way) : way_(way) {}

  id run(const id& root) {
    enter(root);
    for (;;) {
      Level& level = levels_.back();
      if (!level.isDone()) {
        const id element = level.element();
        if (!isWalked(element))
          level.finishElement(copyOf(element));
        else if (!enter(element))
          level.finishElement(nullptr);
        continue;
      }
      const id copy = level.result();
      path_.erase(level.source().object());
      levels_.pop_back();
      if (levels_.empty()) return copy;
      levels_.back().finishElement(copy);
    }
  }

 private:
  /// NO for a collection that is being copied already, further out.
  bool enter(const id& collection) {
    if (!path_.insert(collection.object()).second) return false;
    levels_.emplace_back(collection, way_.isMutable);
    return true;
  }

  /// Whether sending the operation would come back here.
  bool isWalked(const id& element) const {
    return class_getMethodImplementation(element.class_(), way_.operation) == way_.own;
  }

  id copyOf(const id& element) const {
    if (element.respondsToSelector(way_.operation)) return objc_msgSend<id>(element, way_.operation);
    if (way_.isMutable && element.respondsToSelector(kMutableCopyWithZone)) return element.mutableCopy();
    return element.respondsToSelector(kCopyWithZone) ? element.copy() : id();
  }

  const Way& way_;
  std::vector<Level> levels_;
  std::unordered_set<const Object*> path_;
};

id deepCopy(const id& self) { return DeepCopy(kDeep).run(self); }
id mutableDeepCopy(const id& self) { return DeepCopy(kMutableDeep).run(self); }

// ---- readable descriptions -----------------------------------------------------------------------------------------

extern const IMP kOwnReadableDescription;

NSString readableDescription(const id& self) {
  // After the exchange the platform's own stands under this operation's name.
  const auto isOwn = [&self](SEL sel) {
    return class_getMethodImplementation(self.class_(), sel) == kOwnReadableDescription;
  };
  const SEL source = isOwn(kReadableDescription) ? kDescription : kReadableDescription;
  if (isOwn(source)) return {};
  const NSString escaped = objc_msgSend<NSString>(self, source);
  const std::string_view bytes = escaped.utf8();
  if (bytes.data() == nullptr) return {};
  return NSString::stringWithBytes_length_encoding(bytes.data(), bytes.size(), NSNonLossyASCIIStringEncoding);
}

// ---- the categories ------------------------------------------------------------------------------------------------

template <class Collection>
void describe(ClassBuilder<Collection>& c) {
  c.template method<&deepCopy>("kvt_deepCopy").template method<&mutableDeepCopy>("kvt_mutableDeepCopy");
  c.template method<&readableDescription>("__description");
}
[[maybe_unused]] const bool onArrays = addCategory<NSArray>(&describe<NSArray>);
[[maybe_unused]] const bool onDictionaries = addCategory<NSDictionary>(&describe<NSDictionary>);

// As registered: later somebody may have exchanged them.
IMP registered(SEL sel) { return class_getMethodImplementation(classOf<NSArray>(), sel); }
const Way kDeep{kDeepCopy, registered(kDeepCopy), false};
const Way kMutableDeep{kMutableDeepCopy, registered(kMutableDeepCopy), true};
const IMP kOwnReadableDescription = registered(kReadableDescription);

}  // namespace

bool kvt_isNotBlank(const id& receiver) { return sendIfAnswered<bool>(receiver, kIsNotBlank); }
id kvt_deepCopy(const id& receiver) { return sendIfAnswered<id>(receiver, kDeepCopy); }
id kvt_mutableDeepCopy(const id& receiver) { return sendIfAnswered<id>(receiver, kMutableDeepCopy); }
NSString __description(const id& receiver) { return sendIfAnswered<NSString>(receiver, kReadableDescription); }

}  // namespace kvt
