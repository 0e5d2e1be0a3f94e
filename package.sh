#!/usr/bin/env bash
# Makes the release: ./package.sh [--version X.Y.Z] [FOLDER]; without a folder, in build/release.
# --tests adds a zip with the Windows test programs, for those who have a Windows machine.
# --check makes it from the last commit in two folders instead, and compares the two.
# TAGSMITH_SIGN=COMMAND is run with the path of each program before packing and of the installer
# after. Time stamps are the commit's, or SOURCE_DATE_EPOCH when that is set.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

usage() {
  echo "usage: ./package.sh [--version X.Y.Z] [--tests] [FOLDER] | --check" >&2
  exit 2
}

check() {
  local folder releases=()
  git -C "$here" diff --quiet HEAD || echo "The last commit is checked, without the changes since." >&2
  unset TAGSMITH_SIGN  # signatures hold the time
  folder=$(mktemp -d)
  trap "rm -rf '$folder'" EXIT  # now: the trap runs where the name is gone
  for clone in "$folder/one" "$folder/another/with a longer path"; do
    git clone -q "$here" "$clone"
    "$clone/package.sh" >/dev/null
    releases+=("$clone/build/release")
  done
  diff -r "${releases[@]}"
  cat "${releases[0]}/SHA256SUMS"
  echo "the same, twice"
}

version=$(sed -n 's/^project(tsshell VERSION \([0-9.]*\).*/\1/p' "$here/CMakeLists.txt")
arguments=(--module-version "$version")
targets=(tsshell tsprobe)
while [[ ${1:-} == --* ]]; do
  case $1 in
    --version) version=${2:?} && shift ;;
    --tests) arguments+=(--tests) && targets=() ;;
    --check) [[ $# -eq 1 ]] || usage; check; exit ;;
    *) usage ;;
  esac
  shift
done
[[ $# -le 1 ]] || usage

"$here/scripts/setup.sh"
"$here/scripts/build.sh" windows "${targets[@]}"
if [[ ${#targets[@]} -eq 0 ]]; then
  "$here/scripts/register-module.sh" "$here/build/windows/bin/tsshell.dll"
fi
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$here" log -1 --format=%ct)}
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8
exec python3 "$here/packaging/package.py" "${arguments[@]}" --version "$version" \
  "$(realpath -m "${1:-$here/build/release}")"
