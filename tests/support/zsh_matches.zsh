# Prints what zsh offers for lines of input: a word a line, and END behind those of each.
#
#   zsh -f zsh_matches.zsh DIRECTORY-OF-COMPLETIONS 'tesview --to ' 'tesview --col'
#
# The completion system only works in an interactive shell, so one is run in a terminal of its own.
emulate zsh
zmodload zsh/zpty

zpty inner zsh -f -i
zpty -w inner "PROMPT= PS2= RPROMPT=; unsetopt zle_bracketed_paste prompt_cr prompt_sp auto_list
fpath=(${(q)1} \$fpath)
autoload -Uz compinit && compinit -u -D
bindkey -e
bindkey '^I' complete-word
compadd() {
  local -a matches
  if [[ \${argv[1,(i)(-|--)]} == *-(O|A|D)* ]]; then builtin compadd \"\$@\"; return; fi
  builtin compadd -A matches \"\$@\"
  print -rl -- MATCH:\${^matches}
  builtin compadd \"\$@\"
}
finish() { print DONE; comppostfuncs=(finish) }
comppostfuncs=(finish)
print READY"

while zpty -r inner line; do
  [[ $line == READY* ]] && break
done
for input in "${@:2}"; do
  # What the completion before left in the line goes first.
  zpty -w -n inner $'\C-u'"$input"$'\t'
  while zpty -r inner line; do
    line=${line%$'\r\n'}
    [[ $line == *DONE* ]] && break
    [[ $line == *MATCH:* ]] && print -r -- ${line##*MATCH:}
  done
  print END
done
zpty -d inner
