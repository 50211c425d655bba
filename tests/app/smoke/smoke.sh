#!/usr/bin/env bash
# The real program under Xvfb: opens a fresh demo show, plays on a real X key
# press, shows a non-blank window, and quits cleanly from a clean show.
# usage: smoke.sh OSTINEL OSTINEL_CLI SCREENGRAB OUTDIR
set -euo pipefail
ostinel=$1 cli=$2 grab=$3 out=$4
. "$(dirname "$0")/lib.sh"

"$cli" demo "$work/Demo" >/dev/null || fail "could not make the demo show"

start_app "$work/Demo/Demo.ot"
wait_logged "Ready:"
window=$(find_window '^Ostinel — Demo\.ot') || fail "no window"
# No window manager here: give the window the keyboard ourselves.
xdotool windowfocus --sync "$window"
logged "Playing" && fail "playing before any key"
xdotool key --clearmodifiers space
wait_logged "Playing" 120
# Let the clocks and meters run for a moment before the picture.
sleep 0.5

mkdir -p "$out"
"$grab" "$out/ostinel-smoke.png" || fail "the screen is blank"
cp "$out/ostinel-smoke.png" /tmp/ostinel-smoke.png

# A clean show quits without asking.
xdotool key --clearmodifiers ctrl+q
wait_ended
wait "$app" || fail "exited with status $?"
app=""
echo "smoke: ok"
