# Completion of quarle for bash: asks the program itself, so it is never out of date.
_quarle() {
  local word current=${COMP_WORDS[COMP_CWORD]} command=() help
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $word == [a-z]* ]] || break
    "$1" "${command[@]}" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/p' |
      grep -q "^  $word " || break
    command+=("$word")
  done
  help=$("$1" "${command[@]}" --help 2>/dev/null) || return
  local commands options
  commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' <<<"$help")
  options=$(sed -n '/^Options/,/^$/s/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr ',' '\n')
  if [[ ${COMP_WORDS[COMP_CWORD-1]} == --progress ]]; then
    mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$current")
  elif [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
  elif [[ -n $commands ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current")
  else
    compopt -o default
    COMPREPLY=()
  fi
}
complete -F _quarle quarle
