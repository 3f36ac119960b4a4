#include "KeyContainer.h"

#include "../kernel/ObjectNames.h"
#include "../registry/RegistryNames.h"
#include "KeyFolder.h"

#include <pwd.h>
#include <unistd.h>

#include <string>

namespace lum
{
namespace
{
std::string FileName(const std::string& sName)
{
    std::u16string sUnits = UnitsOf(sName.c_str());
    for (char16_t& uwUnit : sUnits) uwUnit = UpperUnit(uwUnit);
    return ObjectFileName(sUnits) + ".keys";
}

DWORD ReadPairs(KeyFolder& folder, const std::string& sFile, StoredPairs& pairs)
{
    SecretBytes bytes;
    const DWORD ulError = folder.Read(sFile, bytes);
    return ulError ? ulError : ParseKeyFile(bytes, pairs);
}

DWORD PairFrom(const StoredPair& stored, UserPair& pair)
{
    if (stored.blob.empty()) return NTE_NO_KEY;
    KeyBlob blob;
    if (ParseKeyBlob(stored.blob, blob) || blob.ubType != PRIVATEKEYBLOB) return NTE_KEYSET_ENTRY_BAD;
    pair.bExportable = stored.bExportable;
    const DWORD ulError = RsaKey::FromBlob(blob, pair.key);
    return ulError == static_cast<DWORD>(NTE_BAD_DATA) ? NTE_KEYSET_ENTRY_BAD : ulError;
}

class FileContainer : public KeyContainer
{
public:
    explicit FileContainer(const std::string& sName) : msName(sName), msFile(FileName(sName)) {}

    const std::string& Name() const override { return msName; }

    DWORD Load(int iPair, UserPair& pair) override
    {
        KeyFolder folder;
        StoredPairs pairs;
        DWORD ulError = folder.Open(false);
        if (!ulError) ulError = ReadPairs(folder, msFile, pairs);
        return ulError ? ulError : PairFrom(pairs.aPairs[iPair], pair);
    }

    DWORD Store(int iPair, const UserPair& pair) override
    {
        const ALG_ID ulAlgorithm = iPair == PairIndex(AT_KEYEXCHANGE) ? CALG_RSA_KEYX : CALG_RSA_SIGN;
        StoredPair stored;
        stored.bExportable = pair.bExportable;
        DWORD ulError = pair.key.ToBlob(PRIVATEKEYBLOB, ulAlgorithm, stored.blob);
        if (ulError) return ulError;

        KeyFolder folder;
        StoredPairs pairs;
        ulError = folder.Open(false);
        if (!ulError) ulError = folder.TakeTurn();
        if (!ulError) ulError = ReadPairs(folder, msFile, pairs);
        if (ulError) return ulError;
        pairs.aPairs[iPair] = std::move(stored);
        return folder.Replace(msFile, KeyFileBytes(pairs));
    }

    DWORD Check()
    {
        KeyFolder folder;
        StoredPairs pairs;
        const DWORD ulError = folder.Open(false);
        return ulError ? ulError : ReadPairs(folder, msFile, pairs);
    }

    DWORD Make()
    {
        KeyFolder folder;
        StoredPairs pairs;
        DWORD ulError = folder.Open(true);
        if (!ulError) ulError = folder.TakeTurn();
        if (ulError) return ulError;

        ulError = ReadPairs(folder, msFile, pairs);
        if (!ulError) return NTE_EXISTS;
        if (ulError != static_cast<DWORD>(NTE_BAD_KEYSET)) return ulError; // there is one, and it says what is wrong with it
        return folder.Replace(msFile, KeyFileBytes(StoredPairs()));
    }

    DWORD Remove()
    {
        KeyFolder folder;
        DWORD ulError = folder.Open(false);
        if (!ulError) ulError = folder.TakeTurn();
        return ulError ? ulError : folder.Remove(msFile);
    }

private:
    const std::string msName, msFile;
};

class MemoryContainer : public KeyContainer
{
public:
    const std::string& Name() const override { return msName; }

    DWORD Load(int iPair, UserPair& pair) override
    {
        const std::scoped_lock lock(mMutex);
        if (!maPairs[iPair].key) return NTE_NO_KEY;
        pair = maPairs[iPair];
        return NO_ERROR;
    }

    DWORD Store(int iPair, const UserPair& pair) override
    {
        const std::scoped_lock lock(mMutex);
        maPairs[iPair] = pair;
        return NO_ERROR;
    }

private:
    const std::string msName;
    std::mutex mMutex;
    UserPair maPairs[kiPairs];
};

std::string UserName()
{
    char acBuffer[4096];
    passwd entry{};
    passwd* pFound = nullptr;
    if (getpwuid_r(geteuid(), &entry, acBuffer, sizeof acBuffer, &pFound) == 0 && pFound) return pFound->pw_name;
    return "user-" + std::to_string(geteuid());
}
} // namespace

DWORD ContainerName(LPCSTR pName, std::string& sName)
{
    sName = pName && *pName ? pName : UserName();
    if (sName.find('\\') != sName.npos) return NTE_BAD_KEYSET_PARAM;
    return UnitsOf(sName.c_str()).size() > MAX_PATH ? NTE_BAD_KEYSET_PARAM : NO_ERROR;
}

DWORD OpenContainer(const std::string& sName, std::shared_ptr<KeyContainer>& pContainer)
{
    const auto pFile = std::make_shared<FileContainer>(sName);
    const DWORD ulError = pFile->Check();
    if (!ulError) pContainer = pFile;
    return ulError;
}

DWORD MakeContainer(const std::string& sName, std::shared_ptr<KeyContainer>& pContainer)
{
    const auto pFile = std::make_shared<FileContainer>(sName);
    const DWORD ulError = pFile->Make();
    if (!ulError) pContainer = pFile;
    return ulError;
}

DWORD RemoveContainer(const std::string& sName) { return FileContainer(sName).Remove(); }

std::shared_ptr<KeyContainer> PassingContainer() { return std::make_shared<MemoryContainer>(); }
} // namespace lum
