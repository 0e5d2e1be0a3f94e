#!/usr/bin/env bash
# Runs a Windows program under Wine in the project's own prefix (WINEPREFIX when it is set), which
# is made on first use. Output, exit code and paths are those of the program.
# run-wine.sh [--windows-version NAME] PROGRAM [ARGUMENT...]; the version sticks to PROGRAM's name.
# TAGSMITH_WINE_OVERRIDES adds to the DLL overrides; TAGSMITH_DISPLAY names a display; without
# it programs run without any.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

export WINEPREFIX=${WINEPREFIX:-$here/build/wine-prefix}
# Another locale mangles arguments beyond ASCII; winedbg would hide the exit code of a crash.
export LC_ALL=C.UTF-8 TZ=UTC WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=;winemenubuilder.exe=${TAGSMITH_WINE_OVERRIDES:+;$TAGSMITH_WINE_OVERRIDES}"
unset DISPLAY
[[ -z ${TAGSMITH_DISPLAY:-} ]] || export DISPLAY=$TAGSMITH_DISPLAY

# Every prefix is a copy of one template: its files are links, but for the registry, which is written
# in place.
make_prefix() {
  local template=$here/build/wine-template
  mkdir -p "$here/build" "$(dirname "$WINEPREFIX")"
  exec 9>"$template.lock"
  flock 9  # two first starts at the same time would make one of them fail
  if [[ ! -f $template/.ready ]]; then
    echo "Making a Wine prefix" >&2
    WINEPREFIX=$template wineboot -i </dev/null >/dev/null 2>&1
    WINEPREFIX=$template wineserver -w
    touch "$template/.ready"
  fi
  if [[ ! -f $WINEPREFIX/.ready ]]; then
    rm -rf "$WINEPREFIX.new"
    cp -al "$template" "$WINEPREFIX.new" 2>/dev/null || cp -a "$template/." "$WINEPREFIX.new"
    cp --remove-destination "$template"/*.reg "$WINEPREFIX.new"
    mv -T "$WINEPREFIX.new" "$WINEPREFIX"
  fi
  exec 9>&-
}
[[ -f $WINEPREFIX/.ready ]] || make_prefix

if [[ $1 == --windows-version ]]; then
  wine reg add "HKCU\\Software\\Wine\\AppDefaults\\$(basename "$3")" /v Version /d "$2" /f >/dev/null
  shift 2
fi
exec wine "$@"
