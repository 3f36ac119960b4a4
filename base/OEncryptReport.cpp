// What cryptography says: the texts of its errors, and the provider's algorithms.
#include "OEncrypt.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace
{
struct ErrorText
{
    ULONG ulCode;
    const char* pText;
};
constexpr ErrorText kTexts[] = {
    {ERROR_NOT_ENOUGH_MEMORY, "The operating system ran out of memory during the operation."},
    {ERROR_INVALID_PARAMETER, "One of the parameters contains an invalid value. This is most often an illegal pointer."},
    {0x80090006, "The provider DLL signature did not verify correctly. Either the DLL or the digital signature has been "
                 "tampered with."},
    {0x80090009, "The dwFlags parameter has an illegal value."},
    {0x8009000E, "The CSP ran out of memory during the operation."},
    {0x8009000F, "The dwFlags parameter is CRYPT_NEWKEYSET, but the key container already exists."},
    {0x80090014, "The value of the dwProvType parameter is out of range. All provider types must be from 1 to 999, inclusive."},
    {0x80090016, "The Registry entry for the key container could not be opened and may not exist."},
    {0x80090017, "No Registry entry exists for the provider type specified by dwProvType."},
    {0x80090018, "The Registry entry for the provider type specified by dwProvType is corrupt. This error may relate to either "
                 "the user default CSP list or the machine default CSP list. See the section System Administration for details "
                 "about CryptoAPI's Registry usage."},
    {0x80090019, "No Registry entry exists in the HKEY_CURRENT_USER window for the key container specified by pszContainer."},
    {0x8009001A, "The Registry entry for the pszContainer key container was found (in the HKEY_CURRENT_USER window), but is "
                 "corrupt. See the section System Administration for details about CryptoAPI's Registry usage."},
    {0x8009001B, "The provider type specified by dwProvType does not match the provider type found in the Registry. Note that "
                 "this error can only occur when pszProvider specifies an actual CSP name."},
    {0x8009001C, "An error occurred while loading the DLL file image, prior to verifying its signature."},
    {0x8009001D, "The provider DLL file could not be loaded, and may not exist. If it exists, then the file is not a valid DLL."},
    {0x8009001E, "The provider DLL file does not exist or is not on the current path."},
    {0x8009001F, "The pszContainer or pszProvider parameter is set to an illegal value."},
};

const char* AlgorithmType(ALG_ID ulAlgorithm)
{
    switch (GET_ALG_CLASS(ulAlgorithm))
    {
    case ALG_CLASS_HASH: return "Hash     ";
    case ALG_CLASS_SIGNATURE: return "Signature";
    case ALG_CLASS_DATA_ENCRYPT: return "Encrypt  ";
    case ALG_CLASS_KEY_EXCHANGE: return "Exchange ";
    default: return "Unknown  ";
    }
}

void PrintAlgorithm(const PROV_ENUMALGS& record)
{
    char acName[sizeof record.szName + 1] = {};
    std::memcpy(acName, record.szName, std::min<std::size_t>(record.dwNameLen, sizeof record.szName));
    std::printf("Name:%-14s Type:%s  Bits:%-4d Algid:%8.8xh\n", acName, AlgorithmType(record.aiAlgid),
                static_cast<int>(record.dwBitLen), record.aiAlgid);
}
} // namespace

void ReportCryptoError(int bUseLastError, ULONG ulCode, const char* pTitle)
{
    if (bUseLastError) ulCode = GetLastError();
    if (ulCode == 0) return;

    const auto* const pKnown = std::ranges::find(kTexts, ulCode, &ErrorText::ulCode);
    char acUnknown[40];
    std::snprintf(acUnknown, sizeof acUnknown, "Unknown error: %ld.", static_cast<long>(static_cast<LONG>(ulCode)));
    LumMessageBox(pKnown != std::end(kTexts) ? pKnown->pText : acUnknown, pTitle ? pTitle : "CryptoAPI Error");
}

int OEncrypt::Statistics()
{
    if (!mulInitialised) return 0;
    union
    {
        PROV_ENUMALGS record;
        BYTE aubRoom[1000];
    } room;
    for (;;)
    {
        DWORD ulBytes = sizeof room;
        if (CryptGetProvParam(mhProvider, PP_ENUMALGS, room.aubRoom, &ulBytes, 0)) PrintAlgorithm(room.record);
        else if (::GetLastError() == ERROR_NO_MORE_ITEMS) return 1;
        else return Failed("Reading Algorithm Error", 0);
    }
}
