#!/usr/bin/env bash
# Checks that a library defines every C entry point listed in a names file.
#   check-exports.sh LIBRARY NAMES_FILE
set -euo pipefail
[ $# -eq 2 ] || { echo "usage: $0 LIBRARY NAMES_FILE" >&2; exit 2; }
lib=$1 names=$2

expected=$(grep -v -e '^#' -e '^$' "$names" | sort -u)
count=$(wc -l <<<"$expected")
[ "$count" -eq 73 ] || { echo "$names lists $count distinct names, not 73" >&2; exit 1; }

# Global text symbols only: a name defined but local, or only referenced, does not count.
defined=$(nm -D --defined-only "$lib" | awk '$2 ~ /^[TWi]$/ { sub(/@.*/, "", $3); print $3 }' | sort -u)
missing=$(comm -23 <(echo "$expected") <(echo "$defined"))
if [ -n "$missing" ]; then
  echo "$lib does not export:" >&2
  echo "$missing" >&2
  exit 1
fi
echo "all $count entry points are exported by $lib"
