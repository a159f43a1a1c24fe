#!/usr/bin/env bash
# Format, sanitizer suites, a short fuzz run and lint. FUZZ_SECONDS sets the time a target gets,
# CHECK_THREADS=0 leaves the thread sanitizer out, LINT names the folders that are linted.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh
install_packages "${BUILD_PACKAGES[@]}" clang libclang-rt-14-dev clang-format clang-tidy help2man pkg-config

step "Format and includes"
scripts/includes.sh
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror

# The sanitizer suites need no disk that flushes.
[ -w /dev/shm ] && export TMPDIR=/dev/shm

step "Suite under address and undefined behaviour sanitizers"
build asan
ctest --preset asan -j "$(nproc)"

if [ "${CHECK_THREADS:=1}" = 1 ]; then
  step "What runs on threads, under the thread sanitizer"
  threaded=(kernel standard tagdata environment database)
  build tsan --target "${threaded[@]/#/test_}"
  for folder in "${threaded[@]}"; do "build/tsan/tests/$folder/test_$folder" --gtest_brief=1; done
fi

step "Fuzz targets, ${FUZZ_SECONDS:=5} seconds each"
scripts/fuzz.sh "$FUZZ_SECONDS"

step "What is installed"
build release
scripts/install_check.sh

step "Lint"
read -ra linted <<< "${LINT:=kernel tagdata environment database plugin apps}"
git ls-files "${linted[@]}" | grep '\.cpp$' |
  xargs -n 4 -P "$(nproc)" clang-tidy --quiet -p build/release

step "All checks passed"
