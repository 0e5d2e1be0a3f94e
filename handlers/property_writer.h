// Stores the properties of a track in a property cache.
#pragma once

#include <windows.h>

#include <propsys.h>

#include "tags/tag_model.h"

namespace tagsmith {

/// Stores the fields when the tag has them (see HasFields), else those of ID3v1 when there is one,
/// and in every case those of the audio data, each in the form that the property system declares
/// for its key. A value that cannot be stored is simply missing.
void StoreProperties(IPropertyStoreCache& cache, const ID3Tag& tag);

}  // namespace tagsmith
