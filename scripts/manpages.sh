#!/usr/bin/env bash
# Makes the manual pages of a quarle program from its help texts: quarle.1, and one a command, such
# as quarle-index-build.1. Needs help2man. Usage: manpages.sh PROGRAM FOLDER
set -euo pipefail
program=$1
folder=$2
version=$("$program" --version)
closing=$(mktemp)
trap 'rm -f "$closing"' EXIT

# below COMMAND...: the names of its commands.
below() {
  "$program" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p'
}

# page_name COMMAND...: quarle-index-build for "index build".
page_name() {
  local IFS=-
  echo "quarle${1:+-}$*"
}

# write_closing COMMAND...: what a page has behind the help text.
write_closing() {
  local pages=() command
  [ $# -gt 0 ] && pages+=("$(page_name "${@:1:$#-1}")")
  for command in $(below "$@"); do pages+=("$(page_name "$@" "$command")"); done
  printf '%s\n' '[EXIT STATUS]' .TP 0 Done. .TP 1 'The operation failed; a line on standard error' \
    'says what, which file, and what to do.' .TP 2 'Wrong usage.' '' '[SEE ALSO]' > "$closing"
  printf '.BR %s (1),\n' "${pages[@]}" | sed '$s/,$//' >> "$closing"
}

# page COMMAND...: writes the page and those of the commands below it.
page() {
  local what name title command
  what=$("$program" "$@" --help | head -n 1)
  name=$(page_name "$@")
  title=${name^^}
  write_closing "$@"
  # help2man takes the program for the page's name, and runs lines of examples together.
  help2man --no-info --no-discard-stderr --version-string="$version" --name="${what,}" \
    --include="$closing" --help-option="$* --help" "$program" |
    sed -e "s/^\.TH QUARLE /.TH ${title//-/\\\\-} /" -e '/^\.SH NAME/{n;s/^quarle /'"${name//-/\\\\-}"' /}' \
      -e '/^\.SS "Example:"/,/^\.S[HS] "*[^E]/s/^quarle /.br\n&/' |
    gzip -9n > "$folder/$name.1.gz"
  for command in $(below "$@"); do
    page "$@" "$command"
  done
}

mkdir -p "$folder"
rm -f "$folder"/*.1.gz
page
