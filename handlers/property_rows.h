// Which value of a tag is stored under which property key: the tables of the property store.
#pragma once

#include <windows.h>

#include <propsys.h>

#include "tags/tag_model.h"

namespace tagsmith {

/// Stores what the tag provides: the rows of ID3v2 when there is such a tag, else those of ID3v1
/// when there is one, and in every case those of the audio data. A value that cannot be stored is
/// simply missing.
void StoreProperties(IPropertyStoreCache& cache, const ID3Tag& tag);

}  // namespace tagsmith
