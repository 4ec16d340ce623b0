#!/usr/bin/env bash
# Checks the code style that README.md promises: every C++ file as .clang-format writes it, and
# the module's code (src/) clean of the .clang-tidy checks, compiled as BUILD_DIR compiles it.
#   check-style.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -eq 1 ] || { echo "usage: $0 BUILD_DIR" >&2; exit 2; }
build=$1
[ -f "$build/compile_commands.json" ] || { echo "$build/compile_commands.json is missing: configure first" >&2; exit 2; }
jobs=$(nproc 2>/dev/null || echo 2)

echo "== clang-format"
git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror

echo "== clang-tidy over src/"
git ls-files -z 'src/*.cpp' | xargs -0 -n 1 -P "$jobs" clang-tidy -p "$build" --quiet --warnings-as-errors='*'
