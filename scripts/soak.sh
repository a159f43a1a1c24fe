#!/usr/bin/env bash
# For a time (seconds, default 600) four processes edit, commit, revert, clone, install and delete
# assets of one product, while a fifth kills one of them now and then. Afterwards the database must
# load and say the same as the folders, and every asset must be whole and no older than its last
# commit. Needs the release build; works in build/soak, which it makes anew.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
quarle=$PWD/build/release/apps/quarle/quarle
place=$PWD/build/soak
root=$place/product
workers=4
each=5  # assets that a worker has to itself

rm -rf "$place"
mkdir -p "$root/local" "$root/Settings" "$place/source"
printf 'base-plid <plid:61044:5000>\n' > "$root/Settings/plid.txt"
fill() {  # FOLDER ID STAMP
  mkdir -p "$1"
  printf 'plid <plid:%s>\nusername "Soak %s"\nkind "scenery"\n' "$2" "$2" > "$1/config.txt"
  for file in one two three; do printf '%s\n' "$3" > "$1/$file.txt"; done
}
for ((w = 0; w < workers; ++w)); do
  for ((n = 0; n < each; ++n)); do fill "$root/local/asset_${w}_$n" "61044:$((100 * w + n))" 0; done
  fill "$place/source/$w" "61044:$((9000 + w))" 0
done
"$quarle" asset list --root "$root" > /dev/null

asset() { "$quarle" asset "$@" --root "$root" 2>> "$place/errors"; }

# A worker of its own shell. Whatever it runs may be killed at any instant.
work() {
  set +e
  local w=$1 end=$2 stamp=0 id folder clone
  while ((SECONDS < end)); do
    id=61044:$((100 * w + RANDOM % each))
    case $((RANDOM % 8)) in
      0 | 1 | 2 | 3)
        folder=$(asset edit "$id") && [ -d "$folder" ] || continue
        stamp=$((stamp + 1))
        for file in one two three; do printf '%s\n' "$stamp" > "$folder/$file.txt"; done
        if asset commit "$id" > /dev/null; then echo "$id $stamp" >> "$place/committed"; fi ;;
      4) asset edit "$id" > /dev/null && asset revert "$id" > /dev/null || true ;;
      5)
        # One that fails names the asset itself, which must not be deleted.
        if clone=$(asset clone "$id" --json | sed -n 's/.*"id":"<plid2\{0,1\}:\([-0-9:]*\)>","state".*/\1/p'); then
          asset delete "$clone" --forget > /dev/null
        fi ;;
      6)
        asset install "$place/source/$w" --overwrite > /dev/null || true
        asset delete "61044:$((9000 + w))" > /dev/null || true ;;
      7) asset list --missing > /dev/null || true ;;
    esac
  done
}
kills=0
started=$SECONDS
for ((w = 0; w < workers; ++w)); do work "$w" $((SECONDS + seconds)) 2> /dev/null & done
while ((SECONDS < started + seconds)); do
  sleep "0.0$((RANDOM % 9 + 1))"
  mapfile -t running < <(pgrep -f "^$quarle asset .*--root $root" || true)
  if [ ${#running[@]} -gt 0 ]; then
    kill -KILL "${running[RANDOM % ${#running[@]}]}" 2> /dev/null && kills=$((kills + 1))
  fi
done
wait

fail() { echo "soak.sh: $*" >&2; exit 1; }
asset list > "$place/list" || fail "the database does not start: $(tail -n 1 "$place/errors")"
places() {  # what an index says: identifier, working folder, installed folder
  "$quarle" index show --json "$1" |
    sed -n 's/^{"id":"\([^"]*\)".*"editPath":"\([^"]*\)","installPath":"\([^"]*\)".*/\1|\2|\3/p' |
    grep -v '||$' | sort
}
"$quarle" index build --quiet --out "$place/fresh.mkx" "$root"
diff <(places "$root/assets.mkx") <(places "$place/fresh.mkx") || fail "database and folders differ"
commits=0
for ((w = 0; w < workers; ++w)); do
  for ((n = 0; n < each; ++n)); do
    id=61044:$((100 * w + n))
    installed=$(places "$root/assets.mkx" | sed -n "s/^<plid:$id>|[^|]*|//p")
    [ -n "$installed" ] || fail "asset $id is not installed any more"
    stamps=$(cat "$root/local/$installed"/{one,two,three}.txt | sort -u)
    [ "$(wc -l <<< "$stamps")" = 1 ] || fail "asset $id is half of one commit and half of another"
    last=$(grep "^$id " "$place/committed" | tail -n 1 | cut -d' ' -f2 || true)
    ((stamps >= ${last:-0})) || fail "asset $id lost commit $last: it holds $stamps"
  done
done
commits=$(wc -l < "$place/committed")
echo "soaked for $seconds s: $commits commits, $kills processes killed, nothing lost"
