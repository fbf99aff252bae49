# Completion of tesview for bash.
_tesview() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=
  local options values= files=yes
  # --to=json comes as three words.
  if [[ $word == "=" ]]; then
    word=
  elif [[ $before == "=" && COMP_CWORD -ge 2 ]]; then
    before=${COMP_WORDS[COMP_CWORD-2]}
  fi
  [[ COMP_CWORD -ge 2 ]] && command=${COMP_WORDS[1]}
  COMPREPLY=()
  case $command in
    stat)
      options="--rows --to --from --id --sample --skip --limit --jobs --strict --progress --help"
      case $before in
        --to) values="table json" ;;
        --from) values="auto raw delimited fixed32be fixed32le hex base64 lines text" ;;
        --id) values=$(tesview ids 2>/dev/null | awk 'NR > 1 { print $2 }') ;;
        --progress) values="auto always never" ;;
        --sample|--skip|--limit|-j|--jobs) return ;;
      esac
      ;;
    ids)
      options="--table --help"
      [[ -n $values || $word == -* ]] || values=$(tesview ids 2>/dev/null | awk 'NR > 1 { print $2 }')
      files=
      ;;
    columns)
      options="--type --to --help"
      case $before in
        --type) values="DaDan FenLeiChiCang BxzjStock Token ZhiBiao1 ZhiBiao2 ZhiBiao3 ZhiBiao4 ZhiBiao5 ZhiBiao6 ZhiBiao7 ZhiBiao8 ZhiBiao9 ZhiBiao10 ZhiBiao11 ZhiBiao12 ZhiBiao13 ZhiBiao14 ZhiBiao15 ZhiBiao16" ;;
        --to) values="table json markdown names" ;;
      esac
      [[ -n $values || $word == -* ]] || values=$(tesview ids 2>/dev/null | awk 'NR > 1 { print $2 }')
      files=
      ;;
    schema)
      options="--all --help"
      [[ -n $values || $word == -* ]] || values=$(tesview ids 2>/dev/null | awk 'NR > 1 { print $2 }')
      files=
      ;;
    number)
      options="--packed --pack --help"
      files=
      ;;
    pack)
      options="--output --to --partial --help"
      case $before in
        --to) values="raw delimited fixed32be fixed32le hex base64" ;;
      esac
      ;;
    *)
      options="--help --version --from --resync --no-resync --id --sample --skip --limit --to --table --json --pretty --nested --output --force --open --color --style --header --time --width --split-by --bom --csv-safe --redact --no-redact --where --type --decode --unpack --path --columns --head --tail --jobs --strict --progress"
      case $before in
        --from) values="auto raw delimited fixed32be fixed32le hex base64 lines text" ;;
        --id) values=$(tesview ids 2>/dev/null | awk 'NR > 1 { print $2 }') ;;
        --to) values="table json pretty ndjson csv tsv arrow summary text html bin" ;;
        --color) values="auto always never" ;;
        --style) values="auto box plain" ;;
        --header) values="name en zh" ;;
        --time) values="raw iso" ;;
        --split-by) values="id obj date" ;;
        --type) values="DaDan FenLeiChiCang BxzjStock Token ZhiBiao1 ZhiBiao2 ZhiBiao3 ZhiBiao4 ZhiBiao5 ZhiBiao6 ZhiBiao7 ZhiBiao8 ZhiBiao9 ZhiBiao10 ZhiBiao11 ZhiBiao12 ZhiBiao13 ZhiBiao14 ZhiBiao15 ZhiBiao16" ;;
        --unpack) values=$(tesview columns --to names 2>/dev/null) ;;
        --columns) values=$(tesview columns --to names 2>/dev/null) ;;
        --progress) values="auto always never" ;;
        --sample|--skip|--limit|--width|--where|--path|--head|--tail|-j|--jobs) return ;;
      esac
      ;;
  esac
  if [[ -n $values ]]; then
    # Behind a comma begins another word of the list.
    local list=
    [[ $word == *,* ]] && list=${word%,*},
    COMPREPLY=($(compgen -W "$values" -P "$list" -- "${word##*,}"))
  elif [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$word"))
  else
    [[ COMP_CWORD -eq 1 ]] && COMPREPLY=($(compgen -W "stat ids columns schema number pack" -- "$word"))
    # A name may have blanks in it.
    local IFS=$'\n'
    [[ -n $files ]] && COMPREPLY+=($(compgen -f -- "$word"))
  fi
}
complete -o filenames -F _tesview tesview
