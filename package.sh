#!/usr/bin/env bash
# Builds the installer: ./package.sh [--version X.Y.Z] [FILE.msi]; without a file, into build/.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
version=$(sed -n 's/^project(tsshell VERSION \([0-9.]*\).*/\1/p' "$here/CMakeLists.txt")
if [[ ${1:-} == --version && $# -ge 2 ]]; then
  version=$2
  shift 2
fi
installer=$(realpath -m "${1:-$here/build/tsshell-$version.msi}")

"$here/scripts/setup.sh"
"$here/scripts/build.sh" windows tsshell
rm -f "$installer"
# The compiler takes the files' names from its own folder on only.
files=$here/build/installer-files
mkdir -p "$files"
cp "$here"/build/windows/bin/tsshell.dll "$here"/packaging/{Tagsmith.propdesc,tsshell.wxs} "$files"
(cd "$files" && wixl -a x64 -D "Version=$version" -o "$installer" tsshell.wxs)

# Both actions call the installed module, deferred and with the installer's rights (3089); removal
# ignores what it answers (3153). On every change the handlers go by the settings as they were
# (behind the installer's InstallInitialize, 1500) and come by the settings as they are then (behind
# WriteRegistryValues, 5000).
query() { msibuild "$installer" -q "$1"; }
action() { query "INSERT INTO CustomAction (Action, Type, Source, Target) VALUES ('$1', $2, 'tsshell.dll', '$1')"; }
sequence() { query "INSERT INTO InstallExecuteSequence (Action, Condition, Sequence) VALUES ('$1', '$2', $3)"; }
action RemoveHandlers 3153
action InstallHandlers 3089
sequence RemoveHandlers Installed 1900
sequence InstallHandlers 'NOT (REMOVE="ALL")' 5100
folder() { query "INSERT INTO RemoveFile (FileKey, Component_, DirProperty, InstallMode) VALUES ('$1', 'Module', '$1', 2)"; }
folder INSTALLDIR
folder MANUFACTURERDIR
echo "$installer"
