#include "diag/clock.h"

namespace tagsmith {

std::tm LocalTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local;
}

std::uint64_t TickCount() {
  std::timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1000 +
         static_cast<std::uint64_t>(time.tv_nsec) / 1'000'000;
}

}  // namespace tagsmith
