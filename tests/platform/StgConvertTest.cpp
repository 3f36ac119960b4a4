// Files that become compound files, and the calls with a choice of sectors.
#include "StgCalls.h"

#include "FileHandle.h"
#include "TempFolder.h"
#include "Wine.h"

namespace
{
class StgConvert : public testing::Test
{
protected:
    // Of that many bytes, no two neighbours of 512 alike.
    static std::string Contents(std::size_t ulBytes)
    {
        std::string sText(ulBytes, ' ');
        for (std::size_t i = 0; i < ulBytes; ++i) sText[i] = static_cast<char>('a' + (i + i / 512) % 23);
        return sText;
    }

    // Wine answers that the file is there.
    bool DoesNotConvert()
    {
        EXPECT_TRUE(WriteText(msFile, "text"));
        EXPECT_EQ(mRoot.Create(msFile, kulAlone | STGM_CONVERT), WineSays<HRESULT>(STG_E_FILEALREADYEXISTS, STG_S_CONVERTED));
        mRoot.Close();
        return RunsUnderWine();
    }

    HRESULT CreateEx(DWORD ulMode, DWORD ulFormat, STGOPTIONS* pOptions, DWORD ulAttributes = 0, const IID& iid = IID_IStorage)
    {
        mRoot.Close();
        return StgCreateStorageEx(W(msWide.c_str()), ulMode, ulFormat, ulAttributes, pOptions, nullptr, iid,
                                  reinterpret_cast<void**>(mRoot.Place()));
    }
    HRESULT OpenEx(DWORD ulMode, DWORD ulFormat, STGOPTIONS* pOptions, DWORD ulAttributes = 0, const IID& iid = IID_IStorage)
    {
        mRoot.Close();
        return StgOpenStorageEx(W(msWide.c_str()), ulMode, ulFormat, ulAttributes, pOptions, nullptr, iid,
                                reinterpret_cast<void**>(mRoot.Place()));
    }
    static STGOPTIONS Options(ULONG ulSector, USHORT uwVersion = 1)
    {
        STGOPTIONS options{};
        options.usVersion = uwVersion;
        options.ulSectorSize = ulSector;
        return options;
    }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    const std::u16string msWide = Widen(msFile);
    Root mRoot;
};
} // namespace

TEST_F(StgConvert, BytesBecomeAStreamOfTheSameBytes)
{
    if (DoesNotConvert()) return;
    for (DWORD ulMode : {kulAlone, kulAlone | STGM_TRANSACTED, kulBeside})
        for (std::size_t ulBytes : {0, 1, 511, 512, 513, 4095, 4096, 4097, 7 * 1024 * 1024 + 300})
        {
            const std::string sContents = Contents(ulBytes);
            ASSERT_TRUE(WriteText(msFile, sContents));
            ASSERT_EQ(mRoot.Create(msFile, ulMode | STGM_CONVERT), STG_S_CONVERTED) << ulBytes;
            EXPECT_TRUE(mRoot.Get("CONTENTS") == sContents) << ulBytes;
            mRoot.Close();
            // A transaction that was not committed leaves the file as it was.
            EXPECT_EQ(ReadText(msFile) == sContents, (ulMode & STGM_TRANSACTED) != 0) << ulBytes;
            if (ulMode & STGM_TRANSACTED)
            {
                ASSERT_EQ(mRoot.Create(msFile, ulMode | STGM_CONVERT), STG_S_CONVERTED) << ulBytes;
                ASSERT_EQ(mRoot->DestroyElement(W(u"CONTENTS")), S_OK);
                ASSERT_EQ(mRoot->Revert(), S_OK);
                EXPECT_TRUE(mRoot.Get("CONTENTS") == sContents) << ulBytes;
                ASSERT_EQ(mRoot.Put("More", "more"), S_OK);
                ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK) << ulBytes;
                mRoot.Close();
            }
            ASSERT_EQ(mRoot.Open(msFile, kulAlone), S_OK) << ulBytes;
            EXPECT_TRUE(mRoot.Get("CONTENTS") == sContents) << ulBytes;
            mRoot.Close();
        }
}

TEST_F(StgConvert, ACompoundFileIsConvertedAsItsBytes)
{
    if (DoesNotConvert()) return;
    MakeTwo(msFile);
    const std::string sBytes = ReadText(msFile);
    ASSERT_EQ(mRoot.Create(msFile, kulAlone | STGM_CONVERT), STG_S_CONVERTED);
    EXPECT_EQ(mRoot.Get("One"), Root::Code(STG_E_FILENOTFOUND));
    const std::string sStream = mRoot.Get("CONTENTS");
    mRoot.Close();
    EXPECT_TRUE(sStream == sBytes);
    ASSERT_TRUE(WriteText(msFile, sStream));
    ASSERT_EQ(mRoot.Open(msFile, kulAlone), S_OK);
    EXPECT_EQ(mRoot.Get("One"), "first");
}

TEST_F(StgConvert, WhereNothingIsThereAnEmptyFileIsMade)
{
    ASSERT_EQ(mRoot.Create(msFile, kulAlone | STGM_CONVERT), S_OK);
    EXPECT_EQ(mRoot.Get("CONTENTS"), Root::Code(STG_E_FILENOTFOUND));
}

TEST_F(StgConvert, AnotherFileGivesWayToATransactionWithItsCommit)
{
    for (std::size_t ulBytes : {0, 300, 100000})
    {
        const std::string sContents = Contents(ulBytes);
        ASSERT_TRUE(WriteText(msFile, sContents));
        ASSERT_EQ(mRoot.Create(msFile, kulAlone | STGM_TRANSACTED | STGM_CREATE), S_OK);
        ASSERT_EQ(mRoot.Put("New", "new"), S_OK);
        ASSERT_EQ(mRoot->Revert(), S_OK);
        EXPECT_EQ(mRoot.Get("CONTENTS"), Root::Code(STG_E_FILENOTFOUND));
        mRoot.Close();
        // Wine makes it a compound file at once.
        EXPECT_EQ(ReadText(msFile) == sContents, !RunsUnderWine()) << ulBytes;
        ASSERT_EQ(mRoot.Create(msFile, kulAlone | STGM_TRANSACTED | STGM_CREATE), S_OK);
        ASSERT_EQ(mRoot.Put("New", "new"), S_OK);
        ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        ASSERT_EQ(mRoot.Put("Newer", "newer"), S_OK);
        ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        mRoot.Close();
        ASSERT_EQ(mRoot.Open(msFile, kulAlone), S_OK);
        EXPECT_EQ(mRoot.Get("New"), "new");
        EXPECT_EQ(mRoot.Get("Newer"), "newer");
        EXPECT_EQ(mRoot.Get("CONTENTS"), Root::Code(STG_E_FILENOTFOUND));
        mRoot.Close();
    }
}

TEST_F(StgConvert, SectorsAreChosenAndTold)
{
    for (ULONG ulSector : {512u, 4096u})
    {
        STGOPTIONS options = Options(ulSector);
        ASSERT_EQ(CreateEx(kulAlone | STGM_CREATE, STGFMT_DOCFILE, &options), S_OK);
        ASSERT_EQ(mRoot.Put("One", "first"), S_OK);
        ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        mRoot.Close();
        EXPECT_EQ(ReadText(msFile)[0x1E], ulSector == 512 ? 9 : 12);
        STGOPTIONS found = Options(0);
        ASSERT_EQ(OpenEx(kulAlone, STGFMT_DOCFILE, &found), S_OK);
        EXPECT_EQ(mRoot.Get("One"), "first");
        // Wine leaves the options as they were.
        EXPECT_EQ(found.ulSectorSize, WineSays<ULONG>(0, ulSector));
        for (DWORD ulMode : {kulAlone, kulAlone | STGM_TRANSACTED})
        {
            // From the one kind to the other and back, in a transaction too.
            STGOPTIONS other = Options(ulSector == 512 ? 4096 : 512);
            ASSERT_EQ(CreateEx(ulMode | STGM_CREATE, STGFMT_DOCFILE, &other), S_OK);
            ASSERT_EQ(mRoot.Put("Two", "second"), S_OK);
            ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
            mRoot.Close();
            EXPECT_EQ(ReadText(msFile)[0x1E], ulSector == 512 ? 12 : 9);
            ASSERT_EQ(CreateEx(ulMode | STGM_CREATE, STGFMT_DOCFILE, &options), S_OK);
            ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
            ASSERT_EQ(mRoot.Put("One", "first"), S_OK);
            ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        }
    }
}

TEST_F(StgConvert, FormatsOptionsAndInterfacesAreChecked)
{
    MakeTwo(msFile);
    struct Row { DWORD ulFormat; HRESULT hrCreate, hrOpen; };
    const Row kRows[] = {{STGFMT_STORAGE, S_OK, S_OK},
                         {1, STG_E_INVALIDPARAMETER, STG_E_INVALIDPARAMETER},
                         {2, STG_E_INVALIDPARAMETER, STG_E_INVALIDPARAMETER},
                         {STGFMT_FILE, STG_E_INVALIDPARAMETER, STG_E_INVALIDPARAMETER},
                         {STGFMT_ANY, STG_E_INVALIDPARAMETER, S_OK},
                         {STGFMT_DOCFILE, S_OK, S_OK},
                         {6, STG_E_INVALIDPARAMETER, STG_E_INVALIDPARAMETER}};
    for (const Row& row : kRows)
    {
        EXPECT_EQ(OpenEx(kulAlone, row.ulFormat, nullptr), row.hrOpen) << row.ulFormat;
        EXPECT_EQ(CreateEx(kulAlone | STGM_CREATE, row.ulFormat, nullptr), row.hrCreate) << row.ulFormat;
    }
    constexpr DWORD kulCreate = kulAlone | STGM_CREATE;
    STGOPTIONS good = Options(4096), bad = Options(1024), old = Options(512, 0), later = Options(512, 3);
    EXPECT_EQ(CreateEx(kulCreate, STGFMT_DOCFILE, &bad), STG_E_INVALIDPARAMETER);
    // Wine looks at the sectors alone, and makes large ones in simple mode.
    EXPECT_EQ(CreateEx(kulCreate, STGFMT_DOCFILE, &old), WineSays(S_OK, STG_E_INVALIDPARAMETER));
    EXPECT_EQ(CreateEx(kulCreate, STGFMT_DOCFILE, &later), WineSays(S_OK, STG_E_INVALIDPARAMETER));
    EXPECT_EQ(CreateEx(kulCreate, STGFMT_STORAGE, &good), WineSays(S_OK, STG_E_INVALIDPARAMETER));
    EXPECT_EQ(CreateEx(kulCreate | STGM_SIMPLE, STGFMT_DOCFILE, &good), WineSays(S_OK, STG_E_INVALIDFLAG));
    EXPECT_EQ(CreateEx(kulCreate, STGFMT_STORAGE, nullptr, 1), STG_E_INVALIDPARAMETER);
    EXPECT_EQ(OpenEx(kulAlone, STGFMT_STORAGE, nullptr, 1), STG_E_INVALIDPARAMETER);
    EXPECT_EQ(CreateEx(kulCreate, STGFMT_STORAGE, nullptr, 0, IID_IStream), E_NOINTERFACE);
    EXPECT_EQ(CreateEx(kulCreate, STGFMT_STORAGE, nullptr, 0, IID_IUnknown), S_OK);
    EXPECT_EQ(StgCreateStorageEx(W(msWide.c_str()), kulCreate, STGFMT_STORAGE, 0, nullptr, nullptr, IID_IStorage, nullptr),
              STG_E_INVALIDPOINTER);
    EXPECT_EQ(StgOpenStorageEx(W(msWide.c_str()), kulAlone, STGFMT_STORAGE, 0, nullptr, nullptr, IID_IStorage, nullptr),
              STG_E_INVALIDPOINTER);
}
