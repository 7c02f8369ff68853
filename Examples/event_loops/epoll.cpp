// The main queue inside a plain epoll loop.
#include <KVTFoundation/KVTFoundation.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <iostream>

using namespace kvt;

int main() {
  // >>>
  const int loop = ::epoll_create1(EPOLL_CLOEXEC);
  epoll_event watched{.events = EPOLLIN, .data = {.fd = dispatch_main_queue_fd()}};
  ::epoll_ctl(loop, EPOLL_CTL_ADD, watched.data.fd, &watched);

  bool over = false;
  dispatch_async(dispatch_get_global_queue(QOS_CLASS_UTILITY, 0), [&over] {
    const bool onMain = NSThread::isMainThread();
    dispatch_async(dispatch_get_main_queue(), [&over, onMain] {
      std::cout << onMain << NSThread::isMainThread() << "\n";  // 01
      over = true;
    });
  });

  while (!over) {
    epoll_event event{};
    if (::epoll_wait(loop, &event, 1, -1) == 1 && event.data.fd == watched.data.fd) {
      dispatch_main_queue_drain(64);  // no more than that, so that other descriptors have their turn
    }
  }
  ::close(loop);
  // <<<
}
