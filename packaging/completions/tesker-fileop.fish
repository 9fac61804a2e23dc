# Completion of tesker-fileop for fish.

set -l commands destroy compress uncompress zcompress zuncompress tar untar
set -l before "not __fish_seen_subcommand_from $commands"

complete -c tesker-fileop -s h -l help -d 'Print a help message'
complete -c tesker-fileop -r -l program -a 'rm= tar= compress= uncompress=' \
    -d 'Run another program for this call'

complete -c tesker-fileop -n $before -f -l version -d 'Print the version'
complete -c tesker-fileop -n $before -f -a destroy -d 'Remove a file or a whole directory'
complete -c tesker-fileop -n $before -f -a compress -d 'Pack and compress a file or directory'
complete -c tesker-fileop -n $before -f -a uncompress -d 'Uncompress and extract an archive'
complete -c tesker-fileop -n $before -f -a zcompress -d 'Compress one file'
complete -c tesker-fileop -n $before -f -a zuncompress -d 'Uncompress one file'
complete -c tesker-fileop -n $before -f -a tar -d 'Pack a file or directory'
complete -c tesker-fileop -n $before -f -a untar -d 'Extract an archive in a directory'
