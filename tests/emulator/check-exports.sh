#!/usr/bin/env bash
# Checks that a library exports exactly the C entry points listed in a names file, plus the
# extra names given after it, and nothing else.
#   check-exports.sh LIBRARY NAMES_FILE [EXTRA_NAME...]
set -euo pipefail
[ $# -ge 2 ] || { echo "usage: $0 LIBRARY NAMES_FILE [EXTRA_NAME...]" >&2; exit 2; }
lib=$1 names=$2
shift 2

listed=$(grep -v -e '^#' -e '^$' "$names" | sort -u)
count=$(wc -l <<<"$listed")
[ "$count" -eq 73 ] || { echo "$names lists $count distinct names, not 73" >&2; exit 1; }
expected=$( (echo "$listed"; printf '%s\n' "$@") | sort -u)

# Global text symbols only: a name defined but local, or only referenced, does not count.
defined=$(nm -D --defined-only "$lib" | awk '$2 ~ /^[TWi]$/ { sub(/@.*/, "", $3); print $3 }' | sort -u)
missing=$(comm -23 <(echo "$expected") <(echo "$defined"))
extra=$(comm -13 <(echo "$expected") <(echo "$defined"))
if [ -n "$missing" ]; then
  echo "$lib does not export:" >&2
  echo "$missing" >&2
fi
if [ -n "$extra" ]; then
  echo "$lib also exports:" >&2
  echo "$extra" >&2
fi
[ -z "$missing$extra" ] || exit 1
echo "$lib exports exactly the $count entry points and: $*"
