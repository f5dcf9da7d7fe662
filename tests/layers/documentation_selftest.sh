#!/bin/sh
# documentation_selftest.sh DIR COMPILER: documentation.sh and documentation_examples.sh must be
# content with a small header. With a thing taken from it, the first must name exactly what is gone;
# an example that is broken must not get past the second.
here=$(realpath "$(dirname "$0")")
compiler=$2
rm -rf "$1" && mkdir -p "$1" && cd "$1" || exit 2
printf 'KwPkiMake\nKwPkiRead\n' >exports.txt
cat >good.h <<'END'
#define KWPKI_CALL
typedef unsigned KwPkiStatus;
/** A comment of a group. */

/** KwPkiMake makes one.
 *  - Ownership: the caller's.
 *  - Threads: any.
 *  @return one */
char *KWPKI_CALL KwPkiMake(void);

/** KwPkiRead reads.
 *  - Ownership: nothing changes hands.
 *  - Threads: any.
 *  @param[in] data    octets
 *  @param[out] count  how many
 *  @retval KWPKI_OK  always
 *
 *  @code{.c}
 *  KwPkiStatus read_none(unsigned *count) { return KwPkiRead(0, count); }
 *  @endcode */
KwPkiStatus KWPKI_CALL KwPkiRead(const char *data,
                                 unsigned *count);
END

bad=0
finds() {  # finds MESSAGE SED-EXPRESSION
  sed "$2" good.h >changed.h
  found=$(sh "$here/documentation.sh" changed.h exports.txt)
  status=$?
  test "$found" = "$1" && test $((status == 0)) = $((${#1} == 0)) && return
  echo "after '$2' it says, with status $status: $found"
  bad=1
}
finds "" ""
finds "KwPkiMake lacks @return or @retval" "s/@return one//"
finds "KwPkiRead lacks @return or @retval" "/@retval/d"
finds "KwPkiRead lacks @retval KWPKI_OK" "s/@retval KWPKI_OK/@retval KWPKI_FAILED/"
finds "KwPkiRead lacks @param data" "/@param.* data/d"
finds "KwPkiRead lacks @param count" "s/@param.* count/@param[out] counts/"
finds "KwPkiRead lacks @param count" "s/@param\[out\] count/@param count/"
finds "KwPkiMake lacks Ownership:" "s/Ownership: the caller's.//"
finds "KwPkiRead lacks Ownership:" "/Ownership: nothing/d"
finds "KwPkiRead lacks Threads:" "/KwPkiRead reads/,\$ s/Threads:.*//"
finds "KwPkiMake lacks Threads:" "0,/Threads:/ s/Threads:.*//"
finds "KwPkiMake lacks a declaration" "s/KwPkiMake(void)/KwPkiMade(void)/"
finds "KwPkiMake lacks @return or @retval
KwPkiMake lacks Ownership:
KwPkiMake lacks Threads:" "/KwPkiMake makes/,/@return/d"

compiles() {  # compiles SED-EXPRESSION
  sed "$1" good.h >changed.h
  sh "$here/documentation_examples.sh" changed.h examples "$compiler" >log 2>&1
}
compiles "" || { cat log; bad=1; }
for fault in "s/(0, count)/(0)/" "s/KwPkiRead(0/KwPkiReed(0/" "s/@endcode//" \
    "s/@code.*//; s/@endcode//"; do
  compiles "$fault" && { echo "an example compiles after '$fault'"; bad=1; }
done
exit $bad
