# Prints what zsh offers for a line of input, one word a line:
#
#   zsh -f zsh_matches.zsh DIRECTORY-OF-COMPLETIONS 'tesview --to '
#
# The completion system only works in an interactive shell, so one is run in a terminal of its own; it ends itself
# after the first completion.
emulate zsh
zmodload zsh/zpty

zpty inner zsh -f -i
zpty -w inner "PROMPT= PS2= RPROMPT=; unsetopt zle_bracketed_paste prompt_cr prompt_sp
fpath=(${(q)1} \$fpath)
autoload -Uz compinit && compinit -u -D
bindkey '^I' complete-word
compadd() {
  local -a matches
  if [[ \${argv[1,(i)(-|--)]} == *-(O|A|D)* ]]; then builtin compadd \"\$@\"; return; fi
  builtin compadd -A matches \"\$@\"
  print -rl -- MATCH:\${^matches}
  builtin compadd \"\$@\"
}
finish() { print DONE; exit }
comppostfuncs=(finish)
print READY"

while zpty -r inner line; do
  [[ $line == READY* ]] && break
done
zpty -w -n inner "$2"$'\t'
while zpty -r inner line; do
  line=${line%$'\r\n'}
  [[ $line == DONE* ]] && break
  [[ $line == *MATCH:* ]] && print -r -- ${line##*MATCH:}
done
zpty -d inner
