#!/usr/bin/env bash
# Do consumers that hold frames, stop and die at random ever see a torn picture, or cost a frame?
# Usage: consumers.sh BIN-FOLDER sim|net MOST-FRAMES-LOST [SEED]      (net: in in_network_namespace)
set -euo pipefail
bin=$1
camera=$2
most=$3
RANDOM=${4:-$$}
echo "seed ${4:-$$}"
place=$(mktemp -d)
memory=/kvgrab-consumers-$$
others=()
grab=
served=
trap 'kill -KILL ${others[@]+"${others[@]}"} $grab $served 2>/dev/null || true
      wait 2>/dev/null || true
      rm -rf "$place" /dev/shm$memory /dev/shm$memory.consumers' EXIT
cd "$place"

fail() { # SENTENCE FILE...
    echo "$1" >&2
    shift
    tail -n 30 "$@" >&2
    exit 1
}

# Strong noise, so that each pixel is another one in each frame.
cat >network.toml <<END
[[camera]]
model = "mono"
serial = "N1"
sensor_width = 320
sensor_height = 240
noise = 50
values = { AcquisitionFrameRate = 20, ExposureTime = 2000 }
END
common=(run --no-status --memory "$memory" --frames 120 --buffers 6)
if [ "$camera" = net ]; then
    "$bin/kvcam" --network network.toml --ready-file ready >kvcam.out 2>&1 &
    served=$!
    for _ in $(seq 600); do [ -s ready ] && break; sleep 0.1; done
    [ -s ready ] || fail "kvcam does not start:" kvcam.out
    common+=(--cameras net --serial N1)
else
    common+=(--simulation network.toml)
fi

"$bin/kvgrab" "${common[@]}" --export raw --every-frame --directory pictures >first.out 2>&1 ||
    fail "the pictures can't be had:" first.out
mv first.out alone

begin() { # NUMBER
    "$bin/holding_consumer" "$memory" pictures "$RANDOM" >>"consumer$1.out" 2>&1 &
    others[$1]=$!
}
torment() { # until the host ends
    while kill -0 $grab 2>/dev/null; do
        number=$((RANDOM % ${#others[@]}))
        case $((RANDOM % 20)) in
        0)
            kill -KILL "${others[$number]}" 2>/dev/null || true
            wait "${others[$number]}" 2>/dev/null || true
            begin $number
            ;;
        [1-6]) kill -STOP "${others[$number]}" 2>/dev/null || true ;;
        *) kill -CONT "${others[$number]}" 2>/dev/null || true ;;
        esac
        sleep 0.02
    done
}
dropped() { # FILE
    sed -n 's/^grabbed .* dropped \([0-9]*\), .*/\1/p' "$1"
}
attempt() {
    rm -f ./*.out
    "$bin/kvgrab" "${common[@]}" >grab.out 2>&1 &
    grab=$!
    until [ -e /dev/shm$memory ] || ! kill -0 $grab 2>/dev/null; do sleep 0.01; done
    for number in 0 1 2 3 4 5 6; do begin $number; done
    torment
    local status=0
    wait $grab || status=$?
    grab=
    kill -CONT "${others[@]}" 2>/dev/null || true
    for other in "${others[@]}"; do wait "$other" || status=$?; done
    others=()
    cat grab.out consumer*.out
    ! grep -q "^torn" consumer*.out || fail "a picture was torn:" consumer*.out
    [ $status = 0 ] || fail "the host or a consumer failed:" grab.out consumer*.out
    # What the host took back, and one frame that a consumer may have come to hold at the moment of
    # its turn.
    taken=$(sed -n 's/^taken back: \([0-9]*\) .*/\1/p' grab.out)
    lost=$(awk '{ sum += $NF } END { print sum }' consumer*.out)
    [ "$lost" -le $((${taken:-0} + 1)) ] || fail "consumers lost $lost held frames:" grab.out
    grep -q "held [1-9]" consumer*.out && [ "$(dropped grab.out)" -le "$most" ]
}
# On a busy machine the host loses frames of itself, or consumers come too late, but not always; on one
# that is too slow it did so without consumers.
attempt || attempt || attempt || [ "$(dropped alone)" -gt "$most" ] ||
    fail "the host lost frames each time, or nobody held one:" grab.out consumer*.out
