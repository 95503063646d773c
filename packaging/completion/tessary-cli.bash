# bash completion for tessary-cli

# _tessary_cli_offer WORDS: offers those that begin with $cur. bash splits "--kind=VALUE" at the "=".
_tessary_cli_offer() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "${cur#=}")
}

# _tessary_cli_paths [-d]: offers files, or folders only.
_tessary_cli_paths() {
  if declare -F _filedir >/dev/null; then
    _filedir "$@"
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "${1:--f}" -- "$cur")
  fi
}

_tessary_cli_aggregate() {
  if [[ $prev == --journal || ${COMP_WORDS[COMP_CWORD - 2]} == --journal ]]; then
    _tessary_cli_paths
  elif [[ $prev == --kind || $prev == -k || $prev == = || $cur == = ]]; then
    _tessary_cli_offer 'extension file-type mime-type modification-date creation-date'
  elif [[ $cur == -* ]]; then
    _tessary_cli_offer '-k --kind -r --recurse --copy --move --replace --preserve-comments
      --whole-application --dry-run --journal -q --quiet -v --verbose --summary --json -h --help'
  else
    _tessary_cli_paths -d
  fi
}

# _tessary_cli_value KEY TYPE: offers the values of a setting; TYPE may precede them.
_tessary_cli_value() {
  case $1 in
    FileOperation) _tessary_cli_offer "1 2 $2" ;;
    TessaryType) _tessary_cli_offer "1 2 3 4 5 $2" ;;
    *) _tessary_cli_offer "true false $2" ;;
  esac
}

_tessary_cli_defaults() {
  local action=${COMP_WORDS[2]} key=${COMP_WORDS[3]} type=-bool
  [[ $key == FileOperation || $key == TessaryType ]] && type=-int
  if [[ $cur == -* && $COMP_CWORD -lt 4 ]]; then
    _tessary_cli_offer '--force -h --help'
  elif ((COMP_CWORD == 2)); then
    _tessary_cli_offer 'read write delete'
  elif ((COMP_CWORD == 3)); then
    _tessary_cli_offer 'FileOperation TessaryType QuitWhenDone RecurseFolders
      ReplaceFilesBySameName AggregateAppResourcesOnly PreserveComments'
  elif [[ $action == write && $COMP_CWORD -eq 4 ]]; then
    _tessary_cli_value "$key" "$type"
  elif [[ $action == write && $COMP_CWORD -eq 5 && $prev == "$type" ]]; then
    _tessary_cli_value "$key"
  fi
}

_tessary_cli_info() {
  if [[ $cur == -* ]]; then
    _tessary_cli_offer '--json -h --help'
  else
    _tessary_cli_paths
  fi
}

_tessary_cli_integrate() {
  if [[ $cur == -* ]]; then
    _tessary_cli_offer '-h --help'
  elif ((COMP_CWORD == 2)); then
    _tessary_cli_offer 'install remove status'
  fi
}

_tessary_cli_undo() {
  if [[ $cur == -* ]]; then
    _tessary_cli_offer '--dry-run -h --help'
  else
    _tessary_cli_paths
  fi
}

_tessary_cli() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    _tessary_cli_offer 'aggregate defaults info integrate undo -h --help -V --version'
    return
  fi
  case ${COMP_WORDS[1]} in
    aggregate | defaults | info | integrate | undo) "_tessary_cli_${COMP_WORDS[1]}" ;;
  esac
}

complete -F _tessary_cli tessary-cli
