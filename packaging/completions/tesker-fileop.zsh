#compdef tesker-fileop
# Completion of tesker-fileop for zsh.

_tesker-fileop() {
  local curcontext=$curcontext state line
  typeset -A opt_args
  local -a always commands
  always=(
    '(- *)'{-h,--help}'[print a help message]'
    '*--program=[run another program for this call]:key=path:->program'
  )
  commands=(
    'destroy:remove a file or a whole directory'
    'compress:pack and compress a file or directory'
    'uncompress:uncompress an archive and extract it in a directory'
    'zcompress:compress one file'
    'zuncompress:uncompress one file'
    'tar:pack a file or directory'
    'untar:extract an archive in a directory'
  )
  _arguments -C $always '(- *)--version[print the version]' \
    '1:operation:->command' '*::path:->path'
  if [[ $state == path ]]; then
    curcontext="${curcontext%:*:*}:tesker-fileop-$words[1]:"
    case $words[1] in
      destroy) _arguments -C $always '1:path:_files' ;;
      uncompress | untar) _arguments -C $always '1:archive:_files' '2:directory:_files -/' ;;
      *) _arguments -C $always '1:source:_files' '2:output:_files' ;;
    esac
  fi
  case $state in
    command) _describe operation commands ;;
    program)
      if compset -P '*='; then
        _files
      else
        compadd -S = rm tar compress uncompress
      fi
      ;;
  esac
}

_tesker-fileop "$@"
