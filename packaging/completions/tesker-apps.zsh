#compdef tesker-apps
# Completion of tesker-apps for zsh.

_tesker-apps() {
  local curcontext=$curcontext state line
  typeset -A opt_args
  local -a processors codes always searching judging comparing asking commands keys tabular
  processors=(
    vax vax780 vax785 vax750 vax730 uvaxI uvaxII vax8200 vax8500 vax8600 vax8650 vax8800
    uvaxIII m68k m68040 m68030 i386 i486 i486SX i586 i586SX pentpro pentIIm3 pentIIm5
    pentium4 x86_64 mips mipsR2300 mipsR2600 mipsR2800 mipsR2000a mipsR2000 mipsR3000a
    mipsR3000 m98k m98601 hppa hppa7100LC arm armv4t armv6 armv5 xscale armv7 arm64 arm64v8
    m88k m88100 m88110 sparc i860 i860XR ppc ppc601 ppc602 ppc603 ppc603e ppc603ev ppc604
    ppc604e ppc620 ppc750 ppc7400 ppc7450 ppc970 ppc64 ppc970-64
    i686 amd64 mipsel mips64 mips64el parisc armel armhf armv6l armv7l armv8l aarch64 aarch64_be
    sparc64 powerpc ppc64le ppc64el alpha ia64 loongarch64 loong64 riscv32 riscv64 s390x sh4
  )
  codes=(
    found searched wrapper-part not-there dangling-link link-cycle skipped-link path-too-long vanished
    no-permission not-searchable not-executable not-readable read-error special-file
    dot-name backup-name no-description description-too-large description-too-deep
    malformed-list wrong-kind types-cut-short unknown-key missing-key passed-over
    no-self-description malformed-header-line damaged-image other-processor near-suffix
    limits-reached failed shadowed
  )
  always=(
    '(- *)'{-h,--help}'[print a help message]'
    '(-v --verbose -q --quiet)'{-v,--verbose}"[print the tool's log lines]"
    '(-v --verbose -q --quiet)'{-q,--quiet}'[print no diagnostics but errors]'
    '--color=[when the output is coloured]:when:(auto always never)'
  )
  searching=(
    '(--format)-f[form of the answer]:form:(table json jsonl raw)'
    '(-f)--format=[form of the answer]:form:(table json jsonl raw)'
    '--previous=[the last answer]:answer:_files'
    "--save=[write the answer's encoded text to a file]:answer:_files"
    "--cpu=[search as for this processor]:processor:($processors)"
    '--timeout=[give up a search after this time]:seconds:'
    '--link-cycles=[links that lead back]:what:(skip follow)'
    "--tool=[the tool's program]:program:_files"
    '--no-read-ahead[do not read ahead of a tool that waits]'
  )
  judging=(
    '(--format)-f[form of the answer]:form:(table json jsonl)'
    '(-f)--format=[form of the answer]:form:(table json jsonl)'
    '*--in=[search here instead of the usual places]:directory or application:_files'
    "--cpu=[search as for this processor]:processor:($processors)"
    '--timeout=[give up a search after this time]:seconds:'
    '--link-cycles=[links that lead back]:what:(skip follow)'
  )
  comparing=(
    $judging
    '--jobs=[search so many directories at a time]:number:'
    "--tool=[the tool's program]:program:_files"
    '--no-read-ahead[do not read ahead of a tool that waits]'
  )
  asking=(
    $comparing
    '--from=[ask an answer that was saved]:answer:_files'
    '--cached[answer with what was found last]'
  )
  commands=(
    'list:list the applications in directories'
    'dock:look at single applications, with one request for all'
    'handlers:say which applications open a type of file'
    'types:list the types of files that can be opened'
    'services:list the programs that offer services'
    'show:show all that an application says of itself'
    'open:open files with their best application'
    'prefer:choose the application for a type of file'
    'why:say why an application is found, or is not'
    'check:say what is wrong with descriptions'
    'make:make a wrapper or a header'
    'diff:compare two answers'
    'watch:list applications, and what changes from then on'
    'decode:print the records of an encoded text'
    'encode:encode records that decode --format json has printed'
    'help:print what a command takes'
  )
  _arguments -C $always '(- *)--version[print the version]' \
    '1:command:->command' '*::argument:->argument'
  case $state in
    command) _describe command commands ;;
    argument)
      curcontext="${curcontext%:*:*}:tesker-apps-$words[1]:"
      case $words[1] in
        list | dock | decode) keys=(name type extensions note path) ;;
        handlers | services) keys=(name note path) ;;
        types) keys=(extension applications) ;;
        show) keys=(type name other) ;;
        prefer) keys=(extension application) ;;
        diff) keys=(change type name details path) ;;
      esac
      tabular=(
        '--no-header[write the rows of the table alone]'
        "--sort=[sort the rows by a column]:column:($keys)"
      )
      case $words[1] in
        list) _arguments $always $tabular $searching \
            '--cached[answer with what was found last]' \
            '--jobs=[search so many directories at a time]:number:' '*:application or directory:_files' ;;
        dock)
          _arguments $always $tabular $searching '*:application or directory:_files' \
            '--paths0-from=[read the paths from a file]:list of paths:_files'
          ;;
        handlers) _arguments $always $tabular $asking '1:extension or file:_files' ;;
        types | services) _arguments $always $tabular $asking ;;
        show) _arguments $always $tabular $asking '1:application:_files' ;;
        open)
          _arguments $always $asking '*:file:_files' \
            '--with=[open them with this application]:application:_files' \
            '--print[print what would be started]'
          ;;
        prefer)
          _arguments $always $tabular $asking '1:extension:' '2:application:_files' \
            '--forget[prefer none any more]'
          ;;
        why)
          _arguments $always $judging '*:application, file or directory:_files' \
            '--all[print every entry that the search met]' \
            "--code=[print the entries of which this was said]:code:($codes)" \
            "--explain=[say what the code means]:code:($codes)"
          ;;
        check)
          _arguments $always '*:file or wrapper:_files' \
            '--kind=[what the files are]:kind:(list registry header)' \
            '--strict[exit with 1 for warnings, too]' \
            '--timeout=[give up a file after so many seconds]:seconds:' \
            '(--format)-f[form of the findings]:form:(table json jsonl)' \
            '(-f)--format=[form of the findings]:form:(table json jsonl)'
          ;;
        make)
          _arguments $always '1:what to make:(wrapper header)' '2:place:_files' \
            '--name=[the name of the application]:name:' \
            '--executable=[the program or script]:program:_files' \
            '--icon=[the icon of the application]:icon:_files' \
            '*--types=[extensions that it opens, and their icon]:types:_files' \
            '--services[it offers services to other programs]' \
            '--timeout=[give up the check after so many seconds]:seconds:'
          ;;
        diff)
          _arguments $always $tabular $comparing '1:old answer:_files' '2:new answer:_files' \
            '--exit-code[exit with 1 when something has changed]'
          ;;
        watch)
          _arguments $always '*:application or directory:_files' \
            '(--format)-f[form of what is told]:form:(table jsonl)' \
            '(-f)--format=[form of what is told]:form:(table jsonl)' \
            '--poll=[also search every so many seconds]:seconds:' \
            "--cpu=[search as for this processor]:processor:($processors)" \
            '--timeout=[give up a search after this time]:seconds:' \
            '--link-cycles=[links that lead back]:what:(skip follow)' \
            "--tool=[the tool's program]:program:_files" \
            '--no-read-ahead[do not read ahead of a tool that waits]' \
            '--jobs=[search so many directories at a time]:number:'
          ;;
        decode)
          _arguments $always $tabular '(--format)-f[form of the records]:form:(table json jsonl)' \
            '(-f)--format=[form of the records]:form:(table json jsonl)' \
            '1:encoded text:_files'
          ;;
        encode) _arguments $always '1:JSON document:_files' ;;
        help) _arguments $always "1:command:(${commands%%:*})" ;;
      esac
      ;;
  esac
}

_tesker-apps "$@"
