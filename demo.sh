#!/bin/sh
# Builds the library and its example program, and draws a sheet of pictures with all operations into out/.
# What the build needs and the machine lacks is installed first (Debian, as root).
set -eu
cd "$(dirname "$0")"
cmake/packages.sh build
cmake --preset release
cmake --build --preset release
mkdir -p out
build/release/examples/vekdemo --sheet out/
