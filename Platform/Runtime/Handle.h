// The strong handle that every typed handle (`id`, `NSString`, `Ref<T>`, …) derives from: one pointer, counted.
//
// A default-constructed handle is nil. Copying costs an atomic pair, moving costs nothing: pass `const&`, return by
// value. Constness is shallow. Thread rule: as for a shared pointer: different handles of one object may be used from
// different threads, one handle may not be written while another thread reads it.
#pragma once

#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Object.h"

namespace kvt {

/// Tags of the constructors that take a raw reference over, or share it.
struct Adopt {};
struct Borrow {};
inline constexpr Adopt adopt{};
inline constexpr Borrow borrow{};

class Handle {
 public:
  constexpr Handle() noexcept = default;
  constexpr Handle(std::nullptr_t) noexcept {}
  Handle(Adopt, Object* object) noexcept : object_(object) {}
  Handle(Borrow, const Object* object) noexcept : object_(const_cast<Object*>(object)) {
    if (object_ != nullptr) ObjectAccess::retain(object_);
  }
  Handle(const Handle& other) noexcept : Handle(borrow, other.object_) {}
  Handle(Handle&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ~Handle() {
    if (object_ != nullptr) ObjectAccess::release(object_);
  }

  Handle& operator=(const Handle& other) noexcept {
    Handle(other).swap(*this);
    return *this;
  }
  Handle& operator=(Handle&& other) noexcept {
    Handle(std::move(other)).swap(*this);
    return *this;
  }

  void swap(Handle& other) noexcept { std::swap(object_, other.object_); }

  explicit operator bool() const noexcept { return object_ != nullptr; }
  /// The object, not retained.
  Object* object() const noexcept { return object_; }
  /// Gives the reference away; the handle is nil afterwards.
  [[nodiscard]] Object* detach() noexcept { return std::exchange(object_, nullptr); }

 private:
  Object* object_ = nullptr;
};

/// Same object, or both nil.
inline bool isIdentical(const Handle& a, const Handle& b) noexcept { return a.object() == b.object(); }

/// A typed handle names the class that it stands for, and says which objects it may hold.
template <class T>
concept HandleType = std::is_base_of_v<Handle, T> && sizeof(T) == sizeof(Handle);

/// A weak reference names the strong handle that it gives.
template <class T>
concept WeakHandleType = requires {
  typename T::KVTStrong;
};

}  // namespace kvt

/// Opens a typed handle class: constructors, its name, its class object and the test whether an object may be held by
/// it. `kvtClass` and `kvtAccepts` are defined beside the body.
#define KVT_HANDLE(Self, Super)                                                               \
 public:                                                                                      \
  constexpr Self() noexcept = default;                                                        \
  constexpr Self(::std::nullptr_t) noexcept {}                                                \
  Self(::kvt::Adopt, ::kvt::Object* object) noexcept : Super(::kvt::adopt, object) {}         \
  Self(::kvt::Borrow, const ::kvt::Object* object) noexcept : Super(::kvt::borrow, object) {} \
  static constexpr ::std::string_view kvtTypeName = #Self;                                    \
  static ::kvt::Class kvtClass();                                                             \
  static bool kvtAccepts(const ::kvt::Object* object) noexcept;
