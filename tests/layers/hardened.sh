#!/bin/sh
# hardened.sh COMPILER LIBRARY TOOL ARCHIVE...: the shared library and the tool, and the archives of
# which they are made, have their defences: any address will do, tables are read-only once all is
# bound, stacks are guarded and hold no code, functions of the C library are checked, and targets of
# jumps are marked.
compiler=$1 library=$2 tool=$3
shift 3
bad=0
machine=$("$compiler" -dumpmachine | sed 's/-.*//')
complain() { echo "$*"; bad=1; }

# has FILE FAULT PATTERN looks into what was read of the file.
has() { echo "$found" | grep -qE "$3" || complain "$1: $2"; }
for file in "$library" "$tool"; do
  found=$(readelf -hldW "$file")
  has "$file" "is tied to its address" 'Type: +DYN'
  has "$file" "leaves its tables writable" 'GNU_RELRO'
  has "$file" "binds late" 'BIND_NOW|\(FLAGS_1\).*NOW'
  has "$file" "has an executable stack" 'GNU_STACK .* RW '
  found=$(nm -D --undefined-only "$file")
  has "$file" "does not guard its stack" ' __stack_chk_fail'
  has "$file" "calls no checked function" ' __[a-z]+_chk@'
done

# marked FILE counts the objects in it of which all targets are marked. The linker keeps the mark if
# everything has it, which the toolchain's own parts may not.
marked() { LC_ALL=C readelf -nW "$1" 2>/dev/null | grep -c 'x86 feature:.*IBT, SHSTK'; }
for archive; do
  found=$(nm "$archive" 2>/dev/null)
  has "$archive" "does not guard its stack" ' U __stack_chk_fail'
  test "$machine" != x86_64 || test "$(marked "$archive")" = "$(ar t "$archive" | wc -l)" ||
    complain "$archive: jumps are not marked in every object"
done
exit $bad
