// One object for each thread; not installed.
//
//     ThreadPlans& plans = ThreadOwned<ThreadPlans>::get();     // made when the thread first asks, a plain load later
//
// It is destroyed when the thread ends. A thread that is ending and asks again gets another one, which nobody destroys.
#pragma once

namespace kvt {

template <class T>
class ThreadOwned {
 public:
  static T& get() { return known_ != nullptr ? *known_ : make(); }

 private:
  static T& make() {
    struct Owner {
      ~Owner() {
        delete known_;
        known_ = nullptr;
      }
    };
    static thread_local Owner owner;
    // To mention it is to have it destroyed at the thread's end.
    (void)&owner;
    known_ = new T;
    return *known_;
  }

  // A pointer needs no code that sees to its being there.
  [[gnu::tls_model("initial-exec")]] static constinit inline thread_local T* known_ = nullptr;
};

}  // namespace kvt
