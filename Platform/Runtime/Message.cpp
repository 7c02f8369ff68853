#include "Message.h"

#include "ClassBody.h"
#include "ClassBuilder.h"
#include "Raise.h"

namespace kvt {
namespace detail {
namespace {

/// What the receiver is called in reasons: "-[User " or "+[User ".
std::string prefixOf(const Object* receiver) {
  if (Class cls = object_asClass(receiver)) return std::string("+[") + class_getName(cls) + " ";
  return std::string("-[") + class_getName(object_getClass(receiver)) + " ";
}

bool fits(char given, char declared) {
  if (given == declared) return true;
  if (given == '0') return declared == '@' || declared == '*' || declared == '^' || declared == ':';
  // A C string is a pointer to characters, and an untyped pointer may point to anything.
  return (given == '*' && declared == '^') || (given == '^' && declared == '*');
}

/// Whether a caller's letters will do for a method's.
bool canCall(std::string_view called, std::string_view declared) {
  auto lengthOfResult = [](std::string_view letters) { return letters[0] == '{' ? std::size_t{2} : std::size_t{1}; };
  const std::string_view declaredResult = declared.substr(0, lengthOfResult(declared));
  const std::string_view calledResult = called.substr(0, lengthOfResult(called));
  // A caller may ignore a result, but not one that needs memory of its own.
  bool matches = calledResult == declaredResult || (calledResult == "v" && declaredResult[0] != '{');
  const std::string_view declaredArguments = declared.substr(declaredResult.size());
  const std::string_view calledArguments = called.substr(calledResult.size());
  matches = matches && declaredArguments.size() == calledArguments.size();
  for (std::size_t i = 0; matches && i < declaredArguments.size(); ++i) {
    // The size of a struct follows its brace and must be the very same.
    const bool isSize = i > 0 && declaredArguments[i - 1] == '{';
    matches = isSize ? calledArguments[i] == declaredArguments[i] : fits(calledArguments[i], declaredArguments[i]);
  }
  return matches;
}

bool isQualifier(char c) {
  switch (c) {
    case 'r':
    case 'n':
    case 'N':
    case 'o':
    case 'O':
    case 'R':
    case 'V': return true;
    default: return false;
  }
}

}  // namespace

IMP implementationFor(const Object* receiver, Class lookIn, SEL sel, const char* abi, std::size_t length,
                      char* resultType) {
  Class cls = lookIn ? lookIn : object_getClass(receiver);
  Method method = class_getInstanceMethod(cls, sel);
  if (method == nullptr) {
    objc_raise("NSInvalidArgumentException", prefixOf(receiver) + sel_getName(sel) +
                                                 "]: unrecognized selector sent to " +
                                                 (object_isClass(receiver) ? "class" : "instance"));
  }
  const std::string_view declared = method->abi;
  const std::string_view called(abi, length);
  // Nearly every call is the very same.
  const bool matches = called == declared || canCall(called, declared);
  if (!matches) {
    objc_raise("NSInvalidArgumentException",
               prefixOf(receiver) + sel_getName(sel) + "]: called with other types than " + method->types);
  }
  const char* result = method->returnType.c_str();
  while (isQualifier(*result)) ++result;
  *resultType = *result != 0 ? *result : 'v';
  return method->imp.load(std::memory_order_acquire);
}

std::int64_t integerResult(char type, std::uint64_t raw) noexcept {
  switch (type) {
    case 'B': return static_cast<std::uint8_t>(raw) != 0;
    case 'c': return static_cast<std::int8_t>(raw);
    case 'C': return static_cast<std::uint8_t>(raw);
    case 's': return static_cast<std::int16_t>(raw);
    case 'S': return static_cast<std::uint16_t>(raw);
    case 'i':
    case 'l': return static_cast<std::int32_t>(raw);
    case 'I':
    case 'L': return static_cast<std::uint32_t>(raw);
    default: return static_cast<std::int64_t>(raw);
  }
}

}  // namespace detail

Object* objc_copyObject(Object* object) {
  if (object == nullptr || ObjectAccess::isImmutableValue(object)) {
    if (object != nullptr) ObjectAccess::retain(object);
    return object;
  }
  static const SEL copyWithZone = "copyWithZone:";
  char type = 0;
  IMP imp = detail::implementationFor(object, Class(), copyWithZone, "@^", 2, &type);
  return reinterpret_cast<Object* (*)(Object*, SEL, void*)>(imp)(object, copyWithZone, nullptr);
}

}  // namespace kvt
