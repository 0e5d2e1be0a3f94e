#!/usr/bin/env bash
# Shows what the extension makes of audio files: ./inspect.sh [--json] [OPTION...] [FILE...]
# Without a file, samples are made with real encoders and taggers and shown. Other options go to
# tsdump. Builds and set-up speak on standard error.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

mode=--text
arguments=()
files=0
for argument in "$@"; do
  case $argument in
    --json) mode= ;;
    --*) arguments+=("$argument") ;;
    *) arguments+=("$argument"); [[ $argument =~ ^[0-9]+$ && ! -e $argument ]] || files=1 ;;
  esac
done

"$here/scripts/setup.sh"
"$here/scripts/build.sh" native tsdump

if [[ $files -eq 0 ]]; then
  samples=$here/build/samples
  [[ -e $samples/chord.aiff ]] || "$here/scripts/make-samples.sh" "$samples" >&2
  cd "$here"
  arguments+=(build/samples/chord.mp3 build/samples/chord.aiff)
fi
exec "$here/build/native/bin/tsdump" $mode "${arguments[@]}"
