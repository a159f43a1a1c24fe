#!/usr/bin/env bash
# Measures Diff, Patch, the scan of asset folders, the coders and packages against what else would do
# the job, in one run on a warm page cache, checks the speed goals and writes docs/performance.md with its
# plot.
#
# Every round runs every contender once, one after the other, so that a disturbance of the
# machine meets them all; the median of the rounds counts. Output is deleted and the disk
# brought to rest before each run, outside the time that is taken.
#
# Exit status: 0 all goals met, 1 a goal missed, 2 the measurement could not be made.
# shellcheck disable=SC2317,SC1091  # contenders are called by name
set -euo pipefail
export LC_ALL=C

usage() {
  cat <<'TXT'
usage: bench/compare.sh [options]
  --rounds N     timed rounds, at least 5 (default 7)
  --large        also a pair of 1,000,000 records: cost of a record as the index grows
  --records N    size of the measured pair (default 100000)
  --folders N    asset folders that are scanned (default 20000), 4 or more
  --dir DIR      where data goes (default build/compare); about 2 GB, 7 GB with --large
  --slow         also bsdiff, about half a minute a round
  --no-install   measure against the peers that are there
  --no-build     use build/release as it is
Example: bench/compare.sh --large --rounds 9
TXT
}

rounds=7 records=100000 folders=20000 large=0 slow=0 install=1 build=1 dir=
while [ $# -gt 0 ]; do
  case $1 in
    --rounds) rounds=$2; shift ;;
    --records) records=$2; shift ;;
    --folders) folders=$2; shift ;;
    --dir) dir=$2; shift ;;
    --large) large=1 ;;
    --slow) slow=1 ;;
    --no-install) install=0 ;;
    --no-build) build=0 ;;
    --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
  esac
  shift
done
[ "$rounds" -ge 5 ] || { echo "compare.sh: a median wants 5 rounds or more" >&2; exit 2; }

root=$(cd "$(dirname "$0")/.." && pwd)
dir=${dir:-$root/build/compare}
mkdir -p "$dir"
dir=$(cd "$dir" && pwd)
bin=$root/build/release
command_line="bench/compare.sh --rounds $rounds --records $records"
[ "$folders" = 20000 ] || command_line+=" --folders $folders"
[ $large = 0 ] || command_line+=" --large"
[ $slow = 0 ] || command_line+=" --slow"

say() { printf '== %s\n' "$*" >&2; }
have() { command -v "$1" >/dev/null; }

peers="sqlite3 zstd xdelta3 sha256sum lz4 gzip zip unzip"
[ $slow = 0 ] || peers+=" bsdiff bspatch"
if [ $install = 1 ]; then
  missing=
  for peer in $peers; do have "$peer" || missing+=" ${peer/bspatch/bsdiff}"; done
  if [ -n "$missing" ] && [ "$(id -u)" = 0 ] && have apt-get; then
    say "installing$missing"
    # shellcheck disable=SC2086
    apt-get install -y -q $missing >&2 || say "cannot install; going on without"
  fi
fi

if [ $build = 1 ]; then
  say "building"
  (cd "$root" && cmake --preset release && cmake --build --preset release \
    --target gne_d plugin_host quarle_makeindex quarle_index_sql \
    quarle quarle_makefolders quarle_makecorpus walk_folders) >&2 || exit 2
fi
quarle=$bin/apps/quarle/quarle host=$bin/bench/plugin_host plugin=$bin/plugin/gne_d.so

# make_pair NAME RECORDS: the two indexes under $dir/NAME, unless they stand there already.
make_pair() {
  if [ "$(cat "$dir/$1/records" 2>/dev/null)" != "$2" ] || [ "$bin/bench/quarle_makeindex" -nt "$dir/$1/records" ]; then
    say "making two indexes of $2 records"
    rm -rf "${dir:?}/$1"
    mkdir -p "$dir/$1/set/data" "$dir/$1/work"
    "$bin/bench/quarle_makeindex" --records "$2" "$dir/$1/old" "$dir/$1/new" >&2
    echo "$2" >"$dir/$1/records"
  fi
}

# make_folders NAME FOLDERS: a product under $dir/NAME/root, unless it stands there already.
make_folders() {
  if [ "$(cat "$dir/$1/folders" 2>/dev/null)" != "$2" ] || [ "$bin/bench/quarle_makefolders" -nt "$dir/$1/folders" ]; then
    say "making $2 asset folders"
    rm -rf "${dir:?}/$1"
    mkdir -p "$dir/$1/work"
    "$bin/bench/quarle_makefolders" --folders "$2" "$dir/$1/root" >&2
    echo "$2" >"$dir/$1/folders"
  fi
}

# make_corpus NAME MEGABYTES: what coders are measured on, unless it stands there already.
make_corpus() {
  [ "$dir/$1/corpus" -nt "$bin/bench/quarle_makecorpus" ] && return
  say "making a corpus of $2 MB"
  mkdir -p "$dir/$1/work"
  "$bin/bench/quarle_makecorpus" --megabytes "$2" "$dir/$1/corpus" >&2
}

# make_asset NAME: the folder of an asset of 500 files and 200 MB, unless it stands there already.
make_asset() {
  [ "$dir/$1/asset/config.txt" -nt "$bin/bench/quarle_makecorpus" ] && return
  say "making an asset of 500 files and 200 MB"
  rm -rf "${dir:?}/$1"
  mkdir -p "$dir/$1/work" "$dir/$1/asset/data"
  "$bin/bench/quarle_makecorpus" --megabytes 200 "$dir/$1/corpus" >&2
  split -n 500 -a 3 -d --additional-suffix=.dat "$dir/$1/corpus" "$dir/$1/asset/data/"
  rm "$dir/$1/corpus"
  echo 'plid <plid2:1:1:1>' >"$dir/$1/asset/config.txt"
}

# use_pair NAME: what the contenders below work on.
use_pair() {
  here=$dir/$1
  old=$here/old/assets.mkx new=$here/new/assets.mkx out=$here/work
}

# A contender is up to three functions: before_X (not timed), run_X, and made_X, the size of what
# it made.
before_diff() { rm -f "$here"/set/data/*; }
run_diff() { "$host" "$plugin" diff assets.mkx "$here/old/" "$here/new/" "$here/set/"; }
made_diff() { cat "$here"/set/data/* | wc -c; }
before_patch() { cp "$old" "$out/assets.mkx"; }
run_patch() { "$host" "$plugin" patch assets.mkx "$out" "$here/set/"; }
before_scan() { rm -f "$out/assets.mkx"; }
run_scan() { "$quarle" index build --json --out "$out/assets.mkx" "$here/root"; }
made_scan() { stat -c %s "$out/assets.mkx"; }
run_walk() { "$bin/bench/walk_folders" "$here/root"; }
run_cat() { cat "$old" "$new" >/dev/null; }
run_sha256sum() { sha256sum "$old" "$new"; }
before_sqlite() { rm -f "$out/answer.db"; }
run_sqlite() { sqlite3 -batch "$here/tables.db" ".read $here/query.sql"; }
made_sqlite() { stat -c %s "$out/answer.db"; }
before_zstd() { rm -f "$out/zstd"; }
run_zstd() { zstd -q -1 --patch-from="$old" "$new" -o "$out/zstd"; }
made_zstd() { stat -c %s "$out/zstd"; }
before_unzstd() { rm -f "$out/new"; }
run_unzstd() { zstd -q -d --patch-from="$old" "$out/zstd" -o "$out/new"; }
before_xdelta3() { rm -f "$out/xdelta3"; }
run_xdelta3() { xdelta3 -e -s "$old" "$new" "$out/xdelta3"; }
made_xdelta3() { stat -c %s "$out/xdelta3"; }
before_unxdelta3() { rm -f "$out/new"; }
run_unxdelta3() { xdelta3 -d -s "$old" "$out/xdelta3" "$out/new"; }
before_bsdiff() { rm -f "$out/bsdiff"; }
run_bsdiff() { bsdiff "$old" "$new" "$out/bsdiff"; }
made_bsdiff() { stat -c %s "$out/bsdiff"; }
before_bspatch() { rm -f "$out/new"; }
run_bspatch() { bspatch "$old" "$out/new" "$out/bsdiff"; }

before_kpx() { rm -f "$out/a.kpx"; }
run_kpx() { "$quarle" package create -q "$out/a.kpx" "$here/asset"; }
made_kpx() { stat -c %s "$out/a.kpx"; }
before_unkpx() { rm -rf "$out/kpx"; }
run_unkpx() { "$quarle" package extract -q "$out/a.kpx" "$out/kpx"; }
before_zip() { rm -f "$out/a.zip"; }
run_zip() { (cd "$here" && zip -6 -r -q "$out/a.zip" asset); }
made_zip() { stat -c %s "$out/a.zip"; }
before_unzip() { rm -rf "$out/zip"; }
run_unzip() { unzip -q "$out/a.zip" -d "$out/zip"; }

# The coders: from $here/corpus to one file each, and from that back to $out/content.
coders="lzss1 lzss6 lzss9 cfil"
pack() {
  case $1 in
    lzss*) "$quarle" lzss pack -q "-${1#lzss}" "$here/corpus" "$out/$1" ;;
    cfil) "$quarle" file pack -q "$here/corpus" "$out/$1" ;;
    gzip) gzip -6 -c "$here/corpus" >"$out/$1" ;;
    lz4) lz4 -q -1 "$here/corpus" "$out/$1" ;;
  esac
}
unpack() {
  case $1 in
    lzss*) "$quarle" lzss unpack -q "$out/$1" "$out/content" ;;
    cfil) "$quarle" file unpack -q "$out/$1" "$out/content" ;;
    gzip) gzip -d -c "$out/$1" >"$out/content" ;;
    lz4) lz4 -q -d "$out/$1" "$out/content" ;;
  esac
}
for coder in $coders gzip lz4; do
  eval "before_$coder() { rm -f \"\$out/$coder\"; }
    run_$coder() { pack $coder; }
    made_$coder() { stat -c %s \"\$out/$coder\"; }
    before_un$coder() { rm -f \"\$out/content\"; }
    run_un$coder() { unpack $coder; }"
done

# The tables and their indexes are there before the clock starts. Both covering indexes are
# the fastest we found for the question; the answer goes to a file without journal or sync.
make_tables() {
  [ "$here/tables.db" -nt "$here/records" ] && return
  say "filling the SQL tables"
  rm -f "$here/tables.db"
  {
    echo "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
    "$bin/bench/quarle_index_sql" "$old" older
    "$bin/bench/quarle_index_sql" "$new" newer
    for table in older newer; do
      echo "CREATE INDEX ${table}_id ON $table(content, user, version);"
      echo "CREATE INDEX ${table}_builtin ON $table(builtin, content, user, version);"
    done
    echo "ANALYZE;"
  } | sqlite3 -batch "$here/tables.db" >&2
}
write_query() {
  cat >"$here/query.sql" <<SQL
PRAGMA mmap_size=4294967296;
ATTACH '$out/answer.db' AS answer;
PRAGMA answer.journal_mode=OFF;
PRAGMA answer.synchronous=OFF;
CREATE TABLE answer.deletions AS SELECT content, user, version FROM older o WHERE builtin = 1 AND
  NOT EXISTS (SELECT 1 FROM newer n WHERE n.content = o.content AND n.user = o.user AND n.version = o.version);
CREATE TABLE answer.additions AS SELECT record FROM newer n WHERE builtin = 1 AND
  NOT EXISTS (SELECT 1 FROM older o WHERE o.content = n.content AND o.user = n.user AND o.version = n.version);
SQL
}

now() { printf '%s' "${EPOCHREALTIME/./}"; }

# measure PAIR CONTENDER...: all rounds, the first untimed; microseconds go to PAIR.CONTENDER,
# the peaks that the host reports to PAIR.CONTENDER.peak.
measure() {
  local pair=$1 round contender start end
  shift
  use_pair "$pair"
  rm -f "$dir/$pair".*
  for ((round = 0; round <= rounds; ++round)); do
    say "$pair: round $round of $rounds"
    for contender in "$@"; do
      if declare -F "before_$contender" >/dev/null; then "before_$contender"; fi
      sync -f "$here"
      start=$(now)
      if ! "run_$contender" >"$dir/output" 2>"$dir/errors"; then
        echo "compare.sh: $contender failed" >&2
        head -5 "$dir/errors" >&2
        exit 2
      fi
      end=$(now)
      [ $round = 0 ] && continue
      echo $((end - start)) >>"$dir/$pair.$contender"
      sed -n 's/.*peak_kib //p' "$dir/output" >>"$dir/$pair.$contender.peak"
    done
  done
}
median() { sort -n "$1" | awk '{a[NR] = $1} END {print (a[int((NR + 1) / 2)] + a[int(NR / 2) + 1]) / 2}'; }
largest() { sort -n "$1" | tail -1; }

# The set and the SQL answer must say the same, or their times say nothing.
check_answers() {
  local deletions additions
  deletions=$(sqlite3 "$out/answer.db" 'SELECT count(*) FROM deletions')
  additions=$(sqlite3 "$out/answer.db" 'SELECT sum(length(record)) FROM additions')
  if [ $((deletions * 8)) != "$(stat -c %s "$here/set/data/assets.mkx.MUKDel")" ] ||
    [ "$additions" != "$(stat -c %s "$here/set/data/assets.mkx.MUKAdd")" ]; then
    echo "compare.sh: the patch set and the SQL answer differ" >&2
    exit 2
  fi
}

contenders="diff patch cat"
for peer in sha256sum sqlite3 zstd xdelta3; do
  if ! have "$peer"; then
    say "$peer is not installed: left out"
    continue
  fi
  case $peer in
    zstd | xdelta3) contenders+=" $peer un$peer" ;;
    *) contenders+=" ${peer%3}" ;;
  esac
done
if [ $slow = 1 ] && have bsdiff; then contenders+=" bsdiff bspatch"; fi

make_pair pair "$records"
use_pair pair
if have sqlite3; then
  make_tables
  write_query
fi
# shellcheck disable=SC2086
measure pair $contenders
if have sqlite3; then check_answers; fi
if [ $large = 1 ]; then
  make_pair large 1000000
  measure large diff patch cat
fi

# Every folder must have become a record, and every config have been read by the walk.
check_scan() {
  use_pair "$1"
  if ! run_scan | grep -q "\"records\":$2," || ! run_walk | grep -q ", $2 configs"; then
    echo "compare.sh: the scan or the walk has not met all $2 folders" >&2
    exit 2
  fi
}
scan_product() {
  make_folders "$1" "$2"
  measure "$1" scan walk
  check_scan "$1" "$2"
}
scan_product many "$folders"
scan_product few $((folders / 4))

# Whatever a coder made must have come back; the last to unpack stands for all in turn.
measure_coders() {
  local coder
  make_corpus codecs 64
  for coder in gzip lz4; do
    if have $coder; then coders+=" $coder"; else say "$coder is not installed: left out"; fi
  done
  # shellcheck disable=SC2046,SC2086
  measure codecs $coders $(printf 'un%s ' $coders)
  for coder in $coders; do
    rm -f "$out/content"
    if ! unpack "$coder" || ! cmp -s "$here/corpus" "$out/content"; then
      echo "compare.sh: $coder does not give the corpus back" >&2
      exit 2
    fi
  done
}
measure_coders

measure_packages() {
  make_asset packages
  local archivers="kpx unkpx"
  if have zip && have unzip; then archivers+=" zip unzip"; else say "no zip: left out"; fi
  # shellcheck disable=SC2086
  measure packages $archivers
  if ! diff -r "$here/asset/data" "$out/kpx/plid2 1 1 1/data"; then
    echo "compare.sh: the package does not give the files back" >&2
    exit 2
  fi
}
measure_packages

# One line a contender: pair, name, microseconds, peak in KiB, bytes made.
results=$dir/results.tsv
: >"$results"
for pair in pair large many few codecs packages; do
  use_pair $pair
  # shellcheck disable=SC2046,SC2086
  for contender in $contenders scan walk $coders $(printf 'un%s ' $coders kpx zip) kpx zip; do
    [ -f "$dir/$pair.$contender" ] || continue
    made=0
    if declare -F "made_$contender" >/dev/null; then made=$("made_$contender"); fi
    printf '%s\t%s\t%s\t%s\t%s\n' $pair "$contender" "$(median "$dir/$pair.$contender")" \
      "$(largest "$dir/$pair.$contender.peak")" "$made" >>"$results"
  done
done
bytes() { stat -c %s "$@" | awk '{s += $1} END {print s}'; }
facts=(-v rounds="$rounds" -v records="$records" -v folders="$folders" -v command_line="$command_line"
  -v corpus_bytes="$(stat -c %s "$dir/codecs/corpus")"
  -v diff_bytes="$(bytes "$dir/pair/old/assets.mkx" "$dir/pair/new/assets.mkx")"
  -v patch_bytes="$(bytes "$dir/pair/old/assets.mkx" "$dir"/pair/set/data/*)"
  -v cpu="$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1), $(nproc) cores"
  -v platform="$(uname -sr), $(. /etc/os-release && echo "$PRETTY_NAME")"
  -v compiler="$(c++ --version | head -1)")

mkdir -p "$root/docs"
awk "${facts[@]}" -f "$root/bench/plot.awk" "$results" >"$root/docs/performance.svg"
status=0
awk "${facts[@]}" -f "$root/bench/report.awk" "$results" >"$root/docs/performance.md" || status=1
sed -n '/^## Results/,/^## Machine/{/^## Machine/d;/^!/d;p}' "$root/docs/performance.md"
exit $status
