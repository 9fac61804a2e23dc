# Completion of tesker-apps for fish.

set -l commands list dock handlers types services show open prefer why check make diff watch decode encode help
set -l before "not __fish_seen_subcommand_from $commands"
set -l searching '__fish_seen_subcommand_from list dock'
set -l asking '__fish_seen_subcommand_from handlers types services show open prefer'
set -l comparing '__fish_seen_subcommand_from handlers types services show open prefer diff'
set -l tabular '__fish_seen_subcommand_from list dock handlers types services show prefer diff decode'
set -l watching '__fish_seen_subcommand_from watch'
set -l judging '__fish_seen_subcommand_from why'
set -l processors \
    vax vax780 vax785 vax750 vax730 uvaxI uvaxII vax8200 vax8500 vax8600 vax8650 vax8800 \
    uvaxIII m68k m68040 m68030 i386 i486 i486SX i586 i586SX pentpro pentIIm3 pentIIm5 \
    pentium4 x86_64 mips mipsR2300 mipsR2600 mipsR2800 mipsR2000a mipsR2000 mipsR3000a \
    mipsR3000 m98k m98601 hppa hppa7100LC arm armv4t armv6 armv5 xscale armv7 arm64 arm64v8 \
    m88k m88100 m88110 sparc i860 i860XR ppc ppc601 ppc602 ppc603 ppc603e ppc603ev ppc604 \
    ppc604e ppc620 ppc750 ppc7400 ppc7450 ppc970 ppc64 ppc970-64 \
    i686 amd64 mipsel mips64 mips64el parisc armel armhf armv6l armv7l armv8l aarch64 aarch64_be \
    sparc64 powerpc ppc64le ppc64el alpha ia64 loongarch64 loong64 riscv32 riscv64 s390x sh4

set -l codes \
    found searched wrapper-part not-there dangling-link link-cycle skipped-link path-too-long vanished \
    no-permission not-searchable not-executable not-readable read-error special-file \
    dot-name backup-name no-description description-too-large description-too-deep \
    malformed-list wrong-kind types-cut-short unknown-key missing-key passed-over \
    no-self-description malformed-header-line damaged-image other-processor near-suffix \
    limits-reached failed shadowed

complete -c tesker-apps -s h -l help -d 'Print a help message'
complete -c tesker-apps -s v -l verbose -d "Print the tool's log lines"
complete -c tesker-apps -s q -l quiet -d 'Print no diagnostics but errors'
complete -c tesker-apps -x -l color -a 'auto always never' -d 'When the output is coloured'

complete -c tesker-apps -n $before -f -l version -d 'Print the version'
complete -c tesker-apps -n $before -f -a list -d 'List the applications in directories'
complete -c tesker-apps -n $before -f -a dock -d 'Look at single applications'
complete -c tesker-apps -n $before -f -a handlers -d 'Say which applications open a type of file'
complete -c tesker-apps -n $before -f -a types -d 'List the types of files that can be opened'
complete -c tesker-apps -n $before -f -a services -d 'List the programs that offer services'
complete -c tesker-apps -n $before -f -a show -d 'Show all that an application says of itself'
complete -c tesker-apps -n $before -f -a open -d 'Open files with their best application'
complete -c tesker-apps -n $before -f -a prefer -d 'Choose the application for a type of file'
complete -c tesker-apps -n $before -f -a why -d 'Say why an application is found, or is not'
complete -c tesker-apps -n $before -f -a check -d 'Say what is wrong with descriptions'
complete -c tesker-apps -n $before -f -a make -d "Make a wrapper or header of one's own"
complete -c tesker-apps -n $before -f -a diff -d 'Compare two answers'
complete -c tesker-apps -n $before -f -a watch -d 'List applications, and what changes'
complete -c tesker-apps -n $before -f -a decode -d 'Print the records of an encoded text'
complete -c tesker-apps -n $before -f -a encode -d 'Encode records printed as JSON'
complete -c tesker-apps -n $before -f -a help -d 'Print what a command takes'
complete -c tesker-apps -n '__fish_seen_subcommand_from help' -f -a "$commands"

complete -c tesker-apps -n $tabular -l no-header -d 'Write the rows of the table alone'
complete -c tesker-apps -n '__fish_seen_subcommand_from list dock decode' -x -l sort \
    -a 'name type extensions note path' -d 'Sort the rows by a column'
complete -c tesker-apps -n '__fish_seen_subcommand_from handlers services' -x -l sort \
    -a 'name note path' -d 'Sort the rows by a column'
complete -c tesker-apps -n '__fish_seen_subcommand_from types' -x -l sort \
    -a 'extension applications' -d 'Sort the rows by a column'
complete -c tesker-apps -n '__fish_seen_subcommand_from show' -x -l sort \
    -a 'type name other' -d 'Sort the rows by a column'
complete -c tesker-apps -n '__fish_seen_subcommand_from prefer' -x -l sort \
    -a 'extension application' -d 'Sort the rows by a column'
complete -c tesker-apps -n '__fish_seen_subcommand_from diff' -x -l sort \
    -a 'change type name details path' -d 'Sort the rows by a column'
complete -c tesker-apps -n $searching -x -s f -l format -a 'table json jsonl raw' -d 'Form of the answer'
complete -c tesker-apps -n $searching -r -l previous -d 'The last answer'
complete -c tesker-apps -n $searching -r -l save -d "Write the answer's encoded text to a file"
complete -c tesker-apps -n '__fish_seen_subcommand_from list' -l cached -d 'What was found last'
complete -c tesker-apps -n $searching -x -l cpu -a "$processors" -d 'Search as for this processor'
complete -c tesker-apps -n $searching -x -l timeout -d 'Give up a search after so many seconds'
complete -c tesker-apps -n $searching -x -l link-cycles -a 'skip follow' -d 'Links that lead back'
complete -c tesker-apps -n $searching -r -l tool -d "The tool's program"
complete -c tesker-apps -n $searching -l no-read-ahead -d 'Leave a tool that waits to itself'
complete -c tesker-apps -n '__fish_seen_subcommand_from list' -x -l jobs -d 'Search so many at a time'
complete -c tesker-apps -n '__fish_seen_subcommand_from dock' -r -l paths0-from \
    -d 'Read the paths from a file'
complete -c tesker-apps -n $comparing -x -s f -l format -a 'table json jsonl' -d 'Form of the answer'
complete -c tesker-apps -n $comparing -r -l in -d 'Search here instead of the usual places'
complete -c tesker-apps -n $asking -r -l from -d 'Ask an answer that was saved'
complete -c tesker-apps -n $asking -l cached -d 'What was found last'
complete -c tesker-apps -n $comparing -x -l cpu -a "$processors" -d 'Search as for this processor'
complete -c tesker-apps -n $comparing -x -l timeout -d 'Give up a search after so many seconds'
complete -c tesker-apps -n $comparing -x -l link-cycles -a 'skip follow' -d 'Links that lead back'
complete -c tesker-apps -n $comparing -x -l jobs -d 'Search so many at a time'
complete -c tesker-apps -n $comparing -r -l tool -d "The tool's program"
complete -c tesker-apps -n $comparing -l no-read-ahead -d 'Leave a tool that waits to itself'
complete -c tesker-apps -n '__fish_seen_subcommand_from open' -r -l with \
    -d 'Open them with this application'
complete -c tesker-apps -n '__fish_seen_subcommand_from open' -l print \
    -d 'Print what would be started'
complete -c tesker-apps -n '__fish_seen_subcommand_from prefer' -l forget \
    -d 'Prefer none any more'
complete -c tesker-apps -n '__fish_seen_subcommand_from check' -x -l kind -a 'list registry header' \
    -d 'What the files are'
complete -c tesker-apps -n '__fish_seen_subcommand_from check' -l strict \
    -d 'Exit with 1 for warnings, too'
complete -c tesker-apps -n '__fish_seen_subcommand_from check' -x -s f -l format -a 'table json jsonl' \
    -d 'Form of the findings'
complete -c tesker-apps -n '__fish_seen_subcommand_from check' -x -l timeout \
    -d 'Give up a file after so many seconds'
set -l making '__fish_seen_subcommand_from make'
complete -c tesker-apps -n "$making; and not __fish_seen_subcommand_from wrapper header" \
    -f -a 'wrapper header' -d 'What to make'
complete -c tesker-apps -n $making -x -l name -d "The application's name"
complete -c tesker-apps -n $making -r -l executable -d 'The program or script'
complete -c tesker-apps -n $making -r -l icon -d "The application's icon"
complete -c tesker-apps -n $making -r -l types -d 'Extensions that it opens, and their icon'
complete -c tesker-apps -n $making -l services -d 'It offers services to other programs'
complete -c tesker-apps -n $making -x -l timeout -d 'Give up the check after so many seconds'
complete -c tesker-apps -n '__fish_seen_subcommand_from diff' -l exit-code \
    -d 'Exit with 1 when something has changed'
complete -c tesker-apps -n $watching -x -s f -l format -a 'table jsonl' -d 'Form of what is told'
complete -c tesker-apps -n $watching -x -l poll -d 'Also search every so many seconds'
complete -c tesker-apps -n $watching -x -l cpu -a "$processors" -d 'Search as for this processor'
complete -c tesker-apps -n $watching -x -l timeout -d 'Give up a search after so many seconds'
complete -c tesker-apps -n $watching -x -l link-cycles -a 'skip follow' -d 'Links that lead back'
complete -c tesker-apps -n $watching -x -l jobs -d 'Search so many at a time'
complete -c tesker-apps -n $watching -r -l tool -d "The tool's program"
complete -c tesker-apps -n $watching -l no-read-ahead -d 'Leave a tool that waits to itself'
complete -c tesker-apps -n $judging -x -s f -l format -a 'table json jsonl' -d 'Form of the answer'
complete -c tesker-apps -n $judging -r -l in -d 'Search here instead of the usual places'
complete -c tesker-apps -n $judging -x -l cpu -a "$processors" -d 'Search as for this processor'
complete -c tesker-apps -n $judging -x -l timeout -d 'Give up a search after so many seconds'
complete -c tesker-apps -n $judging -x -l link-cycles -a 'skip follow' -d 'Links that lead back'
complete -c tesker-apps -n $judging -l all -d 'Print every entry that the search met'
complete -c tesker-apps -n $judging -x -l code -a "$codes" -d 'Print the entries of which this was said'
complete -c tesker-apps -n $judging -x -l explain -a "$codes" -d 'Say what the code means'
complete -c tesker-apps -n '__fish_seen_subcommand_from decode' -x -s f -l format -a 'table json jsonl' \
    -d 'Form of the records'
