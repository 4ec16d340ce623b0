#!/usr/bin/env bash
# cmake --install into a temporary prefix, then two external hosts built against that
# installation only: one finds it with find_package, one with pkg-config. Each loads the
# installed module and must get the version answer through the exported names.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

prefix=$work/prefix
libdir=$prefix/$VESK_LIBDIR
"$CMAKE_COMMAND" --install "$VESK_BUILD_DIR" --prefix "$prefix" >/dev/null

# The module: SONAME, its links, everything it needs found from where it is installed.
module=$libdir/libVeskCrypto.so.1
[ "$(readlink "$module")" = "libVeskCrypto.so.$VESK_VERSION" ] || fail "libVeskCrypto.so.1 -> $(readlink "$module")"
[ "$(readlink "$libdir/libVeskCrypto.so")" = libVeskCrypto.so.1 ] || fail "no libVeskCrypto.so link"
readelf -d "$module" | grep -q 'Library soname: \[libVeskCrypto.so.1\]' || fail "SONAME"
if ldd "$module" | grep 'not found'; then fail "the installed module misses libraries"; fi
[ ! -x "$module" ] || fail "the module is executable"

# One header, no internal ones; the emulator off the library path, with its PKI script.
headers=$(cd "$prefix/include" && find . -type f)
[ "$headers" = ./vesk/VeskCrypto.h ] || fail "headers installed: $headers"
[ -z "$(find "$libdir" -name '*cades*')" ] || fail "the emulator is on the library path"
for f in libcades.so make-test-pki.sh test-pki.conf; do
  [ -f "$prefix/lib/vesk-crypto/$f" ] || fail "lib/vesk-crypto/$f missing"
done
[ -x "$prefix/lib/vesk-crypto/make-test-pki.sh" ] || fail "make-test-pki.sh not executable"
# The manual page names every option that vesk-crypto --help lists.
man=$(zcat "$prefix/share/man/man1/vesk-crypto.1.gz")
grep -q '^\.TH VESK-CRYPTO 1' <<<"$man" || fail "manual page"
for option in $("$prefix/bin/vesk-crypto" --help | grep -o -- '--[a-z]*' | sort -u); do
  grep -qF -- "\-\-${option#--}" <<<"$man" || fail "the manual page lacks $option"
done

export HOME=$work/home
mkdir -p "$HOME"
expect_answers() {  # NAME... : each line "NAME ANSWER" of the host's output, in order
  local output=$1; shift
  local expected
  expected=$(printf '%s '"$VESK_VERSION_ANSWER"'\n' "$@")
  [ "$output" = "$expected" ] || fail "host answered:
$output
expected:
$expected"
}

# The header compiles clean in a host that asks for warnings.
warnings="-Wall -Wextra -Wshadow -Wnon-virtual-dtor -Werror"

# Host 1: find_package(VeskCrypto 1.0 REQUIRED), the factory through both names.
cmake_host=("$CMAKE_COMMAND" -S "$here/find-package-host" -DCMAKE_PREFIX_PATH="$prefix"
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="$warnings")
"${cmake_host[@]}" -B "$work/host1" >/dev/null
"$CMAKE_COMMAND" --build "$work/host1" >/dev/null
expect_answers "$("$work/host1/host")" createVeskCrypto createRequestBuffer
# The version file keeps a host that needs another major version away.
if "${cmake_host[@]}" -B "$work/host1-v2" -DVESK_REQUIRED_VERSION=2.0 >/dev/null 2>&1; then
  fail "find_package(VeskCrypto 2.0) accepted version $VESK_VERSION"
fi

# Host 2: pkg-config veskcrypto, the direct request functions through both names.
export PKG_CONFIG_PATH=$libdir/pkgconfig
[ "$(pkg-config --modversion veskcrypto)" = "$VESK_VERSION" ] || fail "pkg-config version"
[ "$(pkg-config --variable=module veskcrypto)" = "$module" ] || fail "pkg-config module variable"
# shellcheck disable=SC2046
# shellcheck disable=SC2086
g++ -std=c++17 $warnings -o "$work/host2" "$here/pkg-config-host/host.cpp" $(pkg-config --cflags --libs veskcrypto)
expect_answers "$("$work/host2" "$(pkg-config --variable=module veskcrypto)")" \
  CryptoModuleCppExecFunc VeskExecuteJsonRequest

# vesk-crypto finds the module of its own installation.
[ "$("$prefix/bin/vesk-crypto" '{"method":"version","args":{}}' 2>/dev/null)" = "$VESK_VERSION_ANSWER" ] \
  || fail "the installed vesk-crypto"
echo "installed into a prefix; both hosts answered"
