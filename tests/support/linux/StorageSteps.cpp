// The steps of a script: each a call or a few, and the same done to the model.
#include "StorageCalls.h"

namespace
{
constexpr std::size_t kaulSizes[] = {0, 1, 64, 65, 512, 4095, 4096, 4097, 20000};

std::size_t SizeOf(BYTE ubHow) { return kaulSizes[ubHow % std::size(kaulSizes)]; }
} // namespace

// What creating there answers.
HRESULT StorageCalls::CheckNew(const Level& level, const StorageText& sName, DWORD ulMode) const
{
    if (level.bReads) return STG_E_ACCESSDENIED;
    return FindIn(level, sName) && !(ulMode & STGM_CREATE) ? STG_E_FILEALREADYEXISTS : S_OK;
}

void StorageCalls::WriteStream(const Step& step)
{
    Level& level = At(step);
    const std::size_t ulLevel = IndexOf(level);
    const StorageText sName = NameIn(level, step.ubName);
    const DWORD ulMode = kulElement | (step.ubHow & 1 ? STGM_CREATE : 0);
    StorageNode* pNode = FindIn(level, sName);
    Held<IStream> stream;
    const HRESULT hrNew = CheckNew(level, sName, ulMode);
    if (Expect("CreateStream", level.storage->CreateStream(Wide(sName), ulMode, 0, 0, stream.Out()), hrNew))
    {
        if (IsOpenIn(level, sName)) ExpectRevoked(ulLevel + 1);
        if (mFile) pNode = &mLevels[ulLevel].pView->Put(sName, true);
    }
    else
    {
        const HRESULT hrOpen = level.bReads ? STG_E_ACCESSDENIED : !pNode || !pNode->bStream ? STG_E_FILENOTFOUND : S_OK;
        if (!Expect("OpenStream", level.storage->OpenStream(Wide(sName), nullptr, kulElement, 0, stream.Out()), hrOpen)) return;
    }
    const StorageBlob data = StoragePattern(SizeOf(step.ubHow >> 3), step.ubHow * 7u + step.ubName);
    LARGE_INTEGER at;
    at.QuadPart = static_cast<LONGLONG>(step.ubHow & 2 ? SizeOf(step.ubHow >> 2) : 0);
    ULONG ulWritten = 0;
    Expect("Seek", stream->Seek(at, STREAM_SEEK_SET, nullptr), S_OK);
    const auto ulData = static_cast<ULONG>(data.size());
    const bool bWritten = ulData > 0 && Expect("Write", stream->Write(data.data(), ulData, &ulWritten), S_OK);
    ULARGE_INTEGER size;
    size.QuadPart = SizeOf(step.ubHow >> 4);
    const bool bSized = (step.ubHow & 4) && Expect("SetSize", stream->SetSize(size), S_OK);
    if (mFile && bWritten)
    {
        const auto ulAt = static_cast<std::size_t>(at.QuadPart);
        pNode->bytes.resize(std::max(pNode->bytes.size(), ulAt + data.size()));
        std::copy(data.begin(), data.end(), pNode->bytes.begin() + at.QuadPart);
    }
    if (mFile && bSized) pNode->bytes.resize(size.QuadPart);
    ExpectBytes(stream, mFile ? pNode->bytes : data);
}

void StorageCalls::ReadStream(const Step& step)
{
    Level& level = At(step);
    const StorageText sName = NameIn(level, step.ubName);
    const StorageNode* const pNode = FindIn(level, sName);
    Held<IStream> stream, other;
    const HRESULT hr = level.storage->OpenStream(Wide(sName), nullptr, kulReading, 0, stream.Out());
    if (!Expect("OpenStream", hr, pNode && pNode->bStream ? S_OK : STG_E_FILENOTFOUND)) return;
    ExpectBytes(stream, mFile ? pNode->bytes : StorageBlob(5000));
    const HRESULT hrOther = level.storage->OpenStream(Wide(sName), nullptr, kulReading, 0, other.Out());
    Expect("OpenStream again", hrOther, STG_E_ACCESSDENIED);
    if (Expect("Clone", stream->Clone(other.Out()), S_OK)) ExpectBytes(other, mFile ? pNode->bytes : StorageBlob(100));
    Expect("Write to what is read", stream->Write("x", 1, nullptr), STG_E_ACCESSDENIED);
}

void StorageCalls::NewStorage(const Step& step)
{
    Level& level = At(step);
    const std::size_t ulLevel = IndexOf(level);
    const StorageText sName = NameIn(level, step.ubName);
    const DWORD ulMode = kulElement | (step.ubHow & 1 ? STGM_CREATE : 0) | (step.ubHow & 2 ? STGM_TRANSACTED : 0);
    Held<IStorage> storage;
    const HRESULT hr = level.storage->CreateStorage(Wide(sName), ulMode, 0, 0, storage.Out());
    if (!Expect("CreateStorage", hr, CheckNew(level, sName, ulMode))) return;
    if (IsOpenIn(level, sName)) ExpectRevoked(ulLevel + 1);
    StorageNode* const pNode = mFile ? &mLevels[ulLevel].pView->Put(sName, false) : nullptr;
    if (ulLevel + 1 == mLevels.size() && mLevels.size() < kulMostLevels)
        Push(std::move(storage), pNode, sName, false, (ulMode & STGM_TRANSACTED) != 0);
}

void StorageCalls::OpenStorage(const Step& step)
{
    Level& level = At(step);
    const StorageText sName = NameIn(level, step.ubName);
    const bool bReads = (step.ubHow & 1) != 0;
    const DWORD ulMode = (bReads ? kulReading : kulElement) | (step.ubHow & 2 ? STGM_TRANSACTED : 0);
    StorageNode* const pNode = FindIn(level, sName);
    HRESULT hrExpected = pNode && !pNode->bStream ? S_OK : STG_E_FILENOTFOUND;
    if (level.bReads && !bReads) hrExpected = STG_E_ACCESSDENIED;
    else if (hrExpected == S_OK && IsOpenIn(level, sName)) hrExpected = STG_E_ACCESSDENIED;
    Held<IStorage> storage;
    const HRESULT hr = level.storage->OpenStorage(Wide(sName), nullptr, ulMode, nullptr, 0, storage.Out());
    if (!Expect("OpenStorage", hr, hrExpected)) return;
    if (IndexOf(level) + 1 == mLevels.size() && mLevels.size() < kulMostLevels)
        Push(std::move(storage), pNode, sName, bReads, (ulMode & STGM_TRANSACTED) != 0);
}

void StorageCalls::Leave(const Step&)
{
    if (mLevels.size() > 1) mLevels.pop_back();
}

void StorageCalls::Commit(const Step& step)
{
    Level& level = At(step);
    const bool bDenied = level.bReads && level.bTransacted;
    const bool bDone = Expect("Commit", level.storage->Commit(STGC_DEFAULT), bDenied ? STG_E_ACCESSDENIED : S_OK);
    if (bDone && level.pOwn) *level.pBelow = *level.pOwn;
}

void StorageCalls::Revert(const Step& step)
{
    Level& level = At(step);
    if (!Expect("Revert", level.storage->Revert(), S_OK) || !level.bTransacted) return;
    ExpectRevoked(IndexOf(level) + 1);
    if (level.pOwn) *level.pOwn = *level.pBelow;
}

void StorageCalls::Destroy(const Step& step)
{
    Level& level = At(step);
    const std::size_t ulLevel = IndexOf(level);
    const StorageText sName = NameIn(level, step.ubName);
    const HRESULT hrExpected = level.bReads ? STG_E_ACCESSDENIED : FindIn(level, sName) ? S_OK : STG_E_FILENOTFOUND;
    if (!Expect("DestroyElement", level.storage->DestroyElement(Wide(sName)), hrExpected)) return;
    if (IsOpenIn(level, sName)) ExpectRevoked(ulLevel + 1);
    if (mFile) mLevels[ulLevel].pView->children.erase(sName);
}

void StorageCalls::Rename(const Step& step)
{
    Level& level = At(step);
    const StorageText sName = NameIn(level, step.ubName), sNew = NameIn(level, step.ubHow);
    HRESULT hrExpected = FindIn(level, sNew) ? STG_E_FILEALREADYEXISTS : S_OK;
    if (IsOpenIn(level, sName)) hrExpected = STG_E_ACCESSDENIED;
    if (!FindIn(level, sName)) hrExpected = STG_E_FILENOTFOUND;
    if (level.bReads) hrExpected = STG_E_ACCESSDENIED;
    if (!Expect("RenameElement", level.storage->RenameElement(Wide(sName), Wide(sNew)), hrExpected)) return;
    if (mFile) level.pView->MoveTo(sName, *level.pView, sNew);
}

void StorageCalls::Move(const Step& step)
{
    Level& level = At(step);
    Level& to = mLevels[(step.ubHow >> 1) % mLevels.size()];
    const bool bCopies = (step.ubHow & 1) != 0;
    const StorageText sName = NameIn(level, step.ubName), sNew = NameIn(to, step.ubHow >> 4);
    StorageNode* const pNode = FindIn(level, sName);
    const bool bInside = !bCopies && ViewOf(IndexOf(level)) == ViewOf(IndexOf(to));
    if (!bInside && !MayCopy(pNode ? pNode : level.pView)) return;

    HRESULT hrExpected = FindIn(to, sNew) ? STG_E_FILEALREADYEXISTS : S_OK;
    if (to.bReads && !bInside) hrExpected = STG_E_ACCESSDENIED;
    if (IsOpenIn(level, sName)) hrExpected = STG_E_ACCESSDENIED;
    if (!pNode) hrExpected = STG_E_FILENOTFOUND;
    if ((level.bReads && !bCopies) || (to.bReads && bInside)) hrExpected = STG_E_ACCESSDENIED;
    const DWORD ulFlags = bCopies ? STGMOVE_COPY : STGMOVE_MOVE;
    if (!Expect("MoveElementTo", level.storage->MoveElementTo(Wide(sName), to.storage, Wide(sNew), ulFlags), hrExpected)) return;
    if (!mFile) return;
    if (bInside) return level.pView->MoveTo(sName, *to.pView, sNew);
    StorageNode copy = *pNode;
    to.pView->Put(sNew, false) = std::move(copy);
    if (!bCopies) level.pView->children.erase(sName);
}

// Into a new storage of a level: one further out than the source, or one inside it, which is refused.
void StorageCalls::Copy(const Step& step)
{
    Level& level = At(step);
    Level& to = mLevels[step.ubHow % mLevels.size()];
    const StorageText sName = NameIn(to, step.ubName & 127);
    if (!MayCopy(level.pView)) return;
    Held<IStorage> storage;
    const HRESULT hr = to.storage->CreateStorage(Wide(sName), kulElement, 0, 0, storage.Out());
    if (!Expect("CreateStorage", hr, CheckNew(to, sName, 0))) return;
    StorageNode* const pNode = mFile ? &to.pView->Put(sName, false) : nullptr;
    const HRESULT hrExpected = IndexOf(to) >= IndexOf(level) ? STG_E_ACCESSDENIED : S_OK;
    if (!Expect("CopyTo", level.storage->CopyTo(0, nullptr, nullptr, storage), hrExpected)) return;
    if (!mFile) return;
    StorageNode copy = *level.pView;
    pNode->children = std::move(copy.children);
}

void StorageCalls::CopyOut(const Step& step)
{
    Level& level = At(step);
    Held<IStorage> other;
    if (!MayCopy(level.pView)) return;
    const HRESULT hr = StgCreateDocfile(Wide(Path("copy")), kulElement | STGM_CREATE, 0, other.Out());
    if (!Expect("StgCreateDocfile", hr, S_OK)) return;
    if (!Expect("CopyTo", level.storage->CopyTo(0, nullptr, nullptr, other), S_OK) || !mFile) return;
    StorageContent content;
    ReadInto(content, other, {}, nullptr, 0);
    if (content != level.pView->Content()) Blame("a copy holds something else");
}

void StorageCalls::Compare(const Step& step)
{
    Level& level = At(step);
    const std::size_t ulAbove = IndexOf(level) + 1;
    const StorageText* const pSkip = ulAbove < mLevels.size() ? &mLevels[ulAbove].sName : nullptr;
    StorageContent content;
    ReadInto(content, level.storage, {}, pSkip, 0);
    if (!mFile) return;
    StorageNode expected = *level.pView;
    if (pSkip) expected.children.erase(*pSkip);
    if (content != expected.Content()) Blame("a storage holds something else");
}

// All of it, but for one that is open, on the first level.
void StorageCalls::ReadInto(StorageContent& content, IStorage* pStorage, const StorageText& sPath, const StorageText* pSkip,
                            int iDepth)
{
    Held<IEnumSTATSTG> elements;
    if (!Expect("EnumElements", pStorage->EnumElements(0, nullptr, 0, elements.Out()), S_OK) || iDepth > 20) return;
    STATSTG stat;
    while (content.size() < 5000 && elements->Next(1, &stat, nullptr) == S_OK)
    {
        const StorageText sName(reinterpret_cast<const char16_t*>(stat.pwcsName));
        CoTaskMemFree(stat.pwcsName);
        if (pSkip && lum::CompareEntryNames(*pSkip, sName) == 0) continue;
        if (stat.type == STGTY_STORAGE)
        {
            Held<IStorage> inside;
            content[sPath + sName + u"/"];
            if (Expect("OpenStorage", pStorage->OpenStorage(Wide(sName), nullptr, kulReading, nullptr, 0, inside.Out()), S_OK))
                ReadInto(content, inside, sPath + sName + u"/", nullptr, iDepth + 1);
            continue;
        }
        Held<IStream> stream;
        if (!Expect("OpenStream", pStorage->OpenStream(Wide(sName), nullptr, kulReading, 0, stream.Out()), S_OK)) continue;
        StorageBlob& bytes = content[sPath + sName];
        ULONG ulRead = 0;
        bytes.resize(static_cast<std::size_t>(std::min<ULONGLONG>(stat.cbSize.QuadPart, kulMostWeight)));
        if (!bytes.empty()) Expect("Read", stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &ulRead), S_OK);
        bytes.resize(ulRead);
    }
}
