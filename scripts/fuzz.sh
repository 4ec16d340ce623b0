#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, AddressSanitizer and UBSan, lays out their seed corpora
# and runs each target for a bounded time. Fails on any crash, sanitizer report, hang or leak.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]
#
# SECONDS is the time per target (default 90); TARGET is any of request_fuzzer, pdf_fuzzer,
# settings_fuzzer and cms_fuzzer (default all four, one after the other). Build folder:
# $VESK_FUZZ_BUILD or build-fuzz.
#
# The seeds start from what the repository keeps as text: tests/fuzz/seeds/TARGET (request texts,
# whose relative file names mean the sandbox's files; settings files; signature texts), the PDFs
# of tests/e2e/make-pdf-corpus.sh and of the writers below, signed files made by the module, and
# attacked copies of the signed PDFs (tests/e2e/make-attack-corpus.py). The
# inputs in tests/fuzz/regressions/TARGET, each of which once made a target fail, are replayed
# first. The corpora grow in BUILD/fuzz/corpus-TARGET across runs; a failing input is left in
# BUILD/fuzz/artifacts: add it to tests/fuzz/regressions/TARGET.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

seconds=${1:-90}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(request_fuzzer pdf_fuzzer settings_fuzzer cms_fuzzer)
case "$seconds" in '' | *[!0-9]*) echo "usage: $0 [SECONDS] [TARGET...]" >&2; exit 2 ;; esac

build=${VESK_FUZZ_BUILD:-build-fuzz}
jobs=$(nproc 2>/dev/null || echo 2)

echo "== Build the fuzz targets in $build"
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESK_FUZZ=ON -DVESK_SANITIZE=ON \
  -DVESK_BUILD_TESTS=OFF -DVESK_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j"$jobs" --target request_fuzzer pdf_fuzzer settings_fuzzer cms_fuzzer vesk-crypto \
  vesk-sample-pdf
bin=$(cd "$build/bin" && pwd)

work=$(cd "$build" && pwd)/fuzz
sandbox=$work/sandbox
seeds=$work/seeds
rm -rf "$sandbox" "$seeds" "$work/pki"
mkdir -p "$sandbox/pristine" "$sandbox/home/.Vesk/editor" "$sandbox/tmp" "$work/artifacts" "$work/pdfs"
for target in request_fuzzer pdf_fuzzer settings_fuzzer cms_fuzzer; do
  mkdir -p "$seeds/$target"
  if [ -d "tests/fuzz/seeds/$target" ]; then cp tests/fuzz/seeds/"$target"/* "$seeds/$target/"; fi
done

# The sanitizers stop at the first error. The seed tools may keep what they allocate at exit.
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for symbolizer in "$(command -v llvm-symbolizer || true)" /usr/lib/llvm-14/bin/llvm-symbolizer; do
  if [ -x "$symbolizer" ]; then export ASAN_SYMBOLIZER_PATH=$symbolizer; break; fi
done
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1

echo "== Seeds"
export CADES_EMULATOR_HOME=$work/pki
bash scripts/make-test-pki.sh "$CADES_EMULATOR_HOME" >/dev/null
export VESK_FUZZ_SANDBOX=$sandbox HOME=$sandbox/home TMPDIR=$sandbox/tmp
printf '{"cades":"%s","cryptoPro":"","logLevel":"none"}' "$bin/libcades.so" >"$HOME/.Vesk/editor/settings.json"

# PDFs from independent writers, in their plain and rewritten forms.
files=$sandbox/pristine
"$bin/vesk-sample-pdf" "$files/sample.pdf" --pages 2 >/dev/null
cat >"$work/page.ps" <<'PS'
%!PS
/Helvetica findfont 14 scalefont setfont
72 720 moveto (Contract No. 1) show
72 700 moveto (Signed below) show showpage
72 720 moveto (Page two) show showpage
PS
ps2pdf "$work/page.ps" "$files/gs.pdf"
printf '%%MediaBox 0 0 300 200\nBT /F1 12 Tf 20 150 Td (Hello) Tj ET\n' >"$work/page.txt"
mutool create -o "$files/mutool.pdf" "$work/page.txt" 2>/dev/null
qpdf --qdf --object-streams=disable "$files/gs.pdf" "$files/gs-qdf.pdf"
qpdf --object-streams=generate "$files/sample.pdf" "$files/sample-objstm.pdf"
mutool clean -gggg "$files/mutool.pdf" "$files/mutool-clean.pdf" 2>/dev/null
printf 'A contract to sign.\n' >"$files/text.txt"

# Signed files made by the module through its command line host: PAdES (then co-signed), attached
# and detached CAdES.
cli=$bin/vesk-crypto
"$cli" sign "$files/sample.pdf" --pades --cert 4512 --out "$files/signed.pdf" --stamp "Подписано: Петрова" >/dev/null
"$cli" sign "$files/signed.pdf" --cosign --cert 0123456789 --out "$files/cosigned.pdf" --page all >/dev/null
"$cli" sign "$files/gs.pdf" --pades --cert 4512 --out "$files/gs-signed.pdf" --page 1 --stamp "Петрова М. С." >/dev/null
cp "$files/text.txt" "$work/attach.txt"
"$cli" sign "$work/attach.txt" --attached --cert 4512 --out "$files/letter.txt.sig" >/dev/null
"$cli" sign "$files/text.txt" --detached --cert 4512 --out "$files/text.txt.sgn" >/dev/null
for pdf in "$files"/*.pdf; do cp "$pdf" "$seeds/pdf_fuzzer/"; done
cp "$files/letter.txt.sig" "$files/text.txt.sgn" "$seeds/cms_fuzzer/"
# The producers' PDFs of the real-world tests (the script wants gs-sizes.pdf beside it first).
cat >"$work/pdfs/sizes.ps" <<'PS'
%!PS
<< /PageSize [595 842] >> setpagedevice /Helvetica findfont 18 scalefont setfont
72 760 moveto (A4) show showpage
<< /PageSize [612 792] >> setpagedevice 72 700 moveto (Letter) show showpage
<< /PageSize [595 420] >> setpagedevice 72 360 moveto (A5 landscape) show showpage
PS
(cd "$work/pdfs" && ps2pdf sizes.ps gs-sizes.pdf && bash "$root/tests/e2e/make-pdf-corpus.sh") >/dev/null 2>&1 ||
  echo "warning: some producer PDFs could not be made" >&2
# Attacked copies of the signed and co-signed PDFs (the attacks on PDF signatures the verify tests
# build).
for signed in signed cosigned; do
  python3 tests/e2e/make-attack-corpus.py attack "$files/$signed.pdf" "$work/pdfs/attacks-$signed" >/dev/null &&
    for pdf in "$work/pdfs/attacks-$signed"/*.pdf; do cp "$pdf" "$work/pdfs/$signed-$(basename "$pdf")"; done ||
    echo "warning: the attacked copies of $signed.pdf could not be made" >&2
done
for pdf in "$work/pdfs"/*.pdf; do cp "$pdf" "$seeds/pdf_fuzzer/"; done
echo "seeds: $(for t in "${targets[@]}"; do printf '%s %s  ' "$t" "$(ls "$seeds/$t" | wc -l)"; done)"

# fontconfig keeps its caches behind offsets instead of pointers, so the leak checker takes them
# for leaks; everything else that is lost counts.
printf 'leak:libfontconfig.so\n' >"$work/lsan.supp"
# intercept_tls_get_addr=0: see scripts/test.sh.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:intercept_tls_get_addr=0 LSAN_OPTIONS=suppressions=$work/lsan.supp
status=0
for target in "${targets[@]}"; do
  kept=("$root/tests/fuzz/regressions/$target"/*)
  [ -e "${kept[0]}" ] || continue
  echo "== $target replays ${#kept[@]} kept inputs"
  if ! "$bin/$target" "${kept[@]}" >"$work/$target-replay.log" 2>&1; then
    status=1
    echo "$target FAILED on a kept input; its log ($work/$target-replay.log) ends with:" >&2
    tail -n 60 "$work/$target-replay.log" >&2
  fi
done
for target in "${targets[@]}"; do
  corpus=$work/corpus-$target
  mkdir -p "$corpus"
  echo "== $target for $seconds s"
  # -timeout: a single input running 30 s is a hang; -rss_limit_mb: so is unbounded memory.
  # Requests are short but the seeds that sign run to 700 bytes, so mutations may be as long from
  # the start; PDFs keep their whole seed files (the cross-references are at the end).
  case $target in
    request_fuzzer) lengths=(-max_len=16384 -len_control=0) ;;
    settings_fuzzer) lengths=(-max_len=4096) ;;
    cms_fuzzer) lengths=(-max_len=65536) ;;
    *) lengths=(-max_len=262144) ;;
  esac
  if ! "$bin/$target" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 "${lengths[@]}" \
      -print_final_stats=1 -artifact_prefix="$work/artifacts/$target-" "$corpus" "$seeds/$target" \
      >"$work/$target.log" 2>&1; then
    status=1
    echo "$target FAILED; its log ($work/$target.log) ends with:" >&2
    tail -n 60 "$work/$target.log" >&2
  fi
  grep -E '^stat::number_of_executed_units|^Done [0-9]+ runs' "$work/$target.log" || true
done
exit $status
