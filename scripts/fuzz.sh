#!/usr/bin/env bash
# Runs every fuzz target for a time (seconds, default 60) from its seed corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
build/fuzz/fuzz/make_seeds build/fuzz/corpus
for target in build/fuzz/fuzz/Fuzz*; do
  [ -x "$target" ] && [ -f "$target" ] || continue
  name=$(basename "$target")
  mkdir -p "build/fuzz/corpus/$name"
  echo "-- $name"
  "$target" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -print_final_stats=0 \
    -verbosity=0 -artifact_prefix="build/fuzz/" "build/fuzz/corpus/$name"
done
