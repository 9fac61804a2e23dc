# Completion of tesker-desktop for bash.
# shellcheck shell=bash

_tesker_desktop() {
  local cur=${COMP_WORDS[COMP_CWORD]} command='' words='' i
  local always='-h --help -v --verbose -q --quiet --watch'
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      command=${COMP_WORDS[i]}
      break
    fi
  done
  case $command:$cur in
    :*) words="$always --version import export" ;;
    *:-*) words="$always -n --dry-run --remove" ;;
  esac
  # Where this finds nothing, bash offers file names.
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
}

complete -o bashdefault -o default -F _tesker_desktop tesker-desktop
