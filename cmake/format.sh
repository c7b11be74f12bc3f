#!/bin/sh
# Brings all code into the form of .clang-format; with --check only tells where it isn't.
set -eu
cd "$(dirname "$0")/.."
case ${1-} in
--check) set -- --dry-run --Werror ;;
*) set -- -i ;;
esac
find include _SRC tests examples bench -name '*.h' -o -name '*.cpp' -o -name '*.c' | sort | xargs clang-format "$@"
