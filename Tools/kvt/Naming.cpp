#include "Naming.h"

#include <KVTPlatform/Runtime/Class.h>
#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

#include <algorithm>
#include <iterator>

#include "Text.h"

namespace kvt::tool {
namespace {

constexpr std::string_view kKeywords[] = {
    "alignas",     "alignof",  "and",        "and_eq",    "asm",       "auto",         "bitand",
    "bitor",       "bool",     "break",      "case",      "catch",     "char",         "char16_t",
    "char32_t",    "char8_t",  "class",      "co_await",  "co_return", "co_yield",     "compl",
    "concept",     "const",    "const_cast", "consteval", "constexpr", "constinit",    "continue",
    "decltype",    "default",  "delete",     "do",        "double",    "dynamic_cast", "else",
    "enum",        "explicit", "export",     "extern",    "false",     "float",        "for",
    "friend",      "goto",     "if",         "inline",    "int",       "long",         "mutable",
    "namespace",   "new",      "noexcept",   "not",       "not_eq",    "nullptr",      "operator",
    "or",          "or_eq",    "private",    "protected", "public",    "register",     "reinterpret_cast",
    "requires",    "return",   "short",      "signed",    "sizeof",    "static",       "static_assert",
    "static_cast", "struct",   "switch",     "template",  "this",      "thread_local", "throw",
    "true",        "try",      "typedef",    "typeid",    "typename",  "union",        "unsigned",
    "using",       "virtual",  "void",       "volatile",  "wchar_t",   "while",        "xor",
    "xor_eq"};
static_assert(std::ranges::is_sorted(kKeywords));

bool isDigit(char32_t c) noexcept { return c >= '0' && c <= '9'; }

/// What may stand in a name: letters and digits of any script, and "_".
bool isNameCharacter(char32_t c) {
  if (c < 0x80) return (c | 0x20) >= 'a' ? (c | 0x20) <= 'z' || c == '_' : isDigit(c);
  static const auto* letters = new NSCharacterSet(NSCharacterSet::alphanumericCharacterSet());
  return letters->longCharacterIsMember(c);
}

std::string_view firstCharacter(std::string_view text) {
  std::string_view rest = text;
  nextCodePoint(rest);
  return text.substr(0, text.size() - rest.size());
}

std::string capitalized(std::string_view word) {
  if (word.empty()) return {};
  const std::string_view first = firstCharacter(word);
  return NSString(first).uppercaseString().str() + std::string(word.substr(first.size()));
}

/// With "_" for every character that may not stand in a name.
std::string identifierFor(std::string_view key) {
  if (key.empty()) return "empty_key";
  std::string name;
  for (std::string_view rest = key; !rest.empty();) {
    const std::size_t start = key.size() - rest.size();
    if (isNameCharacter(nextCodePoint(rest)))
      name += key.substr(start, key.size() - rest.size() - start);
    else
      name += '_';
  }
  if (isDigit(static_cast<unsigned char>(name[0]))) name.insert(0, 1, '_');
  return name;
}

std::string setterFor(std::string_view name) { return "set" + capitalized(name) + ":"; }

bool isReserved(const std::string& name) {
  return std::binary_search(std::begin(kKeywords), std::end(kKeywords), std::string_view(name)) ||
         class_respondsToSelector(classOf<NSObject>(), SEL(std::string_view(name))) ||
         class_respondsToSelector(classOf<NSObject>(), SEL(std::string_view(setterFor(name))));
}

/// Names and setters of a class's properties as they are given away.
class PropertyNames {
 public:
  /// NO when the name, or its setter, is another property's.
  bool take(const std::string& name) {
    if (names_.contains(name) || setters_.contains(setterFor(name))) return false;
    names_.insert(name);
    setters_.insert(setterFor(name));
    return true;
  }
  std::string takeLike(const std::string& wish) {
    std::string name = isReserved(wish) ? wish + "_" : wish;
    unsigned& number = numbers_.try_emplace(wish, 2).first->second;
    while (isReserved(name) || !take(name)) name = wish + "_" + std::to_string(number++);
    return name;
  }

 private:
  std::unordered_map<std::string, unsigned> numbers_;
  std::unordered_set<std::string> names_;
  std::unordered_set<std::string> setters_;
};

std::string singular(std::string_view word) {
  constexpr std::pair<std::string_view, std::string_view> kIrregular[] = {{"children", "child"},  {"people", "person"},
                                                                          {"men", "man"},         {"indices", "index"},
                                                                          {"vertices", "vertex"}, {"series", "series"}};
  for (const auto& [plural, one] : kIrregular) {
    if (!word.ends_with(plural.substr(1)) || word.size() < plural.size()) continue;
    const std::size_t start = word.size() - plural.size();
    if ((word[start] | 0x20) == plural[0]) return std::string(word.substr(0, start + 1)) + std::string(one.substr(1));
  }
  const auto without = [&](std::size_t letters) { return std::string(word.substr(0, word.size() - letters)); };
  if (word.size() > 3 && word.ends_with("ies")) return without(3) + "y";
  for (std::string_view ending : {"sses", "shes", "ches", "xes", "zes"}) {
    if (word.ends_with(ending)) return without(2);
  }
  const bool staysAsItIs = word.size() < 3 || word.ends_with("ss") || word.ends_with("us") || word.ends_with("is");
  return word.ends_with('s') && !staysAsItIs ? without(1) : std::string(word);
}

/// The words of a key, each with a capital, in a row. Digits that would run together keep a "_" between them.
std::string camelCase(std::string_view key) {
  std::string name;
  bool wordBegins = true;
  for (std::string_view rest = key; !rest.empty();) {
    const std::size_t start = key.size() - rest.size();
    const char32_t c = nextCodePoint(rest);
    const std::string_view character = key.substr(start, key.size() - rest.size() - start);
    if (c == '_' || !isNameCharacter(c)) {
      wordBegins = true;
      continue;
    }
    if (wordBegins && isDigit(c) && !name.empty() && isDigit(static_cast<unsigned char>(name.back()))) name += '_';
    name += wordBegins ? capitalized(character) : std::string(character);
    wordBegins = false;
  }
  return name;
}

std::string classNameFor(std::string_view words, std::string_view outer) {
  // Deep nesting of keys without letters would grow names without end.
  constexpr std::size_t kLongestName = 60;
  const std::string name = camelCase(words);
  if (!name.empty() && !isDigit(static_cast<unsigned char>(name[0]))) return name;
  return outer.size() < kLongestName ? std::string(outer) + (name.empty() ? "Item" : name) : "Item" + name;
}

}  // namespace

std::vector<std::string> propertyNames(const std::vector<std::string_view>& keys) {
  PropertyNames taken;
  std::vector<std::string> names(keys.size());
  // Keys that are names come first: no other key's substitute may take their place.
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string name = identifierFor(keys[i]);
    if (name == keys[i] && !isReserved(name) && taken.take(name)) names[i] = name;
  }
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (names[i].empty()) names[i] = taken.takeLike(identifierFor(keys[i]));
  }
  return names;
}

std::string ClassNames::nameFor(std::string_view key, std::string_view outer) {
  return unique(classNameFor(key, outer));
}

std::string ClassNames::elementNameFor(std::string_view key, std::string_view outer) {
  return unique(classNameFor(singular(key), outer));
}

std::string ClassNames::unique(const std::string& name) {
  const bool endsInDigit = isDigit(static_cast<unsigned char>(name.back()));
  unsigned& number = numbers_.try_emplace(name, 2).first->second;
  std::string candidate = name;
  while (taken_.contains(candidate) || objc_getClass(candidate)) {
    candidate = name + (endsInDigit ? "_" : "") + std::to_string(number++);
  }
  taken_.insert(candidate);
  return candidate;
}

}  // namespace kvt::tool
