#!/usr/bin/env bash
# run.sh BUILD_DIR SECONDS: each fuzz target for SECONDS on its seeds, after
# replaying every regression case. Exits non-zero on the first crash.
set -euo pipefail
build=$1 seconds=$2
here=$(cd "$(dirname "$0")" && pwd)
for target in "$build"/fuzz/fuzz_*; do
  [ -f "$target" ] && [ -x "$target" ] || continue
  name=${target##*/fuzz_}
  regressions="$here/regressions/$name"
  if compgen -G "$regressions/*" >/dev/null; then "$target" "$regressions"/*; fi
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  cp -r "$here/corpus/$name/." "$work/"
  echo "== fuzz_$name for ${seconds}s"
  "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 -print_final_stats=1 \
    -artifact_prefix="$build/fuzz/$name-" "$work" 2>&1 | tail -n 40
  rm -rf "$work"
  trap - EXIT
done
