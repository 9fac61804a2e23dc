#compdef tesker-desktop
# Completion of tesker-desktop for zsh.

_tesker-desktop() {
  local curcontext=$curcontext state line
  typeset -A opt_args
  local -a always acting commands
  always=(
    '(- *)'{-h,--help}'[print a help message]'
    '(-q --quiet)'{-v,--verbose}'[name what is passed over, too]'
    '(-v --verbose)'{-q,--quiet}'[print nothing but errors]'
    '(-n --dry-run --remove)--watch[repeat at each change; without a command, do both]'
  )
  acting=(
    '(-n --dry-run --watch)'{-n,--dry-run}'[change nothing; say what would be changed]'
    '(--watch)--remove[remove all that it has made]'
  )
  commands=(
    'import:make wrappers for the applications of this desktop'
    'export:make entries for the applications of tesker-apps'
  )
  _arguments -C $always '(- *)--version[print the version]' \
    '1:command:->command' '*::path:->path'
  if [[ $state == path ]]; then
    curcontext="${curcontext%:*:*}:tesker-desktop-$words[1]:"
    case $words[1] in
      export) _arguments -C $always $acting '*:directory or application:_files' ;;
      *) _arguments -C $always $acting ;;
    esac
  fi
  if [[ $state == command ]]; then
    _describe command commands
  fi
}

_tesker-desktop "$@"
