#!/usr/bin/env bash
# Runs a Windows program under Wine in the project's own prefix (WINEPREFIX when it is set), which
# is made on first use. Output, exit code and paths are those of the program.
# run-wine.sh [--windows-version NAME] PROGRAM [ARGUMENT...]; the version sticks to PROGRAM's name.
# TAGSMITH_WINE_OVERRIDES adds to the DLL overrides.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

export WINEPREFIX=${WINEPREFIX:-$here/build/wine-prefix}
# Another locale mangles arguments beyond ASCII; winedbg would hide the exit code of a crash.
export LC_ALL=C.UTF-8 TZ=UTC WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=;winemenubuilder.exe=${TAGSMITH_WINE_OVERRIDES:+;$TAGSMITH_WINE_OVERRIDES}"
unset DISPLAY

if [[ ! -f $WINEPREFIX/.ready ]]; then
  # Two first starts at the same time would make one of them fail.
  mkdir -p "$(dirname "$WINEPREFIX")"
  exec 9>"$WINEPREFIX.lock"
  flock 9
  if [[ ! -f $WINEPREFIX/.ready ]]; then
    echo "Making a Wine prefix" >&2
    wineboot -i </dev/null >/dev/null 2>&1
    wineserver -w
    touch "$WINEPREFIX/.ready"
  fi
  exec 9>&-
fi
if [[ $1 == --windows-version ]]; then
  wine reg add "HKCU\\Software\\Wine\\AppDefaults\\$(basename "$3")" /v Version /d "$2" /f >/dev/null
  shift 2
fi
exec wine "$@"
