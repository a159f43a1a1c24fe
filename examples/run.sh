#!/usr/bin/env bash
# The main job on a made-up product: two releases of its asset index, the patch set that leads
# from one to the other, and an installed copy of the old release that the set brings up to date.
# Needs the release build (scripts/setup.sh); works in build/example, which it makes anew.
set -euo pipefail
cd "$(dirname "$0")/.."
bin=$PWD/build/release
if [ ! -x "$bin/apps/quarle/quarle" ] || [ ! -x "$bin/bench/quarle_makeindex" ]; then
  echo "run.sh: the release build is missing; run scripts/setup.sh first" >&2
  exit 1
fi
PATH=$bin/apps/quarle:$bin/bench:$PATH
rm -rf build/example
mkdir -p build/example
cd build/example

say() { printf '\n== %s\n' "$1"; }
run() { printf '$ %s\n' "$*"; "$@"; }
# Identifiers of all records, one a line.
identifiers() { quarle index show "$1" | sed '/^Obsolete/,$d' | grep -o '<plid2\?:[^>]*>' | sort; }

say "Two releases of a product with 10,000 assets, every tenth replaced"
run quarle_makeindex --records 10000 --churn 10 --seed 1 release-1 release-2
cp -r release-1 installed

say "The patch set that leads from the first to the second"
run quarle diff release-1 release-2 patch
run quarle set check patch
ls -l patch/data

say "What it would do to an installed copy of the first release, and then the doing"
run quarle patch --dry-run installed patch
run quarle patch installed patch
run quarle index check --quiet installed/assets.mkx

say "The installed index against the second release"
identifiers release-2/assets.mkx > wanted
identifiers installed/assets.mkx > found
missing=$(comm -23 wanted found | wc -l)
extra=$(comm -13 wanted found)
last=$(quarle set show patch | sed -n 's/^ *\(<[^>]*>\)  (no effect.*/\1/p')
echo "records of release 2:              $(wc -l < wanted)"
echo "of these missing in the installed: $missing"
echo "only in the installed:             $extra"
echo "last deletion of the set:          $last (a set's last deletion is without effect)"
[ "$missing" = 0 ] && [ "$extra" = "$last" ]
echo "The installed index lists all that release 2 has."
