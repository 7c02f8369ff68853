#include "NSArray+KVTExtension.h"

#include <KVTPlatform/Values/NSNull.h>

#include "../Category.h"

namespace kvt {

id kvt_safeObjectAtIndex(const NSArray& array, NSUInteger index) {
  if (index >= array.count()) return {};
  id element = array.objectAtIndex(index);
  return element.is<NSNull>() ? id() : element;
}

id kvt_safeFirstObject(const NSArray& array) { return kvt_safeObjectAtIndex(array, 0); }

id kvt_safeLastObject(const NSArray& array) {
  const NSUInteger count = array.count();
  return count == 0 ? id() : kvt_safeObjectAtIndex(array, count - 1);
}

void kvt_safeAddObject(const NSArray& array, const Boxed& object) {
  if (object.object()) array.as<NSMutableArray>().addObject(object);
}

void kvt_safeInsertObject_atIndex(const NSArray& array, const Boxed& object, NSUInteger index) {
  if (object.object() && index <= array.count()) array.as<NSMutableArray>().insertObject_atIndex(object, index);
}

NSArray kvt_safeSubarrayWithRange(const NSArray& array, NSRange range) {
  const NSUInteger count = array.count();
  if (range.location >= count || range.length > count - range.location) return {};
  return array.subarrayWithRange(range);
}

// ---- the category --------------------------------------------------------------------------------------------------

namespace {

bool isNotBlank(const NSArray& array) { return array.count() > 0; }
void addObject(const NSArray& array, const id& object) { kvt_safeAddObject(array, object); }
void insertObject(const NSArray& array, const id& object, NSUInteger index) {
  kvt_safeInsertObject_atIndex(array, object, index);
}

[[maybe_unused]] const bool registered = addCategory<NSArray>([](ClassBuilder<NSArray>& c) {
  c.method<&isNotBlank>("kvt_isNotBlank");
  c.method<&kvt_safeObjectAtIndex>("kvt_safeObjectAtIndex:");
  c.method<&kvt_safeFirstObject>("kvt_safeFirstObject").method<&kvt_safeLastObject>("kvt_safeLastObject");
  c.method<&addObject>("kvt_safeAddObject:").method<&insertObject>("kvt_safeInsertObject:atIndex:");
  c.method<&kvt_safeSubarrayWithRange>("kvt_safeSubarrayWithRange:");
});

}  // namespace
}  // namespace kvt
