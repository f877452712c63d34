# bash completion for tovrin

# Paths of the domain that begin with the word, one level at a time; folders end in "/".
_tovrin_items() {
  local typed=$1 folder name
  [[ $typed == /* ]] || return
  folder=${typed%/*}/
  while IFS= read -r name; do
    # A name that is shown with escapes is not the name.
    [[ $name != *\\* && $folder$name == "$typed"* ]] && COMPREPLY+=("$(printf %q "$folder$name")")
  done < <(tovrin "${container[@]}" ls -p -- "$folder" 2>/dev/null)
  compopt -o nospace 2>/dev/null
}

_tovrin() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local command="" call="" arguments=0 container=() i typed
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --container)
        container=(--container "${COMP_WORDS[i + 1]}")
        ((i++))
        ;;
      -o | --output) ((i++)) ;;
      -*) ;;
      *)
        if [[ -z $command ]]; then
          command=${COMP_WORDS[i]}
        elif [[ $command == inspect && -z $call ]]; then
          call=${COMP_WORDS[i]}
        else
          ((arguments++))
        fi
        ;;
    esac
  done
  case $prev in
    --container)
      mapfile -t COMPREPLY < <(compgen -d -- "$cur")
      return
      ;;
    -o | --output)
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      return
      ;;
  esac
  if [[ $cur == -* ]]; then
    local options="--help --container"
    case $command in
      "") options+=" --version" ;;
      ls) options+=" --long --recursive --slash --json" ;;
      fetch) options+=" --output --recursive --json" ;;
      put | doctor) options+=" --json" ;;
      status) options+=" --follow --json" ;;
      evict) options+=" --all --json" ;;
      inspect) [[ $call == lzfse ]] && options+=" --output" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    return
  fi
  typed=${cur//\\/}
  typed=${typed#[\'\"]}
  case $command:$arguments in
    :*) mapfile -t COMPREPLY < <(compgen -W "ls cat fetch put status evict doctor inspect" -- "$cur") ;;
    ls:0 | cat:0 | fetch:0 | put:0 | evict:*) _tovrin_items "$typed" ;;
    put:1) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
    inspect:*)
      case $call in
        "")
          local calls="item children anchor changes identifier manifest visible live tombstones journal lzfse"
          mapfile -t COMPREPLY < <(compgen -W "$calls" -- "$cur")
          ;;
        manifest | lzfse) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
      esac
      ;;
  esac
}

complete -F _tovrin tovrin
