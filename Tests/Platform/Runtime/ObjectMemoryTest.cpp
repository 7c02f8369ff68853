// Blocks are where they should be, keep what is written to them, and come back from any thread.

#include <KVTPlatform/Runtime/ObjectMemory.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace kvt::memory {
namespace {

// What is tested is the heap itself, in builds with sanitizers too, where objects do without it.

struct Held {
  unsigned char* memory;
  std::size_t size;
  unsigned char mark;

  static Held make(std::size_t size, unsigned char mark) {
    Held held{static_cast<unsigned char*>(allocateBlock(size)), size, mark};
    std::memset(held.memory, mark, size);
    return held;
  }
  bool isIntact() const {
    for (std::size_t i = 0; i < size; ++i) {
      if (memory[i] != mark) return false;
    }
    return true;
  }
  void giveBack() const { deallocateBlock(memory); }
};

TEST(ObjectMemory, EverySizeIsAlignedAndApartFromOthers) {
  std::vector<Held> held;
  for (std::size_t size = 0; size <= 2 * kLargestBlock; ++size) {
    held.push_back(Held::make(size, static_cast<unsigned char>(size)));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(held.back().memory) % kGrain, 0u) << size;
  }
  for (const Held& each : held) {
    EXPECT_TRUE(each.isIntact()) << each.size;
    each.giveBack();
  }
}

TEST(ObjectMemory, SmallBlocksLieInPagesAndLargeOnesDoNot) {
  void* small = allocateBlock(kLargestBlock);
  void* large = allocateBlock(kLargestBlock + 1);
  EXPECT_TRUE(isInPage(small));
  EXPECT_FALSE(isInPage(large));
  deallocateBlock(small);
  deallocateBlock(large);
}

TEST(ObjectMemory, ABlockThatCameBackIsTheNextOfItsSize) {
  void* first = allocateBlock(48);
  deallocateBlock(first);
  void* second = allocateBlock(40);
  EXPECT_EQ(second, first);
  deallocateBlock(second);
}

TEST(ObjectMemory, PagesThatEmptiedServeOtherSizes) {
  const auto fill = [](std::size_t size) {
    std::vector<void*> blocks;
    for (int i = 0; i < 20000; ++i) blocks.push_back(allocateBlock(size));
    for (void* block : blocks) deallocateBlock(block);
  };
  fill(64);
  const std::size_t taken = pagesTaken();
  // Twenty pages emptied; twenty of another size are wanted.
  fill(64);
  EXPECT_EQ(pagesTaken(), taken);
  fill(80);
  EXPECT_LE(pagesTaken(), taken + 8);
}

TEST(ObjectMemory, BlocksGivenBackInAnyOrderKeepTheOthersIntact) {
  std::mt19937 random(7);
  std::vector<Held> held;
  for (int round = 0; round < 200000; ++round) {
    if (held.size() < 5000 && (held.empty() || random() % 5 < 3)) {
      held.push_back(Held::make(random() % 600, static_cast<unsigned char>(random())));
    } else {
      std::swap(held[random() % held.size()], held.back());
      ASSERT_TRUE(held.back().isIntact());
      held.back().giveBack();
      held.pop_back();
    }
  }
  for (const Held& each : held) {
    ASSERT_TRUE(each.isIntact());
    each.giveBack();
  }
}

TEST(ObjectMemoryThreads, WhatAStrangerGivesBackIsUsedAgain) {
  std::thread owner([] {
    const auto round = [] {
      std::vector<void*> blocks;
      for (int i = 0; i < 50000; ++i) blocks.push_back(allocateBlock(96));
      std::thread([&] {
        for (void* block : blocks) deallocateBlock(block);
      }).join();
    };
    round();
    round();
    const std::size_t taken = pagesTaken();
    for (int i = 0; i < 10; ++i) round();
    // 50,000 blocks are 74 pages; ten rounds without reuse would be 740.
    EXPECT_LE(pagesTaken(), taken + 80);
  });
  owner.join();
}

TEST(ObjectMemoryThreads, AThreadThatEndsLeavesItsBlocksValidAndItsPagesToOthers) {
  std::vector<Held> left;
  std::thread([&] {
    for (std::size_t i = 0; i < 10000; ++i) left.push_back(Held::make(16 + i % 200, static_cast<unsigned char>(i)));
  }).join();
  for (const Held& each : left) ASSERT_TRUE(each.isIntact());
  const std::size_t taken = pagesTaken();
  for (const Held& each : left) each.giveBack();
  for (int i = 0; i < 50; ++i) {
    std::thread([] {
      std::vector<Held> own;
      for (std::size_t n = 0; n < 1000; ++n) own.push_back(Held::make(16 + n % 200, 1));
      for (const Held& each : own) each.giveBack();
    }).join();
  }
  // Fifty threads one after another use one heap; each of them alone would take a dozen pages.
  EXPECT_LE(pagesTaken(), taken + 20);
}

TEST(ObjectMemoryThreads, BlocksWanderBetweenThreads) {
  struct Exchange {
    std::mutex mutex;
    std::deque<Held> held;
  } exchange;
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < 4; ++seed) {
    threads.emplace_back([&, seed] {
      std::mt19937 random(seed);
      for (int i = 0; i < 20000; ++i) {
        const Held mine = Held::make(random() % 600, static_cast<unsigned char>(random()));
        Held other{};
        {
          const std::lock_guard lock(exchange.mutex);
          exchange.held.push_back(mine);
          if (exchange.held.size() > 300) {
            other = exchange.held.front();
            exchange.held.pop_front();
          }
        }
        if (other.memory == nullptr) continue;
        EXPECT_TRUE(other.isIntact());
        other.giveBack();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Held& each : exchange.held) {
    EXPECT_TRUE(each.isIntact());
    each.giveBack();
  }
}

thread_local struct Late {
  void* block = nullptr;
  bool* worked = nullptr;
  ~Late() {
    if (block == nullptr) return;
    // The heap of the thread may be gone by now.
    deallocateBlock(block);
    void* another = allocateBlock(32);
    *worked = another != nullptr;
    deallocateBlock(another);
  }
} late;

TEST(ObjectMemoryThreads, DestructorsOfThreadLocalsMayStillUseIt) {
  bool worked = false;
  std::thread([&] {
    late.worked = &worked;  // made before the heap is, so destroyed after it
    late.block = allocateBlock(32);
  }).join();
  EXPECT_TRUE(worked);
}

}  // namespace
}  // namespace kvt::memory
