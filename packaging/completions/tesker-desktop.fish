# Completion of tesker-desktop for fish.

set -l commands import export
set -l before "not __fish_seen_subcommand_from $commands"
set -l after "__fish_seen_subcommand_from $commands"

complete -c tesker-desktop -s h -l help -d 'Print a help message'
complete -c tesker-desktop -s v -l verbose -d 'Name what is passed over, too'
complete -c tesker-desktop -s q -l quiet -d 'Print nothing but errors'
complete -c tesker-desktop -l watch -d 'Repeat at each change; without a command, do both'

complete -c tesker-desktop -n $before -f -l version -d 'Print the version'
complete -c tesker-desktop -n $before -f -a import -d 'Make wrappers for the applications of this desktop'
complete -c tesker-desktop -n $before -f -a export -d 'Make entries for the applications of tesker-apps'

complete -c tesker-desktop -n $after -s n -l dry-run -d 'Change nothing; say what would be changed'
complete -c tesker-desktop -n $after -l remove -d 'Remove all that it has made'
complete -c tesker-desktop -n '__fish_seen_subcommand_from import' -f
