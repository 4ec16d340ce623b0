#!/usr/bin/env bash
# cpack's three Debian packages: each holds only what belongs to it, with the fields Debian
# expects and no lintian error or warning beyond the known ones; installed together into a clean
# root, vesk-crypto answers from there and signs nothing without the emulator it carries.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

debs=$work/debs
"$CPACK_COMMAND" -G DEB --config "$VESK_BUILD_DIR/CPackConfig.cmake" -B "$debs" >"$work/cpack.log" 2>&1 \
  || { cat "$work/cpack.log"; fail "cpack"; }
runtime=$debs/libveskcrypto1_${VESK_VERSION}_amd64.deb
dev=$debs/libveskcrypto-dev_${VESK_VERSION}_amd64.deb
tools=$debs/vesk-crypto_${VESK_VERSION}_amd64.deb
made=$(find "$debs" -maxdepth 1 -name '*.deb' | wc -l)
[ "$made" = 3 ] || fail "$made packages made"

# Every file (not folder) of a package, "path" or "path -> target", sorted.
files_of() { dpkg-deb -c "$1" | grep -v '^d' | sed -E 's/^([^ ]+ +){5}\.//' | sort; }
expect_files() {
  local deb=$1 expected
  expected=$(sort)
  [ "$(files_of "$deb")" = "$expected" ] || fail "$(basename "$deb") holds:
$(files_of "$deb")
expected:
$expected"
}
lib=/usr/$VESK_LIBDIR
expect_files "$runtime" <<LIST
$lib/libVeskCrypto.so.1 -> libVeskCrypto.so.$VESK_VERSION
$lib/libVeskCrypto.so.$VESK_VERSION
/usr/share/doc/libveskcrypto1/changelog.gz
/usr/share/doc/libveskcrypto1/copyright
LIST
expect_files "$dev" <<LIST
/usr/include/vesk/VeskCrypto.h
$lib/cmake/VeskCrypto/VeskCryptoConfig.cmake
$lib/cmake/VeskCrypto/VeskCryptoConfigVersion.cmake
$lib/cmake/VeskCrypto/VeskCryptoTargets.cmake
$lib/libVeskCrypto.so -> libVeskCrypto.so.1
$lib/pkgconfig/veskcrypto.pc
/usr/share/doc/libveskcrypto-dev/changelog.gz
/usr/share/doc/libveskcrypto-dev/copyright
LIST
expect_files "$tools" <<LIST
/usr/bin/vesk-crypto
/usr/lib/vesk-crypto/libcades.so
/usr/lib/vesk-crypto/make-test-pki.sh
/usr/lib/vesk-crypto/test-pki.conf
/usr/share/doc/vesk-crypto/changelog.gz
/usr/share/doc/vesk-crypto/copyright
/usr/share/man/man1/vesk-crypto.1.gz
LIST

# Depends: the libraries found by dpkg-shlibdeps, and the packages' own ties.
depends() { dpkg-deb -f "$1" Depends; }
depends "$runtime" | grep -q 'libpodofo0.9.8' || fail "libveskcrypto1 Depends: $(depends "$runtime")"
depends "$runtime" | grep -q 'libssl3' || fail "libveskcrypto1 Depends: $(depends "$runtime")"
depends "$dev" | grep -q "libveskcrypto1 (= $VESK_VERSION)" || fail "libveskcrypto-dev Depends: $(depends "$dev")"
depends "$tools" | grep -q "libveskcrypto1 (= $VESK_VERSION)" || fail "vesk-crypto Depends: $(depends "$tools")"
depends "$tools" | grep -q 'libssl3' || fail "vesk-crypto Depends: $(depends "$tools")"
dpkg-deb --info "$runtime" shlibs | grep -q "^libVeskCrypto 1 libveskcrypto1" || fail "no shlibs"

# Known and left: CPack's maintainer scripts call ldconfig themselves (the trigger is there too).
lintian --fail-on error,warning --suppress-tags maintscript-calls-ldconfig "$runtime" "$dev" "$tools" \
  >"$work/lintian.log" 2>&1 || { cat "$work/lintian.log"; fail "lintian"; }

# Installed together into a clean root (unpacked: maintainer scripts would run outside it).
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
force=(--force-depends)
[ "$(id -u)" = 0 ] || force+=(--force-not-root)
dpkg --root="$root" --log=/dev/null --no-triggers "${force[@]}" --unpack "$runtime" "$dev" "$tools" >/dev/null
for package in libveskcrypto1 libveskcrypto-dev vesk-crypto; do
  dpkg --root="$root" -s "$package" | grep -q '^Status: install ok unpacked' || fail "$package not installed"
done

# vesk-crypto answers from the root, with the module of the root.
export HOME=$work/home
mkdir -p "$HOME/.Vesk/editor"
cli=$root/usr/bin/vesk-crypto
[ "$("$cli" '{"method":"version","args":{}}' 2>/dev/null)" = "$VESK_VERSION_ANSWER" ] || fail "vesk-crypto version"
loaded=$(LD_DEBUG=files "$cli" '{"method":"version","args":{}}' 2>&1 >/dev/null)
grep -q "file=$root/usr/[^ ]*/libVeskCrypto.so.1 .*dynamically loaded" <<<"$loaded" || fail "vesk-crypto loaded another module"

# The demo the package promises: a test PKI from its script, the emulator as the CAdES library.
"$root/usr/lib/vesk-crypto/make-test-pki.sh" "$work/pki" >/dev/null
printf '{"cades":"%s"}\n' "$root/usr/lib/vesk-crypto/libcades.so" >"$HOME/.Vesk/editor/settings.json"
certs=$(CADES_EMULATOR_HOME=$work/pki "$cli" certs 4512 2>/dev/null) || fail "vesk-crypto certs: $certs"
grep -q 'Петрова Мария Сергеевна' <<<"$certs" || fail "vesk-crypto certs listed: $certs"
echo "three packages made, checked and installed into a root; vesk-crypto answered"
