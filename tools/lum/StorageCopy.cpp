// lum storage copy: all of a file, in a new one.
#include "FileBytes.h"
#include "StoragePieces.h"
#include "StorageWork.h"

#include <optional>

namespace tool
{
class StorageCopier
{
public:
    StorageCopier(StorageFile& from, const StorageFile& to, ULONGLONG ullBytes)
        : mFrom(from), mTo(to), mWork("copying " + from.Shown({}), ullBytes)
    {
    }

    void Copy(IStorage* pFrom, IStorage* pTo, const StoragePath& path)
    {
        STATSTG stat{};
        CheckRead(path, pFrom->Stat(&stat, STATFLAG_NONAME));
        CheckWritten(path, pTo->SetClass(stat.clsid));
        if (stat.grfStateBits) CheckWritten(path, pTo->SetStateBits(stat.grfStateBits, 0xFFFFFFFF));
        for (const StorageElement& element : mFrom.ElementsOf(pFrom, path))
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
    void CheckRead(const StoragePath& path, HRESULT hResult) const
    {
        if (FAILED(hResult)) throw StorageFailure("reading " + mFrom.Shown(path), hResult);
    }
    void CheckWritten(const StoragePath& path, HRESULT hResult) const
    {
        if (FAILED(hResult)) throw StorageFailure("writing " + mTo.Shown(path), hResult);
    }

    void CopySub(IStorage* pFrom, IStorage* pTo, const StoragePath& path, const StorageElement& element)
    {
        {
            const Held<IStorage> from = mFrom.OpenStorage(pFrom, path);
            Held<IStorage> to;
            CheckWritten(path, pTo->CreateStorage(WideName(path.back()), mTo.ElementMode(), 0, 0, to.Out()));
            Copy(from, to, path);
        }
        CheckWritten(path, pTo->SetElementTimes(WideName(path.back()), &element.created, nullptr, &element.modified));
    }

    void CopyOne(IStorage* pFrom, IStorage* pTo, const StoragePath& path)
    {
        Held<IStream> from, to;
        CheckRead(path, pFrom->OpenStream(WideName(path.back()), nullptr, mFrom.ElementMode(), 0, from.Out()));
        CheckWritten(path, pTo->CreateStream(WideName(path.back()), mTo.ElementMode(), 0, 0, to.Out()));
        const std::string sShown = mFrom.Shown(path), sWritten = mTo.Shown(path);
        ULONGLONG ullDone = 0;
        const ULONGLONG ullBytes = SizeOfStream(from, sShown);
        for (ULONG ulRead; (ulRead = ReadStream(from, mBytes.get(), sShown)) > 0; mWork.Add(ulRead))
        {
            WriteStream(to, mBytes.get(), ulRead, sWritten);
            ullDone += ulRead;
        }
        CheckEnd(sShown, ullDone, ullBytes);
    }

    StorageFile& mFrom;
    const StorageFile& mTo;
    LongWork mWork;
    const Piece mBytes = NewPiece();
};

void CopyStorage(const std::string& sSource, const std::string& sDestination, bool bForce, unsigned long ulSectorBytes)
{
    CheckNoFolder(sDestination);
    const Stop isThere(kFailure, sDestination + " is there already: --force replaces it");
    if (!bForce && GetFileAttributesA(sDestination.c_str()) != INVALID_FILE_ATTRIBUTES) throw isThere;
    std::optional<WriteHold> hold; // what is put into it now would go with the old file
    if (AreOneFile(sSource, sDestination)) hold.emplace(sDestination);
    StorageFile from(sSource, StorageFile::For::Reading);
    NewFile created(sDestination);
    StorageFile to(created.Path(), ulSectorBytes ? ulSectorBytes : SectorBytesOf(sSource), sDestination);
    StorageCopier(from, to, SizeOfFile(sSource)).Copy(from.Root(), to.Root(), {});
    to.Commit();
    to.Close();
    from.Close(); // the destination may be the source
    if (bForce)
        created.PutInPlace(hold ? &*hold : nullptr);
    else if (!created.PutInFreePlace()) // another program was faster
        throw isThere;
}
} // namespace tool
