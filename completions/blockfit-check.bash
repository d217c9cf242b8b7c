# Bash completion for blockfit-check: options, then files with one of the seven extensions.

_blockfit_check() {
  local Word=${COMP_WORDS[COMP_CWORD]} Before=${COMP_WORDS[COMP_CWORD - 1]} File
  local -a Files
  COMPREPLY=()

  case $Before in
    --base | --block | --line | --within) return ;; # a number, or two
  esac
  if [[ $Word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "--against --base --block --blocks --conditioned --help --line --strict
      --version --within" -- "$Word")
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

complete -F _blockfit_check blockfit-check
