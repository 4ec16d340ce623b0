#!/usr/bin/env bash
# Requests per second for "version" at log levels info and none. The console copy of the log
# goes to stderr, which is thrown away here so that only the figures are printed.
set -euo pipefail
build=${1:-build}
for level in info none; do
  echo "== log level $level"
  "$build/bin/version_bench" --level="$level" --benchmark_min_time=1 2>/dev/null
done
