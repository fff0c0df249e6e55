// Builds the functions between XQT_TARGET_BEGIN("features") and XQT_TARGET_END for the named
// instruction sets, with GCC and Clang alike; the file that holds them chooses at run time
// whether the processor may call them.
#pragma once

#define XQT_PRAGMA(...) _Pragma(#__VA_ARGS__)
#if defined(__clang__)
#define XQT_TARGET_BEGIN(features) \
  XQT_PRAGMA(clang attribute push(__attribute__((target(features))), apply_to = function))
#define XQT_TARGET_END XQT_PRAGMA(clang attribute pop)
#else
#define XQT_TARGET_BEGIN(features) XQT_PRAGMA(GCC push_options) XQT_PRAGMA(GCC target(features))
#define XQT_TARGET_END XQT_PRAGMA(GCC pop_options)
#endif
