// lum storage, as a user runs it.
#include "LumProgram.h"
#include "Wine.h"

#include <algorithm>

namespace
{
class LumStorage : public LumProgram
{
protected:
    LumStorage() { WriteFileText(msData, msBytes); }

    // A file with two streams of the data in it.
    void MakeFile(const std::string& sPath)
    {
        EXPECT_EQ(LumOutput({"storage", "put", sPath, "Runs/0001/Spectrum", msData}), "");
        EXPECT_EQ(LumOutput({"storage", "put", sPath, "Notes", msData}), "");
    }
    std::string Cat(const std::string& sPath, const std::string& sStream = "Runs/0001/Spectrum")
    {
        return LumOutput({"storage", "cat", sPath, sStream});
    }
    // Its lines without their times: "size name", indented as they are.
    std::vector<std::string> Listed(std::vector<std::string> words)
    {
        words.insert(words.begin(), {"storage", "list"});
        const std::string sOut = LumOutput(words);
        std::vector<std::string> lines;
        for (size_t uAt = 0, uEnd; (uEnd = sOut.find('\n', uAt)) != sOut.npos; uAt = uEnd + 1)
        {
            const std::string sLine = sOut.substr(uAt, uEnd - uAt);
            const size_t uSize = sLine.find_first_not_of(' ');
            lines.push_back(sLine.substr(std::min<size_t>(uSize, 15), uSize < 15 ? 15 - uSize : 0) + "|" + sLine.substr(35));
        }
        return lines;
    }

    const std::string msBytes = std::string(5000, 'x') + "the end";
    const std::string msData = File("data"), msFile = File("new.cfb");
};
using Lines = std::vector<std::string>;

TEST_F(LumStorage, WhatIsPutIsListedAndReadAgain)
{
    MakeFile(msFile);
    EXPECT_EQ(Listed({msFile}), (Lines{"Size|Name", "|" + msFile + " (sectors of 512 bytes)", "5,007|  Notes", "|  Runs/",
                                       "|    0001/", "5,007|      Spectrum"}));
    EXPECT_EQ(Listed({msFile, "Runs/0001"}), (Lines{"Size|Name", "|0001/", "5,007|  Spectrum"}));
    EXPECT_EQ(Listed({msFile, "/Runs/0001/Spectrum"}), (Lines{"Size|Name", "5,007|Spectrum"}));
    EXPECT_EQ(Cat(msFile), msBytes);
    EXPECT_EQ(Cat(msFile, "runs/0001/SPECTRUM"), msBytes);
    ExpectNothingUnfinished();
}

TEST_F(LumStorage, AStreamIsReplacedAsAWhole)
{
    MakeFile(msFile);
    WriteFileText(msData, "short");
    LumOutput({"storage", "put", msFile, "Notes", msData});
    EXPECT_EQ(Cat(msFile, "Notes"), "short");
    EXPECT_EQ(Cat(msFile), msBytes);
    WriteFileText(msData, "");
    LumOutput({"storage", "put", msFile, "Notes", msData});
    EXPECT_EQ(Cat(msFile, "Notes"), "");
}

TEST_F(LumStorage, EveryByteComesBackAsItWas)
{
    std::string sAll;
    for (int i = 0; i < 256; ++i) sAll += static_cast<char>(i);
    sAll += "\x1A\r\r\x1A";
    WriteFileText(msData, sAll);
    LumOutput({"storage", "put", msFile, "All", msData});
    EXPECT_EQ(Listed({msFile}).back(), "260|  All");
    std::string sBack = Cat(msFile, "All");
    std::erase(sBack, '\r'); // who runs the program on Windows takes them for ends of lines
    std::erase(sAll, '\r');
    EXPECT_EQ(sBack, sAll);
}

TEST_F(LumStorage, WhatIsMissingIsTheAnswerNo)
{
    MakeFile(msFile);
    ExpectRefusal({"storage", "cat", msFile, "Runs/0002/Spectrum"}, 1, "there is no Runs/0002 in " + msFile);
    ExpectRefusal({"storage", "cat", msFile, "Runs/0001/Header"}, 1, "there is no Runs/0001/Header in " + msFile);
    ExpectRefusal({"storage", "remove", msFile, "Header"}, 1, "there is no Header in " + msFile + ": nothing was removed");
    ExpectRefusal({"storage", "list", msFile, "Runs/0002"}, 1, "there is no Runs/0002 in " + msFile);
}

TEST_F(LumStorage, AStreamIsNoStorageAndAStorageNoStream)
{
    MakeFile(msFile);
    ExpectRefusal({"storage", "cat", msFile, "Runs/0001"}, 3, "Runs/0001 in " + msFile + " is a storage, not a stream");
    ExpectRefusal({"storage", "put", msFile, "Runs", msData}, 3, "Runs in " + msFile + " is a storage, not a stream");
    ExpectRefusal({"storage", "cat", msFile, "Notes/0001"}, 3, "Notes in " + msFile + " is a stream, not a storage");
    ExpectRefusal({"storage", "put", msFile, "Notes/0001", msData}, 3, "Notes in " + msFile + " is a stream, not a storage");
    EXPECT_EQ(Cat(msFile) + Cat(msFile, "Notes"), msBytes + msBytes);
}

TEST_F(LumStorage, AFileThatIsNoneIsNamedAsSuchAndLeftAlone)
{
    for (const Lines& words : {Lines{"list", msData}, Lines{"cat", msData, "a"}, Lines{"put", msData, "a", File("other")},
                               Lines{"remove", msData, "a"}, Lines{"copy", msData, msFile}, Lines{"check", msData}})
    {
        Lines all{"storage"};
        all.insert(all.end(), words.begin(), words.end());
        WriteFileText(File("other"), "other");
        ExpectRefusal(all, 3, "it is no compound file");
    }
    EXPECT_EQ(FileText(msData), msBytes);
    EXPECT_FALSE(std::filesystem::exists(msFile));
    ExpectRefusal({"storage", "list", msFile}, 3, "opening " + msFile + " failed: there is no such file");
    ExpectRefusal({"storage", "put", msFile, "a", File("none")}, 3, "opening " + File("none") + " failed");
    ExpectRefusal({"storage", "put", File("none/new.cfb"), "a", msData}, 3, "failed: ");
    EXPECT_FALSE(std::filesystem::exists(msFile));
    ExpectNothingUnfinished();
}

TEST_F(LumStorage, AFolderIsNamedAsSuch)
{
    const std::string sFolder = File("folder");
    std::filesystem::create_directory(sFolder);
    MakeFile(msFile);
    for (const Lines& words : {Lines{"list", sFolder}, Lines{"cat", sFolder, "a"}, Lines{"put", sFolder, "a", msData},
                               Lines{"put", msFile, "a", sFolder}, Lines{"remove", sFolder, "a"}, Lines{"copy", sFolder, File("b")},
                               Lines{"copy", msFile, sFolder}, Lines{"copy", "--force", msFile, sFolder}, Lines{"check", sFolder}})
    {
        Lines all{"storage"};
        all.insert(all.end(), words.begin(), words.end());
        ExpectRefusal(all, 3, sFolder + " is a folder: name a file in it");
    }
    ExpectNothingUnfinished();
}

TEST_F(LumStorage, NamesThatCannotBeAreRefusedBeforeAnythingIsDone)
{
    const std::string sLong(32, 'n');
    ExpectRefusal({"storage", "put", msFile, "a/" + sLong, msData}, 2, "at most 31 characters, one here has 32");
    ExpectRefusal({"storage", "put", msFile, "Runs\\0001", msData}, 2, "names are separated by '/'");
    ExpectRefusal({"storage", "put", msFile, "a:b", msData}, 2, "no new name can have '/', '\\', ':' or '!' in it");
    ExpectRefusal({"storage", "put", msFile, "a\\x0", msData}, 2, "\\x takes two hexadecimal digits");
    ExpectRefusal({"storage", "put", msFile, "/", msData}, 2, "names the whole file");
    ExpectRefusal({"storage", "put", msFile, "a", msData, "--sector-size", "1024"}, 2, "--sector-size");
    EXPECT_FALSE(std::filesystem::exists(msFile));
}

TEST_F(LumStorage, NamesWithCharactersThatNobodyCanTypeAreSpelledOut)
{
    LumOutput({"storage", "put", msFile, "\\x05SummaryInformation", msData});
    EXPECT_EQ(Listed({msFile}).back(), "5,007|  \\x05SummaryInformation");
    EXPECT_EQ(Cat(msFile, "\\x05SummaryInformation"), msBytes);
    EXPECT_EQ(Cat(msFile, "\\u0005SummaryInformation"), msBytes);
    EXPECT_NE(LumOutput({"storage", "list", msFile, "--json"}).find("\"name\": \"\\u0005SummaryInformation\""), std::string::npos);
}

TEST_F(LumStorage, RemovesAllThatIsNamedOrNothing)
{
    MakeFile(msFile);
    ExpectRefusal({"storage", "remove", msFile, "Notes", "Runs"}, 3, "--recursive removes it");
    ExpectRefusal({"storage", "remove", msFile, "Notes", "Header"}, 1, "there is no Header");
    EXPECT_EQ(Cat(msFile, "Notes"), msBytes);
    LumOutput({"storage", "remove", msFile, "Runs/0001/Spectrum"});
    LumOutput({"storage", "remove", msFile, "Runs/0001"}); // empty
    LumOutput({"storage", "remove", "-r", msFile, "Notes", "Runs"});
    EXPECT_EQ(Listed({msFile}).size(), 2u);
}

TEST_F(LumStorage, ACopyHasTheSameInLess)
{
    WriteFileText(msData, std::string(300'000, 'x'));
    MakeFile(msFile);
    LumOutput({"storage", "remove", msFile, "Notes"});
    const std::string sSmall = File("small.cfb");
    LumOutput({"storage", "copy", msFile, sSmall});
    EXPECT_EQ(Cat(sSmall), FileText(msData));
    EXPECT_LT(FileText(sSmall).size(), 310'000u);
    const Lines listed = Listed({sSmall}), expected = Listed({msFile});
    EXPECT_TRUE(std::equal(listed.begin() + 2, listed.end(), expected.begin() + 2, expected.end()));

    WriteFileText(File("there"), "mine");
    ExpectRefusal({"storage", "copy", msFile, File("there")}, 3, File("there") + " is there already: --force replaces it");
    EXPECT_EQ(FileText(File("there")), "mine");
    LumOutput({"storage", "copy", "--force", msFile, File("there")});
    LumOutput({"storage", "copy", "--force", msFile, msFile});
    EXPECT_EQ(Cat(msFile), FileText(msData));
    EXPECT_LT(FileText(msFile).size(), 310'000u);
    ExpectNothingUnfinished();
}

TEST_F(LumStorage, SectorsAreAsLargeAsAsked)
{
    LumOutput({"storage", "put", msFile, "Notes", msData, "--sector-size", "4096"});
    EXPECT_EQ(Listed({msFile})[1], "|" + msFile + " (sectors of 4096 bytes)");
    EXPECT_EQ(Cat(msFile, "Notes"), msBytes);
    LumOutput({"storage", "put", msFile, "Other", msData, "--sector-size", "4096"});
    ExpectRefusal({"storage", "put", msFile, "Other", msData, "--sector-size", "512"}, 2, "--sector-size is for a new file");
    LumOutput({"storage", "copy", msFile, File("same.cfb")});
    LumOutput({"storage", "copy", msFile, File("small.cfb"), "--sector-size", "512"});
    EXPECT_EQ(Listed({File("same.cfb")})[1], "|" + File("same.cfb") + " (sectors of 4096 bytes)");
    EXPECT_EQ(Listed({File("small.cfb")})[1], "|" + File("small.cfb") + " (sectors of 512 bytes)");
    EXPECT_EQ(Cat(File("small.cfb"), "Other"), msBytes);
}

TEST_F(LumStorage, AFileIsNotPutIntoItself)
{
    MakeFile(msFile);
    const std::string sBefore = FileText(msFile);
    ExpectRefusal({"storage", "put", msFile, "Me", msFile}, 3, "cannot be put into itself");
    const ProgramResult result = Lum({"storage", "put", msFile, "Me"}, msFile);
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_EQ(result.sErr, "lum: " + msFile + " cannot be put into itself: nothing was changed\n");
    EXPECT_TRUE(FileText(msFile) == sBefore);
    EXPECT_EQ(Lum({"storage", "put", msFile, "Other"}, msData).iStatus, 0);
    EXPECT_EQ(Cat(msFile, "Other"), msBytes);
}

TEST_F(LumStorage, AFileIsReadBesideAWriterThatLetsOthersIn)
{
    MakeFile(msFile);
    IStorage* pWriter = nullptr;
    const std::u16string sFile(msFile.begin(), msFile.end());
    ASSERT_EQ(StgOpenStorage(AsWide(AsUnits(sFile.c_str())), nullptr, STGM_TRANSACTED | STGM_READWRITE | STGM_SHARE_DENY_NONE,
                             nullptr, 0, &pWriter),
              S_OK);
    EXPECT_EQ(pWriter->DestroyElement(AsWide(AsUnits(u"Notes"))), S_OK);
    EXPECT_EQ(Cat(msFile, "Notes"), msBytes);
    EXPECT_EQ(pWriter->Commit(STGC_DEFAULT), S_OK);
    ExpectRefusal({"storage", "cat", msFile, "Notes"}, 1, "there is no Notes");
    pWriter->Release();
}

TEST_F(LumStorage, JsonHasPathsTypesSizesAndTimes)
{
    MakeFile(msFile);
    const std::string sJson = LumOutput({"storage", "list", msFile, "--json"});
    EXPECT_NE(sJson.find("\"sectorSize\": 512,\n  \"elements\": [\n    {\n      \"path\": \"Notes\","), std::string::npos) << sJson;
    EXPECT_NE(sJson.find("\"path\": \"Runs/0001/Spectrum\",\n      \"name\": \"Spectrum\",\n      \"type\": \"stream\",\n"
                         "      \"size\": 5007\n"),
              std::string::npos)
        << sJson;
    // Wine notes no times.
    const std::string sTimes = WineSays("\"type\": \"storage\"\n", "\"type\": \"storage\",\n      \"created\": \"20");
    EXPECT_NE(sJson.find(sTimes), std::string::npos) << sJson;
}

TEST_F(LumStorage, ASoundFileIsCalledSo)
{
    MakeFile(msFile);
    const std::string sGolden = LUM_STORAGE_DATA "/large-sectors.cfb";
    EXPECT_EQ(LumOutput({"storage", "check", msFile, sGolden}), msFile + ": sound\n" + sGolden + ": sound\n");
    const std::string sJson = LumOutput({"storage", "check", "--json", msFile});
    EXPECT_NE(sJson.find("\"result\": \"sound\",\n    \"damage\": []"), std::string::npos) << sJson;
}

TEST_F(LumStorage, DamageIsALineAndTheAnswerNo)
{
    MakeFile(msFile);
    std::string sBytes = FileText(msFile);
    std::filesystem::copy(msFile, File("sound.cfb"));
    sBytes.resize(sBytes.size() - sBytes.size() / 2 / 512 * 512); // half of its sectors
    WriteFileText(msFile, sBytes);
    const ProgramResult result = Lum({"storage", "check", msFile, File("none"), File("sound.cfb")});
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_TRUE(result.sOut.starts_with(msFile + ": ")) << result.sOut;
    EXPECT_TRUE(result.sOut.ends_with("\n" + File("sound.cfb") + ": sound\n")) << result.sOut;
    EXPECT_NE(result.sErr.find("opening " + File("none") + " failed: "), std::string::npos) << result.sErr;
    EXPECT_EQ(Lum({"storage", "check", msFile}).iStatus, 1);
    WriteFileText(msFile, sBytes.substr(0, 1000)); // all but its header
    EXPECT_EQ(Lum({"storage", "check", msFile}).iStatus, 1);
    EXPECT_EQ(Lum({"storage", "check", "--json", msFile}).iStatus, 1);
}

TEST_F(LumStorage, TheTourWritesListsAndReadsOne)
{
    const std::string sTour = LumOutput({"tour"});
    EXPECT_NE(sTour.find("Tour.cfb (sectors of 512 bytes)\n"), std::string::npos) << sTour;
    EXPECT_NE(sTour.find("    0001/\n             12                          Spectrum\n"), std::string::npos) << sTour;
    EXPECT_NE(sTour.find("  ->  118 124 3071 29480 3144 121\n"), std::string::npos) << sTour;
}
} // namespace
