#!/bin/sh
# Sees to it that the tools of a job are there:  cmake/packages.sh build|docs|format|gallery|bench|windows ...
#
# Each tool is looked for first, and only what is missing is installed: with apt, as root. Without apt, or without
# the right to use it, the missing tools are named and the script ends with status 1.
set -u

# A line for each tool: job, Debian package, and how it is looked for: a command, or a header for the C++ compiler.
tools='
build    g++                     command c++
build    cmake                   command cmake
build    ninja-build             command ninja
build    pkg-config              command pkg-config
build    binutils                command nm
build    libgtest-dev            header  gtest/gtest.h
docs     doxygen                 command doxygen
format   clang-format            command clang-format
gallery  imagemagick             command convert
bench    libbenchmark-dev        header  benchmark/benchmark.h
bench    python3                 command python3
windows  g++-mingw-w64-x86-64    command x86_64-w64-mingw32-g++
windows  googletest              file    /usr/src/googletest/CMakeLists.txt
windows  wine64                  file    /usr/lib/wine/wine64
windows  wine                    command wine
'

there()
{
    case $1 in
    command) command -v "$2" >/dev/null 2>&1 ;;
    header) echo "#include <$2>" | c++ -std=c++17 -E -x c++ - >/dev/null 2>&1 ;;
    file) test -e "$2" ;;
    esac
}

# The packages of the wanted jobs whose tools aren't there, one after the other.
missing()
{
    echo "$tools" | while read -r job package kind what; do
        case " $jobs " in
        *" ${job:-none} "*) there "$kind" "$what" || printf ' %s' "$package" ;;
        esac
    done
}

jobs=$*
needed=$(missing)
test -z "$needed" && exit 0

if ! command -v apt-get >/dev/null 2>&1; then
    echo "These tools are missing, and there is no apt-get to install them (the names are Debian's):$needed" >&2
    exit 1
fi
if test "$(id -u)" != 0; then
    echo "These packages are missing, and only root may install them; as root: apt-get install$needed" >&2
    exit 1
fi
echo "Installing:$needed"
log=$(mktemp)
export DEBIAN_FRONTEND=noninteractive
{ apt-get update -qq && apt-get install -y -qq --no-install-recommends $needed; } </dev/null >"$log" 2>&1
status=$?
test $status = 0 || cat "$log" >&2
rm -f "$log"
still=$(missing)
if test $status != 0 || test -n "$still"; then
    echo "Could not be installed:${still:-$needed}" >&2
    exit 1
fi
