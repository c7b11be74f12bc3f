#!/bin/sh
# Builds the library and runs all tests. What this needs and the machine lacks is installed first (Debian, as root).
#
#   ./test.sh            the optimised build
#   ./test.sh --asan     under the address and undefined-behaviour sanitizers
#   ./test.sh --tsan     under the thread sanitizer
#   ./test.sh --windows  vekA6.dll, cross-built, under Wine
set -eu
cd "$(dirname "$0")"
preset=release
jobs="build docs"
for option; do
    case $option in
    --asan) preset=asan jobs=build ;;
    --tsan) preset=tsan jobs=build ;;
    --windows) preset=windows jobs="build windows" ;;
    *)
        sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2
        exit 2
        ;;
    esac
done
cmake/packages.sh $jobs
cmake --preset $preset
cmake --build --preset $preset
ctest --preset $preset
