#!/usr/bin/env bash
# The real program under Xvfb, edited through real X input, killed in the
# middle of a cue, and started again: the recovery offer is answered by key,
# and the restored show holds every autosaved edit once, saved back to its
# own file.
# usage: crash.sh OSTINEL OSTINEL_CLI
set -euo pipefail
ostinel=$1 cli=$2
. "$(dirname "$0")/lib.sh"

show=$work/Demo/Demo.ot
recovery=$XDG_DATA_HOME/Ostinel/Recovery/autosave.ot
"$cli" demo "$work/Demo" >/dev/null || fail "could not make the demo show"
mkdir -p "$work/Extra" "$XDG_CONFIG_HOME/Ostinel"
cp "$work/Demo/Media/Closing Sting.wav" "$work/Extra/Encore.wav"
# Autosave every second, so the edits reach the recovery file quickly.
printf '[General]\nautosaveInterval=1\n' >"$XDG_CONFIG_HOME/Ostinel/Ostinel.conf"
# A cue's own id is the one at the depth of the track's fields.
track_ids() { grep '^      "id": ' | grep -o '[0-9A-F-]\{36\}'; }
original_ids=$("$cli" show normalize "$show" | track_ids)

# The running order after the edits below.
expected=$work/expected.txt
cat >"$expected" <<'LIST'
Ostinel Demo

  #  Flags  Name           In          Out         Length      Loops  Notes  Triggers  File
  1  ---    House Open     0:00.000    0:36.000    0:36.000        0      0         0  found
  2  -S-    Closing Sting  0:00.000    0:05.000    0:05.000        0      0         0  found
  3  A--    Groove 120     0:00.000    0:19.000    0:19.000        1      1         2  found
  4  ---    Encore         0:00.000    0:05.000    0:05.000        0      0         0  found

Total length (skipped cues not counted): 1:00.000
LIST
lists_as_expected() { "$cli" show list "$1" 2>/dev/null | diff -q - "$expected" >/dev/null; }

# The show list's rows, in window coordinates: names at x=100, the autoplay
# and skip buttons at 313 and 346, row n centred at 117 + 52n.
row() { echo $((117 + 52 * $1)); }
click() { xdotool mousemove --window "$window" "$1" "$2" click 1; }

start_app "$show"
wait_logged "Ready:"
window=$(find_window '^Ostinel — Demo\.ot') || fail "no window"
xdotool windowfocus --sync "$window"

# The first cue is selected: a click on it renames it.
click 100 "$(row 1)"
xdotool key --clearmodifiers ctrl+a
xdotool type --delay 20 "House Open"
xdotool key Return
click 346 "$(row 3)"   # Skip on Closing Sting
click 313 "$(row 2)"   # Autoplay on Groove 120
# Closing Sting dragged above Groove 120.
xdotool mousemove --window "$window" 100 "$(row 3)" mousedown 1
for y in 255 235 215 199; do xdotool mousemove --window "$window" 100 $y; done
xdotool mouseup 1
# A file added by key through File > Add Track(s)…
xdotool key --clearmodifiers ctrl+i
panel=$(find_window '^Choose audio files') || fail "no Add Track(s) panel"
xdotool windowfocus --sync "$panel"
xdotool type --delay 20 "$work/Extra/Encore.wav"
# The first Return may only take the completion offered.
until_true 60 bash -c "! xdotool search --onlyvisible --name '^Choose audio files' >/dev/null || { xdotool key Return; false; }" ||
  fail "the Add Track(s) panel stayed open"
xdotool windowfocus --sync "$window"
for _ in 1 2 3 4 5; do xdotool key Up; done
until_true 120 lists_as_expected "$recovery" ||
  fail "the edits did not reach the recovery file: $("$cli" show list "$recovery" 2>&1)"

xdotool key space
wait_logged "Playing House Open" 120
kill -9 "$app"
wait "$app" 2>/dev/null || true
app=""
lists_as_expected "$recovery" || fail "the recovery file changed"

start_app
box=$(find_titled Ostinel) || fail "no recovery offer"
xdotool windowfocus --sync "$box"
xdotool key Return # the default button: Restore
wait_logged "Ready:"
window=$(find_window '^Ostinel — Demo\.ot') || fail "the restored show is not on its file"
xdotool windowfocus --sync "$window"
xdotool key --clearmodifiers ctrl+s
until_true 120 lists_as_expected "$show" ||
  fail "the saved show is not as edited: $(diff <("$cli" show list "$show" 2>&1) "$expected")"
test ! -e "$recovery" || fail "the recovery file outlived a clean save"
saved_ids=$("$cli" show normalize "$show" | track_ids)
[ "$(sort -u <<<"$saved_ids" | wc -l)" = 4 ] || fail "cues doubled: $saved_ids"
for id in $original_ids; do
  [ "$(grep -c "$id" <<<"$saved_ids")" = 1 ] || fail "cue $id lost or doubled"
done

xdotool key --clearmodifiers ctrl+q
wait_ended
wait "$app" || fail "exited with status $?"
app=""
echo "crash: ok"
