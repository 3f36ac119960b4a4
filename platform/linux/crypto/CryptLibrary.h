// Our own corner of OpenSSL: a library context that nobody else configures, with the algorithms that the provider needs.
// Internal to platform/linux.
#pragma once

#include "Crypt.h"

#include <openssl/err.h>
#include <openssl/types.h>

#include <span>

namespace lum
{
struct CryptLibrary
{
    OSSL_LIB_CTX* pContext;
    EVP_CIPHER* pRc4;
    EVP_MD* pMd5;
    EVP_MD* pSha256;
};

// OpenCryptLibrary: loads it on first use; 0, NTE_PROV_DLL_NOT_FOUND (no legacy provider), NTE_PROVIDER_DLL_FAIL. What failed is
//   tried again the next time. Any thread.
DWORD OpenCryptLibrary();

// The library, after it was opened. It stays to the very end, so that a program's own statics may still release what they hold.
const CryptLibrary& TheCryptLibrary();

bool RandomBytes(std::span<BYTE> bytes);

// What OpenSSL notes about failures in between is no business of the program's.
class CryptErrorMark
{
public:
    CryptErrorMark() { ERR_set_mark(); }
    ~CryptErrorMark() { ERR_pop_to_mark(); }
    CryptErrorMark(const CryptErrorMark&) = delete;
    CryptErrorMark& operator=(const CryptErrorMark&) = delete;
};
} // namespace lum
