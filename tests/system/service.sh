#!/usr/bin/env bash
# Is the unit well-formed and hardened, and does its command line work as the unit has it?
# Usage: service.sh BUILD SOURCE     (77: skipped, because systemd-analyze is missing)
set -euo pipefail
build=$1
source=$2
command -v systemd-analyze >/dev/null || {
    echo "skipped: there is no systemd-analyze"
    exit 77
}
folder=$(mktemp -d)
name=kvgrab-service-$$
trap 'rm -rf "$folder"' EXIT

# The unit with the program of this build; an instance of it has to exist for the first check.
unit=$folder/kvgrab@left.service
sed "s|^ExecStart=[^ ]*/kvgrab |ExecStart=$build/bin/kvgrab |" "$build/share/systemd/kvgrab@.service" >"$unit"
complaints=$(systemd-analyze verify --man=no "$unit" 2>&1) || true
if [ -n "$complaints" ]; then
    echo "$complaints" >&2
    exit 1
fi
systemd-analyze security --offline=true --threshold=25 --no-pager "$unit" >"$folder/security" || {
    cat "$folder/security" >&2
    exit 1
}

# Two cameras on one machine: the options that the unit gives them keep them apart.
mkdir -m 755 "$folder/run"
printf '[session]\nframes = 2\nretry = false\n' >"$folder/one.toml"
cp "$folder/one.toml" "$folder/two.toml"
command=$(sed -n '/^ExecStart=/,/[^\\]$/p' "$unit" | sed 's/^ExecStart=//; s/\\$//' | tr '\n' ' ')
pids=()
for camera in one two; do
    read -ra words < <(sed "s|/etc/kvgrab/%i|$folder/$camera|; s|/var/log/kvgrab/%i|$folder/$camera|; \
        s|/%i|/$name-$camera|" <<<"$command")
    RUNTIME_DIRECTORY=$folder/run "${words[@]}" >/dev/null 2>&1 &
    pids+=($!)
done
for pid in "${pids[@]}"; do
    wait "$pid" || {
        cat "$folder"/*.log >&2
        exit 1
    }
done
for camera in one two; do
    if grep -E ' [WE] .*(control socket|memory)' "$folder/$camera.log" >&2; then exit 1; fi
    grep -q "grabbed 2" "$folder/$camera.log"
done

# The files that other programs of the system read.
if command -v systemd-sysusers >/dev/null; then
    mkdir -p "$folder/root"/{etc,usr/lib/sysusers.d}
    cp "$source/packaging/systemd/kvgrab.sysusers" "$folder/root/usr/lib/sysusers.d/kvgrab.conf"
    systemd-sysusers --root="$folder/root" >/dev/null 2>&1
    grep -q '^kvgrab:' "$folder/root/etc/passwd"
fi
if command -v logrotate >/dev/null; then
    sed '/^ *su /d' "$source/packaging/etc/kvgrab.logrotate" >"$folder/logrotate"
    if logrotate -d "$folder/logrotate" 2>&1 | grep error >&2; then exit 1; fi
fi
