// Providers, containers and the handles to them.
#include "CryptKeys.h"

#include <algorithm>
#include <vector>

namespace
{
class CryptContext : public CryptTest {};

TEST_F(CryptContext, AContainerMustExistToBeOpened)
{
    ContextHolder other;
    const auto acquire = [&](DWORD ulFlags) {
        return Code(CryptAcquireContextA(&other, (msContainer + "-other").c_str(), kpProvider, PROV_RSA_FULL, ulFlags));
    };
    EXPECT_EQ(acquire(0), DWORD(NTE_BAD_KEYSET));
    EXPECT_EQ(acquire(CRYPT_DELETEKEYSET), DWORD(NTE_BAD_KEYSET));
    EXPECT_EQ(Code(Acquire(other)), 0u);
}

TEST_F(CryptContext, AContainerIsMadeOnce)
{
    ContextHolder second;
    EXPECT_EQ(Code(Acquire(second, CRYPT_NEWKEYSET)), DWORD(NTE_EXISTS));
}

TEST_F(CryptContext, ARemovedContainerIsGone)
{
    HCRYPTPROV hNone = 0;
    EXPECT_EQ(Code(CryptAcquireContextA(&hNone, msContainer.c_str(), kpProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET)), 0u);
    ContextHolder again;
    EXPECT_EQ(Code(Acquire(again)), DWORD(NTE_BAD_KEYSET));
    EXPECT_EQ(Code(Acquire(again, CRYPT_NEWKEYSET)), 0u);
}

TEST_F(CryptContext, CaseDoesNotCountInAName)
{
    std::string sUpper = msContainer;
    for (char& cLetter : sUpper)
        if (cLetter >= 'a' && cLetter <= 'z') cLetter -= 32;
    ContextHolder other;
    EXPECT_EQ(Code(CryptAcquireContextA(&other, sUpper.c_str(), kpProvider, PROV_RSA_FULL, 0)), 0u);
}

TEST_F(CryptContext, NoNameIsTheUsersContainer)
{
    HCRYPTPROV hNone = 0;
    CryptAcquireContextA(&hNone, nullptr, kpProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET);
    ContextHolder made, opened, named;
    ASSERT_EQ(Code(CryptAcquireContextA(&made, nullptr, kpProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET)), 0u);
    EXPECT_EQ(Code(CryptAcquireContextA(&opened, "", kpProvider, PROV_RSA_FULL, 0)), 0u);
    char acName[300];
    DWORD ulBytes = sizeof acName;
    ASSERT_EQ(Code(CryptGetProvParam(opened, PP_CONTAINER, reinterpret_cast<BYTE*>(acName), &ulBytes, 0)), 0u);
    EXPECT_GT(std::string(acName).size(), 0u);
    EXPECT_EQ(Code(CryptAcquireContextA(&named, acName, kpProvider, PROV_RSA_FULL, 0)), 0u);
    EXPECT_EQ(Code(CryptAcquireContextA(&hNone, nullptr, kpProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET)), 0u);
}

TEST_F(CryptContext, OpeningMakesNoPairs)
{
    ContextHolder opened;
    ASSERT_EQ(Code(Acquire(opened)), 0u);
    KeyHolder key;
    for (HCRYPTPROV hContext : {HCRYPTPROV(mContext), HCRYPTPROV(opened)})
    {
        EXPECT_EQ(Code(CryptGetUserKey(hContext, AT_KEYEXCHANGE, &key)), DWORD(NTE_NO_KEY));
        EXPECT_EQ(Code(CryptGetUserKey(hContext, AT_SIGNATURE, &key)), DWORD(NTE_NO_KEY));
        EXPECT_EQ(Code(CryptGetUserKey(hContext, 3, &key)), DWORD(NTE_NO_KEY));
    }
}

TEST_F(CryptContext, TheProviderMustBeThere)
{
    struct { const char* pProvider; DWORD ulType, ulCode; } const aCases[] = {
        {kpProvider, PROV_RSA_FULL, 0},
        {nullptr, PROV_RSA_FULL, 0},
        {"", PROV_RSA_FULL, 0},
        {"Another Provider", PROV_RSA_FULL, DWORD(NTE_KEYSET_NOT_DEF)},
        {kpProvider, 0, DWORD(NTE_BAD_PROV_TYPE)},
        {kpProvider, 1000, DWORD(NTE_BAD_PROV_TYPE)},
        {kpProvider, 2, DWORD(NTE_PROV_TYPE_NO_MATCH)},
        {nullptr, 2, DWORD(NTE_PROV_TYPE_NOT_DEF)},
        {nullptr, 999, DWORD(NTE_PROV_TYPE_NOT_DEF)},
    };
    for (const auto& each : aCases)
    {
        ContextHolder context;
        EXPECT_EQ(Code(CryptAcquireContextA(&context, msContainer.c_str(), each.pProvider, each.ulType, 0)), each.ulCode)
            << (each.pProvider ? each.pProvider : "null") << ' ' << each.ulType;
    }
}

TEST_F(CryptContext, FlagsThatDoNotGoTogetherAreRefused)
{
    ContextHolder context;
    EXPECT_EQ(Code(Acquire(context, CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)), DWORD(NTE_BAD_FLAGS));
    EXPECT_EQ(Code(Acquire(context, CRYPT_VERIFYCONTEXT)), DWORD(NTE_BAD_FLAGS));
    // Wine does not look at flags that it does not know.
    EXPECT_EQ(Code(Acquire(context, 4)), WineSays(kulDone, DWORD(NTE_BAD_FLAGS)));
    ContextHolder silent;
    EXPECT_EQ(Code(Acquire(silent, CRYPT_SILENT)), 0u);
}

TEST_F(CryptContext, NamesThatNoContainerMayHaveAreRefused)
{
    // Wine takes any name.
    ContextHolder context;
    const auto make = [&](const std::string& sName) {
        return Code(CryptAcquireContextA(&context, sName.c_str(), kpProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
    };
    EXPECT_EQ(make(msContainer + "\\below"), WineSays(kulDone, DWORD(NTE_BAD_KEYSET_PARAM)));
    if (RunsUnderWine()) return;
    EXPECT_EQ(make(std::string(261, 'x')), DWORD(NTE_BAD_KEYSET_PARAM));
}

TEST_F(CryptContext, LongAndOddNamesAreContainersOfTheirOwn)
{
    const std::string sLong = msContainer + std::string(180, 'x');
    const std::vector<std::string> names = {msContainer + "/..", msContainer + "/../x", ".", "..", sLong, sLong + 'x'};
    for (const std::string& sName : names)
    {
        ContextHolder context;
        EXPECT_EQ(Code(CryptAcquireContextA(&context, sName.c_str(), kpProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET)), 0u) << sName;
    }
    for (const std::string& sName : names)
    {
        HCRYPTPROV hNone = 0;
        EXPECT_EQ(Code(CryptAcquireContextA(&hNone, sName.c_str(), kpProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET)), 0u) << sName;
    }
}

TEST_F(CryptContext, APassingContainerKeepsItsPairsToItself)
{
    ContextHolder first, second;
    ASSERT_EQ(Code(CryptAcquireContextA(&first, nullptr, kpProvider, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)), 0u);
    ASSERT_EQ(Code(CryptAcquireContextA(&second, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET)), 0u);
    KeyHolder made, found;
    ASSERT_EQ(Code(CryptGenKey(first, AT_KEYEXCHANGE, 512 << 16, &made)), 0u);
    EXPECT_EQ(Code(CryptGetUserKey(first, AT_KEYEXCHANGE, &found)), 0u);
    EXPECT_EQ(Code(CryptGetUserKey(first, AT_SIGNATURE, &found)), DWORD(NTE_NO_KEY));
    EXPECT_EQ(Code(CryptGetUserKey(second, AT_KEYEXCHANGE, &found)), DWORD(NTE_NO_KEY));
}

TEST_F(CryptContext, AHandleIsReleasedAsOftenAsItWasTaken)
{
    const HCRYPTPROV hContext = mContext;
    BYTE aubName[100];
    const auto use = [&] {
        DWORD ulBytes = sizeof aubName;
        return Code(CryptGetProvParam(hContext, PP_NAME, aubName, &ulBytes, 0));
    };
    EXPECT_EQ(Code(CryptContextAddRef(hContext, nullptr, 0)), 0u);
    EXPECT_EQ(Code(CryptContextAddRef(hContext, nullptr, 0)), 0u);
    EXPECT_EQ(Code(CryptReleaseContext(hContext, 0)), 0u);
    EXPECT_EQ(Code(CryptReleaseContext(hContext, 0)), 0u);
    EXPECT_EQ(use(), 0u);
    mContext = ContextHolder();
    EXPECT_EQ(use(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Code(CryptContextAddRef(hContext, nullptr, 0)), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(CryptContext, AReleasedHandleIsNone)
{
    const HCRYPTPROV hContext = mContext.Drop();
    EXPECT_EQ(Code(CryptReleaseContext(hContext, 0)), 0u);
    EXPECT_EQ(Code(CryptReleaseContext(hContext, 0)), DWORD(ERROR_INVALID_PARAMETER));
    KeyHolder key;
    EXPECT_EQ(Code(CryptGetUserKey(hContext, AT_SIGNATURE, &key)), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(CryptContext, FlagsReleaseItAllTheSame)
{
    const HCRYPTPROV hContext = mContext.Drop();
    EXPECT_EQ(Code(CryptReleaseContext(hContext, 1)), DWORD(NTE_BAD_FLAGS));
    EXPECT_EQ(Code(CryptReleaseContext(hContext, 0)), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(CryptContext, HandlesOfAnotherKindAreRefused)
{
    const HashHolder hash = Hash("x");
    const KeyHolder key = Derive("secret");
    BYTE aubData[100] = {};
    DWORD ulBytes = 10;
    HCRYPTKEY hMade = 0;
    const DWORD ulRefused = ERROR_INVALID_PARAMETER;
    EXPECT_EQ(Code(CryptReleaseContext(key, 0)), ulRefused);
    EXPECT_EQ(Code(CryptDestroyKey(hash)), ulRefused);
    EXPECT_EQ(Code(CryptDestroyHash(key)), ulRefused);
    EXPECT_EQ(Code(CryptHashData(key, aubData, 1, 0)), ulRefused);
    EXPECT_EQ(Code(CryptEncrypt(hash, 0, TRUE, 0, aubData, &ulBytes, 100)), ulRefused);
    EXPECT_EQ(Code(CryptEncrypt(key, key, TRUE, 0, aubData, &ulBytes, 100)), ulRefused);
    EXPECT_EQ(Code(CryptDeriveKey(mContext, CALG_RC4, key, 0, &hMade)), ulRefused);
    EXPECT_EQ(Code(CryptGetProvParam(hash, PP_NAME, aubData, &ulBytes, 0)), ulRefused);
    EXPECT_FALSE(CloseHandle(reinterpret_cast<HANDLE>(ULONG_PTR(hash))));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
}

TEST_F(CryptContext, NoHandleIsRefused)
{
    BYTE aubData[100] = {};
    DWORD ulBytes = 10;
    HCRYPTKEY hMade = 0;
    const HashHolder hash = Hash("x");
    const BOOL abDone[] = {
        CryptReleaseContext(0, 0),
        CryptGetProvParam(0, PP_NAME, aubData, &ulBytes, 0),
        CryptGenKey(0, CALG_RC4, 0, &hMade),
        CryptDeriveKey(0, CALG_RC4, hash, 0, &hMade),
        CryptDeriveKey(mContext, CALG_RC4, 0, 0, &hMade),
        CryptGetUserKey(0, AT_SIGNATURE, &hMade),
        CryptDestroyKey(0),
        CryptEncrypt(0, 0, TRUE, 0, aubData, &ulBytes, 100),
        CryptDecrypt(0, 0, TRUE, 0, aubData, &ulBytes),
        CryptExportKey(0, 0, PUBLICKEYBLOB, 0, aubData, &ulBytes),
        CryptImportKey(0, aubData, 100, 0, 0, &hMade),
        CryptCreateHash(0, CALG_MD5, 0, 0, &hMade),
        CryptHashData(0, aubData, 1, 0),
        CryptGetHashParam(0, HP_HASHVAL, aubData, &ulBytes, 0),
        CryptDestroyHash(0),
        CryptSignHashA(0, AT_SIGNATURE, nullptr, 0, aubData, &ulBytes),
        CryptVerifySignatureA(0, aubData, 64, 0, nullptr, 0),
        CryptVerifySignatureA(hash, aubData, 64, 0, nullptr, 0),
    };
    for (std::size_t i = 0; i < std::size(abDone); ++i) EXPECT_FALSE(abDone[i]) << i;
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(hMade, 0u);
}

TEST_F(CryptContext, ThereMustBeAPlaceForTheResult)
{
    const DWORD ulRefused = ERROR_INVALID_PARAMETER;
    const HashHolder hash = Hash("x");
    const KeyHolder key = Derive("secret");
    BYTE aubData[100] = {};
    EXPECT_EQ(Code(CryptAcquireContextA(nullptr, msContainer.c_str(), kpProvider, PROV_RSA_FULL, 0)), ulRefused);
    EXPECT_EQ(Code(CryptGetProvParam(mContext, PP_NAME, aubData, nullptr, 0)), ulRefused);
    EXPECT_EQ(Code(CryptGenKey(mContext, CALG_RC4, 0, nullptr)), ulRefused);
    EXPECT_EQ(Code(CryptDeriveKey(mContext, CALG_RC4, hash, 0, nullptr)), ulRefused);
    EXPECT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, nullptr)), ulRefused);
    EXPECT_EQ(Code(CryptCreateHash(mContext, CALG_MD5, 0, 0, nullptr)), ulRefused);
    EXPECT_EQ(Code(CryptGetHashParam(hash, HP_HASHVAL, aubData, nullptr, 0)), ulRefused);
    EXPECT_EQ(Code(CryptEncrypt(key, 0, TRUE, 0, aubData, nullptr, 100)), ulRefused);
    EXPECT_EQ(Code(CryptDecrypt(key, 0, TRUE, 0, aubData, nullptr)), ulRefused);
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, nullptr, nullptr)), ulRefused);
}

TEST_F(CryptContext, TellsItsNames)
{
    const auto ask = [&](DWORD ulParam) {
        char acText[300];
        DWORD ulBytes = sizeof acText;
        EXPECT_EQ(Code(CryptGetProvParam(mContext, ulParam, reinterpret_cast<BYTE*>(acText), &ulBytes, 0)), 0u);
        EXPECT_EQ(ulBytes, std::string(acText).size() + 1);
        return std::string(acText);
    };
    EXPECT_EQ(ask(PP_NAME), kpProvider);
    EXPECT_EQ(ask(PP_CONTAINER), msContainer);

    DWORD ulType = 0, ulBytes = sizeof ulType;
    EXPECT_EQ(Code(CryptGetProvParam(mContext, PP_PROVTYPE, reinterpret_cast<BYTE*>(&ulType), &ulBytes, 0)), 0u);
    EXPECT_EQ(ulType, DWORD(PROV_RSA_FULL));
    EXPECT_EQ(Code(CryptGetProvParam(mContext, 999, nullptr, &ulBytes, 0)), DWORD(NTE_BAD_TYPE));
}

TEST_F(CryptContext, SaysHowMuchRoomANameTakes)
{
    BYTE aubName[100];
    DWORD ulBytes = 3;
    EXPECT_EQ(Code(CryptGetProvParam(mContext, PP_NAME, aubName, &ulBytes, 0)), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(ulBytes, 43u);
    ulBytes = 3;
    EXPECT_EQ(Code(CryptGetProvParam(mContext, PP_NAME, nullptr, &ulBytes, 0)), 0u);
    EXPECT_EQ(ulBytes, 43u);
}

// All that the provider lists, from the first or from where the handle stands.
std::vector<PROV_ENUMALGS> Algorithms(HCRYPTPROV hContext, DWORD ulFirst)
{
    std::vector<PROV_ENUMALGS> found;
    for (DWORD ulFlags = ulFirst; found.size() < 100; ulFlags = 0)
    {
        PROV_ENUMALGS record{};
        BYTE aubRoom[1000];
        DWORD ulBytes = sizeof aubRoom;
        if (!CryptGetProvParam(hContext, PP_ENUMALGS, aubRoom, &ulBytes, ulFlags)) break;
        EXPECT_EQ(ulBytes, sizeof record);
        memcpy(&record, aubRoom, sizeof record);
        found.push_back(record);
    }
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NO_MORE_ITEMS));
    return found;
}

TEST_F(CryptContext, ListsItsAlgorithms)
{
    struct { ALG_ID ulId; DWORD ulBits; const char* pName; } const aCases[] = {
        {CALG_RC4, 40, "RC4"}, {CALG_MD5, 128, "MD5"}, {CALG_RSA_SIGN, 0, "RSA_SIGN"}, {CALG_RSA_KEYX, 0, "RSA_KEYX"}};
    const auto found = Algorithms(mContext, 0);
    for (const auto& each : aCases)
    {
        const auto isIt = [&](const PROV_ENUMALGS& row) { return row.aiAlgid == each.ulId; };
        const auto at = std::find_if(found.begin(), found.end(), isIt);
        ASSERT_NE(at, found.end()) << each.pName;
        EXPECT_STREQ(at->szName, each.pName);
        EXPECT_EQ(at->dwNameLen, std::string(each.pName).size() + 1);
        if (each.ulBits == 0) continue; // of a pair: what is usual, which differs
        EXPECT_EQ(at->dwBitLen, each.ulBits);
    }
}

TEST_F(CryptContext, TheListStartsAnewOnlyWhenAsked)
{
    const auto all = Algorithms(mContext, CRYPT_FIRST);
    EXPECT_EQ(Algorithms(mContext, 0).size(), 0u);
    EXPECT_EQ(Algorithms(mContext, CRYPT_FIRST).size(), all.size());
    EXPECT_GE(all.size(), 4u);
}
} // namespace
