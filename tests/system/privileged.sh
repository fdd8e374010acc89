#!/usr/bin/env bash
# Does kvgrab with file capabilities start for an ordinary user, and load nothing of that user's?
# Usage: privileged.sh BUILD     (77: skipped, because it needs root, setcap and a compiler)
set -euo pipefail
build=$1
[ "$(id -u)" = 0 ] && command -v setcap >/dev/null || {
    echo "skipped: this needs root and setcap"
    exit 77
}
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
chmod 755 "$place"
failed=0
complain() {
    printf '%s\n' "$1" >&2
    cat "$place/said" >&2
    failed=1
}
as_user() { # COMMAND...: what it says is in $place/said
    (cd "$place/theirs" && setpriv --reuid=65534 --regid=65534 --clear-groups "$@") >"$place/said" 2>&1
}

cmake --install "$build" --prefix "$place/prefix" >/dev/null
kvgrab=$place/prefix/bin/kvgrab
# The command of docs/security.md.
setcap cap_net_raw,cap_sys_nice+ep "$kvgrab" || {
    echo "skipped: this file system has no capabilities"
    exit 77
}

# A library that says so as soon as it is loaded, under each name that could be searched for.
mkdir "$place/theirs"
cat >"$place/planted.c" <<'END'
#include <unistd.h>
__attribute__((constructor)) static void Loaded(void) { write(2, "PLANTED\n", 8); }
END
cc -shared -fPIC -o "$place/theirs/planted.so" "$place/planted.c"
libraries="libgevplat.so.0 libgevplat-net.so.0 libkvgrab-host.so.0 libdriver-dalsa.so.0"
for name in $libraries libpng16.so.16 libaravis-0.8.so.0 libfmt.so.9 libgiovfs.so; do
    cp "$place/theirs/planted.so" "$place/theirs/$name"
done
chown -R 65534:65534 "$place/theirs"

grab="--frames 3 --no-retry --no-status --memory /kvgrab-privileged-$$"
as_user "$kvgrab" $grab || complain "kvgrab with capabilities does not grab for an ordinary user"
grep -q "all frames that were asked for" "$place/said" || complain "it does not say that it grabbed"
as_user env LD_LIBRARY_PATH="$place/theirs" LD_PRELOAD="$place/theirs/planted.so" \
    GIO_EXTRA_MODULES="$place/theirs" GIO_MODULE_DIR="$place/theirs" GCONV_PATH="$place/theirs" \
    "$kvgrab" list --cameras all || complain "it does not list"
grep -q PLANTED "$place/said" && complain "it loads a library that the environment names"
as_user "$kvgrab" $grab --driver ./libdriver-dalsa.so.0 && complain "it takes a driver of the user's"
grep -q "more rights than its user" "$place/said" || complain "it does not say why not"
grep -q PLANTED "$place/said" && complain "it loads the driver that an option names"

# A hard link brings the capabilities along, but not the libraries.
mkdir -p "$place/theirs/own/bin" "$place/theirs/own/lib"
ln "$kvgrab" "$place/theirs/own/bin/kvgrab"
for name in $libraries; do cp "$place/theirs/planted.so" "$place/theirs/own/lib/$name"; done
chown -R 65534:65534 "$place/theirs/own/lib"
as_user "$place/theirs/own/bin/kvgrab" list && complain "it starts beside libraries of the user's"
grep -q PLANTED "$place/said" && complain "it loads libraries from beside a hard link"

# Without capabilities, as root, in a folder with a planted library.
(cd "$place/theirs" && "$build/bin/kvgrab" list) >"$place/said" 2>&1 || complain "it does not list"
grep -q PLANTED "$place/said" && complain "the program of the build tree searches the current folder"
exit $failed
