// What a type encoding decodes to.
#include <KVTFoundation/KVTModelKit/KVTClassInfo.h>
#include <gtest/gtest.h>

#include <string>

namespace kvt {
namespace {

TEST(EncodingType, NumbersOfTheValueTypes) {
  struct Row {
    NSUInteger name, value;
  };
  const Row rows[] = {
      {KVTEncodingTypeMask, 0xFF},
      {KVTEncodingTypeUnknown, 0},
      {KVTEncodingTypeVoid, 1},
      {KVTEncodingTypeBool, 2},
      {KVTEncodingTypeInt8, 3},
      {KVTEncodingTypeUInt8, 4},
      {KVTEncodingTypeInt16, 5},
      {KVTEncodingTypeUInt16, 6},
      {KVTEncodingTypeInt32, 7},
      {KVTEncodingTypeUInt32, 8},
      {KVTEncodingTypeInt64, 9},
      {KVTEncodingTypeUInt64, 10},
      {KVTEncodingTypeFloat, 11},
      {KVTEncodingTypeDouble, 12},
      {KVTEncodingTypeLongDouble, 13},
      {KVTEncodingTypeObject, 14},
      {KVTEncodingTypeClass, 15},
      {KVTEncodingTypeSEL, 16},
      {KVTEncodingTypeBlock, 17},
      {KVTEncodingTypePointer, 18},
      {KVTEncodingTypeStruct, 19},
      {KVTEncodingTypeUnion, 20},
      {KVTEncodingTypeCString, 21},
      {KVTEncodingTypeCArray, 22},
      {KVTEncodingTypeQualifierMask, 0xFF00},
      {KVTEncodingTypeQualifierConst, 0x100},
      {KVTEncodingTypeQualifierIn, 0x200},
      {KVTEncodingTypeQualifierInout, 0x400},
      {KVTEncodingTypeQualifierOut, 0x800},
      {KVTEncodingTypeQualifierBycopy, 0x1000},
      {KVTEncodingTypeQualifierByref, 0x2000},
      {KVTEncodingTypeQualifierOneway, 0x4000},
      {KVTEncodingTypePropertyMask, 0xFF0000},
      {KVTEncodingTypePropertyReadonly, 0x10000},
      {KVTEncodingTypePropertyCopy, 0x20000},
      {KVTEncodingTypePropertyRetain, 0x40000},
      {KVTEncodingTypePropertyNonatomic, 0x80000},
      {KVTEncodingTypePropertyWeak, 0x100000},
      {KVTEncodingTypePropertyCustomGetter, 0x200000},
      {KVTEncodingTypePropertyCustomSetter, 0x400000},
      {KVTEncodingTypePropertyDynamic, 0x800000},
  };
  for (const Row& row : rows) EXPECT_EQ(row.name, row.value);
}

TEST(EncodingType, FirstCharacterDecides) {
  struct Row {
    const char* encoding;
    NSUInteger type;
  };
  const Row rows[] = {
      {nullptr, 0},
      {"", 0},
      // One row for each character of the table.
      {"v", 1},
      {"B", 2},
      {"c", 3},
      {"C", 4},
      {"s", 5},
      {"S", 6},
      {"i", 7},
      {"l", 7},
      {"I", 8},
      {"L", 8},
      {"q", 9},
      {"Q", 10},
      {"f", 11},
      {"d", 12},
      {"D", 13},
      {"@", 14},
      {"#", 15},
      {":", 16},
      {"@?", 17},
      {"^", 18},
      {"{", 19},
      {"(", 20},
      {"*", 21},
      {"[", 22},
      // Only the first one counts.
      {"^v", 18},
      {"^?", 18},
      {"^{CGSize=dd}", 18},
      {"{CGSize=dd}", 19},
      {"{CGSize", 19},
      {"(Number=id)", 20},
      {"[12^f]", 22},
      {"id", 7},
      {"qB", 9},
      {"vv", 1},
      // Objects and blocks.
      {"@\"NSString\"", 14},
      {"@\"<NSCopying>\"", 14},
      {"@\"NSArray<A><B>\"", 14},
      {"@?<v@?>", 14},
      {"@??", 14},
      {"@? ", 14},
      {"@ ?", 14},
      {"@@", 14},
      {"@\"", 14},
      // Nothing that is known.
      {"b8", 0},
      {"b", 0},
      {"?", 0},
      {"?@", 0},
      {"A", 0},
      {"j", 0},
      {"t", 0},
      {"T", 0},
      {"x", 0},
      {" ", 0},
      {" i", 0},
      {"0", 0},
      {"}", 0},
      {"]", 0},
      {"\"", 0},
      {"%", 0},
      {"!", 0},
      {"\x01", 0},
      {"\xC3\xA9", 0},
      {"\xFF", 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding != nullptr ? row.encoding : "none");
    EXPECT_EQ(KVTEncodingGetType(row.encoding), row.type);
  }
}

TEST(EncodingType, EveryCharacterThereIs) {
  const std::string known = "vBcCsSilILqQfdD@#:^{(*[", qualifiers = "rnNoORV";
  for (int code = 1; code < 256; ++code) {
    const char text[] = {static_cast<char>(code), 0};
    SCOPED_TRACE(code);
    const NSUInteger type = KVTEncodingGetType(text);
    EXPECT_EQ((type & 0xFF) != 0, known.find(text[0]) != std::string::npos);
    EXPECT_EQ((type & 0xFF00) != 0, qualifiers.find(text[0]) != std::string::npos);
    EXPECT_EQ(type & 0xFF0000, 0u);
  }
}

TEST(EncodingType, QualifiersCombine) {
  struct Row {
    const char* encoding;
    NSUInteger type;
  };
  const Row rows[] = {
      {"r", 0x100},
      {"n", 0x200},
      {"N", 0x400},
      {"o", 0x800},
      {"O", 0x1000},
      {"R", 0x2000},
      {"V", 0x4000},
      {"rnNoORV", 0x7F00},
      {"VROoNnr", 0x7F00},
      {"rr", 0x100},
      {"rrrrrrrri", 0x107},
      {"r^v", 0x112},
      {"r*", 0x115},
      {"ri", 0x107},
      {"nq", 0x209},
      {"N@", 0x40E},
      {"o^d", 0x812},
      {"O@\"NSString\"", 0x100E},
      {"R@", 0x200E},
      {"Vv", 0x4001},
      {"rN{CGSize=dd}", 0x513},
      {"rnNoORVD", 0x7F0D},
      {"r@?", 0x111},
      {"rV@?", 0x4111},
      {"r@?<v@?>", 0x10E},
      {"r@", 0x10E},
      // What is not known keeps the qualifiers.
      {"rb8", 0x100},
      {"nr?", 0x300},
      {"r ", 0x100},
      {"r i", 0x100},
      // A qualifier behind the type is none.
      {"ir", 7},
      {"@r", 14},
      {"bV", 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding);
    EXPECT_EQ(KVTEncodingGetType(row.encoding), row.type);
  }
}

TEST(EncodingType, EveryQualifierBeforeEveryType) {
  const char qualifiers[] = "rnNoORV";
  const NSUInteger bits[] = {0x100, 0x200, 0x400, 0x800, 0x1000, 0x2000, 0x4000};
  const std::pair<const char*, NSUInteger> types[] = {
      {"v", 1},   {"B", 2},   {"c", 3},      {"C", 4},      {"s", 5},  {"S", 6},     {"i", 7},  {"I", 8},
      {"q", 9},   {"Q", 10},  {"f", 11},     {"d", 12},     {"D", 13}, {"@", 14},    {"#", 15}, {":", 16},
      {"@?", 17}, {"^v", 18}, {"{S=i}", 19}, {"(U=i)", 20}, {"*", 21}, {"[2i]", 22}, {"b1", 0},
  };
  for (unsigned set = 0; set < 128; ++set) {
    std::string prefix;
    NSUInteger expected = 0;
    for (unsigned i = 0; i < 7; ++i) {
      if ((set >> i & 1) == 0) continue;
      prefix += qualifiers[i];
      expected |= bits[i];
    }
    for (const auto& [encoding, type] : types) {
      EXPECT_EQ(KVTEncodingGetType((prefix + encoding).c_str()), expected | type) << prefix + encoding;
    }
  }
}

TEST(EncodingType, EncodingsOfCppTypes) {
  struct Row {
    const char* encoding;
    NSUInteger type;
  };
  const Row rows[] = {
      {encodingOf<bool>(), KVTEncodingTypeBool},
      {encodingOf<char>(), KVTEncodingTypeInt8},
      {encodingOf<std::int8_t>(), KVTEncodingTypeInt8},
      {encodingOf<std::uint8_t>(), KVTEncodingTypeUInt8},
      {encodingOf<std::int16_t>(), KVTEncodingTypeInt16},
      {encodingOf<std::uint16_t>(), KVTEncodingTypeUInt16},
      {encodingOf<std::int32_t>(), KVTEncodingTypeInt32},
      {encodingOf<std::uint32_t>(), KVTEncodingTypeUInt32},
      {encodingOf<std::int64_t>(), KVTEncodingTypeInt64},
      {encodingOf<std::uint64_t>(), KVTEncodingTypeUInt64},
      {encodingOf<float>(), KVTEncodingTypeFloat},
      {encodingOf<double>(), KVTEncodingTypeDouble},
      {encodingOf<long double>(), KVTEncodingTypeLongDouble},
      {encodingOf<NSString>(), KVTEncodingTypeObject},
      {encodingOf<Class>(), KVTEncodingTypeClass},
      {encodingOf<SEL>(), KVTEncodingTypeSEL},
      {encodingOf<Block<void()>>(), KVTEncodingTypeBlock},
      {encodingOf<void*>(), KVTEncodingTypePointer},
      {encodingOf<const void*>(), KVTEncodingTypePointer | KVTEncodingTypeQualifierConst},
      {encodingOf<CGSize>(), KVTEncodingTypeStruct},
      {encodingOf<char*>(), KVTEncodingTypeCString},
      {encodingOf<const char*>(), KVTEncodingTypeCString | KVTEncodingTypeQualifierConst},
      {encodingOf<int[4]>(), KVTEncodingTypeCArray},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding);
    EXPECT_EQ(KVTEncodingGetType(row.encoding), row.type);
  }
}

TEST(EncodingType, OperatorsKeepTheType) {
  KVTEncodingType type = KVTEncodingTypeInt32;
  type |= KVTEncodingTypePropertyReadonly;
  EXPECT_EQ(type, 0x10007u);
  EXPECT_EQ(type & KVTEncodingTypeMask, KVTEncodingTypeInt32);
  EXPECT_EQ((type | KVTEncodingTypeQualifierConst) & KVTEncodingTypeQualifierMask, KVTEncodingTypeQualifierConst);
}

}  // namespace
}  // namespace kvt
