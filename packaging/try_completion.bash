# shellcheck shell=bash
# What Tab offers for a command line in bash: bash try_completion.bash COMPLETION_FILE WORD... The last word is the one
# being typed; each offer is printed on a line.

# shellcheck source=completions/Blockfit.bash
source "$1"
shift

compopt() { :; } # works inside a real completion only

COMP_WORDS=(Blockfit "$@")
COMP_CWORD=$#
COMPREPLY=()
"$(complete -p Blockfit | sed 's/.*-F \([^ ]*\).*/\1/')"
printf '%s\n' "${COMPREPLY[@]}" | sort
