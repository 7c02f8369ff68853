// Applies a macro to each of up to 256 arguments.
#pragma once

#define KVT_EXPAND_(...) KVT_EXPAND4_(KVT_EXPAND4_(KVT_EXPAND4_(KVT_EXPAND4_(__VA_ARGS__))))
#define KVT_EXPAND4_(...) KVT_EXPAND3_(KVT_EXPAND3_(KVT_EXPAND3_(KVT_EXPAND3_(__VA_ARGS__))))
#define KVT_EXPAND3_(...) KVT_EXPAND2_(KVT_EXPAND2_(KVT_EXPAND2_(KVT_EXPAND2_(__VA_ARGS__))))
#define KVT_EXPAND2_(...) KVT_EXPAND1_(KVT_EXPAND1_(KVT_EXPAND1_(KVT_EXPAND1_(__VA_ARGS__))))
#define KVT_EXPAND1_(...) __VA_ARGS__
#define KVT_PARENS_ ()

/// `m(context, a) m(context, b) …`; nothing for no arguments.
#define KVT_FOR_EACH_1(m, context, ...) __VA_OPT__(KVT_EXPAND_(KVT_FOR_EACH_STEP_(m, context, __VA_ARGS__)))
#define KVT_FOR_EACH_STEP_(m, context, first, ...) \
  m(context, first) __VA_OPT__(KVT_FOR_EACH_AGAIN_ KVT_PARENS_(m, context, __VA_ARGS__))
#define KVT_FOR_EACH_AGAIN_() KVT_FOR_EACH_STEP_
