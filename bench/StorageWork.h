// What is done with compound files when they are measured, through the platform's own calls: on Linux ours, on Windows its own.
// A call that fails ends the program.
#pragma once

#include "Held.h"
#include "Platform.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using WideName = std::basic_string<WCHAR>;

inline WideName Widen(const std::string& sText) { return WideName(sText.begin(), sText.end()); }

inline void Must(HRESULT hResult, const char* pWhat)
{
    if (hResult == S_OK) return;
    std::fprintf(stderr, "%s: %08lX\n", pWhat, static_cast<unsigned long>(static_cast<DWORD>(hResult)));
    std::exit(3);
}

using HeldStorage = Held<IStorage>;
using HeldStream = Held<IStream>;

inline constexpr ULONG kulPiece = 64 << 10;
inline constexpr int kiStorages = 100, kiStreamsEach = 100;
inline constexpr ULONG kulStreamBytes = 1000, kulAppended = 100;
inline constexpr DWORD kulAlone = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
inline constexpr DWORD kulReadAlone = STGM_READ | STGM_SHARE_EXCLUSIVE;

inline std::string StorageName(int i) { return "Run " + std::to_string(i); }
inline std::string StreamName(int i) { return "Spectrum " + std::to_string(i); }

inline void WriteIt(HeldStream& stream, const void* pFrom, ULONG ulBytes)
{
    ULONG ulWritten = 0;
    Must(stream->Write(pFrom, ulBytes, &ulWritten), "Write");
    if (ulWritten != ulBytes) Must(E_FAIL, "Write");
}

inline void ReadIt(HeldStream& stream, void* pTo, ULONG ulBytes)
{
    ULONG ulRead = 0;
    Must(stream->Read(pTo, ulBytes, &ulRead), "Read");
    if (ulRead != ulBytes) Must(E_FAIL, "Read");
}

inline void SeekTo(HeldStream& stream, LONGLONG llTo, DWORD ulOrigin)
{
    LARGE_INTEGER to;
    to.QuadPart = llTo;
    Must(stream->Seek(to, ulOrigin, nullptr), "Seek");
}

inline void CreateRoot(const std::string& sPath, DWORD ulMode, HeldStorage& root)
{
    Must(StgCreateDocfile(Widen(sPath).c_str(), ulMode | kulAlone | STGM_CREATE, 0, root.Out()), "StgCreateDocfile");
}

inline void OpenRoot(const std::string& sPath, DWORD ulMode, HeldStorage& root)
{
    Must(StgOpenStorage(Widen(sPath).c_str(), nullptr, ulMode, nullptr, 0, root.Out()), "StgOpenStorage");
}

// One stream of so many pieces, in a file of its own.
inline void WriteLarge(const std::string& sPath, const std::vector<BYTE>& piece, ULONG ulPieces)
{
    HeldStorage root;
    HeldStream stream;
    CreateRoot(sPath, STGM_DIRECT, root);
    Must(root->CreateStream(Widen("Large").c_str(), kulAlone, 0, 0, stream.Out()), "CreateStream");
    for (ULONG ul = 0; ul < ulPieces; ++ul) WriteIt(stream, piece.data(), kulPiece);
    Must(root->Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE), "Commit");
}

inline void ReadLarge(const std::string& sPath, std::vector<BYTE>& piece, ULONG ulPieces)
{
    HeldStorage root;
    HeldStream stream;
    OpenRoot(sPath, kulReadAlone, root);
    Must(root->OpenStream(Widen("Large").c_str(), nullptr, kulReadAlone, 0, stream.Out()), "OpenStream");
    for (ULONG ul = 0; ul < ulPieces; ++ul) ReadIt(stream, piece.data(), kulPiece);
}

// Many small streams, committed, but without waiting for the disk.
inline void CreateMany(const std::string& sPath, DWORD ulMode, const std::vector<BYTE>& content)
{
    HeldStorage root;
    CreateRoot(sPath, ulMode, root);
    for (int i = 0; i < kiStorages; ++i)
    {
        HeldStorage storage;
        Must(root->CreateStorage(Widen(StorageName(i)).c_str(), kulAlone, 0, 0, storage.Out()), "CreateStorage");
        for (int j = 0; j < kiStreamsEach; ++j)
        {
            HeldStream stream;
            Must(storage->CreateStream(Widen(StreamName(j)).c_str(), kulAlone, 0, 0, stream.Out()), "CreateStream");
            WriteIt(stream, content.data(), kulStreamBytes);
        }
    }
    Must(root->Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE), "Commit");
}

inline void ReadMany(const std::string& sPath, std::vector<BYTE>& content)
{
    HeldStorage root;
    OpenRoot(sPath, kulReadAlone, root);
    for (int i = 0; i < kiStorages; ++i)
    {
        HeldStorage storage;
        Must(root->OpenStorage(Widen(StorageName(i)).c_str(), nullptr, kulReadAlone, nullptr, 0, storage.Out()), "OpenStorage");
        for (int j = 0; j < kiStreamsEach; ++j)
        {
            HeldStream stream;
            Must(storage->OpenStream(Widen(StreamName(j)).c_str(), nullptr, kulReadAlone, 0, stream.Out()), "OpenStream");
            ReadIt(stream, content.data(), kulStreamBytes);
        }
    }
}

// Opens a file with many streams, makes one of them longer and commits.
inline void AppendToOne(const std::string& sPath, DWORD ulMode, const std::vector<BYTE>& content, DWORD ulCommit)
{
    HeldStorage root, storage;
    HeldStream stream;
    OpenRoot(sPath, ulMode | kulAlone, root);
    Must(root->OpenStorage(Widen(StorageName(7)).c_str(), nullptr, kulAlone, nullptr, 0, storage.Out()), "OpenStorage");
    Must(storage->OpenStream(Widen(StreamName(7)).c_str(), nullptr, kulAlone, 0, stream.Out()), "OpenStream");
    SeekTo(stream, 0, STREAM_SEEK_END);
    WriteIt(stream, content.data(), kulAppended);
    Must(root->Commit(ulCommit), "Commit");
}

// A file of so many megabytes: a large stream, and a small one that a storage holds.
inline void MakeFile(const std::string& sPath, ULONG ulMegabytes)
{
    const std::vector<BYTE> piece(kulPiece, 'x');
    HeldStorage root, storage;
    HeldStream large, small;
    CreateRoot(sPath, STGM_DIRECT, root);
    Must(root->CreateStorage(Widen(StorageName(7)).c_str(), kulAlone, 0, 0, storage.Out()), "CreateStorage");
    Must(storage->CreateStream(Widen(StreamName(7)).c_str(), kulAlone, 0, 0, small.Out()), "CreateStream");
    WriteIt(small, piece.data(), kulStreamBytes);
    Must(root->CreateStream(Widen("Large").c_str(), kulAlone, 0, 0, large.Out()), "CreateStream");
    for (ULONG ul = 0; ul < ulMegabytes * 16; ++ul) WriteIt(large, piece.data(), kulPiece);
    Must(root->Commit(STGC_DEFAULT), "Commit");
}

inline void ReadSmall(const std::string& sPath, std::vector<BYTE>& content)
{
    HeldStorage root, storage;
    HeldStream stream;
    OpenRoot(sPath, kulReadAlone, root);
    Must(root->OpenStorage(Widen(StorageName(7)).c_str(), nullptr, kulReadAlone, nullptr, 0, storage.Out()), "OpenStorage");
    Must(storage->OpenStream(Widen(StreamName(7)).c_str(), nullptr, kulReadAlone, 0, stream.Out()), "OpenStream");
    ReadIt(stream, content.data(), kulStreamBytes);
}
