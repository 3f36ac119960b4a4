#include "StorageWork.h"

#include "FileBytes.h"
#include "PlatformPrivate.h"
#include "StorageFile.h"
#include "Text.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>

namespace tool
{
static constexpr ULONG kulUsualSector = 512;
static constexpr ULONG kulPiece = 1 << 18;         // bytes that are moved at a time
static constexpr ULONGLONG kullLong = 100'000'000; // bytes from which on it takes long enough to show how far it is

class LongWork
{
public:
    LongWork(const std::string& sWhat, ULONGLONG ullBytes)
    {
        if (ullBytes >= kullLong) mProgress.emplace(sWhat, static_cast<size_t>(ullBytes));
    }
    void Add(ULONGLONG ullBytes)
    {
        mullDone += ullBytes;
        if (mProgress) mProgress->At(static_cast<size_t>(mullDone));
    }

private:
    std::optional<Progress> mProgress;
    ULONGLONG mullDone = 0;
};

using Bytes = std::unique_ptr<BYTE[]>;

static Bytes NewBytes() { return Bytes(new BYTE[kulPiece]); }

// Fewer than asked for at the end alone.
static ULONG ReadStream(IStream* pStream, BYTE* pTo, const std::string& sShown)
{
    ULONG ulRead = 0;
    const HRESULT hResult = pStream->Read(pTo, kulPiece, &ulRead);
    if (FAILED(hResult)) throw StorageFailure("reading " + sShown, hResult);
    return ulRead;
}

static void WriteStream(IStream* pStream, const BYTE* pFrom, ULONG ulBytes, const std::string& sShown)
{
    ULONG ulWritten = 0;
    HRESULT hResult = pStream->Write(pFrom, ulBytes, &ulWritten);
    if (SUCCEEDED(hResult) && ulWritten != ulBytes) hResult = STG_E_MEDIUMFULL;
    if (FAILED(hResult)) throw StorageFailure("writing " + sShown, hResult);
}

static ULONGLONG SizeOf(IStream* pStream, const std::string& sShown)
{
    STATSTG stat{};
    const HRESULT hResult = pStream->Stat(&stat, STATFLAG_NONAME);
    if (FAILED(hResult)) throw StorageFailure("reading " + sShown, hResult);
    return stat.cbSize.QuadPart;
}

static Stop EndsEarly(const std::string& sShown, ULONGLONG ullDone, ULONGLONG ullBytes)
{
    return Stop(kFailure, "reading " + sShown + " failed: it ends after " + std::to_string(ullDone) + " of " +
                              std::to_string(ullBytes) + " bytes");
}

// ---- cat

void CatStream(const std::string& sFile, const StoragePath& path)
{
    StorageFile file(sFile, StorageFile::For::Reading);
    const Held<IStream> stream = file.OpenStream(path);
    const std::string sShown = file.Shown(path);
    const ULONGLONG ullBytes = SizeOf(stream.Get(), sShown);
    LongWork work("reading " + sShown, LumIsTerminal(stdout) ? 0 : ullBytes);
    const Bytes bytes = NewBytes();
    ULONGLONG ullDone = 0;
    LumMakeBinary(stdout);
    for (ULONG ulRead; (ulRead = ReadStream(stream.Get(), bytes.get(), sShown)) > 0; work.Add(ulRead))
    {
        ullDone += ulRead;
        if (std::fwrite(bytes.get(), 1, ulRead, stdout) == ulRead && (ulRead == kulPiece || std::fflush(stdout) == 0)) continue;
        if (errno == EPIPE) throw Stop(kFailure, ""); // nobody wants to read on
        throw Stop(kFailure, "writing the output failed: look at where it goes");
    }
    if (ullDone != ullBytes) throw EndsEarly(sShown, ullDone, ullBytes);
}

// ---- put

// Where the bytes of a new stream come from.
class StreamSource
{
public:
    explicit StreamSource(const std::string& sSource) : msName(sSource == "-" ? "the standard input" : Visible(sSource))
    {
        if (sSource == "-")
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
    ~StreamSource()
    {
        if (mhFile != INVALID_HANDLE_VALUE) CloseHandle(mhFile);
    }
    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    ULONGLONG Bytes() const { return mullBytes; } // as far as anybody knows

    ULONG Read(BYTE* pTo)
    {
        if (mhFile == INVALID_HANDLE_VALUE)
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

private:
    const std::string msName;
    HANDLE mhFile = INVALID_HANDLE_VALUE; // none: the standard input
    ULONGLONG mullBytes = 0;
};

static void FillStream(StorageFile& file, const StoragePath& path, StreamSource& source)
{
    const std::string sShown = file.Shown(path);
    IStorage* const pParent = file.GoTo(StoragePath(path.begin(), path.end() - 1), StorageFile::Missing::Created);
    if (file.Find(pParent, path) == StorageFile::Kind::Storage)
        throw Stop(kFailure, sShown + " is a storage, not a stream: name one in it, or remove it first");
    Held<IStream> stream;
    const HRESULT hResult = pParent->CreateStream(WideName(path.back()), STGM_CREATE | file.ElementMode(), 0, 0, stream.Room());
    if (FAILED(hResult)) throw StorageFailure("creating " + sShown, hResult);
    LongWork work("writing " + sShown, source.Bytes());
    const Bytes bytes = NewBytes();
    for (ULONG ulRead; (ulRead = source.Read(bytes.get())) > 0; work.Add(ulRead))
        WriteStream(stream.Get(), bytes.get(), ulRead, sShown);
}

void PutStream(const std::string& sFile, const StoragePath& path, const std::string& sSource, unsigned long ulSectorBytes)
{
    StreamSource source(sSource);
    const bool bThere = GetFileAttributesA(sFile.c_str()) != INVALID_FILE_ATTRIBUTES || GetLastError() != ERROR_FILE_NOT_FOUND;
    if (!bThere || SizeOfFile(sFile) == 0) // an empty one holds nothing that could be kept
    {
        NewFile created(sFile);
        StorageFile file(created.Path(), ulSectorBytes ? ulSectorBytes : kulUsualSector, sFile);
        FillStream(file, path, source);
        file.Commit();
        file.Close();
        created.PutInPlace();
        return;
    }
    if (sSource != "-" && AreOneFile(sFile, sSource)) throw Stop(kFailure, sFile + " cannot be put into itself: nothing was changed");
    if (ulSectorBytes && ulSectorBytes != SectorBytesOf(sFile))
        throw Stop(kUsage, sFile + " is there already: --sector-size is for a new file (lum storage copy makes one of it)");
    StorageFile file(sFile, StorageFile::For::Writing);
    FillStream(file, path, source);
    file.Commit();
}

// ---- remove

static void Remove(StorageFile& file, const StoragePath& path, bool bRecursive)
{
    IStorage* const pParent = file.GoTo(StoragePath(path.begin(), path.end() - 1));
    const auto eKind = file.Find(pParent, path);
    if (eKind == StorageFile::Kind::None) throw Stop(kAnswerIsNo, "there is no " + file.Shown(path) + ": nothing was removed");
    if (eKind == StorageFile::Kind::Storage && !bRecursive)
    {
        const size_t uElements = ElementsOf(file.OpenStorage(pParent, path).Get(), file.Shown(path)).size();
        if (uElements > 0)
            throw Stop(kFailure, file.Shown(path) + " is a storage that has " + std::to_string(uElements) +
                                     " in it: --recursive removes it with all of that; nothing was removed");
    }
    const HRESULT hResult = pParent->DestroyElement(WideName(path.back()));
    if (FAILED(hResult)) throw StorageFailure("removing " + file.Shown(path), hResult);
}

void RemoveElements(const std::string& sFile, const std::vector<StoragePath>& paths, bool bRecursive)
{
    StorageFile file(sFile, StorageFile::For::Writing);
    for (const StoragePath& path : paths) Remove(file, path, bRecursive);
    file.Commit();
}

// ---- copy

class StorageCopier
{
public:
    StorageCopier(const StorageFile& from, const StorageFile& to, ULONGLONG ullBytes)
        : mFrom(from), mTo(to), mWork("copying " + from.Shown({}), ullBytes)
    {
    }

    void Copy(IStorage* pFrom, IStorage* pTo, const StoragePath& path)
    {
        STATSTG stat{};
        Check("reading", path, pFrom->Stat(&stat, STATFLAG_NONAME));
        Check("writing", path, pTo->SetClass(stat.clsid));
        if (stat.grfStateBits) Check("writing", path, pTo->SetStateBits(stat.grfStateBits, 0xFFFFFFFF));
        for (const StorageElement& element : ElementsOf(pFrom, mFrom.Shown(path)))
        {
            StoragePath below = path;
            below.push_back(element.sName);
            if (element.bStorage)
                CopySub(pFrom, pTo, below, element);
            else
                CopyOne(pFrom, pTo, below);
        }
    }

private:
    void Check(const char* pWhat, const StoragePath& path, HRESULT hResult) const
    {
        if (FAILED(hResult)) throw StorageFailure(pWhat + (" " + mFrom.Shown(path)), hResult);
    }

    void CopySub(IStorage* pFrom, IStorage* pTo, const StoragePath& path, const StorageElement& element)
    {
        if (path.size() > kuDeepestStorage) throw Stop(kFailure, mFrom.Shown(path) + " lies too deep in other storages");
        {
            const Held<IStorage> from = mFrom.OpenStorage(pFrom, path);
            Held<IStorage> to;
            Check("writing", path, pTo->CreateStorage(WideName(path.back()), mTo.ElementMode(), 0, 0, to.Room()));
            Copy(from.Get(), to.Get(), path);
        }
        Check("writing", path, pTo->SetElementTimes(WideName(path.back()), &element.created, nullptr, &element.modified));
    }

    void CopyOne(IStorage* pFrom, IStorage* pTo, const StoragePath& path)
    {
        Held<IStream> from, to;
        Check("reading", path, pFrom->OpenStream(WideName(path.back()), nullptr, mFrom.ElementMode(), 0, from.Room()));
        Check("writing", path, pTo->CreateStream(WideName(path.back()), mTo.ElementMode(), 0, 0, to.Room()));
        const std::string sShown = mFrom.Shown(path);
        ULONGLONG ullDone = 0;
        const ULONGLONG ullBytes = SizeOf(from.Get(), sShown);
        for (ULONG ulRead; (ulRead = ReadStream(from.Get(), mBytes.get(), sShown)) > 0; mWork.Add(ulRead))
        {
            WriteStream(to.Get(), mBytes.get(), ulRead, sShown);
            ullDone += ulRead;
        }
        if (ullDone != ullBytes) throw EndsEarly(sShown, ullDone, ullBytes);
    }

    const StorageFile& mFrom;
    const StorageFile& mTo;
    LongWork mWork;
    const Bytes mBytes = NewBytes();
};

void CopyStorage(const std::string& sSource, const std::string& sDestination, bool bForce, unsigned long ulSectorBytes)
{
    if (!bForce && GetFileAttributesA(sDestination.c_str()) != INVALID_FILE_ATTRIBUTES)
        throw Stop(kFailure, sDestination + " is there already: --force replaces it");
    StorageFile from(sSource, StorageFile::For::Reading);
    NewFile created(sDestination);
    StorageFile to(created.Path(), ulSectorBytes ? ulSectorBytes : SectorBytesOf(sSource), sDestination);
    StorageCopier(from, to, SizeOfFile(sSource)).Copy(from.Root(), to.Root(), {});
    to.Commit();
    to.Close();
    from.Close(); // the destination may be the source
    created.PutInPlace();
}
} // namespace tool
