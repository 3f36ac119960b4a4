// The entries of the walk: directory, trees, streams.
#include "StorageWalk.h"

#include <algorithm>

namespace lum
{
namespace
{
void AppendUtf8(std::string& sBytes, std::u16string_view sUnits)
{
    for (char16_t uwUnit : sUnits)
    {
        // Control characters, of which names of properties have some, and half pairs are shown by their number.
        if (uwUnit < 0x20 || (uwUnit >= 0xD800 && uwUnit < 0xE000))
        {
            constexpr char kacDigits[] = "0123456789ABCDEF";
            sBytes += "\\u";
            for (int iShift = 12; iShift >= 0; iShift -= 4) sBytes += kacDigits[(uwUnit >> iShift) & 15];
        }
        else if (uwUnit < 0x80)
            sBytes += static_cast<char>(uwUnit);
        else
        {
            if (uwUnit < 0x800)
                sBytes += static_cast<char>(0xC0 | (uwUnit >> 6));
            else
                sBytes += {static_cast<char>(0xE0 | (uwUnit >> 12)), static_cast<char>(0x80 | ((uwUnit >> 6) & 0x3F))};
            sBytes += static_cast<char>(0x80 | (uwUnit & 0x3F));
        }
    }
}
} // namespace

std::string StorageWalk::NameOf(ULONG ulOwner)
{
    struct Row
    {
        ULONG ulOwner;
        const char* pName;
    };
    constexpr Row kRows[] = {{kulTable, "FAT"},          {kulList, "DIFAT"},
                             {kulDirectory, "directory"}, {kulMiniFat, "mini FAT"},
                             {kulMini, "mini stream"},    {kulLocks, "place for locks"},
                             {kulRootEntry, "root"}};
    if (IsFull()) return {};
    for (const Row& row : kRows)
        if (row.ulOwner == ulOwner) return row.pName;
    const std::string sPath = PathOf(ulOwner);
    const CfEntry* pEntry = nullptr;
    if (sPath.empty() || FAILED(mDirectory.Peek(ulOwner, pEntry))) return "entry " + std::to_string(ulOwner);
    return (pEntry->eKind == EntryKind::Stream ? "stream " : "storage ") + sPath;
}

std::string StorageWalk::PathOf(ULONG ulEntry)
{
    std::vector<ULONG> levels;
    for (; ulEntry != kulRootEntry; ulEntry = mParents[ulEntry])
    {
        if (levels.size() == kulMostLevels || !mParents.contains(ulEntry)) return {};
        levels.push_back(ulEntry);
    }
    std::string sPath;
    for (; !levels.empty(); levels.pop_back())
    {
        const CfEntry* pEntry = nullptr;
        std::u16string_view sName;
        if (FAILED(mDirectory.Peek(levels.back(), pEntry)) || !NameOfEntry(*pEntry, sName)) return {};
        if (!sPath.empty()) sPath += '/';
        AppendUtf8(sPath, sName);
    }
    if (sPath.size() > kulMostPathBytes - mulPathBytes) return {};
    mulPathBytes += sPath.size();
    return sPath;
}

void StorageWalk::WalkDirectory()
{
    const ULONG ulEntries = WalkChain(mHeader.ulDirectory, kulDirectory) * (mFile.SectorBytes() / sizeof(CfEntry));
    const ULONG ulMiniFat = mHeader.ulMiniFatSectors == 0 ? 0 : WalkChain(mHeader.ulMiniFat, kulMiniFat);
    const CfEntry* pEntry = nullptr;
    if (ulEntries == 0 || FAILED(mDirectory.Get(kulRootEntry, pEntry))) return Find("directory", "has no root");

    const ULONGLONG ullMini = SizeOf(*pEntry);
    const ULONGLONG ullHeld = ullMini == 0 ? 0 : ULONGLONG{WalkChain(pEntry->ulStart, kulMini)} << mFile.Shift();
    if (ullMini > ullHeld)
        Find("mini stream", "is " + std::to_string(ullMini) + " bytes long, its sectors have " + std::to_string(ullHeld));
    mpMini = std::make_unique<MiniStream>(mFile, mTable, ulMiniFat == 0 ? kulEndOfChain : mHeader.ulMiniFat,
                                          ullHeld == 0 ? kulEndOfChain : pEntry->ulStart, ullMini, 0);
    mPieceOwners.assign(std::min<ULONGLONG>(ullHeld >> kulMiniShift, ULONGLONG{ulMiniFat} << (mFile.Shift() - 2)), kulNobody);

    mSeen.assign(ulEntries, false);
    mSeen[kulRootEntry] = true;
    mStorages.assign(1, kulRootEntry);
    while (!mStorages.empty())
    {
        const ULONG ulStorage = mStorages.back();
        mStorages.pop_back();
        WalkTree(ulStorage);
    }
    for (ULONG i = 0; i < ulEntries; ++i)
        if (!mSeen[i] && SUCCEEDED(mDirectory.Peek(i, pEntry)) && pEntry->eKind != EntryKind::Free)
            Find("entry " + std::to_string(i), "is in use and in no storage");
}

// The tree of one storage, in order, each entry once.
void StorageWalk::WalkTree(ULONG ulStorage)
{
    const CfEntry* pEntry = nullptr;
    if (FAILED(mDirectory.Get(ulStorage, pEntry))) return;
    std::vector<ULONG> above;
    std::u16string sLast;
    ULONG ulNext = pEntry->ulChild;
    const auto descend = [&]
    {
        while (ulNext != kulNoEntry)
        {
            if (ulNext >= mSeen.size() || mSeen[ulNext] || FAILED(mDirectory.Get(ulNext, pEntry)))
                return Find(NameOf(ulStorage), "names entry " + std::to_string(ulNext) +
                                                   ", which is none, is free or has its place elsewhere");
            mSeen[ulNext] = true;
            mParents[ulNext] = ulStorage;
            above.push_back(ulNext);
            ulNext = pEntry->ulLeft;
        }
    };
    descend();
    while (!above.empty())
    {
        const ULONG ulEntry = above.back();
        above.pop_back();
        if (FAILED(mDirectory.Get(ulEntry, pEntry))) return;
        CheckNode(ulEntry, *pEntry, sLast);
        std::u16string_view sName;
        if (NameOfEntry(*pEntry, sName)) sLast = sName;
        ulNext = pEntry->ulRight;
        descend();
    }
}

void StorageWalk::CheckNode(ULONG ulEntry, const CfEntry& entry, std::u16string_view sLast)
{
    std::u16string_view sName;
    if (!NameOfEntry(entry, sName))
        Find(NameOf(ulEntry), "has a name of " + std::to_string(entry.uwNameBytes) + " bytes");
    else if (!sLast.empty() && CompareEntryNames(sLast, sName) >= 0)
        Find(NameOf(ulEntry), "is not in the order of names");
    else if (sName.find(u'\0') != sName.npos)
        Find(NameOf(ulEntry), "has a name with a zero in it, by which nobody can open it");
    if (entry.eKind == EntryKind::Stream)
        WalkStream(ulEntry, entry);
    else
        mStorages.push_back(ulEntry);
}

void StorageWalk::WalkStream(ULONG ulEntry, const CfEntry& entry)
{
    const ULONGLONG ullSize = SizeOf(entry);
    if (ullSize == 0) return;
    const ULONG ulPieces = MiniStream::PiecesOf(static_cast<ULONG>(std::min<ULONGLONG>(ullSize, kulCutoff)));
    const ULONGLONG ullHeld = ullSize < kulCutoff ? ULONGLONG{WalkPieces(entry.ulStart, ulEntry, ulPieces)} << kulMiniShift
                                                  : ULONGLONG{WalkChain(entry.ulStart, ulEntry)} << mFile.Shift();
    if (ullHeld < ullSize)
        Find(NameOf(ulEntry), "is " + std::to_string(ullSize) + " bytes long, its sectors have " + std::to_string(ullHeld));
}
} // namespace lum
