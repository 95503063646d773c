# fish completion for tessary-cli

function __tessary_cli_words --description 'How many words the command line has before the one at hand'
    count (commandline -opc)
end

function __tessary_cli_is_defaults --description 'True at that word of the command "defaults"'
    set -l words (commandline -opc)
    test (count $words) -eq $argv[1]; and test "$words[2]" = defaults
    and begin
        test (count $argv) -lt 2; or test "$words[3]" = "$argv[2]"
    end
end

function __tessary_cli_value_of --description 'True where a value of one of the keys is to follow'
    set -l words (commandline -opc)
    __tessary_cli_is_defaults 5 write; and contains -- "$words[4]" $argv
end

set -l numbers FileOperation TessaryType
set -l booleans QuitWhenDone RecurseFolders ReplaceFilesBySameName AggregateAppResourcesOnly \
    PreserveComments

complete -c tessary-cli -f
complete -c tessary-cli -n 'test (__tessary_cli_words) -eq 1' -a aggregate -d 'File what lies in a folder'
complete -c tessary-cli -n 'test (__tessary_cli_words) -eq 1' -a defaults -d 'Read and change the stored settings'
complete -c tessary-cli -n 'test (__tessary_cli_words) -eq 1' -a integrate -d 'Put the desktop program into menus'
complete -c tessary-cli -n 'test (__tessary_cli_words) -eq 1' -a info -d 'Tell what a run sees of a file'
complete -c tessary-cli -n 'test (__tessary_cli_words) -eq 1' -l help -d 'Show the help'
complete -c tessary-cli -n 'test (__tessary_cli_words) -eq 1' -l version -d 'Show the version'

set -l aggregate '__fish_seen_subcommand_from aggregate'
complete -c tessary-cli -n $aggregate -a '(__fish_complete_directories)'
complete -c tessary-cli -n $aggregate -l kind -x -d 'The key to file by' \
    -a 'extension file-type mime-type modification-date creation-date'
complete -c tessary-cli -n $aggregate -l recurse -d 'Enter subfolders'
complete -c tessary-cli -n $aggregate -l copy -d 'Copy the files'
complete -c tessary-cli -n $aggregate -l move -d 'Move the files'
complete -c tessary-cli -n $aggregate -l replace -d 'Delete what bears a taken name, unless a folder that holds anything'
complete -c tessary-cli -n $aggregate -l preserve-comments -d 'Carry comments over'
complete -c tessary-cli -n $aggregate -l whole-application -d 'File the whole of an application'
complete -c tessary-cli -n $aggregate -l help -d 'Show the help'

complete -c tessary-cli -n '__tessary_cli_is_defaults 2' -a read -d 'Show what is stored'
complete -c tessary-cli -n '__tessary_cli_is_defaults 2' -a write -d 'Store a value'
complete -c tessary-cli -n '__tessary_cli_is_defaults 2' -a delete -d 'Go back to the default'
complete -c tessary-cli -n '__tessary_cli_is_defaults 3' -a "$numbers $booleans"
complete -c tessary-cli -n "__tessary_cli_is_defaults 4 write" -a '-bool -int'
complete -c tessary-cli -n "__tessary_cli_value_of $booleans" -a 'true false'
complete -c tessary-cli -n '__tessary_cli_value_of FileOperation' -a '1 2'
complete -c tessary-cli -n '__tessary_cli_value_of TessaryType' -a '1 2 3 4 5'

complete -c tessary-cli -n 'test (__tessary_cli_words) -eq 2; and __fish_seen_subcommand_from integrate' \
    -a 'install remove status'

complete -c tessary-cli -n '__fish_seen_subcommand_from info' -F
complete -c tessary-cli -n '__fish_seen_subcommand_from info' -l json -d 'Tell it to programs'
complete -c tessary-cli -n '__fish_seen_subcommand_from info' -l help -d 'Show the help'
