# Completion of tesker-apps for bash.
# shellcheck shell=bash

_tesker_apps() {
  local processors='
    vax vax780 vax785 vax750 vax730 uvaxI uvaxII vax8200 vax8500 vax8600 vax8650 vax8800
    uvaxIII m68k m68040 m68030 i386 i486 i486SX i586 i586SX pentpro pentIIm3 pentIIm5
    pentium4 x86_64 mips mipsR2300 mipsR2600 mipsR2800 mipsR2000a mipsR2000 mipsR3000a
    mipsR3000 m98k m98601 hppa hppa7100LC arm armv4t armv6 armv5 xscale armv7 arm64 arm64v8
    m88k m88100 m88110 sparc i860 i860XR ppc ppc601 ppc602 ppc603 ppc603e ppc603ev ppc604
    ppc604e ppc620 ppc750 ppc7400 ppc7450 ppc970 ppc64 ppc970-64
    i686 amd64 mipsel mips64 mips64el parisc armel armhf armv6l armv7l armv8l aarch64 aarch64_be
    sparc64 powerpc ppc64le ppc64el alpha ia64 loongarch64 loong64 riscv32 riscv64 s390x sh4'
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} command='' words='' word
  # In --format=json bash takes "=" for a word of its own.
  if [[ $cur == = ]]; then
    cur=''
  elif [[ $prev == = ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  local before=''
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $word != -* && $word != = && $before != --color ]]; then
      command=$word
      break
    fi
    [[ $word == = ]] || before=$word
  done

  local codes='found searched wrapper-part not-there dangling-link link-cycle skipped-link path-too-long vanished
    no-permission not-searchable not-executable not-readable read-error special-file
    dot-name backup-name no-description description-too-large description-too-deep
    malformed-list wrong-kind types-cut-short unknown-key missing-key passed-over
    no-self-description malformed-header-line damaged-image other-processor near-suffix
    limits-reached failed'
  local commands='list dock handlers types services show open prefer why check make diff watch decode encode help'
  local always='-h --help -v --verbose -q --quiet --color'
  local tabular='--no-header --sort'
  local searching='-f --format --previous --save --cached --cpu --timeout --link-cycles --tool --no-read-ahead'
  local asking='-f --format --in --from --cached --cpu --timeout --link-cycles --tool
    --no-read-ahead --jobs'
  case $prev:$command:$cur in
    --color:*) words='auto always never' ;;
    --sort:handlers:* | --sort:services:*) words='name note path' ;;
    --sort:types:*) words='extension applications' ;;
    --sort:show:*) words='type name other' ;;
    --sort:prefer:*) words='extension application' ;;
    --sort:diff:*) words='change type name details path' ;;
    --sort:*) words='name type extensions note path' ;;
    --format:watch:* | -f:watch:*) words='table jsonl' ;;
    --format:list:* | --format:dock:* | -f:list:* | -f:dock:*) words='table json jsonl raw' ;;
    --format:* | -f:*) words='table json jsonl' ;;
    --cpu:*) words=$processors ;;
    --code:* | --explain:*) words=$codes ;;
    --previous:* | --save:* | --timeout:* | --jobs:* | --poll:* | --tool:* | --paths0-from:* | --in:* | --from:* | --with:* | \
      --name:* | --executable:* | --icon:* | --types:*) ;;
    --link-cycles:*) words='skip follow' ;;
    --kind:*) words='list registry header' ;;
    *::*)
      words="$always --version $commands"
      ;;
    *:list:-*) words="$always $tabular $searching --jobs" ;;
    *:dock:-*) words="$always --paths0-from $tabular ${searching/--cached /}" ;;
    *:handlers:-* | *:types:-* | *:services:-* | *:show:-*) words="$always $tabular $asking" ;;
    *:open:-*) words="$always --with --print $asking" ;;
    *:prefer:-*) words="$always --forget $tabular $asking" ;;
    *:why:-*) words="$always --all --code --explain -f --format --in --cpu --timeout --link-cycles" ;;
    *:check:-*) words="$always --kind --strict -f --format --timeout" ;;
    *:make:-*) words="$always --name --executable --icon --types --services --timeout" ;;
    make:make:*) words='wrapper header' ;;
    *:diff:-*) words="$always --exit-code $tabular ${asking/--from --cached /}" ;;
    *:watch:-*) words="$always -f --format --poll --cpu --timeout --link-cycles --tool
      --no-read-ahead --jobs" ;;
    *:decode:-*) words="$always $tabular -f --format" ;;
    *:encode:-* | *:help:-*) words=$always ;;
    *:help:*) words=$commands ;;
  esac
  # Where this finds nothing, bash offers file names.
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
}

complete -o bashdefault -o default -F _tesker_apps tesker-apps
