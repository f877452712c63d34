# fish completion for tovrin

function __tovrin_items
    set -l typed (commandline -ct | string unescape)
    string match -q '/*' -- "$typed"; or return
    set -l folder (string replace -r '/[^/]*$' '' -- "$typed")
    for name in (tovrin ls -p -- "$folder/" 2>/dev/null)
        string match -q '*\\\\*' -- $name; or echo "$folder/$name"
    end
end

set -l commands ls cat fetch put status evict doctor inspect
set -l calls item children anchor changes identifier manifest visible live tombstones journal lzfse
set -l none "not __fish_seen_subcommand_from $commands"
set -l nocall "__fish_seen_subcommand_from inspect; and not __fish_seen_subcommand_from $calls"

complete -c tovrin -f
complete -c tovrin -s h -l help -d 'Explain the command'
complete -c tovrin -l container -xa '(__fish_complete_directories)' -d 'The shared container'
complete -c tovrin -n $none -l version -d 'Print the version'
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
