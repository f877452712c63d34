# fish completion for tovrin

function __tovrin_items
    set -l typed (commandline -ct | string unescape)
    string match -q '/*' -- "$typed"; or return
    set -l folder (string replace -r '/[^/]*$' '' -- "$typed")
    for name in (tovrin ls -p -- "$folder/" 2>/dev/null)
        string match -q '*\\\\*' -- $name; or echo "$folder/$name"
    end
end

set -l commands mount unmount ls cat fetch put status evict doctor inspect
set -l calls item children anchor changes identifier manifest visible live tombstones journal lzfse
set -l none "not __fish_seen_subcommand_from $commands"
set -l nocall "__fish_seen_subcommand_from inspect; and not __fish_seen_subcommand_from $calls"

complete -c tovrin -f
complete -c tovrin -s h -l help -d 'Explain the command'
complete -c tovrin -l container -xa '(__fish_complete_directories)' -d 'The shared container'
complete -c tovrin -n $none -l version -d 'Print the version'
complete -c tovrin -n $none -a mount -d 'Show the domain as a folder'
complete -c tovrin -n $none -a unmount -d 'Take a mount off its place'
complete -c tovrin -n $none -a ls -d 'List a folder'
complete -c tovrin -n $none -a cat -d 'Print a file\'s contents'
complete -c tovrin -n $none -a fetch -d 'Download a file'
complete -c tovrin -n $none -a put -d 'Save new contents for a file'
complete -c tovrin -n $none -a status -d 'Show what is and was opened, and what waits'
complete -c tovrin -n $none -a evict -d 'Drop local copies'
complete -c tovrin -n $none -a doctor -d 'Say what is wrong, in plain words'
complete -c tovrin -n $none -a inspect -d 'Answer one question as JSON, for tools'
complete -c tovrin -n "$nocall" -a "$calls"
complete -c tovrin -n '__fish_seen_subcommand_from ls cat fetch put evict' -a '(__tovrin_items)'
complete -c tovrin -n '__fish_seen_subcommand_from put manifest lzfse' -F
complete -c tovrin -n '__fish_seen_subcommand_from ls' -s l -l long -d 'With type, permissions, size and date'
complete -c tovrin -n '__fish_seen_subcommand_from ls' -s R -l recursive -d 'With everything below it'
complete -c tovrin -n '__fish_seen_subcommand_from fetch' -s R -l recursive -d 'A folder into the mount'
complete -c tovrin -n '__fish_seen_subcommand_from ls' -s p -l slash -d 'A slash behind folders'
complete -c tovrin -n '__fish_seen_subcommand_from fetch lzfse' -s o -l output -rF -d 'Where to put it'
complete -c tovrin -n '__fish_seen_subcommand_from status' -l follow -d 'Go on until interrupted'
complete -c tovrin -n '__fish_seen_subcommand_from evict' -l all -d 'Everything that is here'
complete -c tovrin -n '__fish_seen_subcommand_from ls fetch put status evict doctor' -l json -d 'Print JSON'

set -l mounting '__fish_seen_subcommand_from mount'
complete -c tovrin -n $mounting -xa '(__fish_complete_directories)'
complete -c tovrin -n $mounting -s o -d 'Mount options' \
    -xa 'ro allow_other allow_root auto_unmount fsname= uid= gid= umask= owner=manifest cache_size= cache_free= offline'
complete -c tovrin -n $mounting -s f -l foreground -d 'Stay in front'
complete -c tovrin -n $mounting -l cache-size -x -d 'Room for local copies'
complete -c tovrin -n $mounting -l cache-free -x -d 'What the cache leaves free'
complete -c tovrin -n $mounting -l crawlers -xa 'deny allow' -d 'What indexers may download'
complete -c tovrin -n $mounting -l crawler -x -d 'One more program that crawls'
complete -c tovrin -n $mounting -l max-fetches -x -d 'Downloads at once'
complete -c tovrin -n $mounting -l notify -xa 'errors none' -d 'What the desktop is told'
complete -c tovrin -n $mounting -l offline -d 'Never wait for the worker'
complete -c tovrin -n $mounting -s v -l verbose -d 'Log more'
complete -c tovrin -n $mounting -s d -l debug -d 'Log all requests'
complete -c tovrin -n $mounting -l sloppy -d 'Ignore unknown mount options'
complete -c tovrin -n $mounting -l fake -d 'Only check the words'
complete -c tovrin -n '__fish_seen_subcommand_from unmount' -xa '(findmnt -n -l -o TARGET -t fuse.tovrin)'
complete -c tovrin -n '__fish_seen_subcommand_from unmount' -s l -l lazy -d 'Out of sight at once'
