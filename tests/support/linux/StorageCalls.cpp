#include "StorageCalls.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace
{
std::vector<BYTE> BytesOf(const std::string& sFile)
{
    std::vector<BYTE> bytes;
    const int fd = open(sFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return bytes;
    bytes.resize(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)));
    if (pread(fd, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) std::abort();
    close(fd);
    return bytes;
}

void PutBytes(const std::string& sFile, const std::vector<BYTE>& bytes)
{
    const int fd = open(sFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
    close(fd);
}

constexpr DWORD kaulModes[] = {
    STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
    STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_TRANSACTED,
    STGM_READWRITE | STGM_SHARE_DENY_NONE | STGM_TRANSACTED,
    STGM_READWRITE | STGM_SHARE_DENY_WRITE | STGM_TRANSACTED,
    STGM_READ | STGM_SHARE_DENY_WRITE,
};
} // namespace

std::string StorageCalls::Run(const std::vector<BYTE>& file, BYTE ubMode, const BYTE* pScript, std::size_t ulScript)
{
    msWrong.clear();
    mFile.reset();
    miCopies = 0;
    if (!Open(file, ubMode)) return msWrong;
    for (std::size_t i = 0; i < std::min(ulScript / kulStepBytes, kulMostSteps) && msWrong.empty(); ++i)
    {
        const BYTE* const pStep = pScript + i * kulStepBytes;
        Do({pStep[0], pStep[1], pStep[2], pStep[3]});
    }
    Finish();
    return msWrong;
}

bool StorageCalls::Open(const std::vector<BYTE>& file, BYTE ubMode)
{
    const std::u16string sName = Path("file");
    const bool bNew = file.empty();
    const DWORD ulMode = kaulModes[ubMode % (bNew ? 4 : std::size(kaulModes))];
    Held<IStorage> root;
    HRESULT hr = S_OK;
    if (bNew)
    {
        unlink((msFolder + "/file").c_str());
        STGOPTIONS options{1, 0, ubMode & 0x80 ? 4096u : 512u, nullptr};
        hr = StgCreateStorageEx(Wide(sName), ulMode | STGM_CREATE, STGFMT_DOCFILE, 0, &options, nullptr, IID_IStorage,
                                reinterpret_cast<void**>(root.Out()));
        mFile.emplace();
    }
    else
    {
        StorageContent content;
        if (SoundContent(file, content)) mFile = NodeOf(content);
        PutBytes(msFolder + "/file", file);
        hr = StgOpenStorage(Wide(sName), nullptr, ulMode, nullptr, 0, root.Out());
        if (hr == STG_E_FILEALREADYEXISTS && !mFile) return false; // not a compound file
    }
    if (!Expect("opening the file", hr, S_OK)) return false;
    Push(std::move(root), mFile ? &*mFile : nullptr, {}, (ulMode & 3) == STGM_READ, (ulMode & STGM_TRANSACTED) != 0);
    return true;
}

void StorageCalls::Push(Held<IStorage>&& storage, StorageNode* pNode, const StorageText& sName, bool bReads, bool bTransacted)
{
    Level level;
    level.storage = std::move(storage);
    level.sName = sName;
    level.bReads = bReads;
    level.bTransacted = bTransacted;
    level.pView = level.pBelow = pNode;
    if (bTransacted && pNode)
    {
        level.pOwn = std::make_unique<StorageNode>(*pNode);
        level.pView = level.pOwn.get();
    }
    mLevels.push_back(std::move(level));
}

void StorageCalls::Do(const Step& step)
{
    using Call = void (StorageCalls::*)(const Step&);
    constexpr Call kCalls[] = {&StorageCalls::WriteStream, &StorageCalls::WriteStream, &StorageCalls::ReadStream,
                               &StorageCalls::NewStorage,  &StorageCalls::OpenStorage, &StorageCalls::Commit,
                               &StorageCalls::Revert,      &StorageCalls::Destroy,     &StorageCalls::Rename,
                               &StorageCalls::Move,        &StorageCalls::Copy,        &StorageCalls::CopyOut,
                               &StorageCalls::Compare,     &StorageCalls::Leave};
    (this->*kCalls[step.ubWhat % std::size(kCalls)])(step);
}

// Everything goes; the file has what was committed, and in direct mode all that was done.
void StorageCalls::Finish()
{
    if (!mLevels.empty() && !mLevels.front().bTransacted && !mLevels.front().bReads)
        Expect("the last commit", mLevels.front().storage->Commit(STGC_DEFAULT), S_OK);
    while (!mLevels.empty()) mLevels.pop_back();
    if (!mFile || !msWrong.empty()) return;
    StorageMemory bytes(BytesOf(msFolder + "/file"));
    StorageContent content;
    const std::string sDamage = DamageOf(bytes);
    if (sDamage != "") Blame("the file is damaged: " + sDamage);
    else if (ContentOf(bytes, content) != S_OK) Blame("the file cannot be read");
    else if (content != mFile->Content()) Blame("the file holds something else");
}

bool StorageCalls::Expect(const char* pCall, HRESULT hr, HRESULT hrExpected)
{
    const bool bAnswer = IsStorageAnswer(hr) || hr == STG_E_REVERTED || hr == STG_E_INVALIDFUNCTION;
    if (mFile ? hr != hrExpected : !bAnswer)
    {
        char acText[100];
        std::snprintf(acText, sizeof acText, "%s gave %08x, not %08x", pCall, static_cast<unsigned>(hr),
                      static_cast<unsigned>(hrExpected));
        Blame(acText);
    }
    return hr == S_OK;
}

void StorageCalls::ExpectBytes(IStream* pStream, const StorageBlob& bytes)
{
    StorageBlob read(bytes.size() + 1);
    ULONG ulRead = 0;
    LARGE_INTEGER start{};
    Expect("Seek", pStream->Seek(start, STREAM_SEEK_SET, nullptr), S_OK);
    Expect("Read", pStream->Read(read.data(), static_cast<ULONG>(read.size()), &ulRead), S_OK);
    read.resize(ulRead);
    if (mFile && read != bytes) Blame("a stream holds something else");
}

void StorageCalls::ExpectRevoked(std::size_t ulLevel)
{
    for (; mLevels.size() > ulLevel; mLevels.pop_back())
    {
        STATSTG stat;
        const HRESULT hr = mLevels.back().storage->Stat(&stat, STATFLAG_NONAME);
        Expect("Stat of a storage that is gone", hr, STG_E_REVERTED);
    }
}

void StorageCalls::Blame(const std::string& sWhat)
{
    if (msWrong.empty()) msWrong = sWhat;
}

std::u16string StorageCalls::Path(const char* pName) const
{
    const std::string sPath = msFolder + "/" + pName;
    return {sPath.begin(), sPath.end()};
}

// One of a few that are always the same, or of those that are there.
StorageText StorageCalls::NameIn(Level& level, unsigned uWhich)
{
    static const StorageText kasNames[] = {u"a", u"B", u"b", u"Data", u"\x0416", u"\x436", u"Thirty-one units are the most it has"};
    constexpr unsigned kuNames = static_cast<unsigned>(std::size(kasNames));
    if (uWhich < 128) return kasNames[uWhich % kuNames].substr(0, lum::kulMaxNameUnits);
    Held<IEnumSTATSTG> elements;
    STATSTG stat;
    if (FAILED(level.storage->EnumElements(0, nullptr, 0, elements.Out()))) return u"none";
    elements->Skip(uWhich - 128);
    if (elements->Next(1, &stat, nullptr) != S_OK) return u"none";
    const StorageText sName(reinterpret_cast<const char16_t*>(stat.pwcsName));
    CoTaskMemFree(stat.pwcsName);
    return sName;
}

bool StorageCalls::IsOpenIn(const Level& level, const StorageText& sName) const
{
    const std::size_t ulAbove = IndexOf(level) + 1;
    return ulAbove < mLevels.size() && lum::CompareEntryNames(mLevels[ulAbove].sName, sName) == 0;
}

// The level whose transaction that one works in.
std::size_t StorageCalls::ViewOf(std::size_t ulLevel) const
{
    while (ulLevel > 0 && !mLevels[ulLevel].bTransacted) --ulLevel;
    return ulLevel;
}

bool StorageCalls::MayCopy(const StorageNode* pNode)
{
    return ++miCopies <= kiMostCopies && (!mFile || (mFile->Weight() < kulMostWeight && pNode->Weight() < kulMostWeight));
}
