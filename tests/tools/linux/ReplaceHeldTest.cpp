// A file that is replaced while it is held: on Linux nobody comes in between.
#include "FileHandle.h"
#include "LumProgram.h"
#include "PlatformPrivate.h"

#include <atomic>
#include <thread>

namespace
{
class ReplaceHeld : public LumProgram
{
protected:
    ReplaceHeld()
    {
        WriteFileText(msOld, "old");
        WriteFileText(msNew, "new");
    }
    HANDLE Hold() const
    {
        return CreateFileA(msOld.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    }
    DWORD Replace(HANDLE hHeld) const { return ErrorOf(LumReplaceHeld(hHeld, msNew.c_str(), msOld.c_str())); }
    void ExpectNothingChanged() const
    {
        EXPECT_EQ(FileText(msOld), "old");
        EXPECT_EQ(FileText(msNew), "new");
        EXPECT_EQ(OpenError(msOld, GENERIC_WRITE, 0), NO_ERROR); // the hold has ended
    }

    const std::string msOld = File("old"), msNew = File("new");
};
} // namespace

TEST_F(ReplaceHeld, TheFileGivesWayAndTheHoldEnds)
{
    EXPECT_EQ(Replace(Hold()), NO_ERROR);
    EXPECT_EQ(FileText(msOld), "new");
    EXPECT_FALSE(std::filesystem::exists(msNew));
    EXPECT_EQ(OpenError(msOld, GENERIC_WRITE, 0), NO_ERROR);
}

TEST_F(ReplaceHeld, WhatAnotherHasOpenStays)
{
    const HANDLE hHeld = Hold();
    FileHandle other(msOld, GENERIC_READ);
    EXPECT_EQ(Replace(hHeld), ERROR_ACCESS_DENIED);
    other.Close();
    ExpectNothingChanged();
}

TEST_F(ReplaceHeld, AnotherFileThatHasTheNameByNowStays)
{
    const HANDLE hHeld = Hold();
    std::filesystem::rename(msOld, File("moved"));
    WriteFileText(msOld, "old");
    EXPECT_EQ(Replace(hHeld), ERROR_ACCESS_DENIED);
    ExpectNothingChanged();
}

TEST_F(ReplaceHeld, NoPutIsLostToCopiesOfAFileOntoItself)
{
    const std::string sFile = File("new.cfb"), sData = File("old");
    LumOutput({"storage", "put", sFile, "0", sData});
    std::atomic<bool> bDone = false;
    std::atomic<int> iCopies = 0;
    std::thread copies(
        [&]
        {
            while (!bDone) iCopies += Lum({"storage", "copy", "--force", sFile, sFile}).iStatus == 0; // or a put has it at the end
        });
    std::vector<std::thread> puts;
    for (int iFirst : {0, 100})
        puts.emplace_back(
            [&, iFirst]
            {
                for (int i = 1; i <= 20; ++i) LumOutput({"storage", "put", sFile, std::to_string(iFirst + i), sData});
            });
    for (std::thread& put : puts) put.join();
    bDone = true;
    copies.join();
    EXPECT_GT(iCopies, 0);
    for (int iFirst : {0, 100})
        for (int i = 1; i <= 20; ++i) EXPECT_EQ(LumOutput({"storage", "cat", sFile, std::to_string(iFirst + i)}), "old") << i;
    ExpectNothingUnfinished();
}
