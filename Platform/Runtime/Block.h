// Blocks: callables that are objects. A lambda becomes one and is held, passed and kept like any object.
//
//     Block<bool(NSInteger)> isEven = [](NSInteger n) { return n % 2 == 0; };
//     isEven(4);                 // a nil block answers false, 0 or nil
//
// The classes are those of the platform: a lambda without captures is a `__NSGlobalBlock__`, one with captures a
// `__NSMallocBlock__`; above them stand `__NSGlobalBlock` / `__NSMallocBlock` and `NSBlock`. An untyped `id` that holds
// a block of another signature is not accepted by a typed one. Thread rule: as for the callable itself.
#pragma once

#include <typeinfo>
#include <utility>

#include "Class.h"
#include "Handle.h"

namespace kvt {

/// What every block's body starts with.
class KVT_EXPORT BlockBody : public Object {
 public:
  const std::type_info& signature() const noexcept { return signature_; }
  static bool isBlock(const Object* object) noexcept;

 protected:
  BlockBody(const std::type_info& signature, bool hasCaptures);
  ~BlockBody() override;

 private:
  const std::type_info& signature_;
};

namespace detail {

template <class R, class... A>
class TypedBlockBody : public BlockBody {
 public:
  using BlockBody::BlockBody;
  virtual R call(A... arguments) = 0;
};

template <class F, class R, class... A>
class CallableBlockBody final : public TypedBlockBody<R, A...> {
 public:
  explicit CallableBlockBody(F callable)
      : TypedBlockBody<R, A...>(typeid(R(A...)), !std::is_empty_v<F>), callable_(std::move(callable)) {}
  R call(A... arguments) override { return callable_(std::forward<A>(arguments)...); }

 private:
  F callable_;
};

}  // namespace detail

/// The topmost class of all blocks, `NSBlock`.
KVT_EXPORT Class blockClass();

template <class Signature>
class Block;

template <class R, class... A>
class Block<R(A...)> : public Handle {
 public:
  static constexpr bool kvtIsBlock = true;
  static constexpr std::string_view kvtTypeName = "";
  static constexpr bool kvtCopies = true;

  constexpr Block() noexcept = default;
  constexpr Block(std::nullptr_t) noexcept {}
  Block(Adopt, Object* object) noexcept : Handle(adopt, object) {}
  Block(Borrow, const Object* object) noexcept : Handle(borrow, object) {}
  template <class F>
  requires(!HandleType<std::remove_cvref_t<F>> && std::is_invocable_r_v<R, F&, A...>) Block(F callable)
      : Handle(adopt, new detail::CallableBlockBody<F, R, A...>(std::move(callable))) {}

  static bool kvtAccepts(const Object* object) noexcept {
    return BlockBody::isBlock(object) && static_cast<const BlockBody*>(object)->signature() == typeid(R(A...));
  }

  R operator()(A... arguments) const {
    if (!*this) return R();
    return static_cast<detail::TypedBlockBody<R, A...>*>(object())->call(std::forward<A>(arguments)...);
  }
};

}  // namespace kvt
