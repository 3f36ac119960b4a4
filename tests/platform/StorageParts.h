// Compound files through their interfaces: what tests need to say shortly.
#pragma once

#include "Platform.h"

#include "Held.h"
#include "TempFolder.h"
#include "WideText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

constexpr DWORD kulElement = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kulTransacted = kulElement | STGM_TRANSACTED;

using Storage = Held<IStorage>;
using Stream = Held<IStream>;
using Enumeration = Held<IEnumSTATSTG>;

inline LARGE_INTEGER By(LONGLONG llBytes)
{
    LARGE_INTEGER move;
    move.QuadPart = llBytes;
    return move;
}
inline ULARGE_INTEGER Bytes(ULONGLONG ullBytes)
{
    ULARGE_INTEGER bytes;
    bytes.QuadPart = ullBytes;
    return bytes;
}

inline ULONGLONG Ticks(const FILETIME& time) { return (ULONGLONG{time.dwHighDateTime} << 32) | time.dwLowDateTime; }

// A file with a root.
class RootFolder
{
public:
    std::u16string Name(const char* pName = "Root.cfb") const { return Widen(mFolder / pName); }
    Storage Create(DWORD ulMode = STGM_DIRECT, const char* pName = "Root.cfb") const
    {
        Storage root;
        EXPECT_EQ(StgCreateDocfile(W(Name(pName).c_str()), kulElement | STGM_CREATE | ulMode, 0, root.Out()), S_OK);
        return root;
    }
    Storage Open(DWORD ulMode = kulElement, const char* pName = "Root.cfb") const
    {
        Storage root;
        EXPECT_EQ(StgOpenStorage(W(Name(pName).c_str()), nullptr, ulMode, nullptr, 0, root.Out()), S_OK);
        return root;
    }

private:
    TempFolder mFolder;
};

inline Stream NewStream(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Stream stream;
    EXPECT_EQ(pStorage->CreateStream(W(pName), ulMode, 0, 0, stream.Out()), S_OK);
    return stream;
}
inline Stream OpenStream(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Stream stream;
    EXPECT_EQ(pStorage->OpenStream(W(pName), nullptr, ulMode, 0, stream.Out()), S_OK);
    return stream;
}
inline Storage NewStorage(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Storage storage;
    EXPECT_EQ(pStorage->CreateStorage(W(pName), ulMode, 0, 0, storage.Out()), S_OK);
    return storage;
}
inline Storage OpenStorage(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Storage storage;
    EXPECT_EQ(pStorage->OpenStorage(W(pName), nullptr, ulMode, nullptr, 0, storage.Out()), S_OK);
    return storage;
}
// What opening answers.
inline HRESULT TryStream(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Stream stream;
    return pStorage->OpenStream(W(pName), nullptr, ulMode, 0, stream.Out());
}
inline HRESULT TryStorage(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Storage storage;
    return pStorage->OpenStorage(W(pName), nullptr, ulMode, nullptr, 0, storage.Out());
}

inline void Write(IStream* pStream, const std::string& sBytes)
{
    ULONG ulWritten = 0;
    EXPECT_EQ(pStream->Write(sBytes.data(), static_cast<ULONG>(sBytes.size()), &ulWritten), S_OK);
    EXPECT_EQ(ulWritten, sBytes.size());
}
inline std::string ReadUpTo(IStream* pStream, ULONG ulBytes)
{
    std::string sBytes(ulBytes, '?');
    ULONG ulRead = 0;
    EXPECT_EQ(pStream->Read(sBytes.data(), ulBytes, &ulRead), S_OK);
    return sBytes.substr(0, ulRead);
}
inline ULONGLONG SizeOf(IStream* pStream)
{
    STATSTG stat;
    EXPECT_EQ(pStream->Stat(&stat, STATFLAG_NONAME), S_OK);
    return stat.cbSize.QuadPart;
}
inline void Put(IStorage* pStorage, const char16_t* pName, const std::string& sBytes)
{
    if (const Stream stream = NewStream(pStorage, pName, kulElement | STGM_CREATE)) Write(stream, sBytes);
}
inline std::string Get(IStorage* pStorage, const char16_t* pName)
{
    const Stream stream = OpenStream(pStorage, pName, STGM_READ | STGM_SHARE_EXCLUSIVE);
    return stream ? ReadUpTo(stream, static_cast<ULONG>(SizeOf(stream)) + 1) : "(not there)";
}

inline std::u16string TakeName(STATSTG& stat)
{
    const std::u16string sName = reinterpret_cast<const char16_t*>(stat.pwcsName);
    CoTaskMemFree(stat.pwcsName);
    return sName;
}
// All elements in the order of the alphabet, storages with a slash.
inline std::vector<std::u16string> Names(IStorage* pStorage)
{
    std::vector<std::u16string> names;
    Enumeration elements;
    EXPECT_EQ(pStorage->EnumElements(0, nullptr, 0, elements.Out()), S_OK);
    STATSTG stat;
    while (elements && elements->Next(1, &stat, nullptr) == S_OK)
    {
        const bool bStorage = stat.type == STGTY_STORAGE;
        names.push_back(TakeName(stat) + (bStorage ? u"/" : u""));
    }
    std::sort(names.begin(), names.end());
    return names;
}
using NameList = std::vector<std::u16string>;
