#!/usr/bin/env bash
# Speed and peak memory of the module beside the tools users know, on the same files:
#   get_file_on_base64 vs `base64 -w0`, save_file vs `base64 -d` (through bench/request_host, which
#   loads the module as the editor does), attached and detached CAdES signing, verification and
#   extraction vs `openssl cms` with the GOST engine (through vesk-crypto and the CAdES emulator),
#   PAdES with a visible stamp vs `qpdf in.pdf out.pdf`, and attached signing vs one Streebog pass.
#
# Module and anchor runs alternate; each row shows the median time ratio (module / anchor), the
# same for the processor time (user + system: steadier than the wall clock on a shared machine) and
# the median peak resident memory (GNU time's %M) of both, per byte of the file.
#
#   bench/run-all.sh [BUILD_DIR]
#   environment: RUNS (5), FILE_MB ("50 200"), SIGN_MB ("16 256"), PDF_MB ("5 50"), ONLY (a word
#   that row labels must contain, to run a part)
set -euo pipefail
cd "$(dirname "$0")/.."

build=$(cd "${1:-build}" && pwd)
bin=$build/bin
runs=${RUNS:-5}
file_mb=${FILE_MB:-50 200}
sign_mb=${SIGN_MB:-16 256}
pdf_mb=${PDF_MB:-5 50}
only=${ONLY:-}
source bench/bench-env.sh
bench_env "$bin" request_host vesk-crypto vesk-sample-pdf libcades.so libVeskCrypto.so.1
log_level() {
  bench_log_level "$1"
  rm -f "$HOME/.Vesk/editor/VeskCryptoModule.log"
}
user=user_gost256
serial=0x0123456789ABCDEF01  # the serial of user_gost256 as the module writes it
b64() { printf '%s' "$1" | base64 -w0; }

# timed COMMAND...: runs it once under GNU time (output to $work/out, errors to $work/err) and
# prints "seconds peak-KiB processor-seconds".
timed() {
  if ! /usr/bin/time -f '%e %M %U %S' -o "$work/time" "$@" >"$work/out" 2>"$work/err"; then
    echo "$0: '$*' failed:" >&2; tail -n 5 "$work/err" "$work/out" >&2; exit 1
  fi
  awk '{ print $1, $2, $3 + $4 }' "$work/time"
}
median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

printf '%-44s %8s %8s %8s %9s %10s %10s\n' "Work" "module s" "anchor s" "ratio" "cpu ratio" "module B/B" "anchor B/B"
# row LABEL BYTES PREPARE MODULE ANCHOR: PREPARE (a shell text, untimed) runs before each module
# run; MODULE and ANCHOR are shell texts, run alternately RUNS times.
row() {
  local label=$1 bytes=$2 prepare=$3 module=$4 anchor=$5
  [[ -z $only || $label == *"$only"* ]] || return 0
  : >"$work/m"; : >"$work/a"
  for ((i = 0; i < runs; i++)); do
    eval "$prepare"
    timed bash -c "exec $module" >>"$work/m"
    timed bash -c "exec $anchor" >>"$work/a"
  done
  local mt at mk ak mc ac
  mt=$(cut -d' ' -f1 "$work/m" | median); at=$(cut -d' ' -f1 "$work/a" | median)
  mk=$(cut -d' ' -f2 "$work/m" | median); ak=$(cut -d' ' -f2 "$work/a" | median)
  mc=$(cut -d' ' -f3 "$work/m" | median); ac=$(cut -d' ' -f3 "$work/a" | median)
  awk -v l="$label" -v mt="$mt" -v at="$at" -v mk="$mk" -v ak="$ak" -v mc="$mc" -v ac="$ac" -v b="$bytes" 'BEGIN {
    printf "%-44s %8.2f %8.2f %8.2f %9.2f %10.2f %10.2f\n", l, mt, at, (at > 0 ? mt / at : 0), (ac > 0 ? mc / ac : 0),
      mk * 1024 / b, ak * 1024 / b }'
}

host="$bin/request_host $bin/libVeskCrypto.so.1"
for mb in $file_mb; do
  f=$work/f$mb.bin
  head -c "${mb}M" /dev/urandom >"$f"
  bytes=$(stat -c %s "$f")
  printf '{"method":"get_file_on_base64","args":{"file":"%s"}}' "$(b64 "$f")" >"$work/get.json"
  base64 -w0 "$f" >"$f.b64"
  { printf '{"method":"save_file","args":{"file":"%s","data":"' "$(b64 "$work/saved.bin")"; cat "$f.b64"; printf '"}}'; } >"$work/save.json"
  for level in none info; do
    log_level $level
    row "get_file_on_base64 ${mb} MiB, log $level" "$bytes" "" \
      "$host $work/get.json $work/answer.json" "base64 -w0 $f >$work/anchor.b64"
    row "save_file ${mb} MiB, log $level" "$bytes" "" \
      "$host $work/save.json $work/answer.json" "base64 -d $f.b64 >$work/anchor.bin"
  done
  # (unless ONLY left the save_file rows out)
  [[ ! -e $work/saved.bin ]] || cmp -s "$work/saved.bin" "$f" || { echo "$0: save_file wrote other bytes" >&2; exit 1; }
  rm -f "$f" "$f.b64" "$work"/{get,save}.json "$work"/saved.bin "$work"/anchor.* "$work"/answer.json
done

log_level error
cert=$pki/My/$user.crt key=$pki/My/$user.key
for mb in $sign_mb; do
  f=$work/s$mb.bin
  head -c "${mb}M" /dev/urandom >"$f"
  bytes=$(stat -c %s "$f")
  # An attached signing removes its input once the signature is written: a fresh copy each run.
  row "attached sign ${mb} MiB" "$bytes" "cp $f $work/in.bin" \
    "$bin/vesk-crypto sign $work/in.bin --attached --cert $serial --out $work/vesk.sig" \
    "env OPENSSL_CONF=$pki/openssl.cnf openssl cms -sign -binary -nodetach -outform DER -in $f -signer $cert -inkey $key -out $work/openssl.p7s"
  row "attached sign ${mb} MiB vs openssl dgst" "$bytes" "cp $f $work/in.bin" \
    "$bin/vesk-crypto sign $work/in.bin --attached --cert $serial --out $work/vesk.sig" \
    "env OPENSSL_CONF=$pki/openssl.cnf openssl dgst -md_gost12_256 $f"
  row "attached verify ${mb} MiB" "$bytes" "" \
    "$bin/vesk-crypto verify $work/vesk.sig" \
    "env OPENSSL_CONF=$pki/openssl.cnf openssl cms -verify -binary -inform DER -in $work/openssl.p7s -CAfile $pki/pem/trusted.pem -out $work/content.bin"
  row "extract ${mb} MiB" "$bytes" "rm -f $work/vesk" \
    "$bin/vesk-crypto extract $work/vesk.sig" \
    "env OPENSSL_CONF=$pki/openssl.cnf openssl cms -verify -noverify -binary -inform DER -in $work/openssl.p7s -out $work/content.bin"
  row "detached sign ${mb} MiB" "$bytes" "" \
    "$bin/vesk-crypto sign $f --detached --cert $serial --out $work/vesk.sgn" \
    "env OPENSSL_CONF=$pki/openssl.cnf openssl cms -sign -binary -outform DER -in $f -signer $cert -inkey $key -out $work/openssl.sgn"
  rm -f "$f" "$work"/in.bin "$work"/vesk* "$work"/openssl.* "$work"/content.bin
done

for mb in $pdf_mb; do
  f=$work/p$mb.pdf
  "$bin/vesk-sample-pdf" "$f" --pages 2 --size-mb "$mb" >/dev/null
  bytes=$(stat -c %s "$f")
  row "PAdES with a stamp ${mb} MiB" "$bytes" "rm -f $work/signed.pdf" \
    "$bin/vesk-crypto sign $f --pades --cert $serial --out $work/signed.pdf --stamp 'Владелец: Иванов Иван Иванович' --stamp 'Подписано: <sign_date: 01.01.2026>'" \
    "qpdf $f $work/qpdf.pdf"
  rm -f "$f" "$work"/signed.pdf "$work"/qpdf.pdf
done
