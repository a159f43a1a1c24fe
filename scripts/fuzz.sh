#!/usr/bin/env bash
# Runs every fuzz target for a time (seconds, default 60) from its seed corpus, as many at once as
# there are processors. Names of targets behind the time run only those. What was kept of former
# findings in fuzz/regressions/<target>/ is read too; fuzz/<target>.dict has the words of a text form.
set -euo pipefail
cd "$(dirname "$0")/.."
export seconds=${1:-60}
shift || true
build/asan/fuzz/make_seeds build/asan/corpus

run() {
  local extra=()
  mkdir -p "build/asan/corpus/$1"
  [ -d "fuzz/regressions/$1" ] && extra+=("fuzz/regressions/$1")
  [ -f "fuzz/$1.dict" ] && extra+=("-dict=fuzz/$1.dict")
  if "build/asan/fuzz/$1" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -verbosity=0 \
    -artifact_prefix="build/asan/$1-" "build/asan/corpus/$1" "${extra[@]}" > "build/asan/$1.log" 2>&1; then
    echo "-- $1: nothing found"
  else
    cat "build/asan/$1.log"
    echo "-- $1: FAILED"
    return 1
  fi
}
export -f run

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/Fuzz*.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'run {}'
