// The main queue inside a GLib main loop.
#include <KVTFoundation/KVTFoundation.h>
#include <glib-unix.h>

#include <iostream>

using namespace kvt;

// >>>
gboolean drainMainQueue(gint, GIOCondition, gpointer) {
  dispatch_main_queue_drain(64);
  return G_SOURCE_CONTINUE;
}
// <<<

int main() {
  // >>>
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_unix_fd_add(dispatch_main_queue_fd(), G_IO_IN, drainMainQueue, nullptr);

  dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, dispatch_get_main_queue());
  int ticks = 0;
  dispatch_source_set_event_handler(timer, [&ticks, loop] {
    if (++ticks == 3) g_main_loop_quit(loop);
  });
  dispatch_source_set_timer(timer, DISPATCH_TIME_NOW, 5 * NSEC_PER_MSEC, NSEC_PER_MSEC);
  dispatch_resume(timer);

  g_main_loop_run(loop);
  std::cout << ticks << "\n";  // 3
  dispatch_source_cancel(timer);
  g_main_loop_unref(loop);
  // <<<
}
