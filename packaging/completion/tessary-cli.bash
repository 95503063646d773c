# bash completion for tessary-cli

_tessary_cli_defaults() {
  local keys='FileOperation TessaryType QuitWhenDone RecurseFolders ReplaceFilesBySameName
    AggregateAppResourcesOnly PreserveComments'
  case $COMP_CWORD in
    2) COMPREPLY=($(compgen -W 'read write delete' -- "$cur")) ;;
    3) COMPREPLY=($(compgen -W "$keys" -- "$cur")) ;;
    4) [[ ${COMP_WORDS[2]} == write ]] || return
      case ${COMP_WORDS[3]} in
        FileOperation | TessaryType) COMPREPLY=(-int) ;;
        *) COMPREPLY=(-bool) ;;
      esac ;;
    5) case ${COMP_WORDS[3]}:${COMP_WORDS[4]} in
        *:-bool) COMPREPLY=($(compgen -W 'true false' -- "$cur")) ;;
        FileOperation:-int) COMPREPLY=($(compgen -W '1 2' -- "$cur")) ;;
        TessaryType:-int) COMPREPLY=($(compgen -W '1 2 3 4 5' -- "$cur")) ;;
      esac ;;
  esac
}

_tessary_cli_aggregate() {
  local kinds='extension file-type mime-type modification-date creation-date'
  local options='--kind --recurse --copy --move --replace --preserve-comments --whole-application
    --help'
  # bash takes "--kind=VALUE" apart at the "=".
  if [[ $prev == --kind || $prev == = || $cur == = ]]; then
    COMPREPLY=($(compgen -W "$kinds" -- "${cur#=}"))
  elif [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
  elif declare -F _filedir >/dev/null; then
    _filedir -d
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
  fi
}

_tessary_cli_info() {
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W '--json --help' -- "$cur"))
  elif declare -F _filedir >/dev/null; then
    _filedir
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
  fi
}

_tessary_cli() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W 'aggregate defaults integrate info --help --version' -- "$cur"))
  elif [[ ${COMP_WORDS[1]} == aggregate ]]; then
    _tessary_cli_aggregate
  elif [[ ${COMP_WORDS[1]} == defaults ]]; then
    _tessary_cli_defaults
  elif [[ ${COMP_WORDS[1]} == integrate && $COMP_CWORD -eq 2 ]]; then
    COMPREPLY=($(compgen -W 'install remove status' -- "$cur"))
  elif [[ ${COMP_WORDS[1]} == info ]]; then
    _tessary_cli_info
  fi
}

complete -F _tessary_cli tessary-cli
