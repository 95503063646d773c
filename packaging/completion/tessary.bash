# bash completion for tessary

_tessary() {
  local cur=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  if [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--aggregate -h --help -V --version' -- "$cur")
  elif declare -F _filedir >/dev/null; then
    _filedir -d
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
  fi
}

complete -F _tessary tessary
