// What a model class's own mapper makes of its properties: keys, key paths, key lists and chains.
#include <string>
#include <vector>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using namespace modeltest;

struct MapperRow {
  const char* trace;
  NSDictionary mapper;
  /// For property "a": its key, key path and key list; the keys under which it is found.
  const char* key;
  NSArray path;
  NSArray list;
  std::vector<id> foundUnder;
};

TEST(ModelMapper, WhatAMapperMakesOfAProperty) {
  const NSArray none = nullptr;
  const MapperRow rows[] = {
      {"no entry", NSDictionary::dictionary(), "a", none, none, {NSString("a")}},
      {"another key", {{"a", "x"}}, "x", none, none, {NSString("x")}},
      {"its own key", {{"a", "a"}}, "a", none, none, {NSString("a")}},
      {"empty text", {{"a", ""}}, nullptr, none, none, {}},
      {"a path", {{"a", "x.y"}}, "x.y", {"x", "y"}, none, {NSString("x.y")}},
      {"a long path", {{"a", "p.q.r.s"}}, "p.q.r.s", {"p", "q", "r", "s"}, none, {NSString("p.q.r.s")}},
      {"two dots", {{"a", "x..y"}}, "x..y", {"x", "y"}, none, {NSString("x..y")}},
      {"many dots", {{"a", "..x...y.."}}, "..x...y..", {"x", "y"}, none, {NSString("..x...y..")}},
      {"a dot in front", {{"a", ".x"}}, ".x", none, none, {NSString(".x")}},
      {"a dot behind", {{"a", "x."}}, "x.", none, none, {NSString("x.")}},
      {"one dot", {{"a", "."}}, ".", none, none, {NSString(".")}},
      {"three dots", {{"a", "..."}}, "...", none, none, {NSString("...")}},
      {"blanks are no separators", {{"a", "x y"}}, "x y", none, none, {NSString("x y")}},
      {"null", {{"a", NSNull::null()}}, nullptr, none, none, {}},
      {"a number", {{"a", 7}}, nullptr, none, none, {}},
      {"a dictionary", {{"a", NSDictionary{{"x", "y"}}}}, nullptr, none, none, {}},
      {"a set", {{"a", NSSet{"x"}}}, nullptr, none, none, {}},
      {"a class", {{"a", classOf<NSString>()}}, nullptr, none, none, {}},
      {"a list of one", {{"a", NSArray{"x"}}}, "x", none, {"x"}, {NSArray{"x"}}},
      {"a list", {{"a", NSArray{"x", "y", "z"}}}, "x", none, {"x", "y", "z"}, {NSArray{"x", "y", "z"}}},
      {"a list with paths", {{"a", NSArray{"x", "y.z"}}}, "x", none, {"x", NSArray{"y", "z"}}, {NSArray{"x", "y.z"}}},
      {"a list, a path first",
       {{"a", NSArray{"x.y", "z"}}},
       "x.y",
       {"x", "y"},
       {NSArray{"x", "y"}, "z"},
       {NSArray{"x.y", "z"}}},
      {"a list keeps empty parts",
       {{"a", NSArray{"x..y"}}},
       "x..y",
       {"x", "", "y"},
       NSArray::arrayWithObject(NSArray{"x", "", "y"}),
       {NSArray{"x..y"}}},
      {"a list with a dot",
       {{"a", NSArray{"."}}},
       ".",
       {"", ""},
       NSArray::arrayWithObject(NSArray{"", ""}),
       {NSArray{"."}}},
      {"a list skips empty text", {{"a", NSArray{"", "x"}}}, "x", none, {"x"}, {NSArray{"", "x"}}},
      {"a list skips what is no text",
       {{"a", NSArray{1, NSNull::null(), "x", NSArray{"q"}, "y"}}},
       "x",
       none,
       {"x", "y"},
       {NSArray{1, NSNull::null(), "x", NSArray{"q"}, "y"}}},
      {"a list with a key twice", {{"a", NSArray{"x", "x"}}}, "x", none, {"x", "x"}, {NSArray{"x", "x"}}},
      {"an empty list", {{"a", NSArray::array()}}, nullptr, none, none, {}},
      {"a list of nothing usable", {{"a", NSArray{"", 1, NSNull::null()}}}, nullptr, none, none, {}},
      {"an unknown property", {{"z", "x"}}, "a", none, none, {NSString("a")}},
      {"a key that is no text", {{7, "x"}, {NSNull::null(), "y"}}, "a", none, none, {NSString("a")}},
  };
  int number = 0;
  for (const MapperRow& row : rows) {
    SCOPED_TRACE(row.trace);
    ClassMaker maker("MetaMapper" + std::to_string(number++));
    withText(maker, {"a", "b"}).answers("modelCustomPropertyMapper", row.mapper);
    const Class cls = maker.make();
    auto meta = _KVTModelMeta::metaWithClass(cls);
    auto a = metaOf(cls, "a");
    ASSERT_TRUE(a) << "a property that is dropped stays among all";
    EXPECT_EQ(meta->keyMappedCount, 2u);
    EXPECT_EQ(a->mappedToKey, row.key);
    EXPECT_EQ(a->mappedToKeyPath, row.path);
    EXPECT_EQ(a->mappedToKeyArray, row.list);
    EXPECT_EQ(chain(cls, "b"), Names{"b"});
    EXPECT_EQ(meta->mapper.count(), row.foundUnder.size() + 1);
    for (const id& key : row.foundUnder) EXPECT_EQ(chain(cls, key), Names{"a"}) << key;
    ASSERT_TRUE(meta->keyPathPropertyMetas);
    ASSERT_TRUE(meta->multiKeysPropertyMetas);
    EXPECT_EQ(namesOf(meta->multiKeysPropertyMetas), row.list ? Names{"a"} : Names{});
    EXPECT_EQ(namesOf(meta->keyPathPropertyMetas), row.path && !row.list ? Names{"a"} : Names{});
  }
}

TEST(ModelMapper, ChainsOfPropertiesWithOneKey) {
  ClassMaker maker("MetaChains");
  withText(maker, {"a", "b", "c", "d", "e", "k"});
  maker.answers("modelCustomPropertyMapper",
                NSDictionary{{"a", "two"}, {"b", "two"}, {"c", "k"}, {"d", "x.y"}, {"e", "x.y"}});
  const Class cls = maker.make();
  EXPECT_EQ(chain(cls, "two"), (Names{"b", "a"})) << "the one registered last is the head";
  EXPECT_EQ(chain(cls, "x.y"), (Names{"e", "d"}));
  // A property that is called like the key joins after the mapper's.
  EXPECT_EQ(chain(cls, "k"), (Names{"k", "c"}));
  EXPECT_EQ(chain(cls, "a"), Names{});
  auto meta = _KVTModelMeta::metaWithClass(cls);
  EXPECT_EQ(meta->mapper.count(), 3u);
  EXPECT_EQ(meta->keyMappedCount, 6u);
  EXPECT_EQ(namesOf(meta->keyPathPropertyMetas), (Names{"d", "e"}));
}

TEST(ModelMapper, ChainOfThree) {
  ClassMaker maker("MetaChainOfThree");
  withText(maker, {"a", "b", "c", "d"});
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"c", "k"}, {"a", "k"}, {"b", "k"}});
  const Class cls = maker.make();
  EXPECT_EQ(chain(cls, "k"), (Names{"b", "a", "c"}));
  EXPECT_EQ(chain(cls, "d"), Names{"d"});
}

TEST(ModelMapper, ChainsUnderEqualLists) {
  ClassMaker maker("MetaListChain");
  withText(maker, {"a", "b", "c"});
  maker.answers("modelCustomPropertyMapper",
                NSDictionary{{"a", NSArray{"x", "y"}}, {"b", NSArray{"x", "y"}}, {"c", NSArray{"y", "x"}}});
  const Class cls = maker.make();
  EXPECT_EQ(chain(cls, NSArray{"x", "y"}), (Names{"b", "a"}));
  EXPECT_EQ(chain(cls, NSArray{"y", "x"}), Names{"c"});
  EXPECT_EQ(chain(cls, "x"), Names{}) << "under the list, not under its texts";
  EXPECT_EQ(namesOf(_KVTModelMeta::metaWithClass(cls)->multiKeysPropertyMetas), (Names{"a", "b", "c"}));
}

TEST(ModelMapper, ReadonlyIsNeverMapped) {
  ClassMaker maker("MetaReadonly");
  withText(maker, {"a"}).property("fixed", "@\"NSString\"", "R");
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"fixed", "f"}});
  const Class cls = maker.make();
  EXPECT_EQ(allNames(cls), Names{"a"});
  EXPECT_EQ(chain(cls, "f"), Names{});
  EXPECT_EQ(chain(cls, "fixed"), Names{});
}

TEST(ModelMapper, NothingToMap) {
  auto meta = _KVTModelMeta::metaWithClass(ClassMaker("MetaEmpty").make());
  ASSERT_TRUE(meta);
  EXPECT_FALSE(meta->mapper);
  EXPECT_FALSE(meta->allPropertyMetas);
  EXPECT_TRUE(meta->keyPathPropertyMetas);
  EXPECT_TRUE(meta->multiKeysPropertyMetas);
  EXPECT_EQ(meta->keyMappedCount, 0u);
  ClassMaker dropped("MetaAllDropped");
  withText(dropped, {"a"}).answers("modelCustomPropertyMapper", NSDictionary{{"a", ""}});
  meta = _KVTModelMeta::metaWithClass(dropped.make());
  EXPECT_FALSE(meta->mapper);
  EXPECT_EQ(meta->keyMappedCount, 1u);
  EXPECT_EQ(meta->allPropertyMetas.count(), 1u);
}

}  // namespace
}  // namespace kvt
