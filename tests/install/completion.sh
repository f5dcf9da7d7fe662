#!/bin/sh
# completion.sh SHELL PREFIX: the script of this shell is sound, and completes what it should. A
# case is a command line up to the cursor, and what is offered there.
shell=$1 prefix=$2 driver=$(dirname "$0")/complete.$1
share=$prefix/share
command -v "$shell" >/dev/null || { echo "there is no $shell"; exit 77; }
case $shell in
bash) script=$share/bash-completion/completions/kwpki ;;
zsh) script=$share/zsh/site-functions/_kwpki ;;
fish) script=$share/fish/vendor_completions.d/kwpki.fish ;;
esac
"$shell" -n "$script" || exit 1
"$prefix/bin/kwpki" completion "$shell" | cmp - "$script" || exit 1
! "$prefix/bin/kwpki" completion tcsh 2>/dev/null || exit 1

files=$(mktemp -d)
trap 'rm -rf "$files"' EXIT
cd "$files" && mkdir folder && touch some.der || exit 1
failed=0
while IFS='|' read -r line expected; do
  # Some offer "folder/", "--option=value" or a word with its help.
  offered=$("$shell" "$driver" "$script" "$line" | cut -f 1 | sed 's|/$||; s|^--[a-z]*=||' |
    LC_ALL=C sort | xargs)
  test "$offered" = "${expected# }" && continue
  echo "$line| $offered, but not:$expected"
  failed=1
done <<END
kwpki in| inspect
kwpki message | decode encode
kwpki add --o| --options
kwpki inspect --tree| --tree --tree-lines
kwpki inspect --color=a| always auto
kwpki search --dns=message --ke| --key-of --key-type --key-usage
kwpki error KWPKI_REF| KWPKI_REFUSED KWPKI_REFUSED_SEVERE
kwpki inspect so| some.der
kwpki request | folder remove some.der
kwpki message encode --output=so| some.der
kwpki status --trace | folder
END
exit $failed
