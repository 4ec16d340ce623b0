#!/usr/bin/env bash
# Installs what is needed, then builds and runs the whole test suite twice: a normal build
# (followed by the style checks) and a build with AddressSanitizer and UBSan. In CI (CI=true)
# the fuzz targets then run for $VESK_FUZZ_SECONDS (default 90) seconds each.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)

run_suite() {
  local dir=$1; shift
  echo "== Build in $dir ($*)"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESK_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  echo "== Tests in $dir"
  (cd "$dir" && ctest --output-on-failure -j"$jobs")
}

run_suite build -DVESK_SANITIZE=OFF -DVESK_BUILD_BENCH=ON
# The format of every C++ file and clang-tidy over the module, as README.md promises.
bash scripts/check-style.sh build
# The sanitizers stop at the first error; leaks of the host's own allocations count too.
# The tests load and unload libraries with thread-local storage (the CAdES emulator; the module
# itself stays once loaded, being linked with -z nodelete); GCC 12's leak checker keeps an
# unloaded library's dynamic TLS blocks on its list and now and then crashes scanning them at exit
# ("Tracer caught signal 11"). Without that list the blocks are still reached through the
# thread's own TLS, so no leak goes unseen.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:intercept_tls_get_addr=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suite build-asan -DVESK_SANITIZE=ON -DVESK_BUILD_BENCH=OFF

if [ "${CI:-}" = "true" ]; then
  bash scripts/fuzz.sh "${VESK_FUZZ_SECONDS:-90}"
fi
