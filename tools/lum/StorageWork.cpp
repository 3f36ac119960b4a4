// lum storage cat and remove.
#include "StorageWork.h"

#include "PlatformPrivate.h"
#include "StoragePieces.h"

#include <cerrno>
#include <cstdio>

namespace tool
{
// ---- cat

void CatStream(const std::string& sFile, const StoragePath& path)
{
    StorageFile file(sFile, StorageFile::For::Reading);
    const Held<IStream> stream = file.OpenStream(path);
    const std::string sShown = file.Shown(path);
    const ULONGLONG ullBytes = SizeOfStream(stream, sShown);
    LongWork work("reading " + sShown, LumIsTerminal(stdout) ? 0 : ullBytes);
    const Piece bytes = NewPiece();
    ULONGLONG ullDone = 0;
    LumMakeBinary(stdout);
    for (ULONG ulRead; (ulRead = ReadStream(stream, bytes.get(), sShown)) > 0; work.Add(ulRead))
    {
        ullDone += ulRead;
        if (std::fwrite(bytes.get(), 1, ulRead, stdout) == ulRead && (ulRead == kulPiece || std::fflush(stdout) == 0)) continue;
        if (errno == EPIPE) throw Stop(kFailure, ""); // nobody wants to read on
        throw Stop(kFailure, "writing the output failed: look at where it goes");
    }
    CheckEnd(sShown, ullDone, ullBytes);
}

// ---- remove

static void Remove(StorageFile& file, const StoragePath& path, bool bRecursive)
{
    IStorage* const pParent = file.GoTo(StoragePath(path.begin(), path.end() - 1));
    const auto eKind = file.Find(pParent, path);
    if (eKind == StorageFile::Kind::None) throw Stop(kAnswerIsNo, "there is no " + file.Shown(path) + ": nothing was removed");
    if (eKind == StorageFile::Kind::Storage && !bRecursive)
    {
        const bool bEmpty = file.ElementsOf(file.OpenStorage(pParent, path), path).empty();
        if (!bEmpty)
            throw Stop(kFailure, file.Shown(path) +
                                     " is a storage that is not empty: --recursive removes it with all that is in it; "
                                     "nothing was removed");
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
} // namespace tool
