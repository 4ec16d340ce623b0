#!/usr/bin/env bash
# Builds a throw-away test PKI and lays it out as a CAdES emulator home.
#
#   scripts/make-test-pki.sh OUTDIR [DESCRIPTION]
#
# DESCRIPTION defaults to scripts/test-pki.conf (one line per certificate).
# OUTDIR is wiped and re-created; it then holds:
#   My/NAME.crt, My/NAME.key   personal certificates with their keys (PEM, key unencrypted PKCS#8)
#   CA/NAME.crt                intermediate CAs
#   Root/NAME.crt              trusted roots
#   untrusted/NAME.crt, .key   roots kept out of the stores
#   pem/NAME.crt, pem/NAME.key every certificate and key, whatever its store
#   pem/NAME.chain.pem         NAME's issuers up to its root (not NAME itself)
#   pem/trusted.pem            all Root/ and CA/ certificates, for openssl -CAfile
#   openssl.cnf                an OpenSSL configuration that loads the GOST engine
#   pki.txt                    name, serial (hex), store, key type of each certificate
#   ocsp/ISSUER.index          the certificates ISSUER issued, in `openssl ca` index form (revoked
#                              ones marked R), for an OCSP responder answering for ISSUER
#
# Personal certificates carry an OCSP address in their Authority Information Access:
# http://127.0.0.1:$OCSP_PORT/ocsp (OCSP_PORT from the environment, default 2560). Tests run
# their responder on a free port and point the CAdES emulator there with CADES_EMULATOR_OCSP_URL.
# Point CADES_EMULATOR_HOME at OUTDIR; run openssl with OPENSSL_CONF=OUTDIR/openssl.cnf.
set -euo pipefail

usage() { echo "usage: $0 OUTDIR [DESCRIPTION]" >&2; exit 2; }
[ $# -ge 1 ] && [ $# -le 2 ] || usage
out=$1
desc=${2:-"$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/test-pki.conf"}
[ -r "$desc" ] || { echo "$0: cannot read $desc" >&2; exit 1; }

marker=.test-pki
case "$out" in "" | / | "$HOME") echo "$0: refusing to use '$out'" >&2; exit 1 ;; esac
if [ -e "$out" ] && [ ! -e "$out/$marker" ] && [ -n "$(ls -A "$out" 2>/dev/null)" ]; then
  echo "$0: $out exists, is not empty and was not made by this script; not wiping it" >&2
  exit 1
fi
rm -rf "$out"
mkdir -p "$out"/{My,CA,Root,untrusted,pem,ocsp}
out=$(cd "$out" && pwd)
touch "$out/$marker"

ocsp_url="http://127.0.0.1:${OCSP_PORT:-2560}/ocsp"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Engine-loading configuration; also left in OUTDIR for the tests' own openssl runs.
cat >"$out/openssl.cnf" <<'EOF'
openssl_conf = openssl_init

[openssl_init]
engines = engine_section

[engine_section]
gost = gost_section

[gost_section]
engine_id = gost
default_algorithms = ALL
EOF
export OPENSSL_CONF=$out/openssl.cnf
openssl engine gost >/dev/null 2>&1 || {
  echo "$0: the openssl GOST engine is not available (Debian: libengine-gost-openssl)" >&2
  exit 1
}

# Request and CA settings: UTF-8 everywhere, subjects kept in the order given.
cat >"$work/ca.cnf" <<EOF
.include $out/openssl.cnf

[req]
distinguished_name = req_dn
string_mask = utf8only
utf8 = yes
prompt = no

[req_dn]
CN = unused

[ca]
default_ca = test_ca

[test_ca]
dir = $work
database = $work/index.txt
new_certs_dir = $work/issued
serial = $work/serial
default_md = default
policy = any_policy
unique_subject = no
copy_extensions = none
string_mask = utf8only

[any_policy]

[ext_ca]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always

[ext_user]
basicConstraints = critical, CA:FALSE
keyUsage = critical, digitalSignature, nonRepudiation, keyEncipherment
extendedKeyUsage = emailProtection, clientAuth
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
authorityInfoAccess = OCSP;URI:$ocsp_url

# A time-stamping authority: RFC 3161 wants exactly this one critical extended key usage.
[ext_tsa]
basicConstraints = critical, CA:FALSE
keyUsage = critical, digitalSignature, nonRepudiation
extendedKeyUsage = critical, timeStamping
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always

# An OCSP responder delegated by its issuer (RFC 6960 4.2.2.2); its own status is not asked.
[ext_ocsp]
basicConstraints = critical, CA:FALSE
keyUsage = critical, digitalSignature, nonRepudiation
extendedKeyUsage = critical, OCSPSigning
noCheck = ignored
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
EOF
mkdir -p "$work/issued"

genkey() { # TYPE FILE
  case "$1" in
    gost256) openssl genpkey -algorithm gost2012_256 -pkeyopt paramset:A -out "$2" ;;
    gost512) openssl genpkey -algorithm gost2012_512 -pkeyopt paramset:A -out "$2" ;;
    rsa2048) openssl genpkey -quiet -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out "$2" ;;
    *) echo "$0: unknown key type '$1'" >&2; return 1 ;;
  esac
}

declare -A known
printf '# name serial store key\n' >"$out/pki.txt"
lineno=0
while IFS= read -r line || [ -n "$line" ]; do
  lineno=$((lineno + 1))
  case "$line" in '' | '#'*) continue ;; esac
  read -r name keytype issuer serial validity store subject <<<"$line"
  where="$desc:$lineno"
  [ -n "$subject" ] || { echo "$where: too few columns" >&2; exit 1; }
  [ -z "${known[$name]:-}" ] || { echo "$where: duplicate name $name" >&2; exit 1; }
  case "$store" in Root | CA | untrusted) ext=ext_ca ;; My | My-nokey | My-revoked) ext=ext_user ;;
    tsa) ext=ext_tsa ;; ocsp) ext=ext_ocsp ;;
    *) echo "$where: unknown store '$store'" >&2; exit 1 ;; esac
  start=${validity%-*} end=${validity#*-}

  genkey "$keytype" "$work/$name.key"
  openssl req -new -config "$work/ca.cnf" -utf8 -key "$work/$name.key" \
    -subj "$subject" -out "$work/$name.csr"

  : >"$work/index.txt"
  echo "$serial" >"$work/serial"
  signer=(-keyfile "$work/$name.key" -selfsign)
  if [ "$issuer" != self ]; then
    [ -n "${known[$issuer]:-}" ] || { echo "$where: issuer $issuer is not defined above" >&2; exit 1; }
    signer=(-keyfile "$work/$issuer.key" -cert "$work/$issuer.crt")
  fi
  openssl ca -config "$work/ca.cnf" -batch -notext -utf8 -preserveDN \
    -extensions "$ext" -startdate "$start" -enddate "$end" "${signer[@]}" \
    -in "$work/$name.csr" -out "$work/$name.crt" 2>"$work/ca.log" ||
    { cat "$work/ca.log" >&2; echo "$where: openssl ca failed" >&2; exit 1; }

  # The issuer's OCSP index; a revoked certificate was revoked on 1 June 2024.
  if [ "$issuer" != self ]; then
    if [ "$store" = My-revoked ]; then
      awk -F '\t' 'BEGIN { OFS = "\t" } { $1 = "R"; $3 = "240601000000Z,keyCompromise"; print }' "$work/index.txt"
    else
      cat "$work/index.txt"
    fi >>"$out/ocsp/$issuer.index"
  fi

  # Chain above this certificate: the issuer followed by the issuer's own chain.
  : >"$work/$name.chain.pem"
  if [ "$issuer" != self ]; then
    cat "$work/$issuer.crt" "$work/$issuer.chain.pem" >"$work/$name.chain.pem"
  fi

  cp "$work/$name.crt" "$work/$name.key" "$work/$name.chain.pem" "$out/pem/"
  case "$store" in
    My | My-revoked) cp "$work/$name.crt" "$work/$name.key" "$out/My/" ;;
    tsa | ocsp) ;; # services' certificates live in pem/ only
    My-nokey) cp "$work/$name.crt" "$out/My/" ;;
    untrusted) cp "$work/$name.crt" "$work/$name.key" "$out/untrusted/" ;;
    *) cp "$work/$name.crt" "$out/$store/" ;;
  esac
  known[$name]=1
  printf '%s %s %s %s\n' "$name" "$serial" "$store" "$keytype" >>"$out/pki.txt"
done <"$desc"

cat "$out"/Root/*.crt "$out"/CA/*.crt >"$out/pem/trusted.pem"
echo "test PKI written to $out (${#known[@]} certificates)"
