#!/usr/bin/env bash
# Is the library file what its loader expects?   Usage: library.sh LIBRARY
set -uo pipefail
library=$1
failed=0
expect() { # WHAT EXPECTED ACTUAL
    [ "$2" = "$3" ] && return
    printf '%s: expected "%s", got "%s"\n' "$1" "$2" "$3" >&2
    failed=1
}

expect "exported symbols" "KvLibProc" "$(nm -D --defined-only "$library" | awk '{print $3}')"
expect "SONAME" "libdriver-dalsa.so.0" \
    "$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')"
expect "entry address" "$(nm "$library" | awk '$3 == "LibEntry" {print $1}')" \
    "$(readelf -h "$library" | sed -n 's/.*Entry point address: *0x//p' |
        awk '{printf "%16s", $1}' | tr ' ' 0)"
expect "immediate binding" "" "$(readelf -d "$library" | grep -E 'BIND_NOW|FLAGS.* NOW')"
expect "host services bound at load instead of at their call" "" \
    "$(readelf -rW "$library" | grep -E '(Kv[A-Z][A-Za-z]*__|LogWrite)' | grep -v JUMP_SLO)"
expect "data imported from the host" "" \
    "$(nm -D --undefined-only "$library" | grep -E ' (KVSCUVAL|Kv[A-Z][a-z]+$)')"
expect "a host service imported by plain name" "KvGiMainCtx__GetFnum" \
    "$(nm -D --undefined-only "$library" | awk '$2 == "KvGiMainCtx__GetFnum" {print $2}')"

output=$("$library" 2>&1)
expect "status as a program" "0" "$?"
expect "output as a program" "" "$output"
exit $failed
