#!/usr/bin/env bash
# Does the installed tree work, and can a host be built against it?   Usage: install.sh BUILD SOURCE CXX
set -euo pipefail
build=$1
source=$2
compiler=$3
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix" >/dev/null
lib=$(dirname "$(find "$prefix" -name 'libdriver-dalsa.so.0')")
"$prefix/bin/kvgrab" list
"$prefix/bin/kvgrab" --frames 3 --no-retry --memory "/kvgrab-install-$$" --log-level warning
"$compiler" -std=c++20 -I "$prefix/include/libdriver-dalsa" "$source/examples/minimal_host.cpp" \
    -o "$prefix/minimal_host" -rdynamic -L "$lib" -lgevplat -Wl,-rpath,"$lib"
"$prefix/minimal_host" "$lib/libdriver-dalsa.so.0"
