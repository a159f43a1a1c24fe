#!/usr/bin/env bash
# Makes the manual pages of a quarle program from its help texts: quarle.1, and one a command, such
# as quarle-index-build.1. Needs help2man. Usage: manpages.sh PROGRAM FOLDER
set -euo pipefail
program=$1
folder=$2
version=$("$program" --version)

# page COMMAND...: writes the page and those of the commands below it.
page() {
  local help what name
  help=$("$program" "$@" --help)
  what=$(head -n 1 <<<"$help")
  name=$(IFS=-; echo "quarle${1:+-}$*")
  help2man --no-info --no-discard-stderr --version-string="$version" --name="${what,}" \
    --help-option="$* --help" "$program" | gzip -9n > "$folder/$name.1.gz"
  local below
  for below in $(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' <<<"$help"); do
    page "$@" "$below"
  done
}

mkdir -p "$folder"
rm -f "$folder"/*.1.gz
page
