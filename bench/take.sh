#!/usr/bin/env bash
# Speed of a take through the plug-in beside that of the ffmpeg program on the same clips, in one run.
# usage: bench/take.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."
bin=$(realpath "${1:-build/release}")/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$bin/make_card" -q --seconds 20 "$work/card"
clips=("$work"/card/BPAV/CLPR/632_0001_0[123]/*.MP4)
description=$work/card/BPAV/CLPR/632_0001_01/632_0001_01.SMI

milliseconds() {
  local begin=$(($(date +%s%N) / 1000000))
  "$@" >/dev/null
  echo $(($(date +%s%N) / 1000000 - begin))
}
decode_clips() {
  for clip in "${clips[@]}"; do ffmpeg -v error -nostdin -threads 1 -i "$clip" -map 0:v:0 -f null -; done
}
read_take() { "$bin/kyhost" --quiet --threads 1 bench --seeks 0 "$description"; }

"$bin/kyhost" --quiet --threads 1 bench --seeks 200 "$description"
plugin=$(milliseconds read_take)
program=$(milliseconds decode_clips)
awk -v a="$plugin" -v b="$program" \
  'BEGIN { printf "whole take, 1 thread: plug-in %.2f s, ffmpeg program %.2f s, ratio %.2f\n", a / 1000, b / 1000, a / b }'
