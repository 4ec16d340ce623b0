#!/usr/bin/env bash
# Time of "verify" of signed PDFs through vesk-crypto (module + CAdES emulator), this build beside
# another one (e.g. a build of an earlier commit): a 50 MiB PDF with one signature, and a small
# PDF with 20 signatures (20 revisions). Runs of the two builds alternate; the medians of RUNS.
#
#   bench/run-pdf-verify-bench.sh BUILD_DIR OTHER_BUILD_DIR
#   environment: RUNS (5), PDF_MB (50), SIGNATURES (20)
set -euo pipefail
cd "$(dirname "$0")/.."

build=$(cd "$1" && pwd)
other=$(cd "$2" && pwd)
runs=${RUNS:-5}
pdf_mb=${PDF_MB:-50}
signatures=${SIGNATURES:-20}
# The other build needs only its module and host; the CAdES emulator is this build's.
for tool in "$other"/bin/{vesk-crypto,libVeskCrypto.so.1}; do
  [ -e "$tool" ] || { echo "$0: $tool is missing; build first" >&2; exit 2; }
done
source bench/bench-env.sh
bench_env "$build/bin" vesk-crypto vesk-sample-pdf libcades.so libVeskCrypto.so.1
cli=$build/bin/vesk-crypto

"$build/bin/vesk-sample-pdf" "$work/big.pdf" --pages 2 --size-mb "$pdf_mb" >/dev/null
"$cli" sign "$work/big.pdf" --pades --cert 0x4512 --out "$work/big-signed.pdf" --stamp "Подписано" >/dev/null 2>&1
"$build/bin/vesk-sample-pdf" "$work/small.pdf" --pages 2 >/dev/null
cp "$work/small.pdf" "$work/many.pdf"
for i in $(seq "$signatures"); do
  if [ $((i % 2)) = 1 ]; then cert=0x4512; else cert=0x0123456789ABCDEF01; fi
  if [ "$i" = 1 ]; then
    "$cli" sign "$work/small.pdf" --pades --cert "$cert" --out "$work/many.pdf" --stamp "Подпись $i" >/dev/null 2>&1
  else
    "$cli" sign "$work/many.pdf" --pades --cosign --cert "$cert" --out "$work/many.pdf" >/dev/null 2>&1
  fi
done

# Honest files: this build must verify them clean, every signer verified and nothing said.
for file in big-signed many; do
  "$cli" verify "$work/$file.pdf" >"$work/verified.txt" 2>/dev/null ||
    { echo "$0: $file.pdf does not verify clean:" >&2; cat "$work/verified.txt" >&2; exit 1; }
done
[ "$(grep -c ' verified$' "$work/verified.txt")" = "$signatures" ] || { echo "$0: not $signatures signers" >&2; exit 1; }

# seconds FILE BUILD: one verify's wall-clock seconds.
seconds() {
  /usr/bin/time -f '%e' -o "$work/time.txt" "$2/bin/vesk-crypto" --library "$2/bin/libVeskCrypto.so.1" \
    verify "$1" >/dev/null 2>&1 || true
  cat "$work/time.txt"
}
median() { sort -n | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }

printf '%-44s %10s %10s %7s\n' "verify" "this (s)" "other (s)" "ratio"
for file in big-signed many; do
  : >"$work/this.txt"; : >"$work/other.txt"
  for _ in $(seq "$runs"); do
    seconds "$work/$file.pdf" "$build" >>"$work/this.txt"
    seconds "$work/$file.pdf" "$other" >>"$work/other.txt"
  done
  this=$(median <"$work/this.txt"); that=$(median <"$work/other.txt")
  label="$file.pdf ($(du -m "$work/$file.pdf" | cut -f1) MiB)"
  printf '%-44s %10s %10s %7.2f\n' "$label" "$this" "$that" "$(echo "$this / $that" | bc -l)"
done
