#!/usr/bin/env bash
# Is each manual page well-formed, and does it have the options of the help?
# Usage: manual.sh BUILD     (77: skipped, because there is no man)
set -euo pipefail
build=$1
pages=$build/share/man/man1
failed=0
complain() { # WHAT
    printf '%s\n' "$1" >&2
    failed=1
}
command -v man >/dev/null || {
    echo "skipped: there is no man"
    exit 77
}

# The options at the beginnings of lines, in the order of the alphabet. CLI11 writes -n,--frames.
options() { sed -nE 's/^ +(-[^ ]*( -[^ ]*)?).*/\1/p' | sed 's/, /,/' | sort -u; }

is_well_formed() { # PAGE
    local warnings
    warnings=$(LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l -Tutf8 -Z "$1" 2>&1 >/dev/null) || true
    [ -z "$warnings" ] || complain "$1: $warnings"
}

check() { # PAGE COMMAND...
    local page=$pages/$1.1 program=$2 text section
    shift 2
    is_well_formed "$page"
    text=$(LC_ALL=C.UTF-8 MANWIDTH=100 man -l -P cat "$page")
    for section in NAME SYNOPSIS DESCRIPTION OPTIONS 'EXIT STATUS' EXAMPLES 'SEE ALSO'; do
        grep -qx "$section" <<<"$text" || complain "$page has no section $section"
    done
    grep -qE "^ +$(basename "$page" .1) - " <<<"$text" || complain "$page has another name"
    diff <("$build/bin/$program" "$@" --help | options) \
        <(sed -n '/^OPTIONS/,/^[A-NP-Z]/p' <<<"$text" | options) >&2 ||
        complain "$page has other options than the help"
}

check kvcam kvcam
check kvgrab kvgrab
for command in $("$build/bin/kvgrab" --help | sed -n '/^Commands:/,/^$/p' | awk '/^ / { print $1 }'); do
    check "kvgrab-$command" kvgrab "$command"
done
is_well_formed "$build/share/man/man5/kvgrab.toml.5"
[ "$(find "$pages" -name '*.1' | wc -l)" -eq 10 ] || complain "there are other pages, too"
exit $failed
