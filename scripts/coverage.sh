#!/usr/bin/env bash
# Which code no test runs: builds with clang's coverage, runs every test, and writes the lines of
# each file that nothing reached to build/coverage/unrun.txt, and the sums by folder to the screen.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh
install_packages "${BUILD_PACKAGES[@]}" clang llvm-14 libclang-rt-14-dev

step "Build"
build=build/coverage
flags="-fprofile-instr-generate -fcoverage-mapping"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQUARLE_BUILD_BENCH=OFF \
  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS_DEBUG=-O1 \
  -DCMAKE_CXX_FLAGS="$flags -Xclang -mllvm -Xclang -runtime-counter-relocation" >/dev/null
cmake --build "$build"

step "Tests"
rm -rf "$build/profiles"
# %c keeps the counters in the file itself: what forked and killed children ran counts too.
export LLVM_PROFILE_FILE=$PWD/$build/profiles/%m%c.profraw
[ -w /dev/shm ] && export TMPDIR=/dev/shm
ctest --test-dir "$build" -j "$(nproc)" --output-on-failure | tail -n 5

step "Map"
llvm-profdata-14 merge -o "$build/all.profdata" "$build"/profiles/*.profraw
objects=("$build/plugin/gne_d.so" "$build/apps/quarle/quarle")
for program in "$build"/tests/*/test_*; do
  [ -f "$program" ] && [ -x "$program" ] && objects+=("$program")
done
llvm-cov-14 export -format=lcov -instr-profile="$build/all.profdata" \
  -ignore-filename-regex='/(tests|usr)/' "${objects[0]}" "${objects[@]/#/-object=}" |
  awk -v root="$PWD/" -v unrun="$build/unrun.txt" -F '[:,]' '
    $1 == "SF" { file = substr($0, 4); sub(root, "", file); sub(".*/[.][.]/[.][.]/", "", file); lines = ""; from = 0 }
    $1 == "DA" {
      folder = file; sub("/[^/]*$", "", folder)
      all[folder]++
      if ($3 != 0) { run[folder]++; next }
      if (from != 0 && $2 == last + 1) { last = $2; next }
      if (from != 0) lines = lines " " from (last > from ? "-" last : "")
      from = last = $2
    }
    $1 == "end_of_record" {
      if (from != 0) print file ":" lines " " from (last > from ? "-" last : "") > unrun
    }
    END { for (f in all) printf "%-20s %6d of %6d lines, %.1f %%\n", f, run[f], all[f], 100 * run[f] / all[f] }' |
  sort
