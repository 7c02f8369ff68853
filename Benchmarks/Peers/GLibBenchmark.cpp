// GLib: a pool of one thread as the serial queue, and the default main context, which the main thread iterates.

#include <glib.h>

#include <future>
#include <memory>

#include "Support/Harness.h"

namespace {

constexpr int kPieces = 1000;
constexpr int kTrips = 100;

/// Work is a pointer to this.
struct Task {
  explicit Task(void (*work)(Task&)) : run(work) {}
  void (*const run)(Task&);
  int count = 0;
  bool over = false;
  std::promise<void> last;
  GThreadPool* pool = nullptr;

  static gboolean onMain(gpointer task) {
    static_cast<Task*>(task)->run(*static_cast<Task*>(task));
    return G_SOURCE_REMOVE;
  }
  static void onWorker(gpointer task, gpointer) { static_cast<Task*>(task)->run(*static_cast<Task*>(task)); }
  void pump() const {
    while (!over) g_main_context_iteration(nullptr, TRUE);
  }
};

GThreadPool* newPool(GFunc run) { return g_thread_pool_new(run, nullptr, 1, TRUE, nullptr); }

/// A source with the priority of ordinary events: g_main_context_invoke's.
void toMain(GSourceFunc run, Task* task) {
  g_main_context_invoke_full(g_main_context_default(), G_PRIORITY_DEFAULT, run, task, nullptr);
}

const bool queues = bench::suite("glib", "queue", [](bench::Suite& suite) {
  GThreadPool* pool = newPool(&Task::onWorker);
  suite.threadedOp("async", 1, [pool] {
    Task task([](Task& self) {
      if (++self.count == kPieces) self.last.set_value();
    });
    for (int i = 0; i < kPieces; ++i) g_thread_pool_push(pool, &task, nullptr);
    task.last.get_future().wait();
    return task.count;
  });
});

const bool mainQueue = bench::suite("glib", "mainqueue", [](bench::Suite& suite) {
  // The main context belongs to this thread: what others invoke is queued.
  g_main_context_acquire(g_main_context_default());
  GThreadPool* pool = newPool(&Task::onWorker);
  suite.threadedOp("burst", 1, [pool] {
    Task task([](Task& self) {
      for (int i = 0; i < kPieces; ++i) {
        toMain(
            [](gpointer data) -> gboolean {
              auto* its = static_cast<Task*>(data);
              if (++its->count == kPieces) its->over = true;
              return G_SOURCE_REMOVE;
            },
            &self);
      }
    });
    g_thread_pool_push(pool, &task, nullptr);
    task.pump();
    return task.count;
  });
  suite.threadedOp("hop", 1, [pool] {
    Task task([](Task& self) {
      toMain(
          [](gpointer data) -> gboolean {
            auto* its = static_cast<Task*>(data);
            if (++its->count == kTrips)
              its->over = true;
            else
              g_thread_pool_push(its->pool, its, nullptr);
            return G_SOURCE_REMOVE;
          },
          &self);
    });
    task.pool = pool;
    g_thread_pool_push(pool, &task, nullptr);
    task.pump();
  });
});

}  // namespace
