#include <windows.h>

#include "diag/clock.h"

namespace tagsmith {

std::tm LocalTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_s(&local, &now);
  return local;
}

std::uint64_t TickCount() { return GetTickCount64(); }

}  // namespace tagsmith
