#!/usr/bin/env bash
# Configures and builds a preset, quietly unless something fails: build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
preset=$1
shift
log=$(mktemp)
trap 'rm -f "$log"' EXIT
targets=()
[[ $# -eq 0 ]] || targets=(--target "$@")
if [[ ! -f build/$preset/build.ninja ]]; then
  echo "Building ($preset)" >&2
  cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
fi
build() { cmake --build --preset "$preset" "${targets[@]}" 2>&1 | tee "$log"; }
if [[ -t 2 ]]; then
  # Ninja's own count, on one line.
  build | sed -un 's|^\[\([0-9]*\)/\([0-9]*\)\].*|\1 of \2|p' |
    while read -r count; do printf '\rBuilding (%s): %s ' "$preset" "$count" >&2; done || failed=1
  printf '\r\e[K' >&2
else
  build >/dev/null || failed=1
fi
[[ -z ${failed:-} ]] || { cat "$log" >&2; exit 1; }
