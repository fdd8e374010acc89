#!/usr/bin/env bash
# Do pipelines with kvframessrc do what the document says? Those of the document are run as they
# stand there, with the name of a memory added.
# Usage: scripts/in_network_namespace pipelines.sh BUILD DOCUMENT CASE  (77: skipped, and why)
# CASE: preview, snapshot, lossless, h264, rtp-h264, rtp-jpeg, tee
#                  what stands under that heading in the document
#       formats    caps and pixels of each format
#       missed     frames that a slow pipeline misses are reported
#       resize     new caps when the size changes
#       host       a host that is not there yet, ends, and returns
#       leaks      nothing is left behind, and gst-inspect-1.0 finds nothing wrong
set -euo pipefail
build=$1
document=$2
case=$3
here=$(cd "$(dirname "$0")" && pwd)
place=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true; wait || true; rm -rf "$place"' EXIT
cd "$place"
memory=/kvgrab-gstreamer-$$
width=160
height=122
export GST_PLUGIN_PATH=$build/gstreamer GST_REGISTRY=$place/registry

skip() { echo "skipped: $1"; exit 77; }
fail() { # SENTENCE [FILE...]
    echo "$1" >&2
    shift
    [ $# -eq 0 ] || tail -n 40 "$@" >&2
    exit 1
}
until_true() { # COMMAND...: a minute at the most
    for _ in $(seq 600); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    return 1
}
need() { # ELEMENT PACKAGE
    gst-inspect-1.0 --exists "$1" || skip "GStreamer has no $1 (package $2)"
}

# start_host OPTIONS...: kvgrab with a small camera, in $host; its output is in host.out
start_host() {
    "$build/bin/kvgrab" run --simulation network.toml --config host.toml --memory $memory \
        --socket none --no-status "$@" >host.out 2>&1 &
    host=$!
    pids+=("$host")
}
end_host() {
    kill -INT "$host"
    wait "$host" || fail "kvgrab does not end well:" host.out
}
cat >network.toml <<END
[[camera]]
model = "mono"
serial = "M1"
sensor_width = $width
sensor_height = $height
[[camera]]
model = "color"
serial = "C1"
sensor_width = $width
sensor_height = $height
END
printf '[timing]\nfps = 50.0\n' >host.toml

# documented HEADING [NUMBER]: the NUMBER-th pipeline under that heading, for this test's host
documented() {
    awk -v heading="### $1" -v number="${2:-1}" '
        /^#/ { on = $0 == heading; block = 0; inside = 0 }
        on && /^    / { block += !inside; inside = 1; if (block == number) { print }; next }
        { inside = 0 }' "$document" | sed -E "s|kvframessrc|& memory=$memory $properties|; s|^ +gst-|exec gst-|" >pipeline
    grep -q gst-launch-1.0 pipeline || fail "there is no pipeline under \"$1\" in $document"
    cat pipeline
}
properties=
# run_documented HEADING [NUMBER]
run_documented() {
    timeout 100 bash -c "$(documented "$@")" >launch.out 2>&1 ||
        fail "the pipeline under \"$1\" fails:" pipeline launch.out
}
# launch WORDS...: a pipeline of this test, which says what it does in launch.out
launch() { timeout 100 gst-launch-1.0 "$@" >launch.out 2>&1; }

# Is FILE as long as COUNT frames of BYTES? If COUNT is "some", of three or more.
long_enough() { # FILE COUNT BYTES
    local size
    size=$(stat -c %s "$1" 2>/dev/null || echo 0)
    if [ "$2" = some ]; then
        [ "$size" -ge $((3 * $3)) ]
    else
        [ "$size" = $(($2 * $3)) ]
    fi
}
check_length() { long_enough "$@" || fail "$1 has $(stat -c %s "$1") bytes in place of $2 frames of $3"; }

preview() {
    start_host
    properties=num-buffers=20
    run_documented Preview
}

snapshot() {
    need pngenc gstreamer1.0-plugins-good
    start_host
    run_documented Snapshot
    python3 - $width $height <<'END' || fail "the snapshot is not a PNG file of the frame's size"
import struct, sys
with open("snapshot.png", "rb") as file:
    head = file.read(24)
sys.exit(head[:8] != b"\x89PNG\r\n\x1a\n" or struct.unpack(">II", head[16:]) != tuple(map(int, sys.argv[1:])))
END
}

# Frames recorded without loss are compared with what kvgrab exported of them.
start_export() { # FORMAT
    case $1 in yuv422 | bayer8) serial=C1 ;; *) serial=M1 ;; esac
    start_host --serial $serial --format "$1" --export raw --directory "$1" --every-frame
}
compare() { # FORMAT COUNT LAYOUT FILE
    python3 "$here/same_frames.py" "$1" "$2" "$3" "$4" ||
        fail "$4 differs from what was exported in $1" launch.out
}
lossless() {
    gst-inspect-1.0 --exists avenc_ffv1 || fail "FFV1 needs the package gstreamer1.0-libav"
    for format in mono8 mono12 mono12p yuv422 bayer8; do
        start_export $format
        properties=num-buffers=20
        [ $format != bayer8 ] || properties+=' bayer-as-gray=true'
        run_documented "Lossless recording"
        run_documented "Lossless recording" 2
        end_host
        compare $format 20 recorded frames.raw
    done
}
tee_() {
    gst-inspect-1.0 --exists avenc_ffv1 || fail "FFV1 needs the package gstreamer1.0-libav"
    start_export mono8
    properties=num-buffers=20
    run_documented "Preview and recording from one source"
    run_documented "Lossless recording" 2
    end_host
    compare mono8 20 recorded frames.raw
}

formats() {
    for row in "mono8 video/x-raw,format=GRAY8" "mono12p video/x-raw,format=GRAY16_LE" \
        "mono12 video/x-raw,format=GRAY16_LE scale-12-bit=false" \
        "mono8 video/x-raw,format=GRAY8 copy=false" "yuv422 video/x-raw,format=UYVY" \
        "bayer8 video/x-bayer,format=rggb"; do
        read -r format caps property <<<"$row"
        rm -rf "$format"
        start_export "$format"
        # shellcheck disable=SC2086  # there may be no property
        launch kvframessrc memory=$memory num-buffers=5 $property ! "$caps,framerate=50/1" \
            ! filesink location=frames.raw || fail "there are no frames with $caps:" launch.out
        end_host
        compare "$format" 5 "${property:-offered}" frames.raw
    done
    start_host --serial C1 --format bayer8
    ! launch kvframessrc memory=$memory ! videoconvert ! fakesink ||
        fail "Bayer frames are not refused where they can't be used"
    grep -q 'does not take what the camera delivers' launch.out ||
        fail "nothing says what is wrong with Bayer frames:" launch.out
}

h264() {
    need x264enc gstreamer1.0-plugins-ugly
    need avdec_h264 gstreamer1.0-libav
    start_host
    properties=num-buffers=20
    run_documented "H.264 file"
    launch filesrc location=frames.mp4 ! qtdemux ! avdec_h264 ! filesink location=frames.raw ||
        fail "the file can't be decoded:" launch.out
    check_length frames.raw 20 $((width * height * 3 / 2))
}

rtp() { # HEADING PORT
    start_host
    documented "$1" 2 | sed 's/autovideosink/filesink location=received buffer-mode=unbuffered/' >receiver
    grep -q received receiver || fail "the receiver's pipeline can't be followed:" receiver
    bash receiver >receiver.out 2>&1 &
    pids+=($!)
    until_true grep -q ":$(printf '%04X' "$2") " /proc/net/udp /proc/net/udp6 ||
        fail "the receiver does not start:" receiver.out
    documented "$1" >sender
    bash sender >sender.out 2>&1 &
    pids+=($!)
    until_true long_enough received some $((width * height)) ||
        fail "no frames arrive:" sender.out receiver.out
}

# What fakesink says of each buffer: "chain ... (19520 bytes, ..., offset: 3, ..., flags: 00000040 discont"
watched=(fakesink silent=false sync=false)
missed() {
    printf '[timing]\nfps = 200.0\n[stream]\nbuffers = 4\n' >host.toml
    start_host
    launch -v -m kvframessrc memory=$memory num-buffers=8 ! identity sleep-time=150000 \
        ! "${watched[@]}" || fail "a slow pipeline fails:" launch.out
    grep -q 'event .*gap' launch.out || fail "there is no GAP event:" launch.out
    grep -q 'from element "kvframessrc0" (qos)' launch.out ||
        fail "there is no QoS message:" launch.out
    # Offsets count missed frames, and a buffer has the flag DISCONT if, and only if, its offset is
    # not the next one.
    sed -n 's/.*chain .*offset: \([0-9]*\),.*flags: \([^,]*\).*/\1 \2/p' launch.out >buffers
    awk 'NR > 1 && ($1 != last + 1) != /discont/ { print "buffer " NR ": " $0 }
         $1 > last + 1 { ++gaps } { last = $1 }
         END { if (NR != 8 || !gaps) { print NR " buffers, " gaps+0 " gaps" } }' buffers >wrong
    [ ! -s wrong ] || fail "offsets and flags don't agree:" wrong buffers
}

resize() {
    printf '[region]\nwidth = 64\nheight = 48\n' >>host.toml
    start_host
    timeout 100 gst-launch-1.0 -v kvframessrc memory=$memory ! "${watched[@]}" >launch.out 2>&1 &
    pids+=($!)
    until_true grep -q '(3072 bytes' launch.out || fail "there are no frames of 64x48:" launch.out
    sed -i 's/width = 64/width = 32/' host.toml
    kill -HUP "$host"
    until_true grep -q '(1536 bytes' launch.out || fail "there are no frames of 32x48:" launch.out
    grep -q 'src: caps = .*width=(int)32, height=(int)48' launch.out ||
        fail "the size changes without new caps:" launch.out
}

host() {
    ! launch kvframessrc memory=$memory wait-for-host=false ! fakesink ||
        fail "a missing host is no error:" launch.out
    grep -q "$memory" launch.out || fail "nothing says which host is missing:" launch.out
    timeout 100 gst-launch-1.0 -v kvframessrc memory=$memory ! "${watched[@]}" >>waiting.out 2>&1 &
    pids+=($!)
    until_true grep -q "No host offers frames as $memory; waiting" waiting.out ||
        fail "nothing says that there is no host:" waiting.out
    for round in 1 2; do
        start_host
        until_true grep -q 'chain' waiting.out || fail "there are no frames of host $round:" waiting.out
        timeout 100 gst-launch-1.0 kvframessrc memory=$memory wait-for-host=false ! fakesink \
            >short.out 2>&1 &
        short=$!
        until_true grep -q 'New clock' short.out || fail "a pipeline does not start:" short.out
        end_host
        wait $short || fail "the end of the host is not that of the stream:" short.out
        : >waiting.out
    done
}

leaks() {
    gst-inspect-1.0 kvframessrc >inspected 2>&1 || fail "gst-inspect-1.0 fails:" inspected
    for word in 'Source/Video' 'memory  *: Name of the host' 'rggb' 'GRAY16_LE'; do
        grep -q "$word" inspected || fail "gst-inspect-1.0 does not show \"$word\":" inspected
    done
    ! grep -iE 'warning|critical' inspected || fail "gst-inspect-1.0 finds something wrong" inspected
    start_host
    export GST_TRACERS=leaks GST_DEBUG=GST_TRACER:7 GST_DEBUG_NO_COLOR=1 G_DEBUG=fatal-warnings
    for sink in "fakesink" "identity sleep-time=50000 ! fakesink sync=false" "videoconvert ! pngenc ! fakesink"; do
        # shellcheck disable=SC2086  # these are words
        launch kvframessrc memory=$memory num-buffers=10 ! $sink || fail "the pipeline fails:" launch.out
        grep -q object-alive launch.out || fail "the leaks tracer is not at work:" launch.out
        ! grep 'object-alive, type-name=(string)[^%]' launch.out || fail "the pipeline leaves objects behind"
    done
}

case $case in
preview) preview ;;
snapshot) snapshot ;;
lossless) lossless ;;
h264) h264 ;;
rtp-h264)
    need x264enc gstreamer1.0-plugins-ugly
    need avdec_h264 gstreamer1.0-libav
    rtp "H.264 over RTP to another machine" 5004
    ;;
rtp-jpeg) rtp "JPEG over RTP to another machine" 5006 ;;
tee) tee_ ;;
formats) formats ;;
missed) missed ;;
resize) resize ;;
host) host ;;
leaks) leaks ;;
*) fail "no case $case" ;;
esac
