#!/usr/bin/env bash
# Installs what is needed, builds the module and shows it working through the command-line host:
# the version, then a file written through the module and read back.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc 2>/dev/null || echo 2)" --target VeskCrypto vesk-crypto

demo=build/demo
rm -rf "$demo" && mkdir -p "$demo/home"
export HOME=$PWD/$demo/home   # the module's settings and log stay inside the demo folder
cli=build/bin/vesk-crypto
b64() { printf '%s' "$1" | base64 -w0; }

echo "== version"
"$cli" '{"method":"version","args":{}}' 2>/dev/null

file=$PWD/$demo/Пример.txt
echo "== save_file $file"
"$cli" "{\"method\":\"save_file\",\"args\":{\"file\":\"$(b64 "$file")\",\"data\":\"$(b64 'Привет, подпись!')\"}}" 2>/dev/null
echo "== exists"
"$cli" "{\"method\":\"exists\",\"args\":{\"file\":\"$(b64 "$file")\"}}" 2>/dev/null
echo "== get_file_on_base64"
answer=$("$cli" "{\"method\":\"get_file_on_base64\",\"args\":{\"file\":\"$(b64 "$file")\"}}" 2>/dev/null)
echo "$answer"
echo "   decoded: $(printf '%s' "$answer" | sed -E 's/.*"data":"([^"]*)".*/\1/' | base64 -d)"

echo
echo "Module:   $PWD/build/bin/libVeskCrypto.so.1.0.6"
echo "Host:     $PWD/$cli"
echo "Settings: $HOME/.Vesk/editor/settings.json"
echo "Log:      $HOME/.Vesk/editor/VeskCryptoModule.log"
