# shellcheck shell=bash
# What Tab offers for a command line in bash: bash try_completion.bash COMPLETION_FILE WORD... The last word is the one
# being typed; each offer is printed on its own line.

# shellcheck source=/dev/null
source "$1"
shift

compopt() { :; } # works only inside a real completion

read -r Function Program < <(complete -p | sed 's/.*-F \([^ ]*\) /\1 /')
COMP_WORDS=("$Program" "$@")
COMP_CWORD=$#
COMPREPLY=()
"$Function"
printf '%s\n' "${COMPREPLY[@]}" | sort
