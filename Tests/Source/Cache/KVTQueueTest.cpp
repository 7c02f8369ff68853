#include <KVTFoundation/Cache/KVTQueue.h>

#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

Ref<KVTQueue> queueOf(const std::string& letters) {
  Ref<KVTQueue> queue = make<KVTQueue>();
  for (char each : letters) queue->enqueue(NSString(std::string(1, each)));
  return queue;
}

/// The values from the head on, and the same walk from the tail, which must agree.
std::string lettersOf(const Ref<KVTQueue>& queue) {
  std::string forward, backward;
  for (Ref<KVTQueueNode> node = queue->head(); node; node = Ref<KVTQueueNode>(node->next())) {
    forward += std::string(node->value().as<NSString>());
  }
  for (Ref<KVTQueueNode> node = queue->tail(); node; node = Ref<KVTQueueNode>(node->prev())) {
    backward.insert(0, std::string(node->value().as<NSString>()));
  }
  EXPECT_EQ(forward, backward);
  EXPECT_EQ(queue->count(), forward.size());
  return forward;
}

std::string drain(const Ref<KVTQueue>& queue) {
  std::string letters;
  while (const id each = queue->dequeue()) letters += std::string(each.as<NSString>());
  EXPECT_EQ(queue->count(), 0u);
  EXPECT_FALSE(queue->head());
  EXPECT_FALSE(queue->tail());
  return letters;
}

Block<bool(id)> matching(const std::string& letters) {
  return [letters](const id& each) { return letters.find(std::string(each.as<NSString>())) != std::string::npos; };
}

TEST(KVTQueueTest, ObjectsLeaveInTheOrderInWhichTheyCame) {
  const Ref<KVTQueue> queue = make<KVTQueue>();
  EXPECT_FALSE(queue->head());
  EXPECT_FALSE(queue->tail());
  EXPECT_EQ(queue->count(), 0u);
  EXPECT_FALSE(queue->dequeue());
  EXPECT_EQ(queue->count(), 0u);
  queue->enqueue(nullptr);
  EXPECT_EQ(lettersOf(queue), "");
  EXPECT_FALSE(queue->head());
  queue->enqueue("a"_ns);
  EXPECT_TRUE(isIdentical(queue->head(), queue->tail()));
  queue->enqueue("b"_ns);
  EXPECT_EQ(queue->dequeue(), id("a"_ns));
  queue->enqueue("c"_ns);
  EXPECT_EQ(lettersOf(queue), "bc");
  EXPECT_EQ(drain(queue), "bc");
  queue->enqueue("d"_ns);
  EXPECT_EQ(lettersOf(queue), "d");
}

TEST(KVTQueueTest, RemovesWhatMatches) {
  const struct {
    const char* before;
    const char* matching;
    const char* after;
  } rows[] = {
      {"abc", "b", "ac"},    {"abc", "a", "bc"},  {"abc", "c", "ab"},        {"abc", "ab", "c"}, {"abc", "bc", "a"},
      {"abc", "ac", "b"},    {"abc", "abc", ""},  {"abc", "x", "abc"},       {"a", "a", ""},     {"", "a", ""},
      {"aabbaa", "a", "bb"}, {"abab", "b", "aa"}, {"abcdefg", "bdf", "aceg"}};
  for (const auto& row : rows) {
    const Ref<KVTQueue> queue = queueOf(row.before);
    queue->remove(matching(row.matching));
    EXPECT_EQ(lettersOf(queue), row.after) << row.before << " without " << row.matching;
    EXPECT_EQ(static_cast<bool>(queue->head()), row.after[0] != '\0');
    EXPECT_EQ(static_cast<bool>(queue->tail()), row.after[0] != '\0');
    EXPECT_EQ(drain(queue), row.after);
  }
  const Ref<KVTQueue> queue = queueOf("ab");
  queue->remove(nullptr);
  EXPECT_EQ(drain(queue), "ab");
}

TEST(KVTQueueTest, ARemovedNodeKeepsItsLinks) {
  const Ref<KVTQueue> queue = queueOf("abc");
  const Ref<KVTQueueNode> a = queue->head(), b = a->next(), c = b->next();
  queue->remove(matching("b"));
  EXPECT_TRUE(isIdentical(b->prev(), a));
  EXPECT_TRUE(isIdentical(b->next(), c));
  EXPECT_EQ(drain(queue), "ac");
}

TEST(KVTQueueTest, ANodeThatLeftTheHeadHasNoNext) {
  const Ref<KVTQueue> queue = queueOf("ab");
  const Ref<KVTQueueNode> a = queue->head();
  queue->dequeue();
  EXPECT_FALSE(a->next());
  EXPECT_EQ(drain(queue), "b");
}

TEST(KVTQueueTest, APredicateThatRaises) {
  const Ref<KVTQueue> queue = queueOf("abcd");
  const auto remove = [&] {
    queue->remove([](const id& each) {
      if (each == id("c"_ns)) throw NSException::exceptionWithName_reason_userInfo("Own", "why", {});
      return each == id("a"_ns);
    });
    return 0;
  };
  EXPECT_EQ(raised(remove), "Own: why");
  EXPECT_EQ(lettersOf(queue), "bcd");
  EXPECT_EQ(drain(queue), "bcd");
}

TEST(KVTQueueTest, APredicateMayUseTheQueue) {
  const Ref<KVTQueue> queue = queueOf("abc");
  queue->remove([&](const id& each) {
    if (each == id("a"_ns)) queue->enqueue("d"_ns);
    if (each == id("b"_ns)) {
      EXPECT_EQ(queue->dequeue(), id("a"_ns));
    }
    return each == id("d"_ns);
  });
  EXPECT_EQ(lettersOf(queue), "bc");
  EXPECT_EQ(drain(queue), "bc");
}

TEST(KVTQueueTest, ADrainedQueueLeavesNothingBehind) {
  const struct {
    const char* name;
    void (*empty)(const Ref<KVTQueue>& queue);
  } rows[] = {
      {"dequeue", [](const Ref<KVTQueue>& queue) { drain(queue); }},
      {"remove", [](const Ref<KVTQueue>& queue) { queue->remove([](const id&) { return true; }); }},
      {"both",
       [](const Ref<KVTQueue>& queue) {
         queue->remove(matching("bd"));
         queue->dequeue();
         queue->remove(matching("e"));
         drain(queue);
       }},
  };
  for (const auto& row : rows) {
    Ref<KVTQueue> queue = queueOf("abcde");
    std::vector<Weak<KVTQueueNode>> nodes;
    for (Ref<KVTQueueNode> node = queue->head(); node; node = Ref<KVTQueueNode>(node->next())) nodes.push_back(node);
    ASSERT_EQ(nodes.size(), 5u);
    row.empty(queue);
    for (std::size_t i = 0; i < nodes.size(); ++i) EXPECT_FALSE(nodes[i].lock()) << row.name << ": node " << i;
  }
}

TEST(KVTQueueTest, NodesOfAnUndrainedQueueStay) {
  Weak<KVTQueueNode> first, second;
  {
    const Ref<KVTQueue> queue = queueOf("ab");
    first = queue->head();
    second = queue->tail();
  }
  Ref<KVTQueueNode> a = first.lock(), b = second.lock();
  ASSERT_TRUE(a);
  ASSERT_TRUE(b);
  EXPECT_EQ(a->value(), id("a"_ns));
  EXPECT_TRUE(isIdentical(b->prev(), a));
  // What the host of such a queue would have to do.
  b->setPrev(nullptr);
  a = b = nullptr;
  EXPECT_FALSE(first.lock());
  EXPECT_FALSE(second.lock());
}

TEST(KVTQueueTest, LongChainsGoWithoutDepth) {
  constexpr int kNodes = 500'000;
  const struct {
    const char* name;
    bool forward;
  } rows[] = {{"next", true}, {"prev", false}};
  for (const auto& row : rows) {
    Ref<KVTQueueNode> chain = make<KVTQueueNode>();
    const Weak<KVTQueueNode> last = chain;
    for (int i = 1; i < kNodes; ++i) {
      Ref<KVTQueueNode> node = make<KVTQueueNode>();
      if (row.forward)
        node->setNext(chain);
      else
        node->setPrev(chain);
      chain = node;
    }
    chain = nullptr;
    EXPECT_FALSE(last.lock()) << row.name;
  }
  const Ref<KVTQueue> queue = make<KVTQueue>();
  for (int i = 0; i < kNodes; ++i) queue->enqueue(NSNumber(i));
  const Weak<KVTQueueNode> newest = queue->tail();
  queue->remove([](const id&) { return true; });
  EXPECT_FALSE(newest.lock());
}

TEST(KVTQueueTest, TheEndsAndTheCountAreSetByThemselves) {
  const Ref<KVTQueue> queue = queueOf("ab");
  const Ref<KVTQueueNode> a = queue->head(), b = queue->tail();
  queue->setCount(7);
  queue->setTail(nullptr);
  queue->enqueue("c"_ns);
  EXPECT_EQ(queue->count(), 8u);
  EXPECT_FALSE(queue->tail()->prev());
  EXPECT_FALSE(b->next());
  EXPECT_EQ(queue->dequeue(), id("a"_ns));
  EXPECT_EQ(queue->dequeue(), id("b"_ns));
  EXPECT_FALSE(queue->dequeue());
  EXPECT_EQ(queue->count(), 6u);
  EXPECT_TRUE(queue->tail()) << "a chain that was cut keeps its end";
}

TEST(KVTQueueTest, TheRunTimeKnowsThem) {
  const struct {
    const char* cls;
    const char* property;
    const char* attributes;
  } rows[] = {{"KVTQueueNode", "value", "T@,&,N,Vvalue"},
              {"KVTQueueNode", "next", "T@\"KVTQueueNode\",&,N,Vnext"},
              {"KVTQueueNode", "prev", "T@\"KVTQueueNode\",&,N,Vprev"},
              {"KVTQueue", "count", "TQ,N,Vcount"},
              {"KVTQueue", "head", "T@\"KVTQueueNode\",&,N,Vhead"},
              {"KVTQueue", "tail", "T@\"KVTQueueNode\",&,N,Vtail"}};
  for (const auto& row : rows) {
    EXPECT_STREQ(property_getAttributes(class_getProperty(objc_getClass(row.cls), row.property)), row.attributes);
  }
  const id queue(adopt, class_createInstance(objc_getClass("KVTQueue")));
  objc_msgSend(queue, "enqueue:", NSString("a"));
  objc_msgSend(queue, "enqueue:", NSString("b"));
  objc_msgSend(queue, "remove:", matching("a"));
  EXPECT_EQ(objc_msgSend<std::uint64_t>(queue, "count"), 1u);
  EXPECT_EQ(objc_msgSend<id>(queue, "dequeue"), id("b"_ns));
  EXPECT_EQ(queue.valueForKey("count"), id(NSNumber(0u)));
}

}  // namespace
}  // namespace kvt
