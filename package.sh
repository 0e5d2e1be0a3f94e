#!/usr/bin/env bash
# Builds the installer: ./package.sh [--version X.Y.Z] [FILE.msi]; without a file, into build/.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
version=$(sed -n 's/^project(tsshell VERSION \([0-9.]*\).*/\1/p' "$here/CMakeLists.txt")
module_version=$version.0
if [[ ${1:-} == --version && $# -ge 2 ]]; then
  version=$2
  shift 2
fi
if [[ ${1:-} == -* || $# -gt 1 ]]; then
  echo "usage: ./package.sh [--version X.Y.Z] [FILE.msi]" >&2
  exit 2
fi
installer=$(realpath -m "${1:-$here/build/tsshell-$version.msi}")

"$here/scripts/setup.sh"
"$here/scripts/build.sh" windows tsshell
rm -f "$installer"
# The compiler looks for the files in its working folder only.
files=$here/build/installer-files
mkdir -p "$files"
cp "$here"/build/windows/bin/tsshell.dll "$here"/packaging/{Tagsmith.propdesc,tsshell.wxs} "$files"
(cd "$files" && wixl -a x64 -D "Version=$version" -o "$installer" tsshell.wxs)

# What the compiler does not know: the module's own version, without which Windows would keep an
# installed one; the short name of a file; that another build of the same version is replaced, too.
query() { msibuild "$installer" -q "$1"; }
query "UPDATE File SET Version='$module_version', Language='1033' WHERE File='tsshell.dll'"
query "DELETE FROM MsiFileHash WHERE File_='tsshell.dll'"
query "UPDATE File SET FileName='TAGSMI~1.PRO|Tagsmith.propdesc' WHERE File='Tagsmith.propdesc'"
upgrade=$(msiinfo export "$installer" Upgrade | sed -n 's/^\({[^}]*}\).*WIX_UPGRADE_DETECTED.*/\1/p')
query "DELETE FROM Upgrade WHERE ActionProperty='WIX_UPGRADE_DETECTED'"
query "INSERT INTO Upgrade (UpgradeCode, VersionMax, Attributes, ActionProperty) VALUES ('$upgrade', '$version', 513, 'WIX_UPGRADE_DETECTED')"

# Both actions call the installed module, deferred and with the installer's rights (3089); removal
# ignores what it answers (3153). On every change the handlers go by the settings as they were
# (after the installer's InstallInitialize, 1500) and come by the settings as they are then (after
# WriteRegistryValues, 5000). When a change is rolled back, what each did is undone (3409).
action() { query "INSERT INTO CustomAction (Action, Type, Source, Target) VALUES ('$1', $2, 'tsshell.dll', '$3')"; }
sequence() { query "INSERT INTO InstallExecuteSequence (Action, Condition, Sequence) VALUES ('$1', '$2', $3)"; }
action UndoRemoval 3409 InstallHandlers
action RemoveHandlers 3153 RemoveHandlers
action UndoInstallation 3409 RemoveHandlers
action InstallHandlers 3089 InstallHandlers
sequence UndoRemoval Installed 1850
sequence RemoveHandlers Installed 1900
sequence UndoInstallation 'NOT (REMOVE="ALL")' 5050
sequence InstallHandlers 'NOT (REMOVE="ALL")' 5100
folder() { query "INSERT INTO RemoveFile (FileKey, Component_, DirProperty, InstallMode) VALUES ('$1', 'Module', '$1', 2)"; }
folder INSTALLDIR
folder MANUFACTURERDIR
echo "$installer"
