#!/usr/bin/env bash
# The main job on a fresh Debian 12 machine: installs what is needed, builds the module, the
# command-line host and the CAdES emulator, makes a demo certificate, then signs a two-page
# Russian PDF as PAdES with a visible stamp, verifies it (the module, then poppler's pdfsig) and
# renders the stamped page to PNG. The user's own HOME and settings are never touched.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

bash scripts/install-deps.sh
build=$root/build-demo
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESK_BUILD_TESTS=OFF -DVESK_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j"$(nproc 2>/dev/null || echo 2)" --target VeskCrypto vesk-crypto vesk-sample-pdf cades
bin=$build/bin

demo=$build/demo
rm -rf "$demo" && mkdir -p "$demo/home/.Vesk/editor"
# A HOME of the demo's own: the settings point the module at the emulator, the log stays here.
export HOME=$demo/home
printf '{"cades":"%s","cryptoPro":"","logLevel":"info"}' "$bin/libcades.so" >"$HOME/.Vesk/editor/settings.json"
log=$HOME/.Vesk/editor/VeskCryptoModule.log
console=$demo/console.log  # the module's copy of its log on standard error, and the host's messages

# Runs a step; on failure shows what it said and stops.
step() {
  if ! "$@" 2>>"$console"; then
    echo "FAILED: $*" >&2
    tail -n 20 "$console" >&2
    exit 1
  fi
}

echo "== A demo certificate: a GOST 2012 key under a test root and CA, valid from yesterday for a year"
from=$(date -u -d '-1 day' +%Y%m%d%H%M%SZ)
to=$(date -u -d '+1 year' +%Y%m%d%H%M%SZ)
cat >"$demo/pki.conf" <<CONF
# name   key      issuer   serial  validity      store  subject
root     gost256  self     01      $from-$to     Root   /C=RU/O=АО «Демонстрационный УЦ»/CN=Демонстрационный корневой УЦ
ca       gost256  root     10      $from-$to     CA     /C=RU/O=АО «Демонстрационный УЦ»/CN=Демонстрационный УЦ
demo     gost256  ca       2a5e01  $from-$to     My     /SNILS=12345678901/C=RU/O=ООО «Ромашка»/CN=Смирнова Анна Викторовна
CONF
export CADES_EMULATOR_HOME=$demo/cades-home
step bash scripts/make-test-pki.sh "$CADES_EMULATOR_HOME" "$demo/pki.conf" >/dev/null
cli=$bin/vesk-crypto
step "$cli" certs

# The stamp's lines come from the module's own description of the certificate.
cert=$("$cli" --json certs Смирнова 2>>"$console")
field() { printf '%s' "$cert" | sed -E "s/.*\"$1\":\"([^\"]*)\".*/\\1/"; }
owner="Смирнова Анна Викторовна"
serial=$(field SerialNumber)
valid_from=$(field NotBefore)
valid_to=$(field NotAfter)

echo
echo "== A two-page contract in Russian"
pdf=$demo/Договор.pdf
step "$bin/vesk-sample-pdf" "$pdf" --pages 2
pdftotext -l 1 "$pdf" - | sed -n '1,2p'

echo
echo "== Signing it as PAdES with a stamp on the last page"
signed=$demo/Договор-подписан.pdf
# The stamp sits in the lower right part of the page (corners in percent of the page, from its
# top left); the module replaces the <sign_date:...> marker by its inner text.
step "$cli" sign "$pdf" --pades --cert "$serial" --out "$signed" --page last --box 45,78,95,92 \
  --stamp "Документ подписан электронной подписью" \
  --stamp "Владелец: $owner" \
  --stamp "Сертификат: $serial" \
  --stamp "Действителен: с ${valid_from%% *} по ${valid_to%% *}" \
  --stamp "Подписано: <sign_date:$(date '+%d.%m.%Y %H:%M')>"

echo
echo "== Verification by the module"
step "$cli" verify "$signed"

echo
echo "== The signature as poppler reads it (pdfsig)"
# pdfsig lists the signature field, signer and signed ranges; its crypto library (NSS) has no
# GOST algorithms, so it cannot judge the signature value itself: openssl does that below.
pdfsig "$signed" 2>&1 | grep -v 'Unrecognized Hash ID' | sed -n '1,12p'
echo "(poppler cannot check GOST signature values, hence its validation line)"

echo
echo "== Verification by openssl with the GOST engine, over the signed byte ranges"
# /ByteRange [start1 length1 start2 length2]: the signature (hex in <...>) fills the gap between.
read -r s1 l1 s2 l2 <<<"$(grep -a -o '/ByteRange *\[[0-9 ]*\]' "$signed" | tail -n 1 | tr -dc '0-9 ')"
cut_bytes() { dd if="$signed" bs=64K iflag=skip_bytes,count_bytes skip="$1" count="$2" status=none; }
{ cut_bytes "$s1" "$l1"; cut_bytes "$s2" "$l2"; } >"$demo/signed-ranges.bin"
cut_bytes $((s1 + l1 + 1)) $((s2 - s1 - l1 - 2)) | tr a-f A-F | basenc --base16 -d >"$demo/signature.p7s"
step env OPENSSL_CONF="$CADES_EMULATOR_HOME/openssl.cnf" openssl cms -verify -binary -inform DER \
  -in "$demo/signature.p7s" -content "$demo/signed-ranges.bin" -CAfile "$CADES_EMULATOR_HOME/pem/trusted.pem" \
  -out /dev/null
echo "CMS signature over both ranges: verified by openssl"

echo
echo "== The stamped page as a picture"
pages=$(pdfinfo "$signed" | awk '/^Pages:/ {print $2}')
step pdftoppm -r 110 -f "$pages" -l "$pages" -png -singlefile "$signed" "$demo/stamped-page"

echo
echo "Signed PDF:     $signed"
echo "Original PDF:   $pdf"
echo "Stamped page:   $demo/stamped-page.png"
echo "Certificates:   $CADES_EMULATOR_HOME (My/demo.crt, My/demo.key)"
echo "Module:         $bin/libVeskCrypto.so.1.0.6"
echo "Host:           $cli  (try: HOME=$HOME CADES_EMULATOR_HOME=$CADES_EMULATOR_HOME $cli certs)"
echo "Settings:       $HOME/.Vesk/editor/settings.json"
echo "Log:            $log"
echo "Console:        $console"
