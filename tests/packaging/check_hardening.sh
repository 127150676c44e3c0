#!/usr/bin/env bash
# Looks into linked files for what the release settings promise. What leaves no trace there is asked of the
# compiler's commands instead: check_flags.py.
#   check_hardening.sh [--without-fortify] FILE...
# --without-fortify: for the preload shim, which is C and whose functions the fortified names would miss.
set -euo pipefail
export LC_ALL=C

fortified=yes
if [[ $1 == --without-fortify ]]; then
  fortified=
  shift
fi

status=0
lacks() {
  echo "$file: $*"
  status=1
}

# Sections and symbols are read once into $headers, $dynamic and $symbols.
check_file() {
  headers=$(readelf -hlW "$file")
  dynamic=$(readelf -dW "$file")
  symbols=$(readelf --dyn-syms -W "$file")
  grep -q 'Type: *DYN' <<<"$headers" || lacks "is not position-independent"
  grep -q GNU_RELRO <<<"$headers" || lacks "has no read-only relocations"
  grep -q 'BIND_NOW\|Flags:.*NOW' <<<"$dynamic" || lacks "binds its functions lazily"
  grep -q 'GNU_STACK.* RW ' <<<"$headers" || lacks "has an executable stack"
  grep -q __stack_chk_fail <<<"$symbols" || lacks "has no stack protector"
  ! grep -q 'RPATH\|RUNPATH' <<<"$dynamic" || lacks "searches libraries in folders of its own"
  if [[ $fortified ]]; then
    grep '_chk@' <<<"$symbols" | grep -qv __stack_chk || lacks "calls no fortified function"
    # The library's function, or, with the library inside, the text of a condition of std::vector.
    grep -q __glibcxx_assert_fail <<<"$symbols" || grep -aqF '__n < this->size()' "$file" ||
      lacks "has no checked containers"
  elif grep '_chk@' <<<"$symbols" | grep -qv __stack_chk; then
    lacks "calls a fortified function"
  fi
}

for file; do
  check_file
done
exit "$status"
