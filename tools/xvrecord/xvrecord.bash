# Completion of xvrecord's command line in bash: options, formats, codecs, attributes and their
# values. The program itself knows them.
_xvrecord() {
  local line=${COMP_LINE:0:COMP_POINT} words=() word='' quote='' char i candidate
  # The words up to the cursor; those of COMP_WORDS are cut at ":" and "=".
  for ((i = 0; i < ${#line}; i++)); do
    char=${line:i:1}
    if [[ -n $quote ]]; then
      if [[ $char == "$quote" ]]; then quote=''; else word+=$char; fi
    elif [[ $char == [\'\"] ]]; then
      quote=$char
    elif [[ $char == \\ ]]; then
      ((++i))
      word+=${line:i:1}
    elif [[ $char == [[:space:]] ]]; then
      [[ -n $word ]] && words+=("$word")
      word=''
    else
      word+=$char
    fi
  done
  words+=("$word")

  COMPREPLY=()
  # Outside of quotes the shell replaces what stands behind the last ":" or "=".
  local kept=''
  [[ -z $quote ]] && kept=${word%"${word##*[:=]}"}
  while IFS= read -r candidate; do
    candidate=${candidate#"$kept"}
    [[ -z $quote ]] && printf -v candidate %q "$candidate"
    [[ $candidate == *[:=] ]] && compopt -o nospace 2>/dev/null
    COMPREPLY+=("$candidate")
  done < <("${words[0]}" --complete "${words[@]:1}" 2>/dev/null)
}
complete -o default -F _xvrecord xvrecord
