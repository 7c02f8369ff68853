#include <KVTFoundation/Cache/KVTLinkedMap.h>

#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

/// By messages, as a client of the class would.
class KVTLinkedMapTest : public testing::Test {
 protected:
  void insert(const std::string& letters) {
    for (char each : letters) {
      const Ref<KVTLinkedMapNode> node = make<KVTLinkedMapNode>();
      node->_key = NSString(std::string(1, each));
      node->_value = node->_key;
      objc_msgSend(map, "insertNodeAtHead:", node);
      nodes[each] = node;
    }
  }
  void remove(char each) { objc_msgSend(map, "removeNode:", nodes[each]); }
  std::string removeTail() {
    const auto node = objc_msgSend<Ref<KVTLinkedMapNode>>(map, "removeTailNode");
    return node ? std::string(node->_key.as<NSString>()) : "";
  }
  /// From head to tail; what is on the list must be found.
  std::string list() {
    std::string letters;
    const KVTLinkedMapNode* last = nullptr;
    for (KVTLinkedMapNode* node = map->head(); node != nullptr; node = node->_next) {
      letters += std::string(node->_key.as<NSString>());
      EXPECT_EQ(node->_prev, last);
      EXPECT_EQ(map->nodeForKey(node->_key.object(), node->hash), node);
      last = node;
    }
    EXPECT_EQ(map->tail(), last);
    EXPECT_EQ(map->count(), letters.size());
    EXPECT_EQ(map->allKeys().count(), letters.size());
    return letters;
  }

  Ref<KVTLinkedMap> map = make<KVTLinkedMap>();
  std::map<char, Ref<KVTLinkedMapNode>> nodes;
};

TEST_F(KVTLinkedMapTest, TheEndsAreKeptRight) {
  const struct {
    const char* letters;
    const char* removed;
    const char* left;
  } rows[] = {{"a", "a", ""},     {"ab", "a", "b"},   {"ab", "b", "a"},    {"ab", "ab", ""},
              {"abc", "a", "cb"}, {"abc", "b", "ca"}, {"abc", "c", "ba"},  {"abc", "cab", ""},
              {"", "", ""},       {"a", "aa", ""},    {"abcd", "bc", "da"}};
  for (const auto& row : rows) {
    insert(row.letters);
    for (const char* each = row.removed; *each != '\0'; ++each) remove(*each);
    EXPECT_EQ(list(), row.left) << row.letters << " without " << row.removed;
    EXPECT_EQ(map->head() == nullptr, row.left[0] == '\0');
    objc_msgSend(map, "removeAllNode");
    EXPECT_EQ(list(), "");
    nodes.clear();
  }
}

TEST_F(KVTLinkedMapTest, ANodeComesToTheHead) {
  const struct {
    char brought;
    const char* order;
  } rows[] = {{'c', "cba"}, {'b', "bca"}, {'a', "acb"}};
  for (const auto& row : rows) {
    insert("abc");
    objc_msgSend(map, "bringNodeToHead:", nodes[row.brought]);
    EXPECT_EQ(list(), row.order);
    objc_msgSend(map, "removeAllNode");
  }
  insert("a");
  objc_msgSend(map, "bringNodeToHead:", nodes['a']);
  EXPECT_EQ(list(), "a");
}

TEST_F(KVTLinkedMapTest, ARemovedNodeKeepsItsLinks) {
  insert("abc");
  remove('b');
  EXPECT_EQ(nodes['b']->_next, nodes['a'].get());
  EXPECT_EQ(nodes['b']->_prev, nodes['c'].get());
  EXPECT_EQ(list(), "ca");
}

TEST_F(KVTLinkedMapTest, TheTailGoes) {
  EXPECT_EQ(removeTail(), "");
  insert("abc");
  EXPECT_EQ(removeTail(), "a");
  EXPECT_EQ(list(), "cb");
  EXPECT_EQ(removeTail(), "b");
  EXPECT_EQ(removeTail(), "c");
  EXPECT_EQ(list(), "");
  EXPECT_EQ(removeTail(), "");
}

TEST_F(KVTLinkedMapTest, NodesAreOwnedWhileTheyAreIn) {
  insert("ab");
  const Weak<KVTLinkedMapNode> a = nodes['a'], b = nodes['b'];
  nodes.clear();
  EXPECT_TRUE(a.lock());
  EXPECT_EQ(removeTail(), "a");
  EXPECT_FALSE(a.lock());
  EXPECT_TRUE(b.lock());
  map = nullptr;
  EXPECT_FALSE(b.lock());
}

TEST_F(KVTLinkedMapTest, TextIsComparedToItsEnd) {
  for (const std::string filler : {"x", "é"}) {
    for (std::size_t length = 0; length < 70; ++length) {
      std::string text;
      for (std::size_t i = 0; i < length; ++i) text += filler;
      const NSString a(text), same(text), longer(text + "x");
      EXPECT_TRUE(KVTLinkedMap::isKey(a.object(), same.object()));
      EXPECT_FALSE(KVTLinkedMap::isKey(a.object(), longer.object()));
      EXPECT_FALSE(KVTLinkedMap::isKey(longer.object(), a.object()));
      EXPECT_TRUE(KVTLinkedMap::isKey(a.mutableCopy().object(), same.object()));
      for (std::size_t changed = 0; changed < text.size(); changed += filler.size()) {
        std::string other = text;
        other.replace(changed, filler.size(), filler == "x" ? "y" : "ü");
        EXPECT_FALSE(KVTLinkedMap::isKey(a.object(), NSString(other).object())) << text << " and " << other;
      }
    }
  }
}

TEST_F(KVTLinkedMapTest, OddMessages) {
  EXPECT_EQ(raisedName([&] { return objc_msgSend(map, "insertNodeAtHead:", make<KVTLinkedMapNode>()), 0; }),
            "NSInvalidArgumentException");
  insert("ab");
  objc_msgSend(map, "removeNode:", nullptr);
  objc_msgSend(map, "bringNodeToHead:", nullptr);
  objc_msgSend(map, "bringNodeToHead:", make<KVTLinkedMapNode>());
  objc_msgSend(map, "removeNode:", make<KVTLinkedMapNode>());
  EXPECT_EQ(list(), "ba");
  const Ref<KVTLinkedMapNode> former = nodes['a'];
  insert("a");  // another node takes the key
  EXPECT_EQ(list(), "ab");
  EXPECT_FALSE(map->isOnList(former.get()));
}

}  // namespace
}  // namespace kvt
