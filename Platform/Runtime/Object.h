// The root of everything that lives on the heap: a class pointer (isa), an atomic reference count and a virtual
// destructor.
//
// Client code does not use this class by itself: it derives its classes from `NSObject` and holds objects by handles
// (`id`, `NSString`, `Ref<T>`), which retain and release. The functions here are what handles are made of.
//
// Counting: a new object has the count 1. `retain` and `release` cost one relaxed load and one atomic add. Immortal
// objects (literals, classes, small numbers) and objects under destruction have a negative count: retaining and
// releasing them does nothing. Thread rule: any thread may retain, release and read the class of an object that it
// holds.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Export.h"

namespace kvt {

class Class;
struct ClassBody;

/// Which body an object has. The values' floor numbers its own from `kFirstValue`.
enum class ObjectKind : std::uint8_t { kPlain = 0, kClass = 1, kBlock = 2, kFirstValue = 16 };

class KVT_EXPORT Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  /// Set once, by the body's constructor.
  ObjectKind kvtKind() const noexcept { return kind_; }

  static void* operator new(std::size_t size);
  static void* operator new(std::size_t, void* memory) noexcept { return memory; }
  static void operator delete(void* memory) noexcept;
  static void operator delete(void*, void*) noexcept {}

 protected:
  Object() noexcept = default;
  Object(Class cls, ObjectKind kind) noexcept;
  /// For bodies of which many are made.
  Object(ClassBody* isa, ObjectKind kind, std::uint8_t flags) noexcept : isa_(isa), flags_(flags), kind_(kind) {}
  /// What `markImmutableValue` and `markDestructorNeedless` set.
  static constexpr std::uint8_t kPlainValue = 2 | 4;
  virtual ~Object() = default;

 private:
  friend struct ObjectAccess;

  static constexpr std::int32_t kImmortal = INT32_MIN / 2;
  static constexpr std::int32_t kDeallocating = INT32_MIN / 4;

  enum Flag : std::uint8_t { kHasWeakReferences = 1, kImmutableValue = 2, kNeedsNoDestructor = 4 };

  ClassBody* isa_ = nullptr;
  mutable std::atomic<std::int32_t> references_{1};
  mutable std::atomic<std::uint8_t> flags_{0};
  ObjectKind kind_ = ObjectKind::kPlain;
};

/// What the run time and the handles may touch of an object.
struct KVT_EXPORT ObjectAccess {
  static void retain(const Object* object) noexcept {
    if (object->references_.load(std::memory_order_relaxed) >= 0) {
      object->references_.fetch_add(1, std::memory_order_relaxed);
    }
  }

  static void release(const Object* object) noexcept {
    const std::int32_t count = object->references_.load(std::memory_order_acquire);
    if (count < 0) return;
    // The only holder of an object that nothing refers to weakly needs no atomic read-modify-write.
    if (count == 1 && (object->flags_.load(std::memory_order_relaxed) & Object::kHasWeakReferences) == 0) {
      dispose(const_cast<Object*>(object));
      return;
    }
    if (object->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) dispose(const_cast<Object*>(object));
  }

  /// Adds a reference unless the object is being destroyed. Used by weak references, under their lock.
  static bool tryRetain(const Object* object) noexcept;
  static bool isDeallocating(const Object* object) noexcept {
    const std::int32_t count = object->references_.load(std::memory_order_relaxed);
    return count == 0 || count == Object::kDeallocating;
  }
  static bool isUniquelyReferenced(const Object* object) noexcept {
    return object->references_.load(std::memory_order_acquire) == 1;
  }
  static void makeImmortal(const Object* object) noexcept {
    object->references_.store(Object::kImmortal, std::memory_order_relaxed);
  }
  /// A copy of the object is the object itself: `copy` retains instead. For constructors.
  static void markImmutableValue(const Object* object) noexcept {
    // Nobody else knows the object yet.
    const std::uint8_t flags = object->flags_.load(std::memory_order_relaxed);
    object->flags_.store(static_cast<std::uint8_t>(flags | Object::kImmutableValue), std::memory_order_relaxed);
  }
  static bool isImmutableValue(const Object* object) noexcept {
    return (object->flags_.load(std::memory_order_relaxed) & Object::kImmutableValue) != 0;
  }
  /// Its memory is all that an object has to give back. For constructors of final classes.
  static void markDestructorNeedless(const Object* object) noexcept {
    const std::uint8_t flags = object->flags_.load(std::memory_order_relaxed);
    object->flags_.store(static_cast<std::uint8_t>(flags | Object::kNeedsNoDestructor), std::memory_order_relaxed);
  }
  /// It has come to hold something after all.
  static void markDestructorNeeded(const Object* object) noexcept {
    object->flags_.fetch_and(static_cast<std::uint8_t>(~Object::kNeedsNoDestructor), std::memory_order_relaxed);
  }
  static void markWeaklyReferenced(const Object* object) noexcept {
    object->flags_.fetch_or(Object::kHasWeakReferences, std::memory_order_relaxed);
  }
  static bool isWeaklyReferenced(const Object* object) noexcept {
    return (object->flags_.load(std::memory_order_relaxed) & Object::kHasWeakReferences) != 0;
  }
  /// For tests: the count as it stands; negative for immortal objects.
  static std::int32_t retainCount(const Object* object) noexcept {
    return object->references_.load(std::memory_order_relaxed);
  }

  static ClassBody* isa(const Object* object) noexcept { return object->isa_; }
  static void setIsa(Object* object, ClassBody* isa) noexcept { object->isa_ = isa; }

 private:
  static void dispose(Object* object) noexcept;
};

}  // namespace kvt
