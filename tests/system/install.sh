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

# A host that starts from the default services, built from the installed files alone.
headers=$prefix/include/libdriver-dalsa
host=$prefix/minimal_host
"$compiler" -std=c++20 -fvisibility=hidden -Wall -Wextra -Werror -I "$headers" -o "$host" \
    "$source/examples/minimal_host.cpp" "$headers/kv_default_services.cpp" -rdynamic \
    -L "$lib" -lgevplat -Wl,-rpath,"$lib"
"$host" "$lib/libdriver-dalsa.so.0" >"$prefix/out" 2>"$prefix/errors"
[ "$(grep -c '^frame at ' "$prefix/out")" = 9 ] || {
    echo "nine frames were expected:" >&2
    cat "$prefix/out" "$prefix/errors" >&2
    exit 1
}

# It exports each service that the driver imports, also those that this session did not call.
names() { nm -D "$@" | awk '{ print $NF }' | grep -E '^(Kv|LogWrite)' | sort; }
missing=$(comm -23 <(names --undefined-only "$lib/libdriver-dalsa.so.0") <(names --defined-only "$host"))
[ -z "$missing" ] || {
    printf 'services without a default:\n%s\n' "$missing" >&2
    exit 1
}

# The example of docs/consumers.md in C and in C++, through pkg-config and through CMake.
awk '/^```c$/ { inside = 1; next } /^```$/ { inside = 0 } inside' \
    "$source/docs/consumers.md" >"$prefix/frame_mean.c"
cp "$prefix/frame_mean.c" "$prefix/frame_mean.cpp"
export PKG_CONFIG_PATH=$lib/pkgconfig
read -ra flags <<<"$(pkg-config --cflags --libs kvframes)"
cc -std=c99 -Wall -Wextra -Wpedantic -Werror -o "$prefix/by-pkg-config" "$prefix/frame_mean.c" \
    "${flags[@]}" -Wl,-rpath,"$lib"
awk '/^```cmake$/ { inside = 1; next } /^```$/ { inside = 0 } inside' \
    "$source/docs/consumers.md" | sed 's/frame_mean\.c/frame_mean.cpp/' >"$prefix/CMakeLists.txt"
cmake -S "$prefix" -B "$prefix/by-cmake" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >/dev/null
cmake --build "$prefix/by-cmake" >/dev/null
"$prefix/bin/kvgrab" --memory "/kvgrab-install-$$" --no-status --log-level warning &
for consumer in "$prefix/by-pkg-config" "$prefix/by-cmake/frame_mean"; do
    "$consumer" "/kvgrab-install-$$" 3 >"$prefix/out"
    [ "$(grep -c '^frame ' "$prefix/out")" = 3 ] || {
        echo "three frames were expected:" >&2
        cat "$prefix/out" >&2
        exit 1
    }
done
kill -INT %1
wait %1

# The library exports its interface and nothing else.
others=$(nm -D --defined-only "$lib/libkvframes.so.0" | awk '$2 != "A" && $3 !~ /^kvf_/')
[ -z "$others" ] || {
    printf 'symbols that are no part of the interface:\n%s\n' "$others" >&2
    exit 1
}
