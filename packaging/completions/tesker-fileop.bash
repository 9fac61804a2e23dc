# Completion of tesker-fileop for bash.
# shellcheck shell=bash

_tesker_fileop() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} command='' words='' i
  # In --program=tar=/bin/tar bash takes each "=" for a word of its own.
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i - 1]}:${COMP_WORDS[i]} in
      --program:* | =:* | *:= | *:-*) ;;
      *)
        command=${COMP_WORDS[i]}
        break
        ;;
    esac
  done
  if [[ $prev == = && ${COMP_WORDS[COMP_CWORD - 2]} == --program ]]; then
    prev=--program
  elif [[ $cur == = && $prev == --program ]]; then
    cur=''
  fi

  case $prev:$command:$cur in
    --program:*) words='rm= tar= compress= uncompress=' ;;
    =:*) ;;
    *::*)
      words='-h --help --version --program destroy compress uncompress zcompress zuncompress tar untar'
      ;;
    *:-*) words='-h --help --program' ;;
  esac
  # Where this finds nothing, bash offers file names.
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
  if [[ ${COMPREPLY[0]-} == *= ]]; then
    compopt -o nospace 2>/dev/null
  fi
}

complete -o bashdefault -o default -F _tesker_fileop tesker-fileop
