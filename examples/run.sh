#!/usr/bin/env bash
# The main job on a made-up product: two releases of it as folders, an index of each, the patch set
# that leads from one to the other, and an installed copy of the old release whose index the set
# brings up to date. Needs the release build (scripts/setup.sh), or the folder of another one's
# program as its argument; works on copies in build/example, which it makes anew.
set -euo pipefail
cd "$(dirname "$0")/.."
bin=${1:-$PWD/build/release/apps/quarle}
if [ ! -x "$bin/quarle" ]; then
  echo "run.sh: the release build is missing; run scripts/setup.sh first" >&2
  exit 1
fi
PATH=$bin:$PATH
rm -rf build/example
mkdir -p build/example
cp -r examples/release-1 examples/release-2 build/example
cd build/example

say() { printf '\n== %s\n' "$1"; }
run() { printf '$ %s\n' "$*"; "$@"; }
# What the configs made of each record, in the order of the index.
fields() {
  quarle index show --json "$1" | sed -n 's/^\({"id":.*\),"editPath":.*\(,"build":[^,]*\),.*/\1\2}/p'
}
# The product's own records, one a line, without what belongs to the one index: state flags and the
# time of its scan.
records() {
  quarle index show --json "$1" | grep '^{"id":.*"builtIn"' |
    sed 's/"flags":\[[^]]*\],//;s/"modifyTime":[0-9]*,//;s/}\(,\|\],.*\)$/}/' | sort
}

say "Two releases of a product: folders with a config each, of every age"
# What version control does not keep, and a scan has to cope with.
for release in release-1 release-2; do
  scenery=$release/world/base/scenery
  mkdir -p $scenery/empty $scenery/unreadable_config/config.txt $scenery/oversized_config
  head -c 17000000 /dev/zero | tr '\0' ' ' > $scenery/oversized_config/config.txt
  ln -s gasworks $scenery/linked_gasworks
  echo "$release: $(find $release -iname 'config.*' | wc -l) configs"
done
run cat release-1/world/base/scenery/quarry/config.txt

say "The indexes of both; what lies in world and trains is the product's own"
run quarle index build --built-in release-1
run quarle index build --built-in release-2
cp -r release-1 installed
for release in release-1 release-2; do
  fields $release/assets.mkx > $release.found
  if ! diff -u ../../examples/$release.expected $release.found; then
    echo "run.sh: the index of $release is not what its folders say" >&2
    exit 1
  fi
done
echo "Every record is as examples/release-{1,2}.expected have it."

say "The patch set that leads from the first to the second: records, and no files of assets"
run quarle diff release-1 release-2 patch
run quarle set check patch
run quarle set show patch

say "What it would do to an installed copy of the first release, and then the doing"
run quarle patch --dry-run installed patch
run quarle patch installed patch
run quarle index check --quiet installed/assets.mkx

say "The installed index against that of the second release"
records release-2/assets.mkx > wanted
records installed/assets.mkx > found
missing=$(comm -23 wanted found | wc -l)
extra=$(comm -13 wanted found | grep -o '"id":"[^"]*"' | cut -d'"' -f4)
last=$(quarle set show patch | sed -n 's/^ *\(<[^>]*>\)  (no effect.*/\1/p')
echo "records of release 2:                       $(wc -l < wanted)"
echo "missing in the installed index, or unlike:  $missing"
echo "only in the installed index:                $extra"
echo "last deletion of the set:                   $last (a set's last deletion is without effect)"
if [ ! -s wanted ] || [ "$missing" != 0 ] || [ "$extra" != "$last" ]; then
  echo "run.sh: the patched index is not what it should be" >&2
  exit 1
fi
echo "The installed index lists all that release 2 has."
