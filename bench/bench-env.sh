# The set-up every benchmark script shares; sourced, not run. bench_env BIN TOOL... checks that the
# folder BIN holds each TOOL and that GNU time is there, then gives the script a temporary folder
# $work (removed at exit), the test PKI in $pki as the CAdES emulator's store, and a HOME of its
# own whose settings bind BIN's emulator with the log at "error".

bench_env() {
  local bin=$1 tool
  shift
  for tool in "$@"; do
    [ -e "$bin/$tool" ] || { echo "$0: $bin/$tool is missing; build first" >&2; exit 2; }
  done
  [ -x /usr/bin/time ] || { echo "$0: GNU time is missing (scripts/install-deps.sh installs it)" >&2; exit 2; }
  bench_bin=$bin
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  pki=$work/pki
  bash scripts/make-test-pki.sh "$pki" >/dev/null
  export CADES_EMULATOR_HOME=$pki HOME=$work/home
  mkdir -p "$HOME/.Vesk/editor"
  bench_log_level error
}

# The module's log level for the runs that follow (the emulator stays bench_env's).
bench_log_level() {
  printf '{"cades":"%s","cryptoPro":"","logLevel":"%s"}' "$bench_bin/libcades.so" "$1" \
    >"$HOME/.Vesk/editor/settings.json"
}
