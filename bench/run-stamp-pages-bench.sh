#!/usr/bin/env bash
# Time and peak memory of a PAdES signing with a stamp on every page ("page": -2) through
# vesk-crypto, on PDFs of growing page counts: the time per page must stay flat as the pages grow.
# The PDFs are vesk-sample-pdf's 2,000-page sample joined by qpdf, which writes one flat /Kids
# array (the layout where a lookup of each page by index costs the most).
#
#   bench/run-stamp-pages-bench.sh [BUILD_DIR] [PAGES...]     (default pages: 2000 6000 20000)
set -euo pipefail
cd "$(dirname "$0")/.."

build=$(cd "${1:-build}" && pwd)
shift || true
counts=("$@")
[ ${#counts[@]} -gt 0 ] || counts=(2000 6000 20000)
bin=$build/bin
for tool in vesk-crypto vesk-sample-pdf libcades.so libVeskCrypto.so.1; do
  [ -e "$bin/$tool" ] || { echo "$0: $bin/$tool is missing; build first" >&2; exit 2; }
done
[ -x /usr/bin/time ] || { echo "$0: GNU time is missing (scripts/install-deps.sh installs it)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
pki=$work/pki
bash scripts/make-test-pki.sh "$pki" >/dev/null
export CADES_EMULATOR_HOME=$pki
export HOME=$work/home
mkdir -p "$HOME/.Vesk/editor"
printf '{"cades":"%s","cryptoPro":"","logLevel":"error"}' "$bin/libcades.so" >"$HOME/.Vesk/editor/settings.json"
serial=0x0123456789ABCDEF01  # user_gost256 of the test PKI

"$bin/vesk-sample-pdf" "$work/block.pdf" --pages 2000 >/dev/null
printf '%-8s %9s %13s %13s %9s\n' "Pages" "Seconds" "CPU seconds" "CPU ms/page" "Peak MiB"
for pages in "${counts[@]}"; do
  (( pages % 2000 == 0 )) || { echo "$0: page counts are multiples of 2000" >&2; exit 2; }
  blocks=()
  for ((i = 0; i < pages / 2000; i++)); do blocks+=("$work/block.pdf" 1-z); done
  qpdf --empty --pages "${blocks[@]}" -- "$work/in.pdf"
  rm -f "$work/out.pdf"
  /usr/bin/time -f '%e %M %U %S' -o "$work/time" "$bin/vesk-crypto" sign "$work/in.pdf" --pades --cert "$serial" \
    --out "$work/out.pdf" --page all --stamp "Подписано: Иванов И. И." >/dev/null 2>"$work/err" ||
    { tail -5 "$work/err" >&2; exit 1; }
  read -r seconds kib user system <"$work/time"
  awk -v p="$pages" -v s="$seconds" -v k="$kib" -v u="$user" -v y="$system" \
    'BEGIN { c = u + y; printf "%-8d %9.2f %13.2f %13.3f %9d\n", p, s, c, c * 1000 / p, k / 1024 }'
done
