// The main queue is run by the host: by giving the main thread away, or from the host's own event loop.
//
//     dispatch_main();                                        // a program that has no loop: never returns
//
//     int fd = dispatch_main_queue_fd();                      // a program that has one: watch this descriptor…
//     …when it is readable: dispatch_main_queue_drain(64);    // …and run what waits, at most 64 pieces of work
//
// The main thread is the one that first runs the main queue by one of these functions; until then, the one that started
// the program. Examples/event_loops shows both with epoll and with GLib.
#pragma once

#include <cstddef>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

/// Runs the main queue's work for ever. On another thread than the main one it raises NSInternalInconsistencyException.
[[noreturn]] KVT_EXPORT void dispatch_main();

/// Runs at most `max` pieces of work that wait on the main queue and answers how many it ran. Returns without waiting
/// when there is nothing (left) to do. 0, and nothing happens, on another thread than the main one, and from within
/// work that the main queue is running.
KVT_EXPORT std::size_t dispatch_main_queue_drain(std::size_t max);

/// A descriptor that is readable as long as there is work on the main queue. It belongs to the library: it is made on
/// first use and never closed; only `dispatch_main_queue_drain` reads it. -1 when the system has no descriptor left.
KVT_EXPORT int dispatch_main_queue_fd();

}  // namespace kvt
