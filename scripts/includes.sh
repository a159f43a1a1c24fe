#!/usr/bin/env bash
# Includes only go down the layers, and headers of the operating system stay below kernel/platform.
set -euo pipefail
cd "$(dirname "$0")/.."

# Folders from the bottom up; files of each may include it and those before it.
layers=(kernel/platform kernel kernel/standard kernel/resource tagdata environment database plugin apps)

# bench, fuzz and tests are on top of everything.
git ls-files '*.h' '*.cpp' ':!bench' ':!fuzz' ':!tests' ':!examples' |
  xargs grep -nHE '^#include' |
  awk -v order="${layers[*]}" '
    BEGIN {
      count = split(order, names, " ")
      for (i = 1; i <= count; ++i) rank[names[i]] = i
      system_headers = "^(sys/|netinet/|arpa/|linux/|unistd|fcntl|dirent|pthread|signal|dlfcn|semaphore|windows|winsock)"
    }
    function layer(path,   folder) {
      folder = path
      while (sub(/\/[^\/]*$/, "", folder)) if (folder in rank) return folder
      return ""
    }
    {
      file = $0; sub(/:.*/, "", file)
      header = $0; sub(/^[^"<]*["<]/, "", header); sub(/[">].*/, "", header)
      own = layer(file)
      if ($0 ~ /</) {
        if (header ~ system_headers && own != "kernel/platform") { print $0 ": a header of the operating system"; bad = 1 }
        next
      }
      used = layer(header)
      if (used == "" || rank[used] > rank[own]) { print $0 ": points up, or at no layer"; bad = 1 }
    }
    END { exit bad }'
