#!/usr/bin/env bash
# Time and peak memory of signing through vesk-crypto (module + CAdES emulator), each beside a
# plain tool doing the same work on the same file:
#   - a 256 MiB file signed attached (CAdES), beside `openssl cms -sign -nodetach` with the GOST
#     engine, the same key and certificate;
#   - a 50 MiB PDF signed as PAdES with a visible stamp, beside `qpdf in.pdf out.pdf`.
#
#   bench/run-sign-bench.sh [BUILD_DIR] [BIG_MB] [PDF_MB]
#
# BUILD_DIR (default: build) must hold vesk-crypto, vesk-sample-pdf, the module and libcades.so.
# Scratch files go to a temporary folder that is removed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."

build=$(cd "${1:-build}" && pwd)
big_mb=${2:-256}
pdf_mb=${3:-50}
bin=$build/bin
# The module runs with its own HOME and the test PKI as the emulator's store.
source bench/bench-env.sh
bench_env "$bin" vesk-crypto vesk-sample-pdf libcades.so libVeskCrypto.so.1
user=user_gost256
serial=0x0123456789ABCDEF01  # the serial of user_gost256 as the module writes it

rows=()
# measure LABEL COMMAND...: runs it once under GNU time, keeps "seconds peak-MiB".
measure() {
  local label=$1; shift
  if ! /usr/bin/time -f '%e %M' -o "$work/time.txt" "$@" >"$work/out.txt" 2>"$work/err.txt"; then
    echo "$0: '$label' failed:" >&2; tail -5 "$work/err.txt" "$work/out.txt" >&2; exit 1
  fi
  read -r seconds kib <"$work/time.txt"
  rows+=("$(printf '%-48s %10s %10d' "$label" "$seconds" $((kib / 1024)))")
}

echo "== making a $big_mb MiB file and a $pdf_mb MiB PDF"
head -c "${big_mb}M" /dev/urandom >"$work/big.bin"
"$bin/vesk-sample-pdf" "$work/big.pdf" --pages 2 --size-mb "$pdf_mb"
size_of() { du -m "$1" | cut -f1; }

echo "== signing"
# openssl first: an attached signing through the module removes its input afterwards.
measure "openssl cms -sign -nodetach (${big_mb} MiB)" env OPENSSL_CONF="$pki/openssl.cnf" \
  openssl cms -sign -binary -nodetach -outform DER -in "$work/big.bin" \
  -signer "$pki/My/$user.crt" -inkey "$pki/My/$user.key" -out "$work/openssl.p7s"
measure "vesk-crypto sign --attached (${big_mb} MiB)" \
  "$bin/vesk-crypto" sign "$work/big.bin" --attached --cert "$serial" --out "$work/vesk.sig"
measure "qpdf in.pdf out.pdf ($(size_of "$work/big.pdf") MiB)" qpdf "$work/big.pdf" "$work/qpdf.pdf"
measure "vesk-crypto sign --pades + stamp ($(size_of "$work/big.pdf") MiB)" \
  "$bin/vesk-crypto" sign "$work/big.pdf" --pades --cert "$serial" --out "$work/signed.pdf" \
  --stamp "Владелец: Иванов Иван Иванович" --stamp "Подписано: <sign_date: $(date '+%d.%m.%Y')>"

echo
printf '%-48s %10s %10s\n' "What" "Seconds" "Peak MiB"
printf '%s\n' "${rows[@]}"
echo
echo "Outputs: openssl $(size_of "$work/openssl.p7s") MiB, vesk-crypto $(size_of "$work/vesk.sig") MiB;" \
  "PAdES $(size_of "$work/signed.pdf") MiB, qpdf $(size_of "$work/qpdf.pdf") MiB"
