#!/usr/bin/env bash
# Are the programs and libraries hardened, and do they search for libraries only relative to themselves?
# Usage: hardening.sh BUILD
set -uo pipefail
build=$1
failed=0
complain() { # FILE WHAT
    printf '%s: %s\n' "$1" "$2" >&2
    failed=1
}
has() { grep -qE -- "$1" <<<"$2"; } # PATTERN TEXT

for file in "$build"/bin/* "$build"/lib/*.so.0; do
    head -c 4 "$file" | grep -q ELF || continue
    name=${file##*/}
    dynamic=$(readelf -dW "$file")
    path=$(sed -n 's/.*path: \[\(.*\)\]/\1/p' <<<"$dynamic")
    for element in $(tr ':' '\n' <<<"$path" | sed 's/^$/EMPTY/'); do
        # shellcheck disable=SC2016  # the loader expands it, not the shell
        has '^\$ORIGIN(/\.\./lib(/[a-z0-9_-]+)?)?$' "$element" || complain "$name" "searches '$element'"
    done
    has ':$|^:|::' "$path" && complain "$name" "searches the current folder"
    segments=$(readelf -lW "$file")
    has GNU_RELRO "$segments" || complain "$name" "has no read-only relocations"
    has 'GNU_STACK.* RW ' "$segments" || complain "$name" "has an executable stack"
    case $name in
    libdriver-dalsa.so.0) has BIND_NOW "$dynamic" && complain "$name" "has to bind lazily" ;;
    *) has BIND_NOW "$dynamic" || complain "$name" "does not bind at its start" ;;
    esac
    has 'IBT, SHSTK' "$(readelf -n "$file" 2>/dev/null)" || complain "$name" "lacks CET"
    case $name in
    kvgrab | kvcam | lib*)
        symbols=$(nm -D "$file")
        has __stack_chk_fail "$symbols" || complain "$name" "has no stack protector"
        ;;
    esac
done

# What depends on the code that a file holds is looked for in one that holds enough of it.
host=$build/lib/libkvgrab-host.so.0
has '__[a-z]+_chk' "$(nm -D "$host")" || complain "$host" "is built without _FORTIFY_SOURCE"
has glibcxx_assert_fail "$(nm -D "$host")" || complain "$host" "is built without _GLIBCXX_ASSERTIONS"
code=$(objdump -d --no-show-raw-insn "$host")
has 'endbr64' "$code" || complain "$host" "has no landing pads for indirect branches"
has 'or[lq] +\$0x0,\(%[re]sp\)' "$code" || complain "$host" "does not probe large stack frames"
exit $failed
