// What differs between GCC and clang, whose linter reads the sources too.
#pragma once

#if defined(__clang__)
#define TAGSMITH_PRINTF(formatIndex, firstArgument) \
  __attribute__((__format__(__printf__, formatIndex, firstArgument)))
#else
// gnu_printf also for Windows: the C99 formatting functions of the run-time library are used there.
#define TAGSMITH_PRINTF(formatIndex, firstArgument) \
  __attribute__((__format__(__gnu_printf__, formatIndex, firstArgument)))
#endif
