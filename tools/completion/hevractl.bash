# shellcheck shell=bash
# Completes hevractl's command line in bash: its commands and options as its help lists them, files, the names of classes
# and the like, and the addresses and types of the nodes that the service knows now. Needs nothing but bash and awk.

# Reads a help into the caller's variables.
_hevractl_read_help() {
  local help
  help=$("$@" 2>/dev/null)
  commands=$(sed -n '/^Commands:/,/^Example/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
  mapfile -t arguments < <(sed -n '/^Arguments:/,/^Options/s/^  \([A-Z]*\) .*/\1/p' <<<"$help")
  options+=$(sed -n 's/^  \(-h, \)\{0,1\}\(--[a-z-]*\).*/\n\2/p' <<<"$help")
  valued+=$(sed -n 's/^  \(--[a-z-]* [A-Z][A-Z]*\)\( .*\)\{0,1\}$/\n\1/p' <<<"$help")
}

# Prints a column of the nodes, of those of a kind if one is given; nothing when the service does not answer soon.
_hevractl_nodes() {
  timeout 2 "${reach[@]}" nodes 2>/dev/null |
    awk -v column="$1" -v kind="${2-}" 'NR > 1 && (kind == "" || $1 == kind) && !seen[$column]++ { print $column }'
}

_hevractl() {
  local before=${COMP_LINE:0:COMP_POINT} words word current previous='' wanted='' place=0 choices='' typed
  local commands='' arguments=() options='' valued='' path=() reach=("$1")
  read -ra words <<<"$before"
  [[ $before != *[[:space:]] ]] || words+=('')
  current=${words[-1]}
  COMPREPLY=()

  _hevractl_read_help "$1" help options
  _hevractl_read_help "$1" --help
  for word in "${words[@]:1:${#words[@]}-2}"; do
    if [[ -n $previous ]]; then
      [[ $previous != --bus && $previous != --host && $previous != --service ]] || reach+=("$previous" "$word")
      previous=''
    elif [[ $word == --bus=* || $word == --host=* || $word == --service=* ]]; then
      reach+=("$word")
    elif [[ $word == -* ]]; then
      [[ $valued$'\n' != *$'\n'"$word "* ]] || previous=$word
    elif [[ $'\n'$commands$'\n' == *$'\n'"$word"$'\n'* ]]; then
      [[ ${path[0]-} == help ]] || path+=("$word")
      [[ ${path[0]} == help ]] || _hevractl_read_help "$1" "${path[@]}" --help
    else
      ((++place))
    fi
  done
  if [[ -z $previous && $current == --*=* ]]; then
    previous=${current%%=*} current=${current#*=}
  fi
  typed=$current

  if [[ -n $previous ]]; then
    wanted=$(sed -n "s/^$previous //p" <<<"$valued" | head -1)
  elif [[ $current != -* && -z $commands ]]; then
    wanted=${arguments[place]-}
  fi
  if [[ ${path[0]-} == send && -z $previous && $current != -* ]] && ((place > 0)) || [[ $current == 0x* && $wanted == FILE ]]; then
    wanted=WRITE
  fi
  case $previous:$wanted in
    --bus:*)
      if [[ $current == unix:path=* ]]; then
        wanted=FILE current=${current#unix:path=}
      else
        choices='system session unix:path='
        compopt -o nospace 2>/dev/null
      fi ;;
    --service:*) choices='hevra zuv' ;;
    --action:*) choices='add modify remove' ;;
    --class:*) choices='actuator sensor stack beacon actuator-with-sensor repeating-actuator controller' ;;
    --kind:*) choices='actuator sensor stack controller' ;;
    --sort:*) choices='kind address class type state' ;;
    --time:*) choices='absolute relative none' ;;
    --type:*)
      if [[ ${path[0]-} == link ]]; then choices='control sense relay unknown'; else choices=$(_hevractl_nodes 4); fi ;;
    --stack:*) choices=$(_hevractl_nodes 2 stack) ;;
    --node:* | :ADDRESS) choices=$(_hevractl_nodes 2) ;;
    :WRITE)
      case $((place % 3)) in
        0) choices=$(_hevractl_nodes 2) ;;
        1) choices='ay y q u t n i x s d b null' ;;
        2) [[ ${words[-2]} != b ]] || choices='true false' ;;
      esac ;;
    :*) if [[ $current == -* ]]; then choices="$options --version"; else choices=$commands; fi ;;
  esac
  if [[ $wanted == FILE ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
  fi
  # The shell takes a colon or an equals sign for the end of a word, and completes what comes behind.
  [[ $wanted == FILE || $typed != *:* ]] || COMPREPLY=("${COMPREPLY[@]#*:}")
}

complete -F _hevractl hevractl
