// The root of everything that lives on the heap: a class pointer (isa), an atomic reference count and a virtual
// destructor.
//
// Client code does not use this class by itself: it derives its classes from `NSObject` and holds objects by handles
// (`id`, `NSString`, `Ref<T>`), which retain and release. The functions here are what handles are made of.
//
// Counting: a new object has one reference. `retain` and `release` cost one relaxed load and one atomic add. Immortal
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
  Object(ClassBody* isa, ObjectKind kind) noexcept : isa_(isa), kind_(kind) {}
  /// For bodies of which many are made.
  struct PlainValue {};
  /// The same of an object that is marked by `markImmutableValue` and `markDestructorNeedless`.
  Object(ClassBody* isa, ObjectKind kind, PlainValue) noexcept
      : isa_(isa), references_(kOne), flags_(kImmutableValue), kind_(kind) {}
  virtual ~Object() = default;

 private:
  friend struct ObjectAccess;

  // References are counted by twos. The lowest bit says that more must be done at the end than giving back the memory:
  // the destructor called, weak references cleared.
  static constexpr std::int32_t kOne = 2;
  static constexpr std::int32_t kNeedsCare = 1;
  static constexpr std::int32_t kImmortal = INT32_MIN / 2;
  static constexpr std::int32_t kDeallocating = INT32_MIN / 4;

  enum Flag : std::uint8_t { kHasWeakReferences = 1, kImmutableValue = 2 };

  ClassBody* isa_ = nullptr;
  mutable std::atomic<std::int32_t> references_{kOne | kNeedsCare};
  mutable std::atomic<std::uint8_t> flags_{0};
  ObjectKind kind_ = ObjectKind::kPlain;
};

/// What the run time and the handles may touch of an object.
struct KVT_EXPORT ObjectAccess {
  static void retain(const Object* object) noexcept {
    if (object->references_.load(std::memory_order_relaxed) >= 0) {
      object->references_.fetch_add(Object::kOne, std::memory_order_relaxed);
    }
  }

  static void release(const Object* object) noexcept {
    const std::int32_t count = object->references_.load(std::memory_order_acquire);
    // The only holder of an object that nothing refers to weakly needs no atomic read-modify-write.
    if (count == Object::kOne) {
      giveBack(const_cast<Object*>(object));
      return;
    }
    if (count < 0) return;
    if (count == (Object::kOne | Object::kNeedsCare) && !isWeaklyReferenced(object)) {
      dispose(const_cast<Object*>(object));
      return;
    }
    if (object->references_.fetch_sub(Object::kOne, std::memory_order_acq_rel) < 2 * Object::kOne) {
      dispose(const_cast<Object*>(object));
    }
  }

  /// Adds a reference unless the object is being destroyed. Used by weak references, under their lock.
  static bool tryRetain(const Object* object) noexcept;
  static bool isDeallocating(const Object* object) noexcept {
    const std::int32_t count = object->references_.load(std::memory_order_relaxed);
    return (count >= 0 && count < Object::kOne) || count == Object::kDeallocating;
  }
  static bool isUniquelyReferenced(const Object* object) noexcept {
    return object->references_.load(std::memory_order_acquire) / Object::kOne == 1;
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
    const std::int32_t count = object->references_.load(std::memory_order_relaxed);
    object->references_.store(count & ~Object::kNeedsCare, std::memory_order_relaxed);
  }
  /// It has come to hold something after all.
  static void markDestructorNeeded(const Object* object) noexcept {
    object->references_.fetch_or(Object::kNeedsCare, std::memory_order_relaxed);
  }
  static void markWeaklyReferenced(const Object* object) noexcept {
    object->flags_.fetch_or(Object::kHasWeakReferences, std::memory_order_relaxed);
    object->references_.fetch_or(Object::kNeedsCare, std::memory_order_relaxed);
  }
  static bool isWeaklyReferenced(const Object* object) noexcept {
    return (object->flags_.load(std::memory_order_relaxed) & Object::kHasWeakReferences) != 0;
  }
  /// For tests: how many references there are; negative for immortal objects.
  static std::int32_t retainCount(const Object* object) noexcept {
    return object->references_.load(std::memory_order_relaxed) >> 1;
  }

  static ClassBody* isa(const Object* object) noexcept { return object->isa_; }
  static void setIsa(Object* object, ClassBody* isa) noexcept { object->isa_ = isa; }

 private:
  /// Destroys an object without references.
  static void dispose(Object* object) noexcept;
  /// The same of one that needs no care.
  static void giveBack(Object* object) noexcept;
};

}  // namespace kvt
