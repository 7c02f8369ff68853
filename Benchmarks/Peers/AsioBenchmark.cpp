// Asio: a strand over a pool of two threads, and a context that the main thread runs.

#include <boost/asio.hpp>
#include <future>
#include <memory>

#include "Support/Harness.h"

namespace {

namespace asio = boost::asio;

constexpr int kPieces = 1000;
constexpr int kTrips = 100;

struct Threads {
  asio::thread_pool pool{2};
  asio::strand<asio::thread_pool::executor_type> strand = asio::make_strand(pool.get_executor());
  asio::io_context main;
  asio::executor_work_guard<asio::io_context::executor_type> guard = asio::make_work_guard(main);

  void pumpUntil(const bool& over) {
    while (!over) main.run_one();
  }
};

struct Trips {
  void go() {
    if (left-- == 0) {
      over = true;
      return;
    }
    asio::post(threads.strand, [this] { asio::post(threads.main, [this] { go(); }); });
  }
  Threads& threads;
  int left = kTrips;
  bool over = false;
};

const bool queues = bench::suite("asio", "queue", [](bench::Suite& suite) {
  const auto threads = std::make_shared<Threads>();
  suite.threadedOp("async", 1, [threads] {
    int count = 0;
    std::promise<void> over;
    for (int i = 0; i < kPieces; ++i) asio::post(threads->strand, [&count] { ++count; });
    asio::post(threads->strand, [&over] { over.set_value(); });
    over.get_future().wait();
    return count;
  });
});

const bool mainQueue = bench::suite("asio", "mainqueue", [](bench::Suite& suite) {
  const auto threads = std::make_shared<Threads>();
  suite.threadedOp("burst", 1, [threads] {
    int count = 0;
    bool over = false;
    asio::post(threads->strand, [&] {
      for (int i = 0; i < kPieces; ++i) asio::post(threads->main, [&count] { ++count; });
      asio::post(threads->main, [&over] { over = true; });
    });
    threads->pumpUntil(over);
    return count;
  });
  suite.threadedOp("hop", 1, [threads] {
    Trips trips{*threads};
    trips.go();
    threads->pumpUntil(trips.over);
  });
});

}  // namespace
