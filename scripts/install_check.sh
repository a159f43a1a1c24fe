#!/usr/bin/env bash
# Installs the release build into a folder of its own, and proves what a user gets: the program
# patches there, and examples/host builds against the package and patches too.
set -euo pipefail
cd "$(dirname "$0")/.."
place=$PWD/build/installed
rm -rf "$place"
cmake --install build/release --prefix "$place/usr" >/dev/null
cmake -S examples/host -B "$place/host" -DCMAKE_PREFIX_PATH="$place/usr" >/dev/null
cmake --build "$place/host" >/dev/null
flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$place" -name quarle.pc)") \
  pkg-config --define-variable=prefix="$place/usr" --cflags --libs quarle)
# shellcheck disable=SC2086 # several flags
g++ -std=c++20 -DPLUGIN='""' examples/host/host.cpp $flags -o "$place/by-pkg-config"

quarle=$place/usr/bin/quarle
for release in 1 2; do
  mkdir "$place/$release"
  "$quarle" index build --quiet --built-in --out "$place/$release/assets.mkx" examples/release-$release
done
"$quarle" diff --quiet "$place/1" "$place/2" "$place/set"
cp -r "$place/1" "$place/3"
"$quarle" patch --quiet "$place/1" "$place/set"
by_program=$("$quarle" index show --json "$place/1/assets.mkx" | grep -c '^{"id":')
by_host=$("$place/host/host" "$place/3" "$place/set")
if [ "$by_program records" != "$by_host" ]; then
  echo "install_check.sh: the host left $by_host, quarle $by_program" >&2
  exit 1
fi
echo "installed: $by_host by either way"
