// Root storages for tests: released in the end, and what is in them as text.
#pragma once

#include "Platform.h"
#include "WideText.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

constexpr DWORD kulAlone = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kulBeside = STGM_TRANSACTED | STGM_READWRITE | STGM_SHARE_DENY_NONE;
constexpr DWORD kulOneWriter = STGM_TRANSACTED | STGM_READWRITE | STGM_SHARE_DENY_WRITE;
constexpr DWORD kulLooking = STGM_TRANSACTED | STGM_READ | STGM_SHARE_DENY_NONE;

class Root
{
public:
    Root() = default;
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;
    ~Root() { Close(); }

    HRESULT Open(const std::string& sFile, DWORD ulMode, SNB ppExclude = nullptr, IStorage* pPriority = nullptr)
    {
        Close();
        return StgOpenStorage(W(Widen(sFile).c_str()), pPriority, ulMode, ppExclude, 0, &mp);
    }
    HRESULT Create(const std::string& sFile, DWORD ulMode)
    {
        Close();
        return StgCreateDocfile(W(Widen(sFile).c_str()), ulMode, 0, &mp);
    }
    void Close()
    {
        if (mp) std::exchange(mp, nullptr)->Release();
    }
    IStorage* Give() { return std::exchange(mp, nullptr); }
    IStorage** Place() { return &mp; }
    IStorage* operator->() const { return mp; }
    explicit operator bool() const { return mp != nullptr; }

    // Put: makes or replaces a stream.   Get: its contents, or its code as "(80030002)".
    HRESULT Put(const std::string& sName, const std::string& sText)
    {
        IStream* pStream = nullptr;
        HRESULT hr = mp->CreateStream(W(Widen(sName).c_str()), kulAlone | STGM_CREATE, 0, 0, &pStream);
        if (FAILED(hr)) return hr;
        hr = pStream->Write(sText.data(), static_cast<ULONG>(sText.size()), nullptr);
        pStream->Release();
        return hr;
    }
    std::string Get(const std::string& sName)
    {
        IStream* pStream = nullptr;
        const HRESULT hr = mp->OpenStream(W(Widen(sName).c_str()), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &pStream);
        if (FAILED(hr)) return Code(hr);
        std::string sText;
        char acPiece[4096];
        for (ULONG ulRead = 0; SUCCEEDED(pStream->Read(acPiece, sizeof acPiece, &ulRead)) && ulRead > 0;)
            sText.append(acPiece, ulRead);
        pStream->Release();
        return sText;
    }
    static std::string Code(HRESULT hr)
    {
        char acCode[16];
        std::snprintf(acCode, sizeof acCode, "(%08x)", static_cast<unsigned>(hr));
        return acCode;
    }

private:
    IStorage* mp = nullptr;
};

// A compound file with the streams One and Two.
inline void MakeTwo(const std::string& sFile, const std::string& sOne = "first", const std::string& sTwo = "second")
{
    Root root;
    ASSERT_EQ(root.Create(sFile, kulAlone | STGM_CREATE), S_OK);
    ASSERT_EQ(root.Put("One", sOne), S_OK);
    ASSERT_EQ(root.Put("Two", sTwo), S_OK);
    ASSERT_EQ(root->Commit(STGC_DEFAULT), S_OK);
}

// For the process in the role "storage-holder", which StgShareTest.cpp defines.
inline const std::string ksDone = Root::Code(S_OK);
inline std::string Order(const char* pVerb, DWORD ulMode, const std::string& sFile)
{
    return std::string(pVerb) + ' ' + std::to_string(ulMode) + ' ' + sFile;
}
