#!/usr/bin/env bash
# Shows what the extension's own module, driven through COM as the shell does it, makes of audio files.
# Builds, set-up and progress speak on standard error.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

usage='usage: ./inspect.sh [--json] [--standard] [--png DIR] [--html PAGE] [--] [FILE|FOLDER...]

  --json       print JSON Lines, one object a file, in place of text
  --standard   show the standard reading, whatever the settings say
  --png DIR    write the thumbnails into DIR
  --html PAGE  write a page that shows everything as the shell would

Of a folder all .mp3, .aif and .aiff files in it and below it are taken; without --json they are shown
by a page alone, build/inspection.html unless --html names another. Without a file, samples are made
with real encoders and taggers and shown.'

json=
page=
arguments=()
while [[ ${1:-} == -* ]]; do
  case $1,$# in
    --json,*) json=1 ;;
    --standard,*) arguments+=(--standard) ;;
    --png,[2-9]* | --png,1?*) arguments+=("$1" "$(realpath -m -- "$2")"); shift ;;
    --html,[2-9]* | --html,1?*) page=$(realpath -m -- "$2"); shift ;;
    --help,* | -h,*) echo "$usage"; exit ;;
    --,*) shift; break ;;
    *) echo "$usage" >&2; exit 2 ;;
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
for name; do
  if [[ -d $name ]]; then
    [[ -n $json ]] || { page=${page:-$here/build/inspection.html}; exec >/dev/null; }
    break
  fi
done
[[ -n $json ]] || arguments+=(--text)
[[ -z $page ]] || arguments+=(--html "$page")
[[ ! -t 2 ]] || arguments+=(--progress)

[[ -z $page ]] || rm -f -- "$page"  # an older one is not what this run made
# What is interrupted still leaves its page. Wine writes escape sequences to a terminal, not to a pipe.
trap : INT
status=0
"$here/scripts/run-wine.sh" "$bin/tsprobe.exe" --registered "${arguments[@]}" -- "$@" \
  2> >(trap '' INT; exec cat >&2) || status=$?
[[ ! -e $page ]] || echo "$page" >&2
exit "$status"
