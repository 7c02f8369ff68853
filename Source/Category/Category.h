// How a category's unit registers what it adds to a class, and how an operation that several types have reaches them;
// not installed.
//
//     [[maybe_unused]] const bool registered = addCategory<NSArray>([](ClassBuilder<NSArray>& c) {
//       c.method<&kvt_safeObjectAtIndex>("kvt_safeObjectAtIndex:");         // a free function, the receiver first
//       c.classMethod<&kvt_arrayWithNumbers>("kvt_arrayWithNumbers:");      // without a receiver
//     });
//
// Such an object at the end of a unit makes its operations methods of the class when the library is loaded: from then
// on messages, invocations and the method list know them, and subclasses inherit them. A method that the class has
// already stands.
#pragma once

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/id.h>

namespace kvt {

/// Adds methods to the class behind `T`, a handle type or a class derived from `NSObject`. Always true.
template <class T>
bool addCategory(void (*describe)(ClassBuilder<T>&)) {
  ClassBuilder<T> builder(classOf<T>());
  describe(builder);
  builder.registerClass();
  return true;
}

/// Sends the message to a receiver that answers it; nil, 0 or NO from every other one.
template <class R, class... A>
R sendIfAnswered(const id& receiver, SEL sel, const A&... arguments) {
  return receiver.respondsToSelector(sel) ? objc_msgSend<R>(receiver, sel, arguments...) : R();
}

}  // namespace kvt
