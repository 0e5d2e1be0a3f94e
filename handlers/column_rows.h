// The columns, and which value of a tag each shows: the tables of the column provider.
#pragma once

#include <windows.h>

#include <shlobj.h>

#include "tags/tag_model.h"

namespace tagsmith {

/// Fills in what the shell asks of the column with this number; false when there is none.
bool DescribeColumn(DWORD index, SHCOLUMNINFO& info);

/// The value of a column for a track that was or was not opened: from the rows of ID3v2 when the
/// track was opened and has such a tag, else from those of ID3v1 when there is one, and from those
/// of the audio data when it was opened. VT_EMPTY where there is none, else the caller's to clear.
VARIANT ReadColumn(const SHCOLUMNID& column, const ID3Tag& tag, bool isOpened);

}  // namespace tagsmith
