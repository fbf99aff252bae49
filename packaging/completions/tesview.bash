# Completion of tesview for bash.
_tesview() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=${COMP_WORDS[1]} options
  COMPREPLY=()
  case "$command $before" in
    "pack --to") COMPREPLY=($(compgen -W "raw delimited hex base64" -- "$word")); return ;;
  esac
  case "$before" in
    --to) COMPREPLY=($(compgen -W "table json pretty ndjson csv summary text" -- "$word")); return ;;
    --from) COMPREPLY=($(compgen -W "auto raw delimited hex base64 text" -- "$word")); return ;;
    --type) COMPREPLY=($(compgen -W "ById DaDan FenLeiChiCang BxzjStock BxzjBlock Token ZhiBiao1 ZhiBiao2 ZhiBiao3 ZhiBiao4 ZhiBiao5 ZhiBiao6 ZhiBiao7 ZhiBiao8 ZhiBiao9 ZhiBiao10 ZhiBiao11 ZhiBiao12 ZhiBiao13 ZhiBiao14 ZhiBiao15 ZhiBiao16" -- "$word")); return ;;
    --color) COMPREPLY=($(compgen -W "auto always never" -- "$word")); return ;;
    --style) COMPREPLY=($(compgen -W "auto box plain" -- "$word")); return ;;
    --progress) COMPREPLY=($(compgen -W "auto always never" -- "$word")); return ;;
  esac
  case "$command" in
    ids) options="--table --help" ;;
    schema) options="--all --help" ;;
    number) options="--packed --pack --help" ;;
    pack) options="--output --to --partial --help" ;;
    *) options="--help --version --from --to --table --json --pretty --color --style --width --type --path --columns --head --tail --jobs --strict --progress" ;;
  esac
  if [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$word"))
  else
    [[ $COMP_CWORD -eq 1 ]] && COMPREPLY=($(compgen -W "ids schema number pack" -- "$word"))
    COMPREPLY+=($(compgen -f -- "$word"))
  fi
}
complete -o filenames -F _tesview tesview
