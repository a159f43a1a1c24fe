#!/usr/bin/env bash
# Format, sanitizer suites, a short fuzz run and lint. FUZZ_SECONDS sets the time a target gets.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh
install_packages clang-14 libclang-rt-14-dev clang-format clang-tidy

step "Format"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror

step "Suite under address and undefined behaviour sanitizers"
build asan
ctest --preset asan -j "$(nproc)"

step "Suite under the thread sanitizer"
build tsan
ctest --preset tsan -j "$(nproc)"

step "Fuzz targets, ${FUZZ_SECONDS:=15} seconds each"
build fuzz
scripts/fuzz.sh "$FUZZ_SECONDS"

step "Lint"
git ls-files '*.cpp' ':!fuzz' ':!tests' ':!bench' |
  xargs -n 4 -P "$(nproc)" clang-tidy --quiet -p build/release

step "All checks passed"
