// Text from bytes and bytes from text.
#include <unicode/ucnv.h>

#include <memory>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSData.h"
#include "NSObject.h"
#include "NSStringFolding.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

/// UTF-16 and UTF-32 in their byte orders.
struct WideForm {
  std::size_t width = 0;  // bytes a unit; 0: another encoding
  bool bigEndian = false;
  bool hasMark = false;
};

WideForm wideForm(NSStringEncoding encoding) noexcept {
  switch (encoding) {
    case NSUnicodeStringEncoding: return {2, false, true};
    case NSUTF16BigEndianStringEncoding: return {2, true, false};
    case NSUTF16LittleEndianStringEncoding: return {2, false, false};
    case NSUTF32StringEncoding: return {4, false, true};
    case NSUTF32BigEndianStringEncoding: return {4, true, false};
    case NSUTF32LittleEndianStringEncoding: return {4, false, false};
    default: return {};
  }
}

const char* converterName(NSStringEncoding encoding) noexcept {
  switch (encoding) {
    case NSJapaneseEUCStringEncoding: return "EUC-JP";
    case NSShiftJISStringEncoding: return "windows-932";
    case NSISOLatin2StringEncoding: return "ISO-8859-2";
    case NSWindowsCP1250StringEncoding: return "windows-1250";
    case NSWindowsCP1251StringEncoding: return "windows-1251";
    case NSWindowsCP1252StringEncoding: return "windows-1252";
    case NSWindowsCP1253StringEncoding: return "windows-1253";
    case NSWindowsCP1254StringEncoding: return "windows-1254";
    case NSISO2022JPStringEncoding: return "ISO-2022-JP";
    case NSMacOSRomanStringEncoding: return "macintosh";
    case NSGBKStringEncoding: return "GBK";
    case NSGB18030StringEncoding: return "gb18030";
    case NSBig5StringEncoding: return "Big5";
    default: return nullptr;
  }
}

struct CloseConverter {
  void operator()(UConverter* converter) const noexcept { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

Converter openConverter(NSStringEncoding encoding) {
  const char* name = converterName(encoding);
  if (name == nullptr) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name, &status));
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

void appendUnits(std::u16string& out, char32_t c) {
  if (c >= 0x10000) out += static_cast<char16_t>(0xD7C0 + (c >> 10));
  out += static_cast<char16_t>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FF));
}

// ---- reading -------------------------------------------------------------------------------------------------------

NSString decodeWide(std::string_view bytes, WideForm form) {
  if (bytes.size() % form.width != 0) return NSString();
  const auto at = [&](std::size_t i) {
    char32_t c = 0;
    for (std::size_t k = 0; k < form.width; ++k) {
      const std::size_t byte = form.bigEndian ? k : form.width - 1 - k;
      c = (c << 8) | static_cast<std::uint8_t>(bytes[i + byte]);
    }
    return c;
  };
  std::size_t i = 0;
  if (form.hasMark && !bytes.empty()) {
    if (at(0) == (form.width == 2 ? 0xFFFEu : 0xFFFE0000u)) form.bigEndian = true;
    if (at(0) == 0xFEFF) i = form.width;
  }
  std::u16string units;
  units.reserve(bytes.size() / form.width);
  for (; i < bytes.size(); i += form.width) {
    const char32_t c = at(i);
    if (form.width == 4 && (c > 0x10FFFF || unicode::isSurrogate(c))) return NSString();
    appendUnits(units, c);
  }
  return fromUTF16(units);
}

int digitValue(char c, int base) noexcept {
  int value = -1;
  if (c >= '0' && c <= '9')
    value = c - '0';
  else if (c >= 'a' && c <= 'f')
    value = c - 'a' + 10;
  else if (c >= 'A' && c <= 'F')
    value = c - 'A' + 10;
  return value < base ? value : -1;
}

/// ASCII with \\, \ooo, \uxxxx and \Uxxxx; nil for every other backslash and every other byte.
NSString decodeNonLossyASCII(std::string_view bytes) {
  std::u16string units;
  units.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (static_cast<std::uint8_t>(bytes[i]) >= 0x80) return NSString();
    if (bytes[i] != '\\') {
      units += static_cast<char16_t>(bytes[i]);
      continue;
    }
    if (++i == bytes.size()) return NSString();
    if (bytes[i] == '\\') {
      units += u'\\';
      continue;
    }
    const bool isUnicode = bytes[i] == 'u' || bytes[i] == 'U';
    const std::size_t count = isUnicode ? 4 : 3;
    if (isUnicode) ++i;
    if (bytes.size() - i < count) return NSString();
    int value = 0;
    for (std::size_t k = 0; k < count; ++k) {
      const int digit = digitValue(bytes[i + k], isUnicode ? 16 : 8);
      if (digit < 0) return NSString();
      value = value * (isUnicode ? 16 : 8) + digit;
    }
    if (!isUnicode && value > 0xFF) return NSString();
    units += static_cast<char16_t>(value);
    i += count - 1;
  }
  return fromUTF16(units);
}

NSString decodeByICU(std::string_view bytes, NSStringEncoding encoding) {
  const Converter converter = openConverter(encoding);
  if (converter == nullptr || bytes.size() > StringBody::kMaximumSize / 4) return NSString();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  const auto size = static_cast<std::int32_t>(bytes.size());
  std::u16string units(bytes.size() * 2 + 16, u'\0');
  const std::int32_t length = ucnv_toUChars(converter.get(), units.data(), static_cast<std::int32_t>(units.size()),
                                            bytes.data(), size, &status);
  if (U_FAILURE(status)) return NSString();
  return fromUTF16({units.data(), static_cast<std::size_t>(length)});
}

NSString decode(std::string_view bytes, NSStringEncoding encoding) {
  if (const WideForm form = wideForm(encoding); form.width != 0) return decodeWide(bytes, form);
  switch (encoding) {
    case NSUTF8StringEncoding:
      if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
      return NSString(bytes);
    case NSASCIIStringEncoding: return unicode::isASCII(bytes.data(), bytes.size()) ? NSString(bytes) : NSString();
    case NSISOLatin1StringEncoding: {
      std::u16string units;
      units.reserve(bytes.size());
      for (const char c : bytes) units += static_cast<char16_t>(static_cast<std::uint8_t>(c));
      return fromUTF16(units);
    }
    case NSNonLossyASCIIStringEncoding: return decodeNonLossyASCII(bytes);
    default: return decodeByICU(bytes, encoding);
  }
}

// ---- writing -------------------------------------------------------------------------------------------------------

void appendWide(std::string& out, char32_t c, WideForm form) {
  for (std::size_t k = 0; k < form.width; ++k) {
    const std::size_t byte = form.bigEndian ? form.width - 1 - k : k;
    out += static_cast<char>(static_cast<std::uint8_t>(c >> (8 * byte)));
  }
}

bool encodeWide(const StringBody& body, WideForm form, bool lossy, std::string& out) {
  const Units units(body);
  const std::size_t end = body.length();
  out.reserve((end + 1) * form.width);
  if (form.hasMark) appendWide(out, 0xFEFF, form);
  for (std::size_t i = 0; i < end;) {
    if (form.width == 2) {
      appendWide(out, units[i++], form);
      continue;
    }
    char32_t c = units.next(i, end);
    if (unicode::isSurrogate(c)) {
      if (!lossy) return false;
      c = '?';
    }
    appendWide(out, c, form);
  }
  return true;
}

void encodeNonLossyASCII(const StringBody& body, std::string& out) {
  constexpr char kDigits[] = "0123456789abcdef";
  const Units units(body);
  for (std::size_t i = 0; i < body.length(); ++i) {
    const char16_t c = units[i];
    if (c < 0x80) {
      if (c == '\\') out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x100) {
      out += {'\\', kDigits[c >> 6], kDigits[(c >> 3) & 7], kDigits[c & 7]};
    } else {
      out += {'\\', 'u', kDigits[c >> 12], kDigits[(c >> 8) & 15], kDigits[(c >> 4) & 15], kDigits[c & 15]};
    }
  }
}

bool encodeSingleByte(const StringBody& body, char32_t limit, bool lossy, std::string& out) {
  const Units units(body);
  const std::size_t end = body.length();
  out.reserve(end);
  for (std::size_t i = 0; i < end;) {
    const char32_t c = units.next(i, end);
    if (c >= limit && !lossy) return false;
    out += c < limit ? static_cast<char>(static_cast<std::uint8_t>(c)) : '?';
  }
  return true;
}

bool encodeByICU(const StringBody& body, NSStringEncoding encoding, bool lossy, std::string& out) {
  const Converter converter = openConverter(encoding);
  if (converter == nullptr) return false;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setFallback(converter.get(), false);
  ucnv_setFromUCallBack(converter.get(), lossy ? UCNV_FROM_U_CALLBACK_SUBSTITUTE : UCNV_FROM_U_CALLBACK_STOP, nullptr,
                        nullptr, nullptr, &status);
  if (lossy) ucnv_setSubstChars(converter.get(), "?", 1, &status);
  const UTF16Text units(body);
  const auto size = static_cast<std::int32_t>(units.size());
  const std::size_t most = (units.size() + 10) * static_cast<std::size_t>(ucnv_getMaxCharSize(converter.get()));
  if (most > StringBody::kMaximumSize) return false;
  out.resize(most);
  const std::int32_t length =
      ucnv_fromUChars(converter.get(), out.data(), static_cast<std::int32_t>(most), units.data(), size, &status);
  if (U_FAILURE(status)) return false;
  out.resize(static_cast<std::size_t>(length));
  return true;
}

bool encode(const StringBody& body, NSStringEncoding encoding, bool lossy, std::string& out) {
  if (const WideForm form = wideForm(encoding); form.width != 0) return encodeWide(body, form, lossy, out);
  switch (encoding) {
    case NSUTF8StringEncoding: {
      const std::string_view text = body.utf8();
      if (text.data() != nullptr) {
        out = text;
        return true;
      }
      const Units units(body);
      for (std::size_t i = 0; lossy && i < body.length();) {
        char bytes[4];
        const char32_t c = units.next(i, body.length());
        out.append(bytes, unicode::encode(unicode::isSurrogate(c) ? U'?' : c, bytes));
      }
      return lossy;
    }
    case NSASCIIStringEncoding: return encodeSingleByte(body, 0x80, lossy, out);
    case NSISOLatin1StringEncoding: return encodeSingleByte(body, 0x100, lossy, out);
    case NSNonLossyASCIIStringEncoding: encodeNonLossyASCII(body, out); return true;
    default: return encodeByICU(body, encoding, lossy, out);
  }
}

}  // namespace

NSString NSString::stringWithData_encoding(const NSData& data, NSStringEncoding encoding) {
  return data ? decode(data.view(), encoding) : NSString();
}

NSString NSString::stringWithBytes_length_encoding(const void* bytes, NSUInteger length, NSStringEncoding encoding) {
  if (bytes == nullptr) return length == 0 ? emptyText() : NSString();
  return decode({static_cast<const char*>(bytes), length}, encoding);
}

NSString NSString::stringWithCString_encoding(const char* text, NSStringEncoding encoding) {
  if (text == nullptr) {
    objc_raise("NSInvalidArgumentException", "+[NSString stringWithCString:encoding:]: NULL cString");
  }
  return decode(text, encoding);
}

NSData NSString::dataUsingEncoding(NSStringEncoding encoding) const {
  return dataUsingEncoding_allowLossyConversion(encoding, false);
}

NSData NSString::dataUsingEncoding_allowLossyConversion(NSStringEncoding encoding, bool lossy) const {
  std::string bytes;
  if (!*this || !encode(bodyOf(*this), encoding, lossy, bytes)) return NSData();
  return NSData(std::string_view(bytes));
}

bool NSString::canBeConvertedToEncoding(NSStringEncoding encoding) const {
  std::string bytes;
  return *this && encode(bodyOf(*this), encoding, false, bytes);
}

NSUInteger NSString::lengthOfBytesUsingEncoding(NSStringEncoding encoding) const {
  if (!*this) return 0;
  if (encoding == NSUTF8StringEncoding) return utf8().size();
  std::string bytes;
  return encode(bodyOf(*this), encoding, false, bytes) ? bytes.size() : 0;
}

namespace {

[[maybe_unused]] const bool encodingRegistered = [] {
  using Self = NSString;
  ClassBuilder<Self> c(classOf<Self>());
  c.classMethod<&Self::stringWithData_encoding>("stringWithData:encoding:");
  c.classMethod<&Self::stringWithBytes_length_encoding>("stringWithBytes:length:encoding:");
  c.classMethod<&Self::stringWithCString_encoding>("stringWithCString:encoding:");
  c.method<&Self::dataUsingEncoding>("dataUsingEncoding:");
  c.method<&Self::dataUsingEncoding_allowLossyConversion>("dataUsingEncoding:allowLossyConversion:");
  c.method<&Self::canBeConvertedToEncoding>("canBeConvertedToEncoding:");
  c.method<&Self::lengthOfBytesUsingEncoding>("lengthOfBytesUsingEncoding:");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
