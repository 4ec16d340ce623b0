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
  poppler-utils qpdf libnss3-tools binutils file time python3
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
