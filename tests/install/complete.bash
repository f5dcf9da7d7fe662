# complete.bash SCRIPT LINE prints what bash offers for the last word of LINE.
source "$1"
fallback=
compopt() { fallback=$2; }
line=${2//=/ = } # bash breaks words there as well
read -ra COMP_WORDS <<<"$line"
[[ $line == *' ' ]] && COMP_WORDS+=("")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_kwpki
printf '%s\n' "${COMPREPLY[@]}"
((${#COMPREPLY[@]})) && exit
case $fallback in
default) compgen -f -- "${COMP_WORDS[COMP_CWORD]}" ;;
dirnames) compgen -d -- "${COMP_WORDS[COMP_CWORD]}" ;;
esac
