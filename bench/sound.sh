#!/usr/bin/env bash
# Reading of linear PCM of DVD-Video from end to end: four times the length is to take four times the time.
# usage: bench/sound.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."
bin=$(realpath "${1:-build/release}")/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

make_film() {
  ffmpeg -nostdin -v error -f lavfi -i "testsrc2=s=64x64:r=25:d=$1" -f lavfi -i "sine=r=48000:d=$1" \
    -c:v mpeg2video -c:a pcm_dvd -ac 2 -f vob "$work/$1.vob"
}
# Milliseconds of processor time, the shortest of three.
reading_time() {
  local best=0 took run
  for run in 1 2 3; do
    took=$( (TIMEFORMAT='%U %S'; time "$bin/kyhost" --quiet audio "$1" -o - >/dev/null) 2>&1 |
      awk 'END { printf "%d", ($1 + $2) * 1000 }')
    if ((run == 1 || took < best)); then best=$took; fi
  done
  echo "$best"
}

for seconds in 300 1200; do make_film $seconds; done
short=$(reading_time "$work/300.vob")
long=$(reading_time "$work/1200.vob")
awk -v a="$short" -v b="$long" \
  'BEGIN { printf "DVD LPCM: 300 s read in %.2f s, 1200 s in %.2f s, ratio %.2f\n", a / 1000, b / 1000, b / a }'
