#!/usr/bin/env bash
# Has a module register itself in the Wine prefix, with all settings switched on:
# register-module.sh MODULE. Quick when that has been done for this very module already.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
module=$(realpath "$1")
prefix=${WINEPREFIX:-$here/../build/wine-prefix}

stamp="$module $(sha256sum <"$module")"
"$here/run-wine.sh" cmd /c exit  # makes the prefix
exec 8>"$prefix/.registering"
flock 8
[[ -f $prefix/.registered && $(<"$prefix/.registered") == "$stamp" ]] && exit 0

windows_path="Z:${module//\//\\}"
product='HKLM\Software\Corvane\Tagsmith'
add() { "$here/run-wine.sh" reg add "$@" /f >/dev/null 8>&-; }
add "$product" /v 'Installation path' /d "${windows_path%tsshell.dll}"
for setting in 'Add property handler' 'Add AIFF association' 'Add thumbnail handler' 'Add column handler'; do
  add "$product\\Settings" /v "$setting" /t REG_DWORD /d 1
done
# First as an older system: only there the column handler is registered.
for version in winxp64 win7; do
  "$here/run-wine.sh" --windows-version "$version" regsvr32.exe /s "$windows_path" 8>&-
done
echo "$stamp" >"$prefix/.registered"
