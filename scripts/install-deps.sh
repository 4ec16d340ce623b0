#!/usr/bin/env bash
# Installs everything the module, its emulator, tests and demo need on Debian 12.
# Safe to run more than once.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  libboost-dev libboost-filesystem-dev libboost-system-dev libboost-regex-dev
  nlohmann-json3-dev libspdlog-dev libfmt-dev
  libssl-dev openssl libengine-gost-openssl
  libpodofo-dev libfontconfig-dev libfreetype-dev fonts-liberation fonts-dejavu-core
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  poppler-utils qpdf libnss3-tools binutils file time
  # The fuzz targets (scripts/fuzz.sh): clang with its libFuzzer runtime, the symbolizer for
  # readable reports, and independent PDF writers for the seeds.
  clang libclang-rt-14-dev llvm-14 ghostscript mupdf-tools python3
  # The style checks (scripts/check-style.sh).
  clang-format clang-tidy
  # The install test checks the Debian packages.
  lintian
  # The judge of written PDFs reads them with pdf.js under node too; the PDF corpus comes from
  # more producers (tests/e2e/make-pdf-corpus.sh).
  nodejs libjs-pdf python3-reportlab python3-cairo img2pdf groff libreoffice-writer-nogui python3-uno
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "All dependencies are installed."
  exit 0
fi

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
