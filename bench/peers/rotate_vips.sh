#!/bin/sh
# Rotate by 30 degrees on 6000 x 4000 RGBA: ours (bench/area_bench) and libvips in one run.
#   BUILD=build-area bench/peers/rotate_vips.sh [vips threads]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${BUILD:-$root/build-area}
mkdir -p "$build/peers"
c++ -O3 -std=c++17 -o "$build/peers/rotate_vips" "$here/rotate_vips.cpp" \
  $(pkg-config --cflags --libs vips)
"$build/area_bench" --benchmark_filter=Rotate30 --benchmark_repetitions=3 \
  --benchmark_report_aggregates_only=true
"$build/peers/rotate_vips" "$@"
