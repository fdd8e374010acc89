#!/usr/bin/env bash
# Do programs that were not written here take kvcam for a GigE Vision camera?
# Usage: scripts/in_network_namespace clients.sh BIN-FOLDER CLIENT     (77: skipped, and why)
# CLIENT: tool      arv-tool lists the camera, reads and writes features
#         test      arv-camera-test streams from it without a failure
#         gstreamer the GStreamer source of the Aravis library does, too
#         dissector tshark finds nothing wrong with a session of kvgrab
set -euo pipefail
bin=$1
client=$2
place=$(mktemp -d)
camera=
capture=
trap 'kill $camera $capture 2>/dev/null; wait; rm -rf "$place"' EXIT
cd "$place"

skip() { echo "skipped: $1"; exit 77; }
need() { command -v "$1" >/dev/null || skip "$1 is not installed"; }
fail() { # SENTENCE [FILE...]
    echo "$1" >&2
    shift
    [ $# -eq 0 ] || cat "$@" >&2
    exit 1
}
until_true() { # COMMAND...: a minute at the most
    for _ in $(seq 600); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    return 1
}

start_camera() {
    grep -q 127.0.0.1 /proc/net/fib_trie || skip "there is no loopback network"
    "$bin/kvcam" --serial C1 --ready-file "$place/ready" >kvcam.out 2>&1 &
    camera=$!
    until_true test -s ready || fail "kvcam does not start:" kvcam.out
}
name() { # of the camera, as the library lists it
    arv-tool-0.8 | sed -n 's/ (127\.0\.0\.1)$//p'
}
# "FEATURE = VALUE" lines, without units and limits
control() { arv-tool-0.8 --address 127.0.0.1 control "$@" 2>&1 | sed -E 's/ (px|us|µs|dB)? ?min:.*//'; }

tool() {
    need arv-tool-0.8
    start_camera
    case $(name) in *-C1) ;; *) fail "arv-tool does not list the camera: $(arv-tool-0.8)" ;; esac
    arv-tool-0.8 --address 127.0.0.1 features >list
    for feature in Width PixelFormat ExposureTime AcquisitionStart ReverseX DeviceModelName; do
        grep -q "'$feature'" list || fail "arv-tool shows no $feature:" list
    done
    control Width=640 Height=480 OffsetX=1280 Gain=2 ReverseX=true PixelFormat=Mono12 \
        DeviceUserID=door >/dev/null
    control Width Height OffsetX Gain ReverseX PixelFormat DeviceUserID >values
    printf '%s\n' 'Width = 640' 'Height = 480' 'OffsetX = 1280' 'Gain = 2' 'ReverseX = true' \
        'PixelFormat = Mono12' 'DeviceUserID = door' | diff - values >difference ||
        fail "what was written (<) is not what is read (>):" difference
    arv-tool-0.8 --address 127.0.0.1 values >all 2>&1
    ! grep -i error all || fail "not all features can be read"
}

# n_completed_buffers = 40 -> 40
count() { sed -n "s/^n_$1 *= //p" result; }

camera_test() {
    need arv-camera-test-0.8
    need arv-tool-0.8
    start_camera
    timeout 100 arv-camera-test-0.8 --name="$(name)" --width=320 --height=240 --frequency=20 \
        --duration=3 >result 2>&1 || fail "arv-camera-test fails:" result
    [ "$(count completed_buffers)" -gt 0 ] || fail "arv-camera-test receives no frame:" result
    for kind in failures size_mismatch_errors missing_packets error_packets duplicated_packets; do
        [ "$(count $kind)" = 0 ] || fail "arv-camera-test counts $kind:" result
    done
}

gstreamer() {
    need gst-launch-1.0
    need arv-tool-0.8
    export GST_REGISTRY=$place/registry
    gst-inspect-1.0 aravissrc >/dev/null 2>&1 || skip "GStreamer has no aravissrc"
    start_camera
    control Width=320 Height=240 >/dev/null
    timeout 100 gst-launch-1.0 -q aravissrc camera-name="$(name)" num-buffers=20 \
        ! video/x-raw,format=GRAY8 ! filesink location=frames >result 2>&1 ||
        fail "gst-launch fails:" result
    [ "$(stat -c %s frames)" = $((20 * 320 * 240)) ] ||
        fail "GStreamer wrote $(stat -c %s frames) bytes in place of 20 frames" result
}

# The camera lets the kernel cut what it sends into packets; a capture on loopback would see it whole.
cut_before_capture() {
    need ethtool
    ethtool -K lo tx-udp-segmentation off 2>/dev/null || true
    ethtool -k lo | grep -q 'tx-udp-segmentation: off' ||
        skip "segmentation on loopback can't be switched off"
}
start_capture() {
    dumpcap -q -i lo -f udp -B 64 -w session.pcapng >capture.out 2>&1 &
    capture=$!
    until_true grep -q '^File:' capture.out || skip "capturing is not permitted: $(cat capture.out)"
}
# All packets before the marker are in the file once the marker is.
end_capture() {
    echo "the session has ended" >/dev/udp/127.0.0.1/9
    until_true grep -qa "the session has ended" session.pcapng ||
        fail "the capture does not end" capture.out
    kill -INT "$capture"
    wait "$capture" || true
    capture=
}
dissect() { tshark -r session.pcapng "${streams[@]}" "$@" 2>/dev/null; }

dissector() {
    need tshark
    need dumpcap
    cut_before_capture
    start_camera
    start_capture
    "$bin/kvgrab" set Width=640 Height=480 Gain=2 DeviceUserID=door --cameras net >said 2>&1 ||
        fail "kvgrab can't set features:" said
    "$bin/kvgrab" run --cameras net --frames 40 --no-status --no-retry --memory "/kvgrab-clients-$$" \
        --socket none >said 2>&1 || fail "kvgrab can't grab:" said
    end_capture

    streams=() # all but the control port and the marker
    for port in $(dissect -Y 'udp.port != 3956 && udp.dstport != 9' -T fields -e udp.dstport | sort -u); do
        streams+=(-d "udp.port==$port,gvsp")
    done
    dissect -Y '_ws.malformed || _ws.expert.severity == error' >faults
    [ ! -s faults ] || fail "tshark finds faults:" faults
    # A datagram without content is 8 bytes long.
    dissect -Y 'udp.length > 8 && udp.dstport != 9 && !gvcp && !gvsp' >faults
    [ ! -s faults ] || fail "tshark can't tell what these are:" faults
    for kind in DISCOVERY READREG READMEM WRITEREG WRITEMEM; do
        dissect -Y gvcp | grep "${kind}_ACK" >/dev/null || fail "tshark sees no ${kind}_ACK"
    done
    # In each block: a leader, payload packets in order, and a trailer.
    dissect -Y gvsp -T fields -e gvsp.format -e gvsp.packetid24 -e gvsp.packetid32 -e gvsp.blockid16 \
        -e gvsp.blockid64 | awk '
        { kind = substr($1, 4); id = $2; block = $3 } # 0x01: leader, 0x02: trailer
        kind == 1 { ++leaders }
        kind == 2 { ++trailers }
        kind == 1 ? id != 0 : (block != before || id != last + 1) { print "block " block ", packet " id }
        { last = id; before = block }
        END {
            printf "%d packets in sequence, %d leaders, %d trailers\n", NR, leaders, trailers
            if (leaders < 40 || leaders != trailers) { print "leaders and trailers do not match" }
        }' >sequence
    cat sequence
    [ "$(wc -l <sequence)" = 1 ] || fail "packets are not in order"
}

case $client in
tool) tool ;;
test) camera_test ;;
gstreamer) gstreamer ;;
dissector) dissector ;;
*) fail "no client $client" ;;
esac
