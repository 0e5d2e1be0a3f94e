// The table of columns, and the value that a column shows of a track.
#pragma once

#include <windows.h>

#include <shlobj.h>

#include "tags/tag_model.h"

namespace tagsmith {

/// Fills in what the shell asks of the column with this number; false when there is none.
bool DescribeColumn(DWORD index, SHCOLUMNINFO& info);

/// The value of a column for a track that was or was not opened: of the fields of ID3v2 when the
/// track was opened and has such a tag, else of those of ID3v1 when there is one, and of those of
/// the audio data when it was opened. VT_EMPTY where there is none, else the caller's to clear.
VARIANT ReadColumn(const SHCOLUMNID& column, const ID3Tag& tag, bool isOpened);

}  // namespace tagsmith
