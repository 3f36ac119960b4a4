// Compound files by name when memory runs out in calls that only read, and what is written after them. Linux only.
#include "StgCalls.h"

#include "FewBlocks.h"
#include "FileHandle.h"
#include "TempFolder.h"

#include <cstring>
#include <filesystem>
#include <tuple>

namespace
{
const std::string ksA(200000, 'a'), ksB(200000, 'b'), ksMore(5000, 'm');

ULONG& Number(std::string& sFile, std::size_t ulAt) { return *reinterpret_cast<ULONG*>(&sFile[ulAt]); }

// As some other writers leave them: the sectors of the table are not marked as taken. The header names them all.
void Unmark(std::string& sFile)
{
    for (ULONG i = 0; i < Number(sFile, 0x2C); ++i)
    {
        const ULONG ulSector = Number(sFile, 0x4C + 4 * i), ulPage = Number(sFile, 0x4C + 4 * (ulSector / 128));
        Number(sFile, (ulPage + 1) * 512 + 4 * (ulSector % 128)) = 0xFFFFFFFF;
    }
}

class StgReadMemory : public testing::TestWithParam<std::tuple<DWORD, bool>>
{
protected:
    // A storage with a small stream, and two streams with free sectors between them. The second one is followed by the table.
    void SetUp() override
    {
        ASSERT_EQ(mRoot.Create(msFile, kulAlone), S_OK);
        Root sub;
        ASSERT_EQ(mRoot->CreateStorage(W(u"Sub"), kulAlone, 0, 0, sub.Place()), S_OK);
        ASSERT_EQ(sub.Put("Small", "small"), S_OK);
        sub.Close();
        for (const char* pName : {"A", "Gap", "B"}) ASSERT_EQ(mRoot.Put(pName, ""), S_OK);
        ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        ASSERT_EQ(mRoot.Put("A", ksA), S_OK);
        ASSERT_EQ(mRoot.Put("Gap", std::string(40000, 'g')), S_OK);
        ASSERT_EQ(mRoot.Put("B", ksB), S_OK);
        ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        ASSERT_EQ(mRoot->DestroyElement(W(u"Gap")), S_OK);
        mRoot.Close();
        msBytes = ReadText(msFile);
        if (std::get<1>(GetParam())) Unmark(msBytes);
    }
    DWORD Mode() const { return std::get<0>(GetParam()); }

    void Begin()
    {
        mRoot.Close();
        ASSERT_TRUE(WriteText(msFile, msBytes));
        ASSERT_EQ(mRoot.Open(msFile, Mode()), S_OK);
    }

    static HRESULT List(IStorage* pStorage)
    {
        IEnumSTATSTG* pList = nullptr;
        HRESULT hr = pStorage->EnumElements(0, nullptr, 0, &pList);
        for (STATSTG stat{}; SUCCEEDED(hr) && (hr = pList->Next(1, &stat, nullptr)) == S_OK;) CoTaskMemFree(stat.pwcsName);
        if (pList) pList->Release();
        return hr;
    }
    static HRESULT Read(IStorage* pStorage, const char16_t* pName)
    {
        IStream* pStream = nullptr;
        STATSTG stat{};
        char acBytes[40000];
        HRESULT hr = pStorage->OpenStream(W(pName), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &pStream);
        if (FAILED(hr)) return hr;
        hr = pStream->Stat(&stat, STATFLAG_DEFAULT);
        if (SUCCEEDED(hr)) CoTaskMemFree(stat.pwcsName);
        for (ULONG ulRead = sizeof acBytes; SUCCEEDED(hr) && ulRead == sizeof acBytes;)
            hr = pStream->Read(acBytes, sizeof acBytes, &ulRead);
        pStream->Release();
        return hr;
    }
    // Calls that change nothing, up to the first that fails.
    HRESULT LookAtAll()
    {
        STATSTG stat{};
        IStorage* pSub = nullptr;
        HRESULT hr = mRoot->Stat(&stat, STATFLAG_NONAME);
        if (SUCCEEDED(hr)) hr = Read(mRoot.operator->(), u"A");
        if (SUCCEEDED(hr)) hr = List(mRoot.operator->());
        if (SUCCEEDED(hr)) hr = Read(mRoot.operator->(), u"B");
        if (SUCCEEDED(hr)) hr = mRoot->OpenStorage(W(u"Sub"), nullptr, kulAlone, nullptr, 0, &pSub);
        if (FAILED(hr)) return hr;
        hr = Read(pSub, u"Small");
        if (SUCCEEDED(hr)) hr = List(pSub);
        pSub->Release();
        return hr;
    }
    void Append()
    {
        IStream* pStream = nullptr;
        ASSERT_EQ(mRoot->OpenStream(W(u"B"), nullptr, kulAlone, 0, &pStream), S_OK);
        EXPECT_EQ(pStream->Seek(LARGE_INTEGER{}, STREAM_SEEK_END, nullptr), S_OK);
        EXPECT_EQ(pStream->Write(ksMore.data(), static_cast<ULONG>(ksMore.size()), nullptr), S_OK);
        pStream->Release();
        EXPECT_EQ(mRoot.Put("New", ksMore), S_OK);
    }
    // "old" or "new", or what else is there.
    std::string InFile()
    {
        mRoot.Close();
        Root look, sub;
        if (const HRESULT hr = look.Open(msFile, kulLooking); hr != S_OK) return Root::Code(hr);
        const HRESULT hr = look->OpenStorage(W(u"Sub"), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0, sub.Place());
        const std::string sSmall = sub ? sub.Get("Small") : Root::Code(hr);
        if (look.Get("A") != ksA || sSmall != "small") return look.Get("A").substr(0, 20) + ", " + sSmall;
        const std::string sB = look.Get("B"), sNew = look.Get("New");
        if (sB == ksB && sNew == Root::Code(STG_E_FILENOTFOUND)) return "old";
        return sB == ksB + ksMore && sNew == ksMore ? "new" : sB.substr(0, 20) + ", " + sNew.substr(0, 20);
    }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    std::string msBytes;
    Root mRoot;
};
} // namespace

TEST_P(StgReadMemory, WhatIsWrittenAfterACallThatFoundNoneHarmsNothing)
{
    HRESULT hr = E_FAIL;
    int iFailures = 0;
    for (long lBlocks = 0; FAILED(hr) && lBlocks < 500; ++lBlocks)
        for (bool bCommit : {false, true})
        {
            Begin();
            hr = WithBlocks(lBlocks, [this] { return LookAtAll(); });
            if (SUCCEEDED(hr)) break;
            ++iFailures;
            ASSERT_EQ(hr, STG_E_INSUFFICIENTMEMORY) << lBlocks;
            Append();
            EXPECT_EQ(bCommit ? mRoot->Commit(STGC_DEFAULT) : S_OK, S_OK);
            EXPECT_EQ(InFile(), bCommit || Mode() == kulAlone ? "new" : "old") << lBlocks;
        }
    EXPECT_EQ(hr, S_FALSE) << "the end of the last list";
    EXPECT_GT(iFailures, 20);
}

INSTANTIATE_TEST_SUITE_P(Modes, StgReadMemory,
                         testing::Combine(testing::Values(kulAlone, kulAlone | STGM_TRANSACTED, kulOneWriter, kulBeside),
                                          testing::Bool()));
