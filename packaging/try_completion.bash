# shellcheck shell=bash
# What Tab offers for a command line in bash: bash try_completion.bash COMPLETION_FILE FOLDER LINE. LINE is typed in
# FOLDER. Each offer is printed on its own line.

# shellcheck source=/dev/null
source "$1"
cd "$2" || exit

compopt() { :; } # works only inside a real completion

read -r Function _ < <(complete -p | sed 's/.*-F //')
read -ra COMP_WORDS <<<"$3"
[[ $3 != *' ' ]] || COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
COMPREPLY=()
"$Function"
printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort
