# Bash completion for Blockfit: at most two options with their values, then a file with one of the seven extensions.

_Blockfit() {
  local Word=${COMP_WORDS[COMP_CWORD]} Before=${COMP_WORDS[COMP_CWORD - 1]} Option File
  local -a Files
  COMPREPLY=()

  if ((COMP_CWORD % 2 == 0)); then # the value of an option
    case ${Before,,} in
      -o | -out)
        compopt -o filenames -o nospace
        mapfile -t COMPREPLY < <(compgen -d -- "$Word")
        ;;
    esac
    return
  fi
  if [[ $Word == -* ]]; then
    for Option in -BaseAddr -Out -BlockAlign -LineAlign; do
      if ((COMP_CWORD < 5)) && [[ ${Option,,} == "${Word,,}"* ]]; then
        COMPREPLY+=("$Option")
      fi
    done
    return
  fi
  compopt -o filenames
  mapfile -t Files < <(compgen -f -- "$Word")
  for File in "${Files[@]}"; do
    if [[ -d ${File/#~/$HOME} || ${File,,} =~ \.(hex|mot|srec|s19|s37|s|bin)$ ]]; then
      COMPREPLY+=("$File")
    fi
  done
}

complete -F _Blockfit Blockfit
