#include "algorithms.h"

#include <cstring>

#include <openssl/objects.h>

#include "abi.h"
#include "gost_engine.h"

namespace cades_emulator {
namespace {

struct SigningPair {
    const char* hashOid;
    const char* digestName;  // name of the digest in the GOST engine
    const char* keyOid;
};

const SigningPair kSigningPairs[] = {
    {szOID_CP_GOST_R3411_12_256, "md_gost12_256", szOID_CP_GOST_R3410_12_256},
    {szOID_CP_GOST_R3411_12_512, "md_gost12_512", szOID_CP_GOST_R3410_12_512},
    {szOID_CP_GOST_R3411, "md_gost94", szOID_CP_GOST_R3410EL},
};

bool keyHasAlgorithm(EVP_PKEY* key, const char* keyOid) {
    const int nid = OBJ_txt2nid(keyOid);
    return nid != NID_undef && EVP_PKEY_get_base_id(key) == nid;
}

}  // namespace

const EVP_MD* signingDigestFor(const char* hashOid, EVP_PKEY* key) {
    if (hashOid == nullptr || key == nullptr || !ensureGostEngine()) return nullptr;
    for (const SigningPair& pair : kSigningPairs) {
        if (std::strcmp(hashOid, pair.hashOid) == 0)
            return keyHasAlgorithm(key, pair.keyOid) ? EVP_get_digestbyname(pair.digestName) : nullptr;
    }
    return nullptr;
}

}  // namespace cades_emulator
