// Type encodings come from archives, from other shared objects and from whoever builds a class by hand, so any text
// must be safe to read. What is held here, whatever the text:
//   - the first type lies within the text, and reading it alone gives the same length again;
//   - a text is one storable type, or has no size;
//   - size and alignment agree with each other, and with those of the arrays and structs made from the type.
#include <KVTPlatform/Runtime/TypeEncoding.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void check(bool holds, const char* what, std::string_view types) {
  if (holds) return;
  std::fprintf(stderr, "%s: \"%.*s\"\n", what, static_cast<int>(types.size()), types.data());
  std::abort();
}

bool isPowerOfTwo(std::size_t value) { return value != 0 && (value & (value - 1)) == 0; }

void checkType(std::string_view type, kvt::SizeAndAlignment layout) {
  check(isPowerOfTwo(layout.alignment) && layout.alignment <= alignof(std::max_align_t), "odd alignment", type);
  check(layout.size % layout.alignment == 0, "the size is no multiple of the alignment", type);

  bool valid = false;
  const std::string qualified = "rn" + std::string(type);
  const kvt::SizeAndAlignment same = kvt::sizeAndAlignment(qualified, &valid);
  check(valid && same.size == layout.size && same.alignment == layout.alignment, "a qualifier changes the layout",
        type);

  // Inside something else a type may be nested too deep or have become too large; nothing else may change.
  const std::string pair = "{Pair=" + std::string(type) + std::string(type) + "}";
  const kvt::SizeAndAlignment ofPair = kvt::sizeAndAlignment(pair, &valid);
  check(!valid || (ofPair.size == 2 * layout.size && ofPair.alignment == layout.alignment), "a pair of them", type);

  const std::string array = "[3" + std::string(type) + "]";
  const kvt::SizeAndAlignment ofArray = kvt::sizeAndAlignment(array, &valid);
  check(!valid || (ofArray.size == 3 * layout.size && ofArray.alignment == layout.alignment), "three of them", type);

  const std::string padded = "{Padded=c" + std::string(type) + "}";
  const kvt::SizeAndAlignment ofPadded = kvt::sizeAndAlignment(padded, &valid);
  check(!valid || ofPadded.size == layout.size + layout.alignment, "one behind a character", type);

  const std::string either = "(Either=c" + std::string(type) + ")";
  const kvt::SizeAndAlignment ofEither = kvt::sizeAndAlignment(either, &valid);
  check(!valid || (ofEither.size == layout.size && ofEither.alignment == layout.alignment), "a union with a character",
        type);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  bool valid = true;
  const kvt::SizeAndAlignment whole = kvt::sizeAndAlignment(text, &valid);
  const std::size_t first = kvt::lengthOfFirstType(text);
  check(valid ? first == size && whole.size != 0 : whole.size == 0, "validity and size disagree", text);
  if (valid) checkType(text, whole);

  // A method's encoding: types with offsets between them. Every type that is found is one again when it stands alone.
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = kvt::lengthOfFirstType(rest);
    check(length <= rest.size(), "the type is longer than the text", rest);
    if (length == 0) break;
    check(kvt::lengthOfFirstType(rest.substr(0, length)) == length, "the type alone has another length", rest);
    rest.remove_prefix(length);
    while (!rest.empty() && rest.front() >= '0' && rest.front() <= '9') rest.remove_prefix(1);
  }
  return 0;
}
