// What differs between compilers, in one place.
#pragma once

#if defined(__clang__)
#define TAGSMITH_PRINTF(formatIndex, firstArgument) \
  __attribute__((__format__(__printf__, formatIndex, firstArgument)))
#elif defined(__GNUC__)
// gnu_printf also for Windows: the C99 formatting functions of the run-time library are used there.
#define TAGSMITH_PRINTF(formatIndex, firstArgument) \
  __attribute__((__format__(__gnu_printf__, formatIndex, firstArgument)))
#else
#define TAGSMITH_PRINTF(formatIndex, firstArgument)
#endif
