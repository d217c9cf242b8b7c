# What Tab offers for a command line in zsh: zsh -f try_completion.zsh FOLDER LINE. FOLDER holds the completion
# function. Prints what the terminal shows after Tab, up to the new prompt.

zmodload zsh/zpty
zpty Shell zsh -f -i
zpty -w Shell "stty -echo; PROMPT='<prompt>'; fpath=(${(q)1} \$fpath); autoload -Uz compinit; compinit -u -D
bindkey '^I' list-choices; setopt no_beep no_always_last_prompt; echo rea''dy"
zpty -r Shell Shown '*ready*<prompt>*'
zpty -w -n Shell "$2"$'\t'
zpty -r Shell Shown '*<prompt>*'
print -r -- "$Shown"
zpty -d Shell
