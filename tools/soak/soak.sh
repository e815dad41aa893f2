#!/bin/sh
# The soak run: the game played fast-forwarded for an hour of game time (216000 frames at 60 a
# second) from scripted input, under a virtual X server. Every 1000 frames the shop is used (a
# scorpion bought and put on a cell, or refunded when every cell is taken) and the loss screen is
# left with a key; the runner's resident memory is sampled every five seconds and printed at the
# start, at tenths of the run and at the end, with the peak and the growth per 10000 frames. The
# run fails when the runner fails, reports an error, or ends with its memory grown by more than
# SOAK_GROWTH_KB over the sample taken once the first run is under way.
#   tools/soak/soak.sh <build dir>
set -eu
BUILD=$(cd "${1:-build}" && pwd)
FRAMES=${SOAK_FRAMES:-216000}
GROWTH_KB=${SOAK_GROWTH_KB:-16384}
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

# The input: a key tap every 250 frames (it starts a run from the title or the loss screen and does
# nothing in the game room), and every 1000 frames a scorpion bought and aimed at one of the twelve
# cells in turn, then a right click that refunds it when the cell was taken.
{
  echo "frame 5: tap space"
  f=250
  cell=0
  while [ "$f" -lt "$FRAMES" ]; do
    echo "frame $f: tap space"
    if [ $((f % 1000)) -eq 0 ]; then
      x=$(( (cell % 3) * 80 + 40 ))
      y=$(( (cell / 3 % 4) * 80 + 80 ))
      echo "frame $((f + 10)): click at 160,20"
      echo "frame $((f + 20)): click at $x,$y"
      echo "frame $((f + 30)): press right at 400,200"
      echo "frame $((f + 31)): release right at 400,200"
      cell=$((cell + 1))
    fi
    f=$((f + 250))
  done
  echo "frames $FRAMES"
} > "$WORK/soak.txt"
"$BUILD/kova-inputscript" "$WORK/soak.txt" "$WORK/soak.rec" > /dev/null

LIBGL_ALWAYS_SOFTWARE=1 xvfb-run -a -s '-screen 0 1280x720x24' \
  "$BUILD/kova-runner" -game "$BUILD/data.win" -noaudio -playback "$WORK/soak.rec" -fastforward \
  -frames "$FRAMES" > "$WORK/out.txt" 2>&1 &
XVFB=$!

# The runner is xvfb-run's child: sample its resident memory until it ends, one "seconds KiB" line
# a sample.
: > "$WORK/rss.txt"
start=$(date +%s)
while kill -0 "$XVFB" 2> /dev/null; do
  sleep 5
  pid=$(pgrep -n -f "kova-runner .*$WORK/soak.rec" || true)
  [ -n "$pid" ] || continue
  rss=$(awk '/^VmRSS:/ { print $2 }' "/proc/$pid/status" 2> /dev/null || true)
  [ -n "$rss" ] || continue
  echo "$(( $(date +%s) - start )) $rss" >> "$WORK/rss.txt"
done
wait "$XVFB" || { echo "soak: the runner failed"; tail -20 "$WORK/out.txt"; exit 1; }
seconds=$(( $(date +%s) - start ))

if grep -q "ERROR" "$WORK/out.txt"; then
  echo "soak: the game raised an error"
  grep -A10 "ERROR" "$WORK/out.txt" | head -30
  exit 1
fi

# The frames run at an even pace fast-forwarded, so a sample's frame is estimated from its time.
# The first two samples are start-up (textures, audio groups, the first rooms): the growth is
# counted from the third, the baseline, to the last.
awk -v frames="$FRAMES" -v seconds="$seconds" -v limit="$GROWTH_KB" '
  { t[NR] = $1; r[NR] = $2; if ($2 > peak) peak = $2 }
  END {
    if (NR < 3 || seconds <= 0) { printf "soak: %d frames in %ds; too few memory samples (%d)\n", frames, seconds, NR; exit 1 }
    printf "soak: %d frames in %ds, %d memory samples\n", frames, seconds, NR
    last = 0
    for (k = 0; k <= 10; ++k) {
      i = 3 + int(k * (NR - 3) / 10 + 0.5)
      if (i != last) printf "soak:   ~frame %6d  %7d KiB\n", frames * t[i] / seconds, r[i]
      last = i
    }
    counted = frames * (t[NR] - t[3]) / seconds
    growth = r[NR] - r[3]
    per10k = counted > 0 ? growth * 10000.0 / counted : 0
    printf "soak: resident memory %d KiB at the start (first sample %d KiB), %d KiB at the end, peak %d KiB; ", r[3], r[1], r[NR], peak
    printf "growth %+d KiB over ~%d frames, %+.1f KiB per 10000 frames\n", growth, counted, per10k
    if (growth > limit) { printf "soak: resident memory grew by %d KiB (limit %d)\n", growth, limit; exit 1 }
  }' "$WORK/rss.txt"
