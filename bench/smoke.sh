#!/usr/bin/env bash
# Generated releases load, come out the same for a seed, and lead from one to the other through
# the plug-in: after the patch, the old index holds as many records as the new one, and one more
# (the last deletion of a set is without effect). Of generated folders each becomes a record.
set -euo pipefail
make=$1 sql=$2 host=$3 plugin=$4 folders=$5 quarle=$6 walk=$7
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"

"$make" --records 500 --seed 7 old new
"$make" --records 500 --seed 7 again_old again_new
cmp old/assets.mkx again_old/assets.mkx
cmp new/assets.mkx again_new/assets.mkx

records() { "$sql" "$1" t | grep -c '^INSERT'; }
[ "$(records old/assets.mkx)" = 500 ]
[ "$(records new/assets.mkx)" = 500 ]

mkdir -p set/data
"$host" "$plugin" diff assets.mkx old/ new/ set/
[ -s set/data/assets.mkx.MUKAdd ] && [ -s set/data/assets.mkx.MUKDel ]
"$host" "$plugin" patch assets.mkx old set/
[ "$(records old/assets.mkx)" = 501 ]

"$folders" --folders 300 product
"$quarle" index build --json product | grep -q '"records":300,"skipped":0,'
"$walk" product | grep -q ', 300 configs'
