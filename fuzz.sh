#!/usr/bin/env bash
# Opens mutated tracks under the sanitizers: ./fuzz.sh [ROUNDS] [SEED-FILE...]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/scripts/setup.sh"
"$here/scripts/build.sh" native-sanitize fuzz_tracks
exec "$here/build/native-sanitize/bin/fuzz_tracks" "${@:-100000}"
