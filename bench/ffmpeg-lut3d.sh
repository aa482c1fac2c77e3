#!/usr/bin/env bash
# Times FFmpeg's lut3d filter (65 points, tetrahedral, 32-bit float planar RGB)
# on one frame repeated, beside our render action and its floor measured in
# the same run, so the ratios compare on a shared, noisy machine.
# Usage: bench/ffmpeg-lut3d.sh [BUILD_DIR] [WxH] [FRAMES]   (default build 3840x2160 60)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
size=${2:-3840x2160}
frames=${3:-60}
if ! command -v ffmpeg >/dev/null; then
  echo "ffmpeg-lut3d: ffmpeg is not installed (apt-get install ffmpeg); nothing to compare" >&2
  exit 0
fi
[ -x "$build/varno_bench" ] || { echo "ffmpeg-lut3d: no $build/varno_bench; build first" >&2; exit 1; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# A smooth 65-point grade; its values do not change the filter's cost.
awk 'BEGIN { n = 65; print "LUT_3D_SIZE " n;
  for (b = 0; b < n; b++) for (g = 0; g < n; g++) for (r = 0; r < n; r++)
    printf "%.6f %.6f %.6f\n", (r/(n-1))^0.8, (g/(n-1))^0.9, (b/(n-1))^1.1 }' > "$tmp/grade.cube"
ffmpeg -v error -f lavfi -i "testsrc2=size=$size" -frames:v 1 -pix_fmt gbrpf32le -f rawvideo "$tmp/frame.raw"

per_frame() {  # ms per frame of one ffmpeg run over the repeated frame
  ffmpeg -hide_banner -nostats -benchmark -f rawvideo -pix_fmt gbrpf32le -s "$size" \
    -stream_loop $((frames - 1)) -i "$tmp/frame.raw" "$@" -f null - 2>&1 |
    sed -n 's/.*rtime=\([0-9.]*\)s.*/\1/p' | awk -v f="$frames" '{ printf "%.1f", $1 * 1000 / f }'
}
w=${size%x*}; h=${size#*x}
floor() {
  "$build/varno_bench" --benchmark_filter="BM_Pavimento/w:$w/h:$h/" --benchmark_repetitions=3 \
    --benchmark_report_aggregates_only=true 2>/dev/null | awk '/_median/ { print $2 }'
}
grade() {
  "$build/varno_bench" --benchmark_filter="BM_Azione/w:$w/h:$h/effetti:0/" --benchmark_repetitions=3 \
    --benchmark_report_aggregates_only=true 2>/dev/null | awk '/_median/ { print $2 }'
}
f1=$(floor)
copy=$(per_frame)
lut=$(per_frame -vf "lut3d=file=$tmp/grade.cube:interp=tetrahedral")
g=$(grade)
f2=$(floor)
f=$(awk -v a="$f1" -v b="$f2" 'BEGIN { printf "%.2f", (a + b) / 2 }')
echo "frame $size, $frames frames, $(nproc) threads"
echo "floor (read and write the RGBA float frame on every thread): $f ms ($f1, $f2)"
echo "ffmpeg, reading the frame and passing it on:   $copy ms"
echo "ffmpeg lut3d 65 points tetrahedral:            $lut ms, of which the filter $(awk -v a="$lut" -v c="$copy" 'BEGIN { printf "%.1f", a - c }') ms ($(awk -v a="$lut" -v c="$copy" -v b="$f" 'BEGIN { printf "%.1f", (a - c) / b }')x the floor)"
echo "Varno Color render action, grade only:         $g ms  ($(awk -v a="$g" -v b="$f" 'BEGIN { printf "%.1f", a / b }')x the floor)"
