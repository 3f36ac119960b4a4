#include "CryptLibrary.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/provider.h>
#include <openssl/rand.h>

#include <atomic>
#include <mutex>

namespace lum
{
namespace
{
constinit std::atomic<const CryptLibrary*> gpLibrary{nullptr};
constinit std::mutex gOpening;

// What a library context does not give back by itself.
struct Providers
{
    OSSL_PROVIDER* pDefault = nullptr;
    OSSL_PROVIDER* pLegacy = nullptr;
};

void Discard(const CryptLibrary& library, const Providers& providers)
{
    EVP_CIPHER_free(library.pRc4);
    EVP_MD_free(library.pMd5);
    EVP_MD_free(library.pSha256);
    for (OSSL_PROVIDER* pProvider : {providers.pLegacy, providers.pDefault})
        if (pProvider) OSSL_PROVIDER_unload(pProvider);
    OSSL_LIB_CTX_free(library.pContext);
}

// On failure, ulError says why and null comes back.
const CryptLibrary* Load(DWORD& ulError)
{
    // OpenSSL would else tidy up at exit, before the destructors of statics that were made earlier.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    ulError = NTE_PROVIDER_DLL_FAIL;
    CryptLibrary library{OSSL_LIB_CTX_new(), nullptr, nullptr, nullptr};
    if (!library.pContext) return nullptr;
    Providers providers;
    providers.pDefault = OSSL_PROVIDER_load(library.pContext, "default");
    providers.pLegacy = OSSL_PROVIDER_load(library.pContext, "legacy");
    if (providers.pDefault && !providers.pLegacy) ulError = NTE_PROV_DLL_NOT_FOUND;
    if (providers.pDefault && providers.pLegacy)
    {
        library.pRc4 = EVP_CIPHER_fetch(library.pContext, "RC4", nullptr);
        library.pMd5 = EVP_MD_fetch(library.pContext, "MD5", nullptr);
        library.pSha256 = EVP_MD_fetch(library.pContext, "SHA256", nullptr);
    }
    if (library.pRc4 && library.pMd5 && library.pSha256) return new CryptLibrary(library);
    Discard(library, providers);
    return nullptr;
}
} // namespace

DWORD OpenCryptLibrary()
{
    if (gpLibrary.load(std::memory_order_acquire)) return NO_ERROR;

    const std::scoped_lock lock(gOpening);
    if (gpLibrary.load(std::memory_order_relaxed)) return NO_ERROR;
    const CryptErrorMark mark;
    DWORD ulError = NO_ERROR;
    const CryptLibrary* pLibrary = Load(ulError);
    if (!pLibrary) return ulError;
    gpLibrary.store(pLibrary, std::memory_order_release);
    return NO_ERROR;
}

const CryptLibrary& TheCryptLibrary() { return *gpLibrary.load(std::memory_order_acquire); }

bool RandomBytes(std::span<BYTE> bytes)
{
    return RAND_priv_bytes_ex(TheCryptLibrary().pContext, bytes.data(), bytes.size(), 0) == 1;
}
} // namespace lum
