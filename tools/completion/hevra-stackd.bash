# shellcheck shell=bash
# Completes hevra-stackd's command line in bash: its options as its help lists them, their values and files. Needs nothing
# but bash and sed.

_hevra_stackd() {
  local before=${COMP_LINE:0:COMP_POINT} words help typed option='' current prefix='' wanted='' choices='' breaks=''
  read -ra words <<<"$before"
  [[ $before != *[[:space:]] ]] || words+=('')
  typed=${words[-1]} current=$typed
  COMPREPLY=()

  help=$'\n'$("$1" --help 2>/dev/null)
  if [[ $typed == --*=* ]]; then
    option=${typed%%=*} prefix=${typed%%=*}= current=${typed#*=}
  elif ((${#words[@]} > 2)) && [[ $help == *$'\n  '"${words[-2]} "[A-Z]* ]]; then
    option=${words[-2]}
  fi

  [[ $help != *$'\n  '"$option FILE "* ]] || wanted=FILE
  case $option in
    '') choices=$(sed -n 's/^  \(-h, \)\{0,1\}\(--[a-z-]*\).*/\2/p' <<<"$help") ;;
    --service) choices='hevra zuv both' ;;
    --bus)
      choices='system session unix:path='
      [[ $current != unix:path=* ]] || wanted=FILE prefix+=unix:path= current=${current#unix:path=}
      compopt -o nospace 2>/dev/null ;;
  esac
  if [[ $wanted == FILE ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
  fi
  COMPREPLY=("${COMPREPLY[@]/#/$prefix}")
  # Readline replaces only what stands behind the last of its separators.
  [[ $COMP_WORDBREAKS != *=* ]] || breaks='='
  [[ $COMP_WORDBREAKS != *:* ]] || breaks+=':'
  [[ -z $breaks ]] || COMPREPLY=("${COMPREPLY[@]#"${typed%"${typed##*["$breaks"]}"}"}")
}

complete -F _hevra_stackd hevra-stackd
