#!/bin/sh
# Runs the workloads W1-W5 through our plug-in library and through the peers in one run and
# prints the ratios of our times to theirs. Not part of CI.
#
#   bench/peers/run_peers.sh [--install] [workload]
#
# --install fetches the peers from Debian's packages first. Our side is bench/scale_bench from
# build-peers/ (configured here with XQT_BENCH=ON unless BUILD names another build directory).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${BUILD:-$root/build-peers}
out=$build/peers
only=""
for arg in "$@"; do
  case $arg in
    --install)
      apt-get install -y --no-install-recommends libvips-dev python3-pil imagemagick \
        libmagick++-dev libopencv-dev libstb-dev pkg-config >/dev/null ;;
    *) only=$arg ;;
  esac
done

mkdir -p "$out"
if [ ! -x "$build/scale_bench" ]; then
  cmake -S "$root" -B "$build" -G Ninja -DXQT_BENCH=ON -DXQT_TESTS=OFF >/dev/null
  cmake --build "$build" --target scale_bench >/dev/null
fi
cxx="c++ -O3 -std=c++17 -I$here"
$cxx -o "$out/vips_peer" "$here/vips_peer.cpp" $(pkg-config --cflags --libs vips)
$cxx -o "$out/magick_peer" "$here/magick_peer.cpp" $(pkg-config --cflags --libs Magick++)
$cxx -o "$out/opencv_peer" "$here/opencv_peer.cpp" $(pkg-config --cflags --libs opencv4)
$cxx -o "$out/stb_peer" "$here/stb_peer.cpp" -lm
$cxx -o "$out/pillow_paint" "$here/pillow_paint.cpp"

echo "load before: $(uptime)"
filter=${only:-W}
# ImageMagick reads policy.xml from here: Debian's caps its memory at 256 MiB, which would send
# the pixel cache of these images to disk.
export MAGICK_CONFIGURE_PATH=$here
# Rounds of one run each, ours and every peer's in turn, so that a noisy stretch of the machine
# hurts all alike; the report takes the fastest of the rounds.
export PEER_RUNS=1
rounds=${ROUNDS:-9}
: >"$out/peers.txt"
rm -f "$out"/ours.*.json
for round in $(seq 1 "$rounds"); do
  "$build/scale_bench" --benchmark_filter="$filter" --benchmark_repetitions=1 \
    --benchmark_format=json --benchmark_out="$out/ours.$round.json" >/dev/null
  for peer in vips_peer magick_peer opencv_peer stb_peer; do
    "$out/$peer" $only >>"$out/peers.txt" || echo "$peer failed" >&2
  done
  /usr/bin/python3 "$here/pillow_peer.py" "$out/pillow_paint" $only >>"$out/peers.txt"
done
echo "load after: $(uptime)"
python3 "$here/peers_report.py" "$out/peers.txt" "$out"/ours.*.json
