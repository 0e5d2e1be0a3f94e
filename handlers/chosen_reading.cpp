#include "handlers/chosen_reading.h"

#include "shellext/base/handler_ids.h"
#include "shellext/base/registry.h"

namespace tagsmith {

const Reading& ChosenReading() {
  return IsSwitchedOn(kStandardReadingSetting) ? kStandardReading : kOwnReading;
}

}  // namespace tagsmith
