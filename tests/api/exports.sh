#!/usr/bin/env bash
# exports.sh LIBRARY LIST
# Holds the names that the library exports against the list: the unmangled ones must be the same,
# the mangled ones must belong to a class or function of the list's "C++" lines.
set -euo pipefail
library=$1 list=$2

exported=$(nm -D --defined-only "$library" | awk '{ print $3 }')
plain=$(grep -v '^_Z' <<<"$exported" | sort)
wanted=$(grep -vE '^(#|C\+\+ |$)' "$list" | sort)
if ! diff <(echo "$wanted") <(echo "$plain"); then
  echo "exported names differ from $list (<: listed only, >: exported only)"
  exit 1
fi

scopes=$({ grep '^_Z' <<<"$exported" || true; } | c++filt |
  sed -E 's/^(vtable|VTT|typeinfo|typeinfo name|guard variable) for //; s/^.*thunk to //' |
  sed -E 's/(::|\(|\[).*//' | sort -u)
if strangers=$(grep -vxFf <(sed -n 's/^C++ //p' "$list") <<<"$scopes"); then
  echo "exported to C++ hosts, but not in $list:"
  echo "$strangers"
  exit 1
fi
