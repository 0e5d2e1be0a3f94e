#include "handlers/chosen_reading.h"

#include "shellext/base/handler_ids.h"
#include "shellext/base/settings.h"

namespace tagsmith {

const Reading& ChosenReading() {
  return IsOnForUser(kStandardReadingSetting) ? kStandardReading : kOwnReading;
}

}  // namespace tagsmith
