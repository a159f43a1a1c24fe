# Draws the medians as bars on a logarithmic scale: docs/performance.svg.
# Input lines as for report.awk; only the first pair is drawn.

BEGIN {
  FS = "\t"
  name["diff"] = "Diff"
  name["patch"] = "Patch"
  name["cat"] = "cat both"
  name["sha256sum"] = "sha256sum both"
  name["sqlite"] = "SQLite query"
  name["zstd"] = "zstd -1 --patch-from"
  name["unzstd"] = "zstd -d --patch-from"
  name["xdelta3"] = "xdelta3 -e"
  name["unxdelta3"] = "xdelta3 -d"
  name["bsdiff"] = "bsdiff"
  name["bspatch"] = "bspatch"
  split("diff cat sha256sum sqlite zstd xdelta3 bsdiff patch unzstd unxdelta3 bspatch", order, " ")
  left = 190
  width = 460
  lowest = 0.01
}

$1 == "pair" { seconds[$2] = $3 / 1e6 }

function across(value) { return width * log(value / lowest) / log(highest / lowest) }

END {
  highest = 1
  for (i = 1; i <= 11; ++i) {
    if (!(order[i] in seconds)) continue
    ++bars
    while (seconds[order[i]] > highest) highest *= 10
    while (seconds[order[i]] < lowest) lowest /= 10
  }
  height = 24 * bars + 70
  printf "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" font-family=\"sans-serif\" font-size=\"12\">\n", left + width + 80, height
  printf "<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
  printf "<text x=\"10\" y=\"20\" font-size=\"14\">Seconds for %s records, logarithmic</text>\n", records
  for (tick = lowest; tick <= highest * 1.001; tick *= 10) {
    x = left + across(tick)
    printf "<line x1=\"%.1f\" y1=\"34\" x2=\"%.1f\" y2=\"%d\" stroke=\"#ccc\"/>\n", x, x, height - 26
    printf "<text x=\"%.1f\" y=\"%d\" text-anchor=\"middle\">%g s</text>\n", x, height - 10, tick
  }
  y = 40
  for (i = 1; i <= 11; ++i) {
    key = order[i]
    if (!(key in seconds)) continue
    own = key == "diff" || key == "patch"
    printf "<text x=\"%d\" y=\"%d\" text-anchor=\"end\"%s>%s</text>\n", left - 8, y + 14, own ? " font-weight=\"bold\"" : "", name[key]
    printf "<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"18\" fill=\"%s\"/>\n", left, y, across(seconds[key]) + 0.5, own ? "#1f6f8b" : "#b8c4cc"
    printf "<text x=\"%.1f\" y=\"%d\">%.3f s</text>\n", left + across(seconds[key]) + 6, y + 14, seconds[key]
    y += 24
  }
  print "</svg>"
}
