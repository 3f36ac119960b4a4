#include "StorageFile.h"

#include "FileBytes.h"
#include "Patience.h"
#include "PlatformPrivate.h"
#include "Text.h"

#include <algorithm>

namespace tool
{
// ---- what went wrong

struct StorageReasonRow
{
    HRESULT hResult;
    const char* pText;
};
static constexpr HRESULT khSharingViolation = static_cast<HRESULT>(0x80070020);
static constexpr StorageReasonRow kReasons[] = {
    {STG_E_FILENOTFOUND, "there is no such file"},
    {STG_E_PATHNOTFOUND, "there is no such folder"},
    {STG_E_ACCESSDENIED, "access is denied"},
    {STG_E_SHAREVIOLATION, "another program has it open"},
    {khSharingViolation, "another program has it open"},
    {STG_E_LOCKVIOLATION, "another program has it open"},
    {STG_E_INSUFFICIENTMEMORY, "there is not enough memory"},
    {STG_E_READFAULT, "the disk cannot read it"},
    {STG_E_WRITEFAULT, "the disk cannot write it"},
    {STG_E_MEDIUMFULL, "the disk is full, or the file cannot grow any more"},
    {STG_E_FILEALREADYEXISTS, "it is no compound file"},
    {STG_E_INVALIDHEADER, "it is no compound file, or its header is damaged"},
    {STG_E_DOCFILECORRUPT, "it is damaged (lum storage check says where)"},
    {STG_E_OLDFORMAT, "it is a compound file of an old kind"},
    {STG_E_OLDDLL, "it is a compound file of a newer kind"},
    {STG_E_INVALIDNAME, "nothing new can have that name"},
    {STG_E_NOTCURRENT, "another program has changed it meanwhile"},
};

std::string StorageReason(HRESULT hResult)
{
    constexpr unsigned kuSystem = 0x80070000; // and a code of the system's below
    const unsigned uResult = static_cast<unsigned>(hResult);
    const auto* const pRow = std::ranges::find(kReasons, hResult, &StorageReasonRow::hResult);
    if (pRow != std::end(kReasons)) return Format("%s (0x%08X)", pRow->pText, uResult);
    return SystemText((uResult & 0xFFFF0000) == kuSystem ? uResult & 0xFFFF : uResult);
}

bool SaysInUse(HRESULT hResult)
{
    return hResult == STG_E_SHAREVIOLATION || hResult == STG_E_LOCKVIOLATION || hResult == khSharingViolation;
}

Stop StorageFailure(const std::string& sWhat, HRESULT hResult)
{
    return Stop(kFailure, sWhat + " failed: " + StorageReason(hResult));
}

// ---- the file

static std::u16string WidePath(const std::string& sPath, const std::string& sWhat)
{
    const auto sWide = Wide(sPath);
    if (!sWide) throw Stop(kFailure, sWhat + " failed: its name is not valid text in the system's code page");
    return *sWide;
}

static HRESULT OpenFile(const std::u16string& sPath, DWORD ulMode, IStorage** ppStorage)
{
    return StgOpenStorage(WideName(sPath), nullptr, ulMode, nullptr, 0, ppStorage);
}

StorageFile::StorageFile(const std::string& sPath, For eFor) : msPath(sPath)
{
    const std::string sWhat = "opening " + Visible(sPath);
    const std::u16string sWide = WidePath(sPath, sWhat);
    mulElement = (eFor == For::Reading ? STGM_READ : STGM_READWRITE) | STGM_SHARE_EXCLUSIVE;
    const auto open = [&](DWORD ulMode) { return OpenFile(sWide, ulMode, mRoot.Out()); };
    HRESULT hResult = S_OK;
    if (eFor == For::Writing)
        WaitWhile([&] { return SaysInUse(hResult = open(STGM_TRANSACTED | STGM_READWRITE | STGM_SHARE_DENY_WRITE)); });
    else if (SaysInUse(hResult = open(STGM_READ | STGM_SHARE_DENY_WRITE))) // by a writer: then as it is at this moment
        WaitWhile([&] { return SaysInUse(hResult = open(STGM_TRANSACTED | STGM_READ | STGM_SHARE_DENY_NONE)); });
    if (SUCCEEDED(hResult)) return;
    CheckNoFolder(sPath);
    throw StorageFailure(sWhat, hResult);
}

StorageFile::StorageFile(const std::string& sPath, ULONG ulSectorBytes, const std::string& sFinalPath)
    : msPath(sFinalPath), mulElement(STGM_READWRITE | STGM_SHARE_EXCLUSIVE)
{
    const std::string sWhat = "creating " + Visible(sFinalPath);
    STGOPTIONS options{};
    options.usVersion = 1;
    options.ulSectorSize = ulSectorBytes;
    const HRESULT hResult =
        StgCreateStorageEx(WideName(WidePath(sPath, sWhat)), STGM_CREATE | mulElement, STGFMT_DOCFILE, 0, &options, nullptr,
                           IID_IStorage, reinterpret_cast<void**>(mRoot.Out()));
    if (FAILED(hResult)) throw StorageFailure(sWhat, hResult);
}

std::string StorageFile::Shown(const StoragePath& path) const
{
    return path.empty() ? Visible(msPath) : StorageName(path) + " in " + Visible(msPath);
}

// The innermost first: a storage takes what is open in it along.
void StorageFile::CloseBranch()
{
    while (!mOpen.empty()) mOpen.pop_back();
}

void StorageFile::Commit()
{
    CloseBranch();
    const HRESULT hResult = mRoot->Commit(STGC_DEFAULT);
    if (FAILED(hResult)) throw StorageFailure("writing " + Shown({}), hResult);
}

void StorageFile::Close()
{
    CloseBranch();
    mRoot.Reset();
}

// ---- its elements

// Nobody else has an element open, so one that is open already is a storage on the way to itself.
Stop StorageFile::CannotOpen(const StoragePath& path, HRESULT hResult) const
{
    if (hResult != STG_E_ACCESSDENIED) return StorageFailure("opening " + Shown(path), hResult);
    return Stop(kFailure, Shown(path) + " lies in itself: the file is damaged (lum storage check says where)");
}

void StorageFile::CheckDepth(const StoragePath& storage) const
{
    constexpr size_t kuShown = 3; // names, from where on it becomes too long to read
    if (storage.size() <= kuDeepestStorage) return;
    throw Stop(kFailure, "more than " + std::to_string(kuDeepestStorage) + " storages lie in one another below " +
                             Shown(StoragePath(storage.begin(), storage.begin() + kuShown)) + ": lum does not go deeper");
}

StorageFile::Kind StorageFile::Find(IStorage* pParent, const StoragePath& path) const
{
    const WCHAR* const pName = WideName(path.back());
    Held<IStorage> storage;
    HRESULT hResult = pParent->OpenStorage(pName, nullptr, mulElement, nullptr, 0, storage.Out());
    if (SUCCEEDED(hResult)) return Kind::Storage;
    Held<IStream> stream;
    if (hResult == STG_E_FILENOTFOUND) hResult = pParent->OpenStream(pName, nullptr, mulElement, 0, stream.Out());
    if (SUCCEEDED(hResult)) return Kind::Stream;
    if (hResult == STG_E_FILENOTFOUND) return Kind::None;
    throw CannotOpen(path, hResult);
}

static Stop ThereIsNo(const StorageFile& file, const StoragePath& path)
{
    return Stop(kAnswerIsNo, "there is no " + file.Shown(path));
}

Held<IStorage> StorageFile::OpenStorage(IStorage* pParent, const StoragePath& path) const
{
    CheckDepth(path);
    Held<IStorage> storage;
    const HRESULT hResult = pParent->OpenStorage(WideName(path.back()), nullptr, mulElement, nullptr, 0, storage.Out());
    if (SUCCEEDED(hResult)) return storage;
    if (hResult != STG_E_FILENOTFOUND) throw CannotOpen(path, hResult);
    if (Find(pParent, path) == Kind::Stream) throw Stop(kFailure, Shown(path) + " is a stream, not a storage");
    throw ThereIsNo(*this, path);
}

IStorage* StorageFile::GoTo(const StoragePath& path, Missing eMissing)
{
    CheckDepth(path);
    CloseBranch();
    IStorage* pHere = Root();
    for (size_t i = 0; i < path.size(); ++i)
    {
        const StoragePath here(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        if (eMissing == Missing::Created && Find(pHere, here) == Kind::None)
        {
            CheckNewName(path[i]);
            Held<IStorage> created;
            const HRESULT hResult = pHere->CreateStorage(WideName(path[i]), mulElement, 0, 0, created.Out());
            if (FAILED(hResult)) throw StorageFailure("creating " + Shown(here), hResult);
            mOpen.push_back(std::move(created));
        }
        else
            mOpen.push_back(OpenStorage(pHere, here));
        pHere = mOpen.back();
    }
    return pHere;
}

Held<IStream> StorageFile::OpenStream(const StoragePath& path)
{
    IStorage* const pParent = GoTo(StoragePath(path.begin(), path.end() - 1));
    Held<IStream> stream;
    const HRESULT hResult = pParent->OpenStream(WideName(path.back()), nullptr, mulElement, 0, stream.Out());
    if (SUCCEEDED(hResult)) return stream;
    if (hResult != STG_E_FILENOTFOUND) throw StorageFailure("opening " + Shown(path), hResult);
    if (Find(pParent, path) == Kind::Storage) throw Stop(kFailure, Shown(path) + " is a storage, not a stream: name one in it");
    throw ThereIsNo(*this, path);
}

static bool ComesBefore(const StorageElement& left, const StorageElement& right)
{
    const auto fold = [](char16_t uw) { return uw >= u'a' && uw <= u'z' ? static_cast<char16_t>(uw - 32) : uw; };
    return std::ranges::lexicographical_compare(left.sName, right.sName, {}, fold, fold);
}

// The file may have grown since it was looked at.
void StorageFile::CheckRoom(ULONGLONG ullMet)
{
    constexpr ULONGLONG kullEntryBytes = 128; // in the file's directory, for each of them
    if (ullMet <= mullRoom) return;
    mullRoom = SizeOfFile(msPath) / kullEntryBytes;
    if (ullMet <= mullRoom) return;
    throw Stop(kFailure, Shown({}) + " leads to more streams and storages than it can have: it is damaged (lum storage check says "
                                     "where)");
}

std::vector<StorageElement> StorageFile::ElementsOf(IStorage* pStorage, const StoragePath& path)
{
    Held<IEnumSTATSTG> list;
    HRESULT hResult = pStorage->EnumElements(0, nullptr, 0, list.Out());
    std::vector<StorageElement> elements;
    STATSTG stat{};
    while (SUCCEEDED(hResult))
    {
        hResult = list->Next(1, &stat, nullptr);
        if (hResult != S_OK) break;
        const std::u16string sName = reinterpret_cast<const char16_t*>(stat.pwcsName);
        CoTaskMemFree(stat.pwcsName);
        CheckRoom(++mullMet);
        const bool bStorage = stat.type == STGTY_STORAGE;
        elements.push_back(
            {sName, bStorage, bStorage ? 0 : stat.cbSize.QuadPart, stat.ctime, stat.mtime, stat.clsid, stat.grfStateBits});
    }
    if (FAILED(hResult)) throw StorageFailure("listing " + Shown(path), hResult);
    std::ranges::sort(elements, ComesBefore);
    return elements;
}

ULONG SectorBytesOf(const std::string& sPath)
{
    constexpr BYTE kaubMagic[] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    constexpr size_t kuShift = 0x1E; // of the sectors' size, two bytes
    BYTE aubHeader[kuShift + 2] = {};
    DWORD ulRead = 0;
    const HANDLE hFile = CreateFileA(sPath.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                     OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) throw Stop(kFailure, "opening " + sPath + " failed: " + SystemText(GetLastError()));
    ReadFile(hFile, aubHeader, sizeof aubHeader, &ulRead, nullptr);
    CloseHandle(hFile);
    if (ulRead != sizeof aubHeader || !std::ranges::equal(kaubMagic, kaubMagic + 8, aubHeader, aubHeader + 8)) return 0;
    return aubHeader[kuShift] == 12 ? 4096 : 512;
}
} // namespace tool
