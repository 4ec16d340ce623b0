#pragma once
// The ciphers PoDoFo needs for encrypted PDFs.

namespace Vesk::Crypto {

// Makes RC4 available to PoDoFo, which asks OpenSSL's default library context for it: PDFs
// encrypted with RC4, and AES-128 ones too (their password check uses RC4), cannot be read
// without it. OpenSSL 3 keeps RC4 in its "legacy" provider. That provider is loaded into the
// default context once, and only when RC4 is missing and the default provider serves the
// process; the fallback to the default provider is retained, so every algorithm the host could
// fetch before stays as it was. A host that chose other providers (FIPS, for one) is left
// alone, and its RC4 files fail to load. Returns whether RC4 is available.
bool enableLegacyPdfCiphers();

}  // namespace Vesk::Crypto
