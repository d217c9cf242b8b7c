# What Tab offers for a command line in zsh: zsh -f try_completion.zsh COMPLETION_FOLDER FOLDER LINE. LINE is typed in
# FOLDER. Prints what the terminal shows after Tab, up to the new prompt.

zmodload zsh/zpty
cd $2
zpty Shell zsh -f -i
zpty -w Shell "stty -echo; PROMPT='<prompt>'; fpath=(${(q)1} \$fpath); autoload -Uz compinit; compinit -u -D
bindkey '^I' list-choices; setopt no_beep no_always_last_prompt; echo rea''dy"
zpty -r Shell Shown '*ready*<prompt>*'
zpty -w -n Shell "$3"$'\t'
zpty -r Shell Shown '*<prompt>*'
print -r -- "$Shown"
zpty -d Shell
