// What a storage should hold: a tree in memory, changed beside the real one.
#pragma once

#include "StorageContent.h"

struct StorageNode
{
    struct Order
    {
        bool operator()(const StorageText& sOne, const StorageText& sOther) const
        {
            return lum::CompareEntryNames(sOne, sOther) < 0;
        }
    };
    using Children = std::map<StorageText, StorageNode, Order>;

    bool bStream = false;
    StorageBlob bytes;
    Children children;

    StorageNode* Find(const StorageText& sName)
    {
        const auto found = children.find(sName);
        return found != children.end() ? &found->second : nullptr;
    }
    // Put: a new one, in place of one that is there.
    StorageNode& Put(const StorageText& sName, bool bIsStream)
    {
        children.erase(sName);
        StorageNode& node = children[sName];
        node.bStream = bIsStream;
        return node;
    }
    // MoveTo: under another name, which is free; nothing that is pointed at inside changes its place.
    void MoveTo(const StorageText& sName, StorageNode& to, const StorageText& sNewName)
    {
        auto taken = children.extract(sName);
        taken.key() = sNewName;
        to.children.insert(std::move(taken));
    }

    void List(StorageContent& content, const StorageText& sPath = {}) const
    {
        for (const auto& [sName, child] : children)
        {
            content[sPath + sName + (child.bStream ? u"" : u"/")] = child.bytes;
            child.List(content, sPath + sName + u"/");
        }
    }
    StorageContent Content() const
    {
        StorageContent content;
        List(content);
        return content;
    }
    std::size_t Weight() const // roughly the bytes it takes in a file
    {
        std::size_t ulBytes = bytes.size() + 128;
        for (const auto& [sName, child] : children) ulBytes += child.Weight();
        return ulBytes;
    }
};

// NodeOf: that content as a tree.
inline StorageNode NodeOf(const StorageContent& content)
{
    StorageNode root;
    for (const auto& [sPath, bytes] : content)
    {
        StorageNode* pNode = &root;
        for (std::size_t ulFrom = 0; ulFrom < sPath.size();)
        {
            const std::size_t ulEnd = std::min(sPath.find(u'/', ulFrom), sPath.size());
            pNode = &pNode->children[sPath.substr(ulFrom, ulEnd - ulFrom)];
            pNode->bStream = ulEnd == sPath.size();
            ulFrom = ulEnd + 1;
        }
        pNode->bytes = bytes;
    }
    return root;
}

// MarksNothingBehind: whether what lies behind the ends of a sound file and of its mini stream is free in their tables. Some writers
// mark it as taken: once there is more, it belongs to nobody.
inline bool MarksNothingBehind(const std::vector<BYTE>& bytes)
{
    StorageMemory memory(bytes);
    lum::CfHeader header;
    std::memcpy(&header, bytes.data(), sizeof header);
    const std::size_t ulEntries = std::size_t{header.ulFatSectors} << (header.uwSectorShift - 2);
    const std::size_t ulSectors = (bytes.size() - 1) >> header.uwSectorShift;
    memory.maBytes.resize(std::max(bytes.size(), (ulEntries + 1) << header.uwSectorShift)); // all that the table could tell of
    lum::SectorFile file(memory, header.uwSectorShift, memory.maBytes.size());
    lum::SectorTable table(file, false, false);
    lum::Directory directory(file, table, header.ulDirectory, 0);
    lum::PagedChain minis(file, table, header.ulMiniFatSectors == 0 ? lum::kulEndOfChain : header.ulMiniFat);
    const lum::CfEntry* pRoot = nullptr;
    ULONG ulMinis = 0, ulNext = 0;
    const BYTE* pByte = nullptr;
    if (table.Open(header) != S_OK || directory.Get(lum::kulRootEntry, pRoot) != S_OK || minis.Length(ulMinis) != S_OK) return false;
    for (std::size_t i = ulSectors; i < ulEntries; ++i)
        if (table.Get(static_cast<ULONG>(i), ulNext) != S_OK || ulNext != lum::kulFree) return false;
    for (ULONG i = lum::MiniStream::PiecesOf(pRoot->ulSizeLow); i < ulMinis << (header.uwSectorShift - 2); ++i)
    {
        if (minis.Look(ULONGLONG{i} * sizeof ulNext, sizeof ulNext, pByte) != S_OK) return false;
        std::memcpy(&ulNext, pByte, sizeof ulNext);
        if (ulNext != lum::kulFree) return false;
    }
    return true;
}

// SoundContent: what a file holds that the check finds no fault with, under names that may be given; false for any other.
inline bool SoundContent(const std::vector<BYTE>& file, StorageContent& content)
{
    StorageMemory bytes(file);
    if (DamageOf(bytes) != "" || ContentOf(bytes, content) != S_OK || !MarksNothingBehind(file)) return false;
    for (const auto& [sPath, stream] : content)
        for (std::size_t ulFrom = 0; ulFrom < sPath.size();)
        {
            const std::size_t ulEnd = std::min(sPath.find(u'/', ulFrom), sPath.size());
            if (FAILED(lum::CheckEntryName(std::u16string_view(sPath).substr(ulFrom, ulEnd - ulFrom)))) return false;
            ulFrom = ulEnd + 1;
        }
    return true;
}
