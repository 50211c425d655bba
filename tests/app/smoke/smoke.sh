#!/usr/bin/env bash
# The real program under Xvfb: opens a fresh demo show, plays on a real X key
# press, shows a non-blank window, and quits cleanly from a clean show.
# usage: smoke.sh OSTINEL OSTINEL_CLI SCREENGRAB OUTDIR
set -euo pipefail
ostinel=$1 cli=$2 grab=$3 out=$4

work=$(mktemp -d /tmp/ostinel-smoke-XXXXXX)
xvfb="" app=""
cleanup() {
  [ -n "$app" ] && kill "$app" 2>/dev/null || true
  [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "smoke: $*" >&2
  [ -f "$work/app.log" ] && sed 's/^/  app: /' "$work/app.log" >&2
  exit 1
}
# Waits up to $1 seconds for the command after it to succeed.
until_true() {
  local deadline=$((SECONDS + $1)); shift
  until "$@"; do
    [ $SECONDS -lt $deadline ] || return 1
    sleep 0.1
  done
}

# Nothing of the user's is read or written.
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data XDG_CACHE_HOME=$work/cache
export XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS

"$cli" demo "$work/Demo" >/dev/null || fail "could not make the demo show"

# Xvfb picks a free display and names it on the descriptor.
Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
xvfb=$!
until_true 10 test -s "$work/display" || fail "Xvfb did not start: $(cat "$work/xvfb.log")"
export DISPLAY=:$(head -n1 "$work/display")

export QT_QPA_PLATFORM=xcb OSTINEL_AUDIO_BACKEND=offline QT_LOGGING_RULES="com.ostinel.*.info=true"
"$ostinel" "$work/Demo/Demo.ot" >"$work/app.log" 2>&1 &
app=$!

window=$(timeout 20 xdotool search --sync --onlyvisible --name '^Ostinel — Demo\.ot' | head -n1) ||
  fail "no window"
# No window manager here: give the window the keyboard ourselves.
xdotool windowfocus --sync "$window"
grep -q "Playing" "$work/app.log" && fail "playing before any key"
xdotool key --clearmodifiers space
until_true 10 grep -q "Playing" "$work/app.log" || fail "Space did not start playback"
# Let the clocks and meters run for a moment before the picture.
sleep 0.5

mkdir -p "$out"
"$grab" "$out/ostinel-smoke.png" || fail "the screen is blank"
cp "$out/ostinel-smoke.png" /tmp/ostinel-smoke.png

# A clean show quits without asking.
xdotool key --clearmodifiers ctrl+q
until_true 15 bash -c "! kill -0 $app 2>/dev/null" || fail "did not quit"
wait "$app" || fail "exited with status $?"
app=""
echo "smoke: ok"
