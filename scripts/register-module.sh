#!/usr/bin/env bash
# Makes the Wine prefix serve a module: writes the settings and the in-process server keys that COM
# needs. register-module.sh MODULE. Quick when that has been done for this module already.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
module=$(realpath "$1")
prefix=${WINEPREFIX:-$here/../build/wine-prefix}

[[ -f $prefix/.module3 && $(<"$prefix/.module3") == "$module" ]] && exit 0

windows_path="Z:${module//\//\\}"
add() { "$here/run-wine.sh" reg add "$@" /f >/dev/null; }
add 'HKLM\Software\Corvane\Tagsmith' /v 'Installation path' /d "${windows_path%tsshell.dll}"
while read -r clsid handler; do
  add 'HKLM\Software\Corvane\Tagsmith\Settings' /v "Add $handler handler" /t REG_DWORD /d 1 </dev/null
  server="HKLM\\Software\\Classes\\CLSID\\{$clsid}\\InProcServer32"
  add "$server" /ve /d "$windows_path" </dev/null
  add "$server" /v ThreadingModel /d Apartment </dev/null
done <<'END'
7C1F2A90-3B6E-4D21-9A55-6E0B8C4D2F13 property
2E8B7D41-90C5-4F3A-B6D2-1A4C9E07F8B5 thumbnail
A3D05C6E-71F9-4B28-8E4D-5B9F2C6A0E71 column
END
echo "$module" >"$prefix/.module3"
