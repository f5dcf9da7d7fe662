# complete.zsh SCRIPT LINE prints what zsh offers for the last word of LINE. The functions are those
# of its completion system, as far as the script uses them.
_describe() {
  local item
  for item in "${(@P)2}"; do [[ $item == $PREFIX* ]] && print -r -- "${item%%:*}"; done
}
_files() {
  [[ $1 == -/ ]] && print -l -- $PREFIX*(N/) || print -l -- $PREFIX*(N)
}
compset() { PREFIX=${PREFIX#$~2} }

words=("${(@s: :)2}")
CURRENT=$#words
PREFIX=$words[CURRENT]
eval "_kwpki() { $(<$1) }"
_kwpki
