# Shared by the smoke scripts, sourced after `ostinel` and `cli` are set:
# an isolated home, a private X server, the program's logs, and waits on
# conditions whose deadlines hold on a busy two-core machine running a
# sanitizer build.

work=$(mktemp -d /tmp/ostinel-smoke-XXXXXX)
xvfb="" app="" applog=""
cleanup() {
  [ -n "$app" ] && kill -9 "$app" 2>/dev/null || true
  [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# Prints every run's log, so a failure says what the program saw.
fail() {
  echo "$(basename "$0"): $*" >&2
  for log in "$work"/run*.log; do
    [ -f "$log" ] || continue
    echo "  --- $(basename "$log")" >&2
    sed 's/^/  app: /' "$log" >&2
  done
  exit 1
}

# until_true SECONDS COMMAND...: polls until COMMAND succeeds or time is up.
until_true() {
  local deadline=$((SECONDS + $1)); shift
  until "$@"; do
    [ $SECONDS -lt $deadline ] || return 1
    sleep 0.2
  done
}

# Nothing of the user's is read or written, and no instance of theirs is reached.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_DATA_HOME=$work/data XDG_CACHE_HOME=$work/cache
export XDG_RUNTIME_DIR=$work/run TMPDIR=$work/tmp
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" "$TMPDIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS XDG_SESSION_ID WAYLAND_DISPLAY

# Xvfb picks a free display and names it on the descriptor.
Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
xvfb=$!
until_true 120 test -s "$work/display" || fail "Xvfb did not start: $(cat "$work/xvfb.log")"
export DISPLAY=:$(head -n1 "$work/display")
export QT_QPA_PLATFORM=xcb OSTINEL_AUDIO_BACKEND=offline OSTINEL_MIDI_BACKEND=loopback QT_LOGGING_RULES="com.ostinel.*.info=true"

runs=0
# start_app ARGS...: a new run of the program, logging to run<N>.log.
start_app() {
  runs=$((runs + 1))
  applog=$work/run$runs.log
  "$ostinel" "$@" >"$applog" 2>&1 &
  app=$!
}
logged() { grep -q "$1" "$applog"; }
# wait_logged TEXT [SECONDS]: waits for a line of the log, failing at once
# if the program has ended.
wait_logged() {
  local seconds=${2:-300}
  local deadline=$((SECONDS + seconds))
  until logged "$1"; do
    kill -0 "$app" 2>/dev/null || fail "ended before \"$1\""
    [ $SECONDS -lt $deadline ] || fail "no \"$1\" after ${seconds}s"
    sleep 0.2
  done
}
# The visible window whose title matches the pattern.
find_window() { timeout 120 xdotool search --sync --onlyvisible --name "$1" | head -n1; }
# The visible window titled exactly TITLE; for a message box, which has no
# name that a search by name sees.
find_titled() {
  local deadline=$((SECONDS + 120)) w
  while [ $SECONDS -lt $deadline ]; do
    for w in $(xdotool search --onlyvisible --name '.*' 2>/dev/null); do
      [ "$(xdotool getwindowname "$w" 2>/dev/null)" = "$1" ] && echo "$w" && return 0
    done
    sleep 0.2
  done
  return 1
}
wait_ended() {
  until_true 120 bash -c "! kill -0 $app 2>/dev/null" || fail "did not end"
}
