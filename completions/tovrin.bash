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

# The words of mount -o: the last of a list that is separated by commas.
_tovrin_mount_options() {
  local list=$1 before="" option
  [[ $list == *,* ]] && before=${list%,*},
  for option in allow_other allow_root auto_unmount ro fsname= subtype= uid= gid= umask= owner=manifest cache_size= \
    cache_free= crawlers=allow crawler= max_fetches= notify=none offline container=; do
    [[ $before$option == "$list"* ]] && COMPREPLY+=("$before$option")
  done
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
      -o | --output | --cache-* | --crawler* | --max-fetches | --notify) ((i++)) ;;
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
    -o)
      if [[ $command == mount ]]; then
        _tovrin_mount_options "$cur"
        return
      fi
      ;;&
    --crawlers)
      mapfile -t COMPREPLY < <(compgen -W "deny allow" -- "$cur")
      return
      ;;
    --notify)
      mapfile -t COMPREPLY < <(compgen -W "errors none" -- "$cur")
      return
      ;;
    --cache-* | --crawler | --max-fetches) return ;;
    -o | --output)
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      return
      ;;
  esac
  if [[ $cur == -* ]]; then
    local options="--help --container"
    case $command in
      "") options+=" --version" ;;
      mount)
        options+=" --foreground --cache-size --cache-free --crawlers --crawler --max-fetches --notify --offline"
        options+=" --verbose --debug --sloppy --fake"
        ;;
      unmount) options+=" --lazy" ;;
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
    :*) mapfile -t COMPREPLY < <(compgen -W "mount unmount ls cat fetch put status evict doctor inspect" -- "$cur") ;;
    mount:0) mapfile -t COMPREPLY < <(compgen -d -- "$cur") ;;
    unmount:0)
      while IFS= read -r typed; do
        [[ $typed == "$cur"* ]] && COMPREPLY+=("$(printf %q "$typed")")
      done < <(findmnt -n -l -o TARGET -t fuse.tovrin)
      ;;
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
