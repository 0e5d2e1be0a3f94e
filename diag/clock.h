// The two clocks of the log.
#pragma once

#include <cstdint>
#include <ctime>

namespace tagsmith {

/// The calendar time now, in whole seconds, as local time. Safe to call from any thread.
std::tm LocalTimeNow();

/// Milliseconds since the system was started.
std::uint64_t TickCount();

}  // namespace tagsmith
