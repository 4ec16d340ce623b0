#!/usr/bin/env bash
# Reads a PDF the way users' viewers do, the readers side by side: poppler (pdftotext over every
# page; pdftoppm rendering the pages given, gray, as shown, at a low resolution), mupdf and
# ghostscript drawing every page, and pdf.js giving every page's text.
# Usage: read-pdf.sh FILE FOLDER [PAGE...]. Into FOLDER: NAME.out and NAME.err for each reader (its
# complaints, then "exit N"), and page-N.pgm. The file is read as FOLDER/doc.pdf, so that readers
# that name it name it alike whatever its path.
set -u
folder=$2
mkdir -p "$folder" && ln -sf "$(realpath "$1")" "$folder/doc.pdf" && cd "$folder" || exit 1
shift 2
reader() {
  local name=$1
  shift
  "$@" > "$name.out" 2> "$name.err"
  echo "exit $?" >> "$name.err"
}
pages() { for page in "$@"; do pdftoppm -r 36 -gray -cropbox -singlefile -f "$page" -l "$page" doc.pdf "page-$page" || return; done; }
reader poppler pdftotext -enc UTF-8 doc.pdf - &
reader mupdf mutool draw -r 18 -F pgm -o /dev/null doc.pdf &
reader ghostscript gs -dNOPAUSE -dBATCH -dSAFER -r18 -sDEVICE=nullpage doc.pdf &
reader pdfjs node "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/pdfjs-text.js" doc.pdf &
reader render pages "$@"
wait
