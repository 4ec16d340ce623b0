#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, AddressSanitizer and UBSan, makes their seed corpora
# from real requests and from PDFs written by ghostscript, mupdf, qpdf and the module itself, and
# runs each target for a bounded time. Fails on any crash, sanitizer report, hang or leak.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]
#
# SECONDS is the time per target (default 120); TARGET is request_fuzzer and/or pdf_fuzzer
# (default both, one after the other). Build folder: $VESK_FUZZ_BUILD or build-fuzz. The corpora
# grow in BUILD/fuzz/corpus-TARGET across runs; a crashing input is left in BUILD/fuzz/artifacts.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

seconds=${1:-120}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(request_fuzzer pdf_fuzzer)
case "$seconds" in '' | *[!0-9]*) echo "usage: $0 [SECONDS] [TARGET...]" >&2; exit 2 ;; esac

build=${VESK_FUZZ_BUILD:-build-fuzz}
jobs=$(nproc 2>/dev/null || echo 2)

echo "== Build the fuzz targets in $build"
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESK_FUZZ=ON -DVESK_SANITIZE=ON \
  -DVESK_BUILD_TESTS=OFF -DVESK_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j"$jobs" --target request_fuzzer pdf_fuzzer vesk-crypto vesk-sample-pdf
bin=$(cd "$build/bin" && pwd)

work=$(cd "$build" && pwd)/fuzz
sandbox=$work/sandbox
seeds=$work/seeds
rm -rf "$sandbox" "$seeds" "$work/pki"
mkdir -p "$sandbox/pristine" "$sandbox/home/.Vesk/editor" "$sandbox/tmp" "$seeds/request_fuzzer" \
  "$seeds/pdf_fuzzer" "$work/artifacts"

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

# Requests as a host sends them, on the files above; the target restores the files before each run.
python3 - "$sandbox/files" "$seeds/request_fuzzer" <<'PY'
import base64, json, sys
files, out = sys.argv[1], sys.argv[2]
def b64(text): return base64.b64encode(text.encode()).decode()
def f(name): return b64(files + "/" + name)
stamp = {"page": -1, "x": 45, "y": 78, "x2": 95, "y2": 92, "padding": 2, "split_long_strings": True,
         "strings": [{"text": "Подписано: <sign_date:01.02.2024>", "font_size": 9, "bold": True},
                     {"text": "Петрова М. С.", "alignment": "Center", "font_color": "#0000FF"}]}
def sign(file, attach, out=None, reason=None, **extra):
    info = {"provider": "CryptoPRO", "attach_type": attach, "search_string": b64("4512")}
    info.update(extra)
    args = {"file": f(file), "sign_info": info}
    if reason: args["reason"] = reason
    if out: args["output_file"] = f(out)
    return {"method": "sign", "args": args}
requests = [
    {"method": "version", "args": {}},
    {"method": "get_providers", "args": {}},
    {"method": "is_cryptopro_installed", "args": {}},
    {"method": "log", "args": {"level": "info", "text": "Привет", "nested": [[{"a": [1, 2.5, None, True]}]]}},
    {"method": "get_list", "args": {"provider": "CryptoPRO"}},
    {"method": "exists", "args": {"file": f("sample.pdf")}},
    {"method": "get_file_on_base64", "args": {"file": f("text.txt")}},
    {"method": "save_file", "args": {"file": f("saved.bin"), "data": b64("saved bytes")}},
    {"method": "verify", "args": {"file": f("signed.pdf")}},
    {"method": "verify", "args": {"file": f("cosigned.pdf"), "provider": "CryptoPRO"}},
    {"method": "verify", "args": {"file": f("letter.txt.sig")}},
    {"method": "verify", "args": {"document": b64("A contract to sign.\n"), "signature": b64("MAA="), "attached": False}},
    {"method": "extract", "args": {"file": f("letter.txt.sig")}},
    sign("sample.pdf", "PAdES", "out.pdf", watermark=stamp),
    sign("gs.pdf", "PAdES", None, watermark=dict(stamp, page=-2, clickable=True), reason="Согласовано"),
    sign("signed.pdf", "PAdES", "co.pdf", cosign=True, watermark=dict(stamp, page=1)),
    sign("text.txt", "Attached", "text.sig", cades_type="CadesBes"),
    sign("text.txt", "Detached", "text.sgn"),
    sign("letter.txt.sig", "Attached", None, cosign=True),
    {"method": "unknown", "args": []},
]
for i, request in enumerate(requests):
    with open(f"{out}/request-{i:02d}.json", "w", encoding="utf-8") as seed:
        seed.write(json.dumps(request, ensure_ascii=False))
PY

# fontconfig keeps its caches behind offsets instead of pointers, so the leak checker takes them
# for leaks; everything else that is lost counts.
printf 'leak:libfontconfig.so\n' >"$work/lsan.supp"
# intercept_tls_get_addr=0: see scripts/test.sh.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:intercept_tls_get_addr=0 LSAN_OPTIONS=suppressions=$work/lsan.supp
status=0
for target in "${targets[@]}"; do
  corpus=$work/corpus-$target
  mkdir -p "$corpus"
  echo "== $target for $seconds s"
  # -timeout: a single input running 30 s is a hang; -rss_limit_mb: so is unbounded memory.
  # Requests are short but the seeds that sign run to 700 bytes, so mutations may be as long from
  # the start; PDFs keep their whole seed files (the cross-references are at the end).
  case $target in
    request_fuzzer) lengths=(-max_len=16384 -len_control=0) ;;
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
