# fish completion for tessary-cli

# The words on the command line before the one that is being completed, without the program's name.
function __tessary_cli_words
    set -l words (commandline -opc)
    test (count $words) -gt 1; and printf '%s\n' $words[2..-1]
end

# __tessary_cli_follows WORD...: true if exactly these words come before.
function __tessary_cli_follows
    set -l words (__tessary_cli_words)
    test (count $words) -eq (count $argv); and test "$words" = "$argv"
end

# __tessary_cli_is_command COMMAND: true if the first word is that command.
function __tessary_cli_is_command
    set -l words (__tessary_cli_words)
    test "$words[1]" = $argv[1]
end

# __tessary_cli_type_follows KEY...: true if the type of one of these settings may follow.
function __tessary_cli_type_follows
    set -l words (__tessary_cli_words)
    test (count $words) -eq 3; and test "$words[1..2]" = 'defaults write'
    and contains -- $words[3] $argv
end

# __tessary_cli_value_follows TYPE KEY...: true if a value of one of these settings may follow.
function __tessary_cli_value_follows
    set -l words (__tessary_cli_words)
    if test (count $words) -eq 4; and test "$words[4]" = $argv[1]
        set -e words[4]
    end
    test (count $words) -eq 3; and test "$words[1..2]" = 'defaults write'
    and contains -- $words[3] $argv[2..-1]
end

set -l numbers FileOperation TessaryType
set -l booleans QuitWhenDone RecurseFolders ReplaceFilesBySameName AggregateAppResourcesOnly \
    PreserveComments

complete -c tessary-cli -f
complete -c tessary-cli -s h -l help -d 'Print the help'

set -l none __tessary_cli_follows
complete -c tessary-cli -n $none -a aggregate -d 'Sort the files of one folder into subfolders of another'
complete -c tessary-cli -n $none -a defaults -d 'Print and change the stored settings'
complete -c tessary-cli -n $none -a info -d 'Print what a run sees of a file'
complete -c tessary-cli -n $none -a integrate -d 'Add tessary to the menus of Thunar and Nautilus'
complete -c tessary-cli -n $none -a undo -d 'Reverse a run that was given --journal'
complete -c tessary-cli -n $none -s V -l version -d 'Print the version'

set -l aggregate '__tessary_cli_is_command aggregate'
complete -c tessary-cli -n $aggregate -a '(__fish_complete_directories)'
complete -c tessary-cli -n $aggregate -s k -l kind -x -d 'The key to sort by' \
    -a 'extension file-type mime-type modification-date creation-date'
complete -c tessary-cli -n $aggregate -s r -l recurse -d 'Descend into subfolders'
complete -c tessary-cli -n $aggregate -l copy -d 'Copy files'
complete -c tessary-cli -n $aggregate -l move -d 'Move files'
complete -c tessary-cli -n $aggregate -l replace -d 'Permanently delete existing files of the same name'
complete -c tessary-cli -n $aggregate -l preserve-comments -d 'Copy comments too'
complete -c tessary-cli -n $aggregate -l whole-application -d 'Sort all of an application'
complete -c tessary-cli -n $aggregate -l journal -r -F -d 'Record each change, for undo'
complete -c tessary-cli -n $aggregate -l dry-run -d 'Change nothing, show what would be done'
complete -c tessary-cli -n $aggregate -s q -l quiet -d 'Log failures only'
complete -c tessary-cli -n $aggregate -s v -l verbose -d 'Log each filed item, on a terminal too'
complete -c tessary-cli -n $aggregate -l summary -d 'Print a table of the key folders'
complete -c tessary-cli -n $aggregate -l json -d 'Print one line of JSON for each item'

complete -c tessary-cli -n '__tessary_cli_follows defaults' -a read -d 'Print all settings, or one'
complete -c tessary-cli -n '__tessary_cli_follows defaults' -a write -d 'Store a setting'
complete -c tessary-cli -n '__tessary_cli_follows defaults' -a delete -d 'Restore the default of a setting'
complete -c tessary-cli -n '__tessary_cli_is_command defaults' -l force -d 'Store a number that has no meaning'
for action in read write delete
    complete -c tessary-cli -n "__tessary_cli_follows defaults $action" -a "$numbers $booleans"
end
complete -c tessary-cli -n "__tessary_cli_type_follows $numbers" -a -int
complete -c tessary-cli -n "__tessary_cli_type_follows $booleans" -a -bool
complete -c tessary-cli -n '__tessary_cli_value_follows -int FileOperation' -a '1 2'
complete -c tessary-cli -n '__tessary_cli_value_follows -int TessaryType' -a '1 2 3 4 5'
complete -c tessary-cli -n "__tessary_cli_value_follows -bool $booleans" -a 'true false'

complete -c tessary-cli -n '__tessary_cli_is_command info' -F
complete -c tessary-cli -n '__tessary_cli_is_command info' -l json -d 'Print the result as JSON'

complete -c tessary-cli -n '__tessary_cli_is_command undo' -F
complete -c tessary-cli -n '__tessary_cli_is_command undo' -l dry-run -d 'List what would be done'

complete -c tessary-cli -n '__tessary_cli_follows integrate' -a 'install remove status'
