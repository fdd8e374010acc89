#!/usr/bin/env bash
# Makes each system call and each allocation of kvgrab fail once, in a run that writes pictures and a
# log, and checks how the run ends: with a documented status, said in a sentence, every picture whole
# and in the index, nothing half-written, and the shared memory removed.
# Usage: host_calls.sh KVGRAB PRELOAD [--depth N] [--one FORMAT:CALL:PLACE:NTH:HOW]
#   --depth N   distinguishes calls by the N innermost places in our code (1)
#   --one TEXT  makes only this call fail, as a failing run prints it, and shows what kvgrab says
set -uo pipefail
kvgrab=$(realpath "$1")
preload=$(realpath "$2")
shift 2
depth=1
one=
while [ $# -gt 1 ]; do
    case $1 in
    --depth) depth=$2 ;;
    --one) one=$2 ;;
    esac
    shift 2
done
export kvgrab preload depth
place=$(mktemp -d)
export place
trap 'rm -rf "$place"' EXIT

cat >"$place/kv.toml" <<END
[session]
frames = 4
retry = false
no_frames_s = 5
[export]
every_frame = true
directory = "out"
[log]
file = "log.txt"
level = "detail"
[timing]
fps = 50
END
cat >"$place/cameras.toml" <<END
[[camera]]
sensor_width = 64
sensor_height = 48
serial = "F1"
END

# Runs kvgrab in a folder of its own with one call that fails; its status is in $status.
grab() { # FOLDER FORMAT VARIABLE...
    local folder=$1 format=$2
    shift 2
    mkdir -p "$folder"
    (cd "$folder" && exec env XDG_RUNTIME_DIR=. KV_DEPTH="$depth" "$@" LD_PRELOAD="$preload" timeout -s KILL 60 "$kvgrab" run \
        --config "$place/kv.toml" --export "$format" --simulation "$place/cameras.toml" \
        --memory "/kvgrab-calls-${folder##*/}-$$") >"$folder/said" 2>&1 </dev/null
    status=$?
}

# What is wrong with a run that ended with $status; nothing if all is well.
faults_of() { # FOLDER
    local folder=$1 file rows
    case " 0 1 2 3 4 5 10 11 12 13 14 15 16 20 " in
    *" $status "*) ;;
    *) echo "status $status is not documented" ;;
    esac
    [ "$status" = 0 ] || grep -q '^kvgrab: .' "$folder/said" || echo "it ended with $status and did not say why"
    [ -z "$(ls /dev/shm/kvgrab-calls-"${folder##*/}"-$$* 2>/dev/null)" ] || echo "the shared memory is left"
    ls "$folder"/out/*.kvpart >/dev/null 2>&1 && echo "an unfinished picture is left"
    for file in "$folder"/out/frame_*; do
        [ -e "$file" ] || continue
        case $file in
        *.png) tail -c 8 "$file" | grep -aq IEND || echo "${file##*/} is cut" ;;
        *.raw) [ "$(stat -c %s "$file")" = 3072 ] || echo "${file##*/} is cut" ;;
        esac
        grep -q ",${file##*/}," "$folder/out/index.csv" || echo "${file##*/} is not in the index"
    done
    if [ -e "$folder/out/index.csv" ]; then
        [ -z "$(tail -c 1 "$folder/out/index.csv")" ] || echo "the index ends within a row"
        for rows in $(sed 1d "$folder/out/index.csv" | cut -d, -f2); do
            [ -e "$folder/out/$rows" ] || echo "$rows is in the index and nowhere else"
        done
    fi
    [ "$status" != 0 ] || grep -q '^grabbed 4, exported 3' "$folder/said" ||
        grep -qE 'failed [1-9]|not written|lost' "$folder/said" || echo "it ended with 0 without saying what is missing"
}

check() { # FORMAT:CALL:PLACE:NTH:HOW
    local folder wrong
    folder=$(mktemp -d "$place/run.XXXXXX")
    grab "$folder" "${1%%:*}" KV_FAIL="${1#*:}"
    wrong=$(faults_of "$folder")
    rm -f /dev/shm/kvgrab-calls-"${folder##*/}"-$$*
    if [ -n "$wrong" ]; then
        printf 'FAILED: %s: %s\n' "$1" "${wrong//$'\n'/; }"
        tail -n 2 "$folder/said" | sed 's/^/        /'
    fi
    rm -rf "$folder"
}
export -f grab faults_of check

if [ -n "$one" ]; then
    grab "$place/one" "${one%%:*}" KV_FAIL="${one#*:}"
    cat "$place/one/said"
    echo "status $status"
    faults_of "$place/one"
    exit
fi

# Each place in the first format that reaches it.
for format in raw png; do
    grab "$place/$format" "$format" KV_CALLS="$place/$format.calls"
    [ "$status" = 0 ] || { cat "$place/$format/said"; exit 1; }
    sed "s/^/$format /" "$place/$format.calls"
done | awk '!seen[$2 $3]++' >"$place/calls" || exit 1
# The errors that a call may well meet: no memory, no room, no permission, an interruption.
while read -r format call where; do
    case $call in
    malloc | mmap | pthread_create) ways=12 ;;
    write) ways="28 4 short" ;;
    posix_fallocate | ftruncate) ways="28 4" ;;
    open | openat | shm_open | mkdirat) ways="13 24 28" ;;
    flock) ways="11 4" ;;
    *) ways=5 ;;
    esac
    for how in $ways; do
        echo "$format:$call:$where:1:$how"
    done
done <"$place/calls" >"$place/faults"
xargs -a "$place/faults" -P 2 -I{} bash -c 'check {}' >"$place/failures"
cat "$place/failures"
failed=$(grep -c '^FAILED' "$place/failures")
echo "$(wc -l <"$place/faults") failing calls in $(wc -l <"$place/calls") places: $failed runs went wrong"
[ "$failed" = 0 ]
