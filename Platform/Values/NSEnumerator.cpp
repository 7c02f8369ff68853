#include "NSEnumerator.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "CollectionSupport.h"
#include "EnumeratorBody.h"
#include "Kinds.h"
#include "NSArray.h"
#include "NSArrayBody.h"
#include "NSDictionaryBody.h"
#include "NSObject.h"
#include "NSSetBody.h"

namespace kvt {

EnumeratorBody::EnumeratorBody() : Object(classOf<NSEnumerator>(), objectKind(kEnumeratorKind)) {}

namespace {

struct BlockEnumeratorBody final : EnumeratorBody {
  explicit BlockEnumeratorBody(const Block<id()>& block) : next_(block) {}
  id next() override {
    id object = next_();
    if (!object) next_ = nullptr;
    return object;
  }

 private:
  Block<id()> next_;
};

/// Walks with the iterator of a range-for loop, which notices changes.
template <class Collection, auto Part>
struct ForwardEnumeratorBody final : EnumeratorBody {
  explicit ForwardEnumeratorBody(const Collection& collection) : at_(collection.begin()), end_(collection.end()) {}
  id next() override {
    if (started_ && at_ != end_) ++at_;
    started_ = true;
    return at_ != end_ ? Part(*at_) : id();
  }

 private:
  typename Collection::Iterator at_, end_;
  bool started_ = false;
};

const id& itself(const id& object) { return object; }
const id& keyOf(const DictionaryEntry& entry) { return entry.key; }
const id& valueOf(const DictionaryEntry& entry) { return entry.value; }

struct ReverseEnumeratorBody final : EnumeratorBody {
  explicit ReverseEnumeratorBody(const NSArray& array)
      : array_(array), left_(array.count()), seen_(static_cast<const ArrayBody*>(array.object())->mutations) {}
  id next() override {
    if (left_ == 0) return {};
    const auto* body = static_cast<const ArrayBody*>(array_.object());
    if (body->mutations != seen_) collections::raiseMutated(array_);
    return body->items[--left_];
  }

 private:
  NSArray array_;
  NSUInteger left_;
  std::uint32_t seen_;
};

}  // namespace

NSEnumerator NSEnumerator::enumeratorWithBlock(const Block<id()>& next) {
  return NSEnumerator(adopt, new BlockEnumeratorBody(next));
}

id NSEnumerator::nextObject() const { return *this ? static_cast<EnumeratorBody*>(object())->next() : id(); }

NSArray NSEnumerator::allObjects() const {
  if (!*this) return {};
  std::vector<id> objects;
  while (id object = nextObject()) objects.push_back(std::move(object));
  return NSArray::arrayWithObjects_count(objects.data(), objects.size());
}

NSEnumerator::Iterator::Iterator(const NSEnumerator& enumerator)
    : enumerator_(enumerator), current_(enumerator.nextObject()) {}

NSEnumerator::Iterator& NSEnumerator::Iterator::operator++() {
  current_ = NSEnumerator(borrow, enumerator_.object()).nextObject();
  return *this;
}

NSEnumerator NSArray::objectEnumerator() const {
  return *this ? NSEnumerator(adopt, new ForwardEnumeratorBody<NSArray, itself>(*this)) : NSEnumerator();
}
NSEnumerator NSArray::reverseObjectEnumerator() const {
  return *this ? NSEnumerator(adopt, new ReverseEnumeratorBody(*this)) : NSEnumerator();
}
NSEnumerator NSDictionary::keyEnumerator() const {
  return *this ? NSEnumerator(adopt, new ForwardEnumeratorBody<NSDictionary, keyOf>(*this)) : NSEnumerator();
}
NSEnumerator NSDictionary::objectEnumerator() const {
  return *this ? NSEnumerator(adopt, new ForwardEnumeratorBody<NSDictionary, valueOf>(*this)) : NSEnumerator();
}
NSEnumerator NSSet::objectEnumerator() const {
  return *this ? NSEnumerator(adopt, new ForwardEnumeratorBody<NSSet, itself>(*this)) : NSEnumerator();
}

Class NSEnumerator::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSEnumerator> c("NSEnumerator", classOf<NSObject>());
    c.method<&NSEnumerator::nextObject>("nextObject").method<&NSEnumerator::allObjects>("allObjects");
    c.createWith([](Class) -> Object* { return nullptr; });
    return c.registerClass();
  }();
  return cls;
}

bool NSEnumerator::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kEnumeratorKind, kEnumeratorKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSEnumerator>(), true);

}  // namespace kvt
