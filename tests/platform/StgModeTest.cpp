// The whole table of modes: what making and opening a root storage answers to every combination of flags.
#include "StgModeTable.h"

#include "FileHandle.h"
#include "TempFolder.h"
#include "WideText.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace
{
constexpr DWORD kaulFlags[] = {STGM_CREATE,     STGM_TRANSACTED, STGM_CONVERT,     STGM_PRIORITY,        STGM_NOSCRATCH,
                               STGM_NOSNAPSHOT, STGM_DIRECT_SWMR, STGM_DELETEONRELEASE, STGM_SIMPLE};

// Calls check with every combination of access, share and flags.
template <class Check>
void ForEachMode(Check check)
{
    for (DWORD ulLow = 0; ulLow < 0x80; ulLow += (ulLow & 3) == 3 ? 0x10 - 3 : 1)
        for (unsigned uFlags = 0; uFlags < 1u << std::size(kaulFlags); ++uFlags)
        {
            DWORD ulMode = ulLow;
            for (std::size_t i = 0; i < std::size(kaulFlags); ++i)
                if (uFlags & 1u << i) ulMode |= kaulFlags[i];
            check(ulMode);
        }
}

std::string Hex(DWORD ulNumber)
{
    std::ostringstream text;
    text << std::hex << std::setw(8) << std::setfill('0') << ulNumber;
    return text.str();
}

class StgMode : public testing::Test
{
protected:
    void SetUp() override
    {
        IStorage* pStorage = nullptr;
        constexpr DWORD kulMode = STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
        ASSERT_EQ(StgCreateDocfile(Name(), kulMode, 0, &pStorage), S_OK);
        pStorage->Release();
        msCompound = ReadText(msFile);
        std::filesystem::remove(msFile);
    }

    const WCHAR* Name() const { return W(msWide.c_str()); }

    // What is there before each call, when a call before has changed it.
    void Put(const std::string* pContents)
    {
        if (!pContents) std::filesystem::remove(msFile);
        if (!pContents || ReadText(msFile) == *pContents) return;
        EXPECT_TRUE(WriteText(msFile, *pContents));
    }
    bool IsThere() const { return std::filesystem::exists(msFile); }

    template <class Call, class Expected>
    void RunTable(const std::string* pContents, Call call, Expected expected)
    {
        unsigned uGood = 0, uWrong = 0;
        Put(pContents);
        ForEachMode([&](DWORD ulMode) {
            IStorage* pStorage = nullptr;
            const HRESULT hr = call(ulMode, &pStorage), hrExpected = expected(ulMode);
            EXPECT_EQ(pStorage != nullptr, SUCCEEDED(hr)) << Hex(ulMode);
            if (pStorage) pStorage->Release();
            if (hr != hrExpected && ++uWrong <= 20)
                ADD_FAILURE() << "mode " << Hex(ulMode) << " gives " << Hex(static_cast<DWORD>(hr)) << " instead of "
                              << Hex(static_cast<DWORD>(hrExpected));
            if (FAILED(hr)) return;
            ++uGood;
            EXPECT_EQ(IsThere(), !(ulMode & STGM_DELETEONRELEASE) || !mbCreates) << Hex(ulMode);
            Put(pContents);
        });
        EXPECT_EQ(uWrong, 0u) << "modes with another code";
        EXPECT_GT(uGood, 0u);
        // What was refused has touched nothing.
        EXPECT_EQ(IsThere(), pContents != nullptr);
        EXPECT_TRUE(!pContents || ReadText(msFile) == *pContents);
    }

    // hrThere: the answer to a good mode that neither creates nor converts.
    void CreateTable(const std::string* pContents, HRESULT hrThere)
    {
        const bool bWine = RunsUnderWine();
        mbCreates = true;
        RunTable(
            pContents, [this](DWORD ulMode, IStorage** pp) { return StgCreateDocfile(Name(), ulMode, 0, pp); },
            [=](DWORD ulMode) {
                const HRESULT hr = CodeOfCreateMode(ulMode, bWine);
                if (FAILED(hr) || !pContents || (ulMode & STGM_CREATE)) return hr;
                // Wine does not convert.
                if (ulMode & STGM_CONVERT) return bWine ? hrThere : STG_S_CONVERTED;
                return hrThere;
            });
    }

    void OpenTable(const std::string* pContents, HRESULT hrGood)
    {
        const bool bWine = RunsUnderWine();
        mbCreates = false;
        unsigned uGood = 0;
        Put(pContents);
        ForEachMode([&](DWORD ulMode) {
            IStorage* pStorage = nullptr;
            const HRESULT hr = StgOpenStorage(Name(), nullptr, ulMode, nullptr, 0, &pStorage);
            HRESULT hrExpected = CodeOfOpenMode(ulMode, bWine);
            if (SUCCEEDED(hrExpected)) hrExpected = hrGood;
            EXPECT_EQ(Hex(static_cast<DWORD>(hr)), Hex(static_cast<DWORD>(hrExpected))) << "mode " << Hex(ulMode);
            EXPECT_EQ(pStorage != nullptr, SUCCEEDED(hr)) << Hex(ulMode);
            if (pStorage) pStorage->Release();
            uGood += hr == hrGood;
        });
        EXPECT_GT(uGood, 0u);
        EXPECT_EQ(IsThere(), pContents != nullptr);
        EXPECT_TRUE(!pContents || ReadText(msFile) == *pContents);
    }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    const std::u16string msWide = Widen(msFile);
    const std::string msOther = std::string(700, 'x');
    std::string msCompound;
    bool mbCreates = false;
};
} // namespace

TEST_F(StgMode, EveryCreateModeAnswersWhereNothingIsThere) { CreateTable(nullptr, S_OK); }

TEST_F(StgMode, EveryCreateModeAnswersWhereACompoundFileIsThere) { CreateTable(&msCompound, STG_E_FILEALREADYEXISTS); }

TEST_F(StgMode, EveryCreateModeAnswersWhereAnotherFileIsThere) { CreateTable(&msOther, STG_E_FILEALREADYEXISTS); }

TEST_F(StgMode, EveryOpenModeAnswersForACompoundFile) { OpenTable(&msCompound, S_OK); }

TEST_F(StgMode, EveryOpenModeAnswersForAnotherFile) { OpenTable(&msOther, STG_E_FILEALREADYEXISTS); }

TEST_F(StgMode, EveryOpenModeAnswersWhereNothingIsThere) { OpenTable(nullptr, STG_E_FILENOTFOUND); }

TEST_F(StgMode, FlagsThatNobodyKnowsAreRefused)
{
    Put(&msCompound);
    for (unsigned i = 0; i < 32; ++i)
    {
        const DWORD ulFlag = 1u << i;
        bool bKnown = i < 2 || (i >= 4 && i < 7);
        for (DWORD ulKnown : kaulFlags) bKnown |= ulFlag == ulKnown;
        if (bKnown) continue;
        IStorage* pStorage = nullptr;
        const DWORD ulMode = STGM_READWRITE | STGM_SHARE_EXCLUSIVE | ulFlag;
        const HRESULT hrOpen = StgOpenStorage(Name(), nullptr, ulMode, nullptr, 0, &pStorage);
        if (pStorage) pStorage->Release();
        pStorage = nullptr;
        const HRESULT hrCreate = StgCreateDocfile(Name(), ulMode | STGM_CREATE, 0, &pStorage);
        if (pStorage) pStorage->Release();
        EXPECT_EQ(hrOpen, STG_E_INVALIDFLAG) << Hex(ulFlag);
        EXPECT_EQ(hrCreate, STG_E_INVALIDFLAG) << Hex(ulFlag);
    }
}
