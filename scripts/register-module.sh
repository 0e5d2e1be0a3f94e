#!/usr/bin/env bash
# Makes the Wine prefix serve a module: writes the settings and the in-process server key that COM
# needs. register-module.sh MODULE. Quick when that has been done for this module already.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
module=$(realpath "$1")
prefix=${WINEPREFIX:-$here/../build/wine-prefix}

[[ -f $prefix/.module && $(<"$prefix/.module") == "$module" ]] && exit 0

windows_path="Z:${module//\//\\}"
server='HKLM\Software\Classes\CLSID\{7C1F2A90-3B6E-4D21-9A55-6E0B8C4D2F13}\InProcServer32'
add() { "$here/run-wine.sh" reg add "$@" /f >/dev/null; }
add 'HKLM\Software\Corvane\Tagsmith\Settings' /v 'Add property handler' /t REG_DWORD /d 1
add 'HKLM\Software\Corvane\Tagsmith' /v 'Installation path' /d "${windows_path%tsshell.dll}"
add "$server" /ve /d "$windows_path"
add "$server" /v ThreadingModel /d Apartment
echo "$module" >"$prefix/.module"
