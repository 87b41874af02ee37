#!/usr/bin/env bash
# Fuzzing campaign for MINUTES minutes on the sanitizer build.
#
#   fuzz/run.sh MINUTES [PROGRAM] [-- fuzz.py options...]
#
# Without PROGRAM, configures and builds build-fuzz (Debug, AddressSanitizer
# and UndefinedBehaviorSanitizer, with the edge-mapped brisk-fuzz) and uses
# brisk-fuzz. New faults go to fuzz/crashes, new behaviour to fuzz/corpus;
# the log is build-fuzz/fuzz.log.
set -euo pipefail
cd "$(dirname "$0")/.."
minutes=${1:?usage: fuzz/run.sh MINUTES [PROGRAM] [-- fuzz.py options...]}
shift
if [ $# -gt 0 ] && [ "$1" != -- ]; then
    program=$1
    shift
else
    cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=Debug -DBRISK_SANITIZE=ON -DBRISK_FUZZ_MAP=ON >/dev/null
    cmake --build build-fuzz -j2 --target brisk-fuzz
    program=build-fuzz/brisk-fuzz
fi
[ "${1:-}" = -- ] && shift
mkdir -p build-fuzz
exec python3 fuzz/fuzz.py --minutes "$minutes" --binary "$program" --log build-fuzz/fuzz.log "$@"
