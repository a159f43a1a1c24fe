# Turns the measured medians into docs/performance.md; exits with 1 when a goal is missed.
# Input lines: pair, contender, microseconds, peak in KiB, bytes made.

BEGIN {
  FS = "\t"
  label["diff"] = "**Diff**"
  label["patch"] = "**Patch**"
  label["scan"] = "**`quarle index build`**, the index written"
  label["walk"] = "plain C: walk, `lstat` all files, read all configs"
  label["lzss1"] = "**`quarle lzss pack -1`**"
  label["lzss6"] = "**`quarle lzss pack -6`**"
  label["lzss9"] = "**`quarle lzss pack -9`**"
  label["cfil"] = "**`quarle file pack`**"
  label["gzip"] = "`gzip -6`"
  label["lz4"] = "`lz4 -1`"
  label["kpx"] = "**`quarle package`**"
  label["zip"] = "`zip -6`, `unzip`"
  label["cat"] = "`cat` of both files"
  label["sha256sum"] = "`sha256sum` of both files"
  label["sqlite"] = "SQLite, the same question to indexed tables"
  label["zstd"] = "`zstd -1 --patch-from`"
  label["unzstd"] = "`zstd -d --patch-from`"
  label["xdelta3"] = "`xdelta3 -e`"
  label["unxdelta3"] = "`xdelta3 -d`"
  label["bsdiff"] = "`bsdiff`"
  label["bspatch"] = "`bspatch`"
  split("diff cat sha256sum sqlite zstd xdelta3 bsdiff", makers, " ")
  split("patch unzstd unxdelta3 bspatch", appliers, " ")
}

{
  time[$1, $2] = $3
  peak[$1, $2] = $4
  made[$1, $2] = $5
}

function known(name) { return ("pair", name) in time }

function table(names, count, base,    i, name) {
  for (i = 1; i <= count; ++i) {
    name = names[i]
    if (!known(name)) continue
    printf "| %s | %.3f s | %.2f | %s |\n", label[name], time["pair", name] / 1e6,
      time["pair", name] / time["pair", base],
      (made["pair", name] > 0 ? sprintf("%.2f MB", made["pair", name] / 1e6) : "")
  }
}

# A goal: what was measured must not be above what is allowed.
function goal(what, measured, allowed) {
  printf "| %s | %.2f | %.2f | %s |\n", what, measured, allowed,
    measured <= allowed ? "met" : "**missed**"
  if (measured > allowed) ++missed
}

function coded(name) { return ("codecs", name) in time }

# Bytes of content in a microsecond, which is megabytes in a second.
function speed(name) { return corpus_bytes / time["codecs", name] }

# A goal from below.
function at_least(what, measured, wanted) {
  printf "| %s | %.0f MB/s | %.0f MB/s | %s |\n", what, measured, wanted,
    (measured < wanted ? "**missed**" : "met")
  if (measured < wanted) ++missed
}

function coder_table(    names, count, i, name) {
  print "| coding " int(corpus_bytes / 1e6) " MB of mixed content | size | packing | unpacking |"
  print "| --- | ---: | ---: | ---: |"
  count = split("lzss1 lzss6 lzss9 cfil gzip lz4", names, " ")
  for (i = 1; i <= count; ++i) {
    name = names[i]
    if (!coded(name)) continue
    printf "| %s | %.1f %% | %.0f MB/s | %.0f MB/s |\n", label[name],
      made["codecs", name] * 100 / corpus_bytes, speed(name), speed("un" name)
  }
  print ""
}

function packs(name) { return ("packages", name) in time }

function package_table(    names, count, i, name) {
  print "| an asset of 500 files, 200 MB | size | making | extracting |"
  print "| --- | ---: | ---: | ---: |"
  count = split("kpx zip", names, " ")
  for (i = 1; i <= count; ++i) {
    name = names[i]
    if (!packs(name)) continue
    printf "| %s | %.1f MB | %.3f s | %.3f s |\n", label[name], made["packages", name] / 1e6,
      time["packages", name] / 1e6, time["packages", "un" name] / 1e6
  }
  print ""
}

# Streams are to be read as fast as the slower of two yardsticks asks.
function coder_goals(    wanted) {
  print "| goal | measured | at least | |"
  print "| --- | ---: | ---: | --- |"
  if (coded("gzip")) {
    wanted = 2 * speed("ungzip")
    if (coded("lz4") && speed("unlz4") / 2 < wanted) wanted = speed("unlz4") / 2
    at_least("LZSS level 6, unpacking: half of `lz4 -d` or twice `gzip -d`", speed("unlzss6"), wanted)
    at_least("LZSS level 6, packing: as `gzip -6`", speed("lzss6"), speed("gzip"))
  }
  at_least("LZSS level 9, unpacking", speed("unlzss9"), 40)
  print ""
}

function a_folder(product, name) {
  return time[product, name] / (product == "few" ? int(folders / 4) : folders)
}

function each(pair, name) { return time[pair, name] / (pair == "large" ? 1000000 : records) }

END {
  print "# Performance"
  print ""
  print "Written by `" command_line "`; run it again to measure your machine."
  print ""
  print "Two generated releases of one product, " records " records each, 10 % of the built-in content"
  print "changed between them. Whole processes are timed, their start included, on a warm page cache;"
  print "the median of " rounds " interleaved rounds counts. Diff and Patch run in a C program that loads"
  print "the plug-in. `cat` and `sha256sum` only read both files: no tool that looks at them can do with"
  print "less than the first. SQLite finds its tables loaded and indexed; every other contender starts"
  print "from the two index files."
  print ""
  print "The scan is a whole process too, and its index is on the device when it ends. A folder holds"
  print "about four files, a config of 0.5 to 4 KB among them."
  print ""
  print "Packages and zip files are made of one folder, and extracted to another; the package is on the"
  print "device when it is made."
  print ""
  print "The coders are whole processes that write files. Their content is config texts, index records,"
  print "meshes and pictures in equal shares."
  print ""
  print "## Results"
  print ""
  print "![Times of all contenders](performance.svg)"
  print ""
  print "| making a patch | time | against Diff | size made |"
  print "| --- | ---: | ---: | ---: |"
  table(makers, 7, "diff")
  print ""
  print "| applying it | time | against Patch | |"
  print "| --- | ---: | ---: | --- |"
  table(appliers, 4, "patch")
  print ""
  if (("large", "diff") in time) {
    print "| a record costs | in " records " | in 1000000 | growth |"
    print "| --- | ---: | ---: | ---: |"
    for (i = 1; i <= 3; ++i) {
      name = i == 1 ? "diff" : i == 2 ? "patch" : "cat"
      printf "| %s | %.3f µs | %.3f µs | %.2f |\n", label[name], each("pair", name),
        each("large", name), each("large", name) / each("pair", name)
    }
    print ""
  }
  print "| scanning " folders " asset folders | time | against the walk | a folder | one of " int(folders / 4) " |"
  print "| --- | ---: | ---: | ---: | ---: |"
  for (i = 1; i <= 2; ++i) {
    name = i == 1 ? "scan" : "walk"
    printf "| %s | %.3f s | %.2f | %.1f µs | %.1f µs |\n", label[name], time["many", name] / 1e6,
      time["many", name] / time["many", "walk"], a_folder("many", name), a_folder("few", name)
  }
  print ""
  if (coded("lzss6")) coder_table()
  if (packs("kpx")) package_table()
  print "| goal | measured | at most | |"
  print "| --- | ---: | ---: | --- |"
  if (known("sqlite")) goal("Diff, times SQLite", time["pair", "diff"] / time["pair", "sqlite"], 1)
  if (known("zstd")) goal("Diff, times `zstd` making", time["pair", "diff"] / time["pair", "zstd"], 0.5)
  if (known("unzstd")) goal("Patch, times `zstd` applying", time["pair", "patch"] / time["pair", "unzstd"], 2)
  goal("Diff's peak memory, times the files", peak["pair", "diff"] * 1024 / diff_bytes, 3)
  goal("Patch's peak memory, times the files", peak["pair", "patch"] * 1024 / patch_bytes, 3)
  if (("large", "diff") in time) {
    goal("Diff, a record of 1,000,000 times one of " records, each("large", "diff") / each("pair", "diff"), 1.3)
    goal("Patch, the same, with 10 % deletions", each("large", "patch") / each("pair", "patch"), 1.3)
  }
  goal("Scan, times the plain walk", time["many", "scan"] / time["many", "walk"], 1.5)
  goal("Scan, a folder of " folders " times one of " int(folders / 4), a_folder("many", "scan") / a_folder("few", "scan"), 1.3)
  if (packs("zip")) {
    goal("A package, making it, times `zip -6`", time["packages", "kpx"] / time["packages", "zip"], 1.5)
    goal("A package, extracting it, times `unzip`", time["packages", "unkpx"] / time["packages", "unzip"], 1.5)
  }
  print ""
  if (coded("lzss6")) coder_goals()
  print "## Machine"
  print ""
  print "- " cpu
  print "- " platform
  print "- " compiler ", release build"
  exit (missed > 0)
}
