// Text in pieces.
#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSArray.h"
#include "NSCharacterSetBody.h"
#include "NSObject.h"
#include "NSStringFolding.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

NSArray arrayOf(const std::vector<id>& pieces) { return NSArray::arrayWithObjects_count(pieces.data(), pieces.size()); }

}  // namespace

NSArray NSString::componentsSeparatedByString(const NSString& separator) const {
  if (!*this) return NSArray();
  checkNotNil(separator, "-[NSString componentsSeparatedByString:]");
  const StringBody& body = bodyOf(*this);
  const StringBody& between = bodyOf(separator);
  std::vector<id> pieces;
  if (between.size == 0) {
    pieces.push_back(copy());
    return arrayOf(pieces);
  }
  const std::string_view text = body.utf8(), what = between.utf8();
  std::size_t start = 0;
  if (text.data() != nullptr && what.data() != nullptr) {
    for (std::size_t at; (at = findBytes(text, what, start)) != text.npos; start = at + what.size()) {
      pieces.push_back(fromUTF8(text.substr(start, at - start)));
    }
    pieces.push_back(start == 0 ? copy() : fromUTF8(text.substr(start)));
    return arrayOf(pieces);
  }
  const UTF16Text units(body), wanted(between);
  for (std::size_t at; (at = findUnits(units.view(), wanted.view(), start)) != text.npos; start = at + wanted.size()) {
    pieces.push_back(fromUTF16(units.view().substr(start, at - start)));
  }
  pieces.push_back(fromUTF16(units.view().substr(start)));
  return arrayOf(pieces);
}

NSArray NSString::componentsSeparatedByCharactersInSet(const NSCharacterSet& separators) const {
  if (!*this) return NSArray();
  checkNotNil(separators, "-[NSString componentsSeparatedByCharactersInSet:]");
  const StringBody& body = bodyOf(*this);
  const CharacterSetBody& set = CharacterSetBody::of(separators);
  std::vector<id> pieces;
  std::size_t start = 0;
  if (body.form != StringBody::Form::kUTF16) {
    const std::string_view text = body.utf8();
    for (std::size_t i = 0; i < text.size();) {
      const std::size_t at = i;
      if (!set.contains(unicode::next(text.data(), i))) continue;
      pieces.push_back(fromUTF8(text.substr(start, at - start)));
      start = i;
    }
    pieces.push_back(start == 0 ? copy() : fromUTF8(text.substr(start)));
    return arrayOf(pieces);
  }
  const Units units(body);
  const std::size_t end = body.length();
  for (std::size_t i = 0; i < end;) {
    const std::size_t at = i;
    if (!set.contains(units.next(i, end))) continue;
    pieces.push_back(slice(body, start, at - start));
    start = i;
  }
  pieces.push_back(slice(body, start, end - start));
  return arrayOf(pieces);
}

namespace {

[[maybe_unused]] const bool componentsRegistered = [] {
  ClassBuilder<NSString> c(classOf<NSString>());
  c.method<&NSString::componentsSeparatedByString>("componentsSeparatedByString:");
  c.method<&NSString::componentsSeparatedByCharactersInSet>("componentsSeparatedByCharactersInSet:");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
