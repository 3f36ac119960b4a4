// lum storage put: bytes that become a stream.
#include "FileBytes.h"
#include "PlatformPrivate.h"
#include "StoragePieces.h"
#include "StorageWork.h"
#include "Text.h"

#include <cstdio>
#include <optional>

namespace tool
{
// A file, or the standard input.
class PutInput
{
public:
    explicit PutInput(const std::string& sSource)
        : msSource(sSource), msName(IsStandard() ? "the standard input" : Visible(sSource))
    {
        if (IsStandard())
        {
            LumMakeBinary(stdin);
            mullBytes = LumBytesLeft(stdin);
            return;
        }
        mullBytes = SizeOfFile(sSource);
        mhFile =
            CreateFileA(sSource.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (mhFile == INVALID_HANDLE_VALUE) throw Stop(kFailure, "opening " + msName + " failed: " + SystemText(GetLastError()));
    }
    ~PutInput()
    {
        if (mhFile != INVALID_HANDLE_VALUE) CloseHandle(mhFile);
    }
    PutInput(const PutInput&) = delete;
    PutInput& operator=(const PutInput&) = delete;

    bool IsFile(const std::string& sFile) const
    {
        return IsStandard() ? LumIsFile(stdin, sFile.c_str()) : AreOneFile(sFile, msSource);
    }

    ByteSource Source()
    {
        return {mullBytes, [this](BYTE* pTo) { return Read(pTo); }};
    }

private:
    bool IsStandard() const { return msSource == "-"; }

    ULONG Read(BYTE* pTo)
    {
        if (IsStandard())
        {
            const size_t uRead = std::fread(pTo, 1, kulPiece, stdin);
            if (std::ferror(stdin)) throw Stop(kFailure, "reading the standard input failed");
            return static_cast<ULONG>(uRead);
        }
        DWORD ulRead = 0;
        if (!ReadFile(mhFile, pTo, kulPiece, &ulRead, nullptr))
            throw Stop(kFailure, "reading " + msName + " failed: " + SystemText(GetLastError()));
        return ulRead;
    }

    const std::string msSource, msName;
    HANDLE mhFile = INVALID_HANDLE_VALUE;
    ULONGLONG mullBytes = 0;
};

static StoragePath Above(const StoragePath& path) { return StoragePath(path.begin(), path.end() - 1); }

static Held<IStream> NewStream(const StorageFile& file, IStorage* pParent, const StoragePath& path)
{
    const auto eKind = file.Find(pParent, path);
    if (eKind == StorageFile::Kind::Storage)
        throw Stop(kFailure, file.Shown(path) + " is a storage, not a stream: name one in it, or remove it first");
    if (eKind == StorageFile::Kind::None) CheckNewName(path.back());
    const WCHAR* const pName = WideName(path.back());
    Held<IStream> stream;
    HRESULT hResult = pParent->CreateStream(pName, STGM_CREATE | file.ElementMode(), 0, 0, stream.Out());
    if (hResult == STG_E_INVALIDNAME) // a name that only an old stream can have
    {
        hResult = pParent->OpenStream(pName, nullptr, file.ElementMode(), 0, stream.Out());
        if (SUCCEEDED(hResult)) hResult = stream->SetSize({});
    }
    if (FAILED(hResult)) throw StorageFailure("creating " + file.Shown(path), hResult);
    return stream;
}

static void Fill(StorageFile& file, const StoragePath& path, const ByteSource& source)
{
    const std::string sShown = file.Shown(path);
    IStorage* const pParent = file.GoTo(Above(path), StorageFile::Missing::Created);
    const Held<IStream> stream = NewStream(file, pParent, path);
    LongWork work("writing " + sShown, source.ullBytes);
    const Piece bytes = NewPiece();
    for (ULONG ulRead; (ulRead = source.Read(bytes.get())) > 0; work.Add(ulRead)) WriteStream(stream, bytes.get(), ulRead, sShown);
}

static void PutIntoFile(const std::string& sFile, const StoragePath& path, const ByteSource& source, ULONG ulSectorBytes)
{
    if (ulSectorBytes && ulSectorBytes != SectorBytesOf(sFile))
        throw Stop(kUsage, sFile + " is there already: --sector-size is for a new file (lum storage copy makes one of it)");
    StorageFile file(sFile, StorageFile::For::Writing);
    Fill(file, path, source);
    file.Commit();
}

// From the file that was written beside, into the one that is there.
static void PutIntoOther(const std::string& sFile, const StoragePath& path, const std::string& sBeside, ULONG ulSectorBytes)
{
    StorageFile beside(sBeside, StorageFile::For::Reading);
    const Held<IStream> stream = beside.OpenStream(path);
    const std::string sShown = beside.Shown(path);
    const ByteSource source{SizeOfStream(stream, sShown), [&](BYTE* pTo) { return ReadStream(stream, pTo, sShown); }};
    PutIntoFile(sFile, path, source, ulSectorBytes);
}

// An empty file holds nothing that could be kept.
static bool IsNew(const std::string& sFile)
{
    const bool bThere = GetFileAttributesA(sFile.c_str()) != INVALID_FILE_ATTRIBUTES || GetLastError() != ERROR_FILE_NOT_FOUND;
    return !bThere || SizeOfFile(sFile) == 0;
}

static bool IsOpenElsewhere(const std::string& sFile)
{
    const HANDLE hFile = CreateFileA(sFile.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_SHARING_VIOLATION;
    CloseHandle(hFile);
    return false;
}

// False when its folder takes no new file, as one does that nobody may change.
static bool WasMade(std::optional<NewFile>& created, const std::string& sFile)
try
{
    created.emplace(sFile);
    return true;
}
catch (const Stop&)
{
    return false;
}

// A file that is new is written beside its place. So is what is for a file in use, which is waited for with all bytes at hand: they
// may come from the very program that has it open. Where its folder takes no file for them, it is waited for with them unread.
void PutStream(const std::string& sFile, const StoragePath& path, const std::string& sSource, unsigned long ulSectorBytes)
{
    constexpr ULONG kulUsualSector = 512, kulLargeSector = 4096; // the second one holds whatever the file in use may hold
    PutInput input(sSource);
    if (input.IsFile(sFile)) throw Stop(kFailure, Visible(sFile) + " cannot be put into itself: nothing was changed");
    const bool bNew = IsNew(sFile);
    std::optional<NewFile> created;
    if (bNew)
        created.emplace(sFile);
    else if (!IsOpenElsewhere(sFile) || !WasMade(created, sFile))
        return PutIntoFile(sFile, path, input.Source(), ulSectorBytes);

    {
        const ULONG ulUnlessSaid = bNew ? kulUsualSector : kulLargeSector;
        StorageFile file(created->Path(), ulSectorBytes ? ulSectorBytes : ulUnlessSaid, sFile);
        Fill(file, path, input.Source());
        file.Commit();
    }
    if (!created->PutInFreePlace()) PutIntoOther(sFile, path, created->Path(), ulSectorBytes);
}
} // namespace tool
