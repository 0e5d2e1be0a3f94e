// Which reading of tags and audio the handlers show.
#pragma once

#include "tags/reading.h"

namespace tagsmith {

/// The one that the setting "Standard reading" asks for. A handler object asks once, when it is
/// made.
const Reading& ChosenReading();

}  // namespace tagsmith
