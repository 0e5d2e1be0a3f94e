#!/usr/bin/env bash
# Shows what the extension's own module, driven through COM as the shell does it, makes of audio
# files: ./inspect.sh [--json] [--standard] [--png DIR] [--html PAGE] [FILE...]. With --png the thumbnails are
# written into DIR, with --html a page that shows all answers as the shell would.
# Without a file, samples are made with real encoders and taggers and shown. Builds and set-up speak
# on standard error.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

format=(--text)
arguments=()
while [[ ${1:-} == --* ]]; do
  case $1,$# in
    --json,*) format=() ;;
    --standard,*) arguments+=(--standard) ;;
    --png,[2-9]* | --png,1?* | --html,[2-9]* | --html,1?*)
      arguments+=("$1" "$(realpath -m "$2")")
      shift
      ;;
    *) echo "usage: ./inspect.sh [--json] [--standard] [--png DIR] [--html PAGE] [FILE...]" >&2; exit 2 ;;
  esac
  shift
done

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
exec "$here/scripts/run-wine.sh" "$bin/tsprobe.exe" --registered "${format[@]}" "${arguments[@]}" "$@"
