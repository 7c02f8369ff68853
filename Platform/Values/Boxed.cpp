#include "Boxed.h"

#include "NSNumber.h"
#include "NSString.h"

namespace kvt {

Boxed::Boxed(const char* utf8) : object_(NSString(utf8)) {}
Boxed::Boxed(std::string_view utf8) : object_(NSString(utf8)) {}
Boxed::Boxed(const char16_t* utf16) : object_(NSString(utf16)) {}
Boxed::Boxed(std::u16string_view utf16) : object_(NSString(utf16)) {}
Boxed::Boxed(bool value) : object_(NSNumber(value)) {}
Boxed::Boxed(char value) : object_(NSNumber(value)) {}
Boxed::Boxed(signed char value) : object_(NSNumber(value)) {}
Boxed::Boxed(unsigned char value) : object_(NSNumber(value)) {}
Boxed::Boxed(short value) : object_(NSNumber(value)) {}
Boxed::Boxed(unsigned short value) : object_(NSNumber(value)) {}
Boxed::Boxed(int value) : object_(NSNumber(value)) {}
Boxed::Boxed(unsigned value) : object_(NSNumber(value)) {}
Boxed::Boxed(long value) : object_(NSNumber(value)) {}
Boxed::Boxed(unsigned long value) : object_(NSNumber(value)) {}
Boxed::Boxed(long long value) : object_(NSNumber(value)) {}
Boxed::Boxed(unsigned long long value) : object_(NSNumber(value)) {}
Boxed::Boxed(float value) : object_(NSNumber(value)) {}
Boxed::Boxed(double value) : object_(NSNumber(value)) {}

namespace detail {

bool unboxBool(const id& object) { return object.as<NSNumber>().boolValue(); }
std::int64_t unboxInteger(const id& object) { return object.as<NSNumber>().longLongValue(); }
std::uint64_t unboxUnsigned(const id& object) { return object.as<NSNumber>().unsignedLongLongValue(); }
double unboxDouble(const id& object) { return object.as<NSNumber>().doubleValue(); }
std::string unboxText(const id& object) { return object.as<NSString>().str(); }
std::u16string unboxText16(const id& object) { return object.as<NSString>().u16str(); }

}  // namespace detail
}  // namespace kvt
