// lum storage beside others: several at work on one file, and programs that have it open.
#include "FileBytes.h"
#include "FileHandle.h"
#include "Held.h"
#include "LumProgram.h"
#include "WideText.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace
{
class LumStorageSharing : public LumProgram
{
protected:
    LumStorageSharing() { WriteFileText(msData, "data"); }

    // As many at once as there are words after the file.
    void PutAtOnce(const std::vector<std::string>& streams)
    {
        std::vector<std::thread> puts;
        for (const std::string& sStream : streams)
            puts.emplace_back([this, sStream] { LumOutput({"storage", "put", msFile, sStream, msData}); });
        for (std::thread& put : puts) put.join();
        for (const std::string& sStream : streams) EXPECT_EQ(LumOutput({"storage", "cat", msFile, sStream}), "data") << sStream;
        EXPECT_EQ(LumOutput({"storage", "check", msFile}), msFile + ": sound\n");
        ExpectNothingUnfinished();
    }
    HRESULT Open(DWORD ulMode, Held<IStorage>& root) const { return Open(ulMode, root, msFile); }
    static HRESULT Open(DWORD ulMode, Held<IStorage>& root, const std::string& sFile)
    {
        return StgOpenStorage(W(Widen(sFile).c_str()), nullptr, ulMode, nullptr, 0, root.Out());
    }

    static constexpr DWORD kulAsPut = STGM_TRANSACTED | STGM_READWRITE | STGM_SHARE_DENY_WRITE; // as lum opens it
    const std::string msData = File("data"), msFile = File("new.cfb");
    const std::vector<std::string> mStreams{"1", "2", "3", "4", "5", "6"};
};
} // namespace

TEST_F(LumStorageSharing, PutsThatMakeOneFileAllHaveTheirStreamInIt) { PutAtOnce(mStreams); }

TEST_F(LumStorageSharing, SoDoPutsIntoAFileThatIsEmpty)
{
    WriteFileText(msFile, "");
    PutAtOnce(mStreams);
}

TEST_F(LumStorageSharing, SoDoPutsIntoAFileThatIsThere)
{
    LumOutput({"storage", "put", msFile, "0", msData});
    PutAtOnce(mStreams);
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "0"}), "data");
}

TEST_F(LumStorageSharing, OfSeveralCopiesToOneNameOneIsMade)
{
    LumOutput({"storage", "put", msFile, "0", msData});
    const std::string sCopy = File("copy.cfb");
    std::atomic<int> iMade = 0;
    std::vector<std::thread> copies;
    for (size_t u = 0; u < mStreams.size(); ++u)
    {
        copies.emplace_back(
            [&]
            {
                const ProgramResult result = Lum({"storage", "copy", msFile, sCopy});
                if (result.iStatus == 0)
                    ++iMade;
                else
                    EXPECT_EQ(result.sErr, "lum: " + sCopy + " is there already: --force replaces it\n");
            });
    }
    for (std::thread& copy : copies) copy.join();
    EXPECT_EQ(iMade, 1);
    EXPECT_EQ(LumOutput({"storage", "cat", sCopy, "0"}), "data");
    ExpectNothingUnfinished();
}

TEST_F(LumStorageSharing, ACopyOntoItselfWaitsForAPutAndHasWhatItPut)
{
    LumOutput({"storage", "put", msFile, "0", msData});
    Held<IStorage> put;
    ASSERT_EQ(Open(kulAsPut, put), S_OK);
    std::thread copy([this] { LumOutput({"storage", "copy", "--force", msFile, msFile}); });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    {
        Held<IStream> stream;
        EXPECT_EQ(put->CreateStream(W(u"1"), STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0, stream.Out()), S_OK);
        EXPECT_EQ(stream->Write("data", 4, nullptr), S_OK);
    }
    EXPECT_EQ(put->Commit(STGC_DEFAULT), S_OK);
    put.Reset();
    copy.join();
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "1"}), "data");
    ExpectNothingUnfinished();
}

TEST_F(LumStorageSharing, ANewFileTakesAFreePlaceAndThatOfAnEmptyFileAlone)
{
    for (const char* pThere : {"", "mine"})
    {
        tool::NewFile created(msFile);
        WriteFileText(created.Path(), "new");
        WriteFileText(msFile, pThere);
        EXPECT_EQ(created.PutInFreePlace(), !*pThere);
        EXPECT_EQ(FileText(msFile), *pThere ? pThere : "new");
        EXPECT_EQ(std::filesystem::exists(created.Path()), *pThere != 0);
    }
    ExpectNothingUnfinished();
    std::filesystem::remove(msFile);
    tool::NewFile created(msFile);
    WriteFileText(created.Path(), "new");
    EXPECT_TRUE(created.PutInFreePlace());
    EXPECT_EQ(FileText(msFile), "new");
}

TEST_F(LumStorageSharing, BesideALongNameStandsOneThatIsNoLonger)
{
    constexpr size_t kuLongest = 259; // of a path on Windows
    const std::string sLong = File(std::string(kuLongest - File("").size(), 'n').c_str());
    tool::NewFile created(sLong);
    EXPECT_LE(created.Path().size(), kuLongest);
    WriteFileText(created.Path(), "new");
    EXPECT_TRUE(created.PutInFreePlace());
    EXPECT_EQ(FileText(sLong), "new");
    ExpectNothingUnfinished();
}

TEST_F(LumStorageSharing, AFileIsChangedBesideAReaderThatLetsOthersWrite)
{
    LumOutput({"storage", "put", msFile, "0", msData});
    Held<IStorage> reader;
    ASSERT_EQ(Open(STGM_TRANSACTED | STGM_READ | STGM_SHARE_DENY_NONE, reader), S_OK);
    LumOutput({"storage", "put", msFile, "1", msData});
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "1"}), "data");
}

TEST_F(LumStorageSharing, AFileIsReadBesideAPut)
{
    LumOutput({"storage", "put", msFile, "0", msData});
    Held<IStorage> put;
    ASSERT_EQ(Open(kulAsPut, put), S_OK);
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "0"}), "data");
    LumOutput({"storage", "list", msFile});
}

TEST_F(LumStorageSharing, WhoComesToChangeOrCheckAFileInUseWaitsAndIsToldSo)
{
    // Files of their own, so that all wait at once.
    const std::string sRead = File("read.cfb"), sWritten = File("written.cfb"), sEmpty = File("empty.cfb");
    for (const std::string& sFile : {msFile, sRead, sWritten}) LumOutput({"storage", "put", sFile, "0", msData});
    Held<IStorage> put, writer;
    ASSERT_EQ(Open(kulAsPut, put), S_OK);
    ASSERT_EQ(Open(STGM_TRANSACTED | STGM_READWRITE | STGM_SHARE_DENY_NONE, writer, sWritten), S_OK);
    const FileHandle reader(sRead, GENERIC_READ, FILE_SHARE_READ), maker(sEmpty, GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW);
    for (const std::string& sFile : {sRead, sWritten}) EXPECT_EQ(LumOutput({"storage", "cat", sFile, "0"}), "data");

    using Seconds = std::chrono::duration<double>;
    const auto refused = [](std::vector<std::string> words, const char* pWhat, const char* pWhy, Seconds* pTook)
    {
        const std::string sWhy = pWhat + words[1] + " failed: " + pWhy;
        words.insert(words.begin(), "storage");
        const auto start = std::chrono::steady_clock::now();
        ExpectRefusal(words, 3, sWhy);
        *pTook = std::chrono::steady_clock::now() - start;
    };
    using Words = std::vector<std::string>;
    constexpr const char* kpInUse = "another program has it open";
    Seconds aTook[5] = {};
    std::thread aWaiting[] = {std::thread(refused, Words{"check", msFile}, "checking ", kpInUse, &aTook[0]),
                              std::thread(refused, Words{"remove", sRead, "0"}, "opening ", kpInUse, &aTook[1]),
                              std::thread(refused, Words{"remove", sWritten, "0"}, "opening ", kpInUse, &aTook[2]),
                              std::thread(refused, Words{"put", sEmpty, "0", msData}, "opening ", "", &aTook[3]),
                              std::thread(refused, Words{"put", msFile, "1", msData}, "opening ", kpInUse, &aTook[4])};
    for (std::thread& waiting : aWaiting) waiting.join();
    for (const Seconds& took : aTook)
    {
        EXPECT_GE(took.count(), 3.0);
        EXPECT_LT(took.count(), 1.6 * aTook[0].count()); // once
    }
}

TEST_F(LumStorageSharing, WhoHasTheFileOpenForAMomentIsWaitedFor)
{
    LumOutput({"storage", "put", msFile, "0", msData});
    Held<IStorage> other;
    ASSERT_EQ(Open(STGM_READWRITE | STGM_SHARE_EXCLUSIVE, other), S_OK);
    std::thread put([this] { LumOutput({"storage", "put", msFile, "1", msData}); });
    std::thread cat([this] { EXPECT_EQ(LumOutput({"storage", "cat", msFile, "0"}), "data"); });
    std::thread check([this] { EXPECT_EQ(LumOutput({"storage", "check", msFile}), msFile + ": sound\n"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    other.Reset();
    put.join();
    cat.join();
    check.join();
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "1"}), "data");
}
