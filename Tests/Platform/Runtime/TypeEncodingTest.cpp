#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Runtime/TypeEncoding.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTypes.h>
#include <gtest/gtest.h>

#include <string>

namespace outer {
struct Inner {
  int a;
  double b[2];
  char* name;
};
union Either {
  int number;
  float real;
};
struct Unknown;
struct WithObjects {
  kvt::id object;
  kvt::SEL selector;
  kvt::Class cls;
};
enum class Small : unsigned char { kOne };
}  // namespace outer
KVT_STRUCT_ENCODING(outer::Inner, a, b, name)
KVT_UNION_ENCODING(outer::Either, number, real)
KVT_STRUCT_ENCODING(outer::WithObjects, object, selector, cls)

namespace kvt {
namespace {

TEST(TypeEncoding, DerivesFromTypes) {
  struct Row {
    const char* derived;
    const char* expected;
  };
  const Row rows[] = {
      {encodingOf<void>(), "v"},
      {encodingOf<bool>(), "B"},
      {encodingOf<char>(), "c"},
      {encodingOf<signed char>(), "c"},
      {encodingOf<unsigned char>(), "C"},
      {encodingOf<short>(), "s"},
      {encodingOf<unsigned short>(), "S"},
      {encodingOf<char16_t>(), "S"},
      {encodingOf<int>(), "i"},
      {encodingOf<unsigned>(), "I"},
      {encodingOf<long>(), "q"},
      {encodingOf<unsigned long>(), "Q"},
      {encodingOf<long long>(), "q"},
      {encodingOf<unsigned long long>(), "Q"},
      {encodingOf<float>(), "f"},
      {encodingOf<double>(), "d"},
      {encodingOf<long double>(), "D"},
      {encodingOf<const int>(), "i"},
      {encodingOf<outer::Small>(), "C"},
      {encodingOf<char*>(), "*"},
      {encodingOf<const char*>(), "r*"},
      {encodingOf<void*>(), "^v"},
      {encodingOf<const void*>(), "r^v"},
      {encodingOf<int**>(), "^^i"},
      {encodingOf<void (*)(int)>(), "^?"},
      {encodingOf<SEL>(), ":"},
      {encodingOf<Class>(), "#"},
      {encodingOf<id>(), "@"},
      {encodingOf<NSString>(), "@"},
      {encodingOf<Weak<NSString>>(), "@"},
      {encodingOf<Block<void()>>(), "@?"},
      {encodingOf<int[12]>(), "[12i]"},
      {encodingOf<float[3][4]>(), "[3[4f]]"},
      {encodingOf<CGSize>(), "{CGSize=dd}"},
      {encodingOf<CGRect>(), "{CGRect={CGPoint=dd}{CGSize=dd}}"},
      {encodingOf<CGAffineTransform>(), "{CGAffineTransform=dddddd}"},
      {encodingOf<NSRange>(), "{_NSRange=QQ}"},
      {encodingOf<CGSize*>(), "^{CGSize=dd}"},
      {encodingOf<outer::Inner>(), "{Inner=i[2d]*}"},
      {encodingOf<outer::Either>(), "(Either=if)"},
      {encodingOf<outer::WithObjects>(), "{WithObjects=@:#}"},
      {encodingOf<outer::Unknown*>(), "^{Unknown}"},
  };
  for (const Row& row : rows) EXPECT_STREQ(row.derived, row.expected);
}

TEST(TypeEncoding, SizesAgreeWithTheCompiler) {
  struct Row {
    const char* encoding;
    std::size_t size, alignment;
  };
  const Row rows[] = {
      {"B", sizeof(bool), alignof(bool)},
      {"c", 1, 1},
      {"s", 2, 2},
      {"i", 4, 4},
      {"l", 4, 4},
      {"q", 8, 8},
      {"f", 4, 4},
      {"d", 8, 8},
      {"D", sizeof(long double), alignof(long double)},
      {"@", 8, 8},
      {"@?", 8, 8},
      {"@?<v@?>", 8, 8},
      {"@\"NSString\"", 8, 8},
      {"#", 8, 8},
      {":", 8, 8},
      {"*", 8, 8},
      {"r*", 8, 8},
      {"^v", 8, 8},
      {"^{Unknown}", 8, 8},
      {"^?", 8, 8},
      {"[12i]", 48, 4},
      {"[3[4f]]", 48, 4},
      {"{CGSize=dd}", sizeof(CGSize), alignof(CGSize)},
      {"{Inner=i[2d]*}", sizeof(outer::Inner), alignof(outer::Inner)},
      {"(Either=if)", sizeof(outer::Either), alignof(outer::Either)},
      {"{S=cqc}", 24, 8},
      {"{S=\"a\"i\"b\"q}", 16, 8},
      {"b8", 1, 1},
      {"b9", 2, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding);
    bool valid = false;
    const SizeAndAlignment found = sizeAndAlignment(row.encoding, &valid);
    EXPECT_TRUE(valid);
    EXPECT_EQ(found.size, row.size);
    EXPECT_EQ(found.alignment, row.alignment);
  }
}

TEST(TypeEncoding, RefusesWhatIsNone) {
  const std::string deep(100000, '^');
  const std::string brackets(100000, '{');
  for (const std::string& text :
       {std::string(), std::string("r"), std::string("v"), std::string("x"), std::string("ii"), std::string("[i]"),
        std::string("[3"), std::string("[3i"), std::string("{S=i"), std::string("{S"), std::string("(U=i"),
        std::string("[99999999999999999999i]"), std::string("[1099511627777d]"), std::string("@\"NSString"),
        std::string("@?<v"), std::string("b"), deep + "i", brackets}) {
    SCOPED_TRACE(text.substr(0, 30));
    bool valid = true;
    EXPECT_EQ(sizeAndAlignment(text, &valid).size, 0u);
    EXPECT_FALSE(valid);
  }
}

TEST(TypeEncoding, FindsTheFirstType) {
  struct Row {
    const char* types;
    std::size_t length;
  };
  const Row rows[] = {{"v24@0:8", 1}, {"@\"A\"16", 4}, {"{S=i}8", 5}, {"r*8", 2}, {"^^v0", 3}, {"", 0}, {"8", 0}};
  for (const Row& row : rows) EXPECT_EQ(lengthOfFirstType(row.types), row.length) << row.types;
}

}  // namespace
}  // namespace kvt
