# Bash completion for blockfit-convert: options, then files with one of the seven extensions.

_blockfit_convert() {
  local Word=${COMP_WORDS[COMP_CWORD]} Before=${COMP_WORDS[COMP_CWORD - 1]} File
  local -a Files
  COMPREPLY=()

  case $Before in
    --base | --block | --line | --within) return ;; # a number, or two
  esac
  if [[ $Word == -* ]]; then
    local Options="--allow-warnings --base --block --help --line --version --within -o -q"
    mapfile -t COMPREPLY < <(compgen -W "$Options" -- "$Word")
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

complete -F _blockfit_convert blockfit-convert
