#!/usr/bin/env bash
# Shows what the extension's own module, driven through COM as the shell does it, makes of audio
# files: ./inspect.sh [--json] [FILE...]. Without a file, samples are made with real encoders and
# taggers and shown. Builds and set-up speak on standard error.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

arguments=(--text)
if [[ ${1:-} == --json ]]; then
  arguments=()
  shift
fi

"$here/scripts/setup.sh"
"$here/scripts/build.sh" windows tsshell tsprobe propsys_double
bin=$here/build/windows/bin
"$here/scripts/register-module.sh" "$bin/tsshell.dll"

if [[ $# -eq 0 ]]; then
  samples=$here/build/samples
  [[ -e $samples/chord.aiff ]] || "$here/scripts/make-samples.sh" "$samples" >&2
  cd "$here"
  set -- build/samples/chord.mp3 build/samples/chord.aiff
fi
exec "$here/scripts/run-wine.sh" "$bin/tsprobe.exe" --registered "${arguments[@]}" "$@"
