// What a compound file holds, to be compared with what it should.
#pragma once

#include "StorageMemory.h"
#include "linux/storage/CompoundFile.h"
#include "linux/storage/StorageCheck.h"

#include <map>
#include <string>

using StorageText = std::u16string;
using StorageBlob = std::vector<BYTE>;

// Streams by their path, storages by theirs with a slash behind; the root is "".
using StorageContent = std::map<StorageText, StorageBlob>;

// Bytes that tell where they belong.
inline StorageBlob StoragePattern(std::size_t ulBytes, unsigned uSeed)
{
    StorageBlob bytes(ulBytes);
    std::uint32_t ulNext = uSeed * 2654435761u + 1;
    for (BYTE& ubByte : bytes)
    {
        ulNext = ulNext * 1664525u + 1013904223u;
        ubByte = static_cast<BYTE>(ulNext >> 24);
    }
    return bytes;
}

inline HRESULT ReadWhole(lum::StorageTree& file, ULONG ulEntry, StorageBlob& bytes)
{
    lum::CfEntry entry;
    HRESULT hr = file.Get(ulEntry, entry);
    if (FAILED(hr)) return hr;
    std::size_t ulRead = 0;
    BYTE ubByte = 0;
    bytes.clear();
    if (file.SizeOf(entry) == 0) return S_OK;
    hr = file.Read(ulEntry, file.SizeOf(entry) - 1, &ubByte, 1, ulRead); // before memory is reserved for a size that lies
    if (FAILED(hr)) return hr;
    bytes.resize(file.SizeOf(entry));
    hr = file.Read(ulEntry, 0, bytes.data(), bytes.size(), ulRead);
    bytes.resize(ulRead);
    return hr;
}

// Reads everything; the first failure, if there is one.
inline HRESULT ReadContent(lum::StorageTree& file, StorageContent& content, ULONG ulStorage = 0, const StorageText& sPath = {},
                           int iDepth = 0)
{
    if (iDepth > 100) return STG_E_DOCFILECORRUPT;
    std::vector<ULONG> children;
    HRESULT hr = file.Children(ulStorage, children);
    for (std::size_t i = 0; i < children.size() && SUCCEEDED(hr); ++i)
    {
        lum::CfEntry entry;
        hr = file.Get(children[i], entry);
        std::u16string_view sName;
        if (SUCCEEDED(hr) && !lum::NameOfEntry(entry, sName)) hr = STG_E_DOCFILECORRUPT;
        if (FAILED(hr)) return hr;
        const StorageText sHere = sPath + StorageText(sName);
        if (entry.eKind == lum::EntryKind::Stream)
        {
            hr = ReadWhole(file, children[i], content[sHere]);
            continue;
        }
        content[sHere + u"/"];
        hr = ReadContent(file, content, children[i], sHere + u"/", iDepth + 1);
    }
    return hr;
}

// What is in the bytes, opened anew.
inline HRESULT ContentOf(StorageMemory& bytes, StorageContent& content)
{
    lum::CompoundFile file(bytes);
    const HRESULT hr = file.Open(lum::StorageAccess::Read);
    return SUCCEEDED(hr) ? ReadContent(file, content) : hr;
}

// What the check says, in lines; empty for a sound file.
inline std::string DamageOf(StorageMemory& bytes)
{
    std::vector<lum::StorageFinding> findings;
    if (FAILED(lum::CheckStorage(bytes, findings))) return "cannot be opened\n";
    std::string sText;
    for (const lum::StorageFinding& finding : findings) sText += finding.sWhere + ": " + finding.sWhat + "\n";
    return sText;
}
