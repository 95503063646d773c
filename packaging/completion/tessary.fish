# fish completion for tessary

complete -c tessary -f
complete -c tessary -a '(__fish_complete_directories)'
complete -c tessary -l aggregate -d 'Ask the running instance to aggregate the folders'
complete -c tessary -s h -l help -d 'Print the help'
complete -c tessary -s V -l version -d 'Print the version'
