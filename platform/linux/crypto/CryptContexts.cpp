#include "Crypt.h"

#include "CryptObjects.h"

#include <string>
#include <string_view>

namespace
{
using namespace lum;

constexpr DWORD kulMostProvType = 999;

DWORD CheckProvider(LPCSTR pProvider, DWORD ulProvType)
{
    if (ulProvType == 0 || ulProvType > kulMostProvType) return NTE_BAD_PROV_TYPE;
    const bool bNamed = pProvider && *pProvider;
    if (bNamed && std::string_view(pProvider) != MS_DEF_PROV_A) return NTE_KEYSET_NOT_DEF;
    if (ulProvType == PROV_RSA_FULL) return NO_ERROR;
    return bNamed ? NTE_PROV_TYPE_NO_MATCH : NTE_PROV_TYPE_NOT_DEF;
}

DWORD PublishContext(std::shared_ptr<KeyContainer> pContainer, HCRYPTPROV* phProv)
{
    return Publish(new CryptContext(std::move(pContainer)), phProv);
}

DWORD Acquire(HCRYPTPROV* phProv, LPCSTR pContainer, DWORD ulFlags)
{
    if (ulFlags == CRYPT_VERIFYCONTEXT || ulFlags == (CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET))
        return pContainer && *pContainer ? static_cast<DWORD>(NTE_BAD_FLAGS) : PublishContext(PassingContainer(), phProv);

    std::string sName;
    std::shared_ptr<KeyContainer> pOpened;
    DWORD ulError = ContainerName(pContainer, sName);
    if (ulError) return ulError;
    switch (ulFlags)
    {
    case 0: ulError = OpenContainer(sName, pOpened); break;
    case CRYPT_NEWKEYSET: ulError = MakeContainer(sName, pOpened); break;
    case CRYPT_DELETEKEYSET: return RemoveContainer(sName);
    default: return NTE_BAD_FLAGS;
    }
    return ulError ? ulError : PublishContext(std::move(pOpened), phProv);
}

constexpr PROV_ENUMALGS kAlgorithms[] = {
    {CALG_RC4, 40, 4, "RC4"},
    {CALG_MD5, 128, 4, "MD5"},
    {CALG_RSA_SIGN, 2048, 9, "RSA_SIGN"},
    {CALG_RSA_KEYX, 2048, 9, "RSA_KEYX"},
};

std::span<const BYTE> WithZero(const std::string& sText)
{
    return {reinterpret_cast<const BYTE*>(sText.c_str()), sText.size() + 1};
}

DWORD NextAlgorithm(CryptContext& context, BYTE* pData, DWORD* pulBytes, bool bFirst)
{
    std::atomic<ULONG>& next = context.NextAlgorithm();
    if (bFirst) next = 0;
    const ULONG ulIndex = next;
    if (ulIndex >= std::size(kAlgorithms)) return ERROR_NO_MORE_ITEMS;
    const DWORD ulError = GiveBytes(BytesOf(kAlgorithms[ulIndex]), pData, pulBytes);
    if (!ulError && pData) next = ulIndex + 1;
    return ulError;
}
} // namespace

BOOL CryptAcquireContextA(HCRYPTPROV* phProv, LPCSTR pContainer, LPCSTR pProvider, DWORD ulProvType, DWORD ulFlags)
{
    return Answer([&]() -> DWORD {
        if (!phProv) return ERROR_INVALID_PARAMETER;
        DWORD ulError = CheckProvider(pProvider, ulProvType);
        if (!ulError) ulError = OpenCryptLibrary();
        return ulError ? ulError : Acquire(phProv, pContainer, ulFlags & ~CRYPT_SILENT);
    });
}

BOOL CryptContextAddRef(HCRYPTPROV hProv, DWORD* pulReserved, DWORD ulFlags)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptContext> context(hProv);
        if (!context || pulReserved || ulFlags) return ERROR_INVALID_PARAMETER;
        ++context->Uses();
        return NO_ERROR;
    });
}

BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD ulFlags)
{
    return Answer([&]() -> DWORD {
        DWORD ulError = ERROR_INVALID_PARAMETER;
        if (const CryptRef<CryptContext> context(hProv); context)
            ulError = --context->Uses() ? NO_ERROR : Retire<CryptContext>(hProv);
        return !ulError && ulFlags ? static_cast<DWORD>(NTE_BAD_FLAGS) : ulError;
    });
}

BOOL CryptGetProvParam(HCRYPTPROV hProv, DWORD ulParam, BYTE* pData, DWORD* pulBytes, DWORD ulFlags)
{
    return Answer([&]() -> DWORD {
        const CryptRef<CryptContext> context(hProv);
        if (!context || !pulBytes) return ERROR_INVALID_PARAMETER;
        if (ulFlags & ~(ulParam == PP_ENUMALGS ? CRYPT_FIRST : 0)) return NTE_BAD_FLAGS;

        const std::string& sName = context->Container().Name();
        switch (ulParam)
        {
        case PP_ENUMALGS: return NextAlgorithm(*context, pData, pulBytes, ulFlags == CRYPT_FIRST);
        case PP_NAME: return GiveBytes(BytesOf(MS_DEF_PROV_A), pData, pulBytes);
        case PP_CONTAINER: return GiveBytes(WithZero(sName), pData, pulBytes);
        case PP_PROVTYPE: return GiveBytes(BytesOf(DWORD{PROV_RSA_FULL}), pData, pulBytes);
        default: return NTE_BAD_TYPE;
        }
    });
}
