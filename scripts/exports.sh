#!/usr/bin/env bash
# Compares the library's exported names with the checked-in lists, one list a family.
#   exports.sh check <library>  says what is missing and what is too much; status 1 if anything
#   exports.sh list <library>   prints the exported names, to make or renew a list from
set -euo pipefail
export LC_ALL=C
here=$(cd "$(dirname "$0")/.." && pwd)
action=${1:?check or list}
library=${2:?path of libVDXLib.so}

# Strong definitions only: what the compiler emits weakly (templates of the C++ runtime, type information)
# follows from the classes and differs between compilers.
names() {
  nm -DC --defined-only "$library" | cut -c18- | sed -n 's/^[TDBR] //p' |
    grep -vE '^(typeinfo( name)?|vtable|VTT) for |^(non-)?(virtual )?thunk to |^(_init|_fini)$' |
    sed -e 's/@@.*$//' -e 's/\[abi:cxx11\]//g' \
      -e 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' | sort -u
}

case $action in
  list) names ;;
  check)
    diff --label "checked-in lists" --label "exported by the library" -u \
      <(cat "$here"/tests/api/exports/*.txt | grep -v '^#' | sed '/^$/d' | sort -u) <(names)
    ;;
  *) echo "check or list, not $action" >&2; exit 2 ;;
esac
