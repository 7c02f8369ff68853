// Calls an implementation by its encoding alone, through libffi: for callers who learn the types at run time.
//
//     double width = 0;
//     objc_invoke(object, method, nullptr, &width);              // a getter of encoding "d16@0:8"
//
// `arguments` points to the arguments after receiver and selector, each in the type that the method's encoding names
// (an object as a raw `Object*`, borrowed). `result` receives the result in its own type (an object as a raw `Object*`
// that the caller owns); null throws it away. False, and nothing called, when an encoding has no calling convention.
// About 100 ns more than a direct call; the call interface is prepared anew each time.
#pragma once

#include "Class.h"

namespace kvt {

KVT_EXPORT bool objc_invoke(Object* receiver, Method method, const void* const* arguments, void* result);

}  // namespace kvt
