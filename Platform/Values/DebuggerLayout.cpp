#include "DebuggerLayout.h"

#include <KVTPlatform/Runtime/ClassBody.h>

#include <cstddef>

#include "NSArrayBody.h"
#include "NSDataBody.h"
#include "NSDateBody.h"
#include "NSDecimalNumberBody.h"
#include "NSDictionaryBody.h"
#include "NSNumberBody.h"
#include "NSSetBody.h"
#include "NSStringBody.h"

// Bodies have virtual destructors; both compilers know the offsets of their fields all the same.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace kvt {

#define KVT_FIELD(Body, field) \
  { #Body "." #field, offsetof(Body, field) }
#define KVT_TABLE(Body)                                                                   \
  {#Body ".slots", offsetof(Body, table.slots)}, {#Body ".slotSize", sizeof(Body::Slot)}, \
      {#Body ".used", offsetof(Body, table.used)}, {                                      \
#Body ".count", offsetof(Body, table.count)                                           \
  }

const DebuggerField debuggerLayout[] = {
    KVT_FIELD(ClassBody, name),
    KVT_FIELD(ClassBody, superclass),
    KVT_FIELD(ClassBody, isMeta),
    KVT_FIELD(StringBody, form),
    KVT_FIELD(StringBody, size),
    KVT_FIELD(StringBody, start),
    {"StringBody.buffer", sizeof(StringBody) + offsetof(StringBody::MutableSide, buffer)},
    KVT_FIELD(NumberBody, type),
    KVT_FIELD(NumberBody, integer),
    KVT_FIELD(DecimalNumberBody, flags),
    KVT_FIELD(DecimalNumberBody, exponent),
    KVT_FIELD(DecimalNumberBody, low),
    KVT_FIELD(DecimalNumberBody, high),
    KVT_FIELD(DateBody, interval),
    KVT_FIELD(DataBody, bytes),
    KVT_FIELD(DataBody, length),
    KVT_FIELD(ArrayBody, items),
    KVT_FIELD(ArrayBody, count),
    KVT_TABLE(DictionaryBody),
    KVT_TABLE(SetBody),
    {"", 0},
};

}  // namespace kvt
