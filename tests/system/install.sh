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
