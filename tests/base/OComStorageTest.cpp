// OComStorage on real compound files.
#include "ComFile.h"
#include "LogRecorder.h"
#include "MessageRecorder.h"
#include "Raises.h"
#include "RecordingSecurity.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

namespace
{
using Lines = LogRecorder::Lines;

const unsigned short* const kpRuns = AsUnits(u"Runs");
const unsigned short* const kpFirst = AsUnits(u"0001");
const unsigned short* const kpSpectrum = AsUnits(u"Spectrum");

class OComStorageOfFile : public testing::Test
{
protected:
    std::string Narrow(const OString& sName) const { return static_cast<const char*>(sName.ConvertToMultiByte()); }

    // A file with Runs/0001/Spectrum in it, of these bytes.
    void WriteFile(const std::string& sBytes, ULONG ulMode = kulNewFile)
    {
        OComStorage root, runs, first;
        OComStream spectrum;
        root.CreateRootStorage(file.Name(), ulMode);
        root.CreateSubStorage(kpRuns, runs, kulElement);
        runs.CreateSubStorage(kpFirst, first, kulElement);
        first.CreateStream(kpSpectrum, spectrum, kulElement);
        spectrum.Write(sBytes.data(), static_cast<ULONG>(sBytes.size()));
        root.Commit();
    }
    std::string ReadStream(OComStorage& storage, const unsigned short* pName)
    {
        OComStream stream;
        storage.OpenStream(pName, stream, kulElement);
        std::string sBytes(stream.Size(), '\0');
        stream.Read(sBytes.data(), static_cast<ULONG>(sBytes.size()));
        return sBytes;
    }
    std::string ReadFile(const unsigned short* pFile)
    {
        OComStorage root, runs, first;
        root.OpenRootStorage(pFile, kulReadFile, nullptr);
        root.OpenSubStorage(kpRuns, runs, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr);
        runs.OpenSubStorage(kpFirst, first, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr);
        return ReadStream(first, kpSpectrum);
    }

    ComFile file;
    LogRecorder log;
};
} // namespace

TEST_F(OComStorageOfFile, WhatIsWrittenInSubStoragesIsReadFromTheFile)
{
    const std::string sBytes(5000, 'x');
    WriteFile(sBytes);
    EXPECT_EQ(ReadFile(file.Name()), sBytes);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OComStorageOfFile, ATransactedFileHasWhatWasCommitted)
{
    WriteFile("first");
    {
        OComStorage root;
        root.OpenRootStorage(file.Name(), STGM_TRANSACTED | kulElement, nullptr);
        root.DeleteStream(kpRuns);
        OComStream stream;
        EXPECT_RAISES(root.OpenStream(kpRuns, stream, kulElement), 12021);
    }
    EXPECT_EQ(ReadFile(file.Name()), "first");
    {
        OComStorage root;
        root.OpenRootStorage(file.Name(), STGM_TRANSACTED | kulElement, nullptr);
        root.DeleteStream(kpRuns);
        root.Commit();
    }
    EXPECT_RAISES(ReadFile(file.Name()), 12021);
}

TEST_F(OComStorageOfFile, AnObjectThatHoldsOneTouchesNoFile)
{
    WriteFile("first");
    OComStorage root;
    root.OpenRootStorage(file.Name(), kulReadFile, nullptr);
    const OString sOther = file.Beside("Other.cfb");
    EXPECT_RAISES(root.CreateRootStorage(sOther, kulNewFile), 12002);
    EXPECT_FALSE(std::filesystem::exists(Narrow(sOther)));
    EXPECT_RAISES(root.OpenRootStorage(sOther, kulReadFile, nullptr), 12002);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), (Lines{"Caught in OComStorage::CreateRootStorage", "Caught in OComStorage::OpenRootStorage"}));
}

TEST_F(OComStorageOfFile, AMissingFileIsNamed)
{
    OComStorage root;
    EXPECT_RAISES(root.OpenRootStorage(file.Name(), kulReadFile, nullptr), 12021);
    EXPECT_EQ(log.Errors(), Lines{"OComStorage | OpenRootStorage | Error [STG_E_FILENOTFOUND          ], hResult[80030002], File[" +
                                  Narrow(file.Name()) + "]"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OComStorage::OpenRootStorage"});
    const OString sNowhere = file.Beside("none/Runs.cfb");
    EXPECT_RAISES(root.OpenRootStorage(sNowhere, kulReadFile, nullptr), 12022);
    EXPECT_EQ(log.Errors(), Lines{"OComStorage | OpenRootStorage | Error [STG_E_PATHNOTFOUND          ], hResult[80030003], File[" +
                                  Narrow(sNowhere) + "]"});
}

TEST_F(OComStorageOfFile, AFileThatExistsIsReplacedOnlyWhenTheModeSaysSo)
{
    WriteFile("first");
    OComStorage root;
    EXPECT_RAISES(root.CreateRootStorage(file.Name(), kulElement), 12011);
    EXPECT_EQ(log.Errors(),
              Lines{"OComStorage | CreateRootStorage | Error [STG_E_FILEALREADYEXISTS     ], hResult[80030050], File[" +
                    Narrow(file.Name()) + "]"});
    EXPECT_EQ(ReadFile(file.Name()), "first");
    root.CreateRootStorage(file.Name(), kulNewFile);
    root = OComStorage();
    EXPECT_RAISES(ReadFile(file.Name()), 12021);
}

TEST_F(OComStorageOfFile, AModeWithoutExclusiveSharingIsRefusedForElements)
{
    OComStorage root, sub;
    OComStream stream;
    root.CreateRootStorage(file.Name(), kulNewFile);
    EXPECT_RAISES(root.CreateSubStorage(kpRuns, sub, STGM_READWRITE | STGM_SHARE_DENY_NONE), 12011);
    EXPECT_RAISES(root.CreateStream(kpSpectrum, stream, STGM_READWRITE | STGM_SHARE_DENY_NONE), 12011);
    const Lines errors = log.Errors();
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_TRUE(errors[0].starts_with("OComStorage | CreateSubStorage | Error [STG_E_INVALID")) << errors[0];
    EXPECT_TRUE(errors[1].starts_with("OComStorage | CreateStream | Error [STG_E_INVALID")) << errors[1];
}

TEST_F(OComStorageOfFile, AStreamInAStorageThatMayOnlyBeReadIsOpenedForReading)
{
    {
        OComStorage root;
        OComStream stream;
        root.CreateRootStorage(file.Name(), kulNewFile);
        root.CreateStream(kpSpectrum, stream, kulElement);
        stream.Write("0123", 4);
    }
    OComStorage root;
    OComStream stream;
    root.OpenRootStorage(file.Name(), kulReadFile, nullptr);
    root.OpenStream(kpSpectrum, stream, kulElement);
    char acFour[5] = "";
    stream.Read(acFour, 4); // at its start
    EXPECT_STREQ(acFour, "0123");
    EXPECT_RAISES(stream.Write("x", 1), 12020);

    OComStream missing;
    EXPECT_RAISES(root.OpenStream(kpFirst, missing, kulElement), 12021);
    EXPECT_EQ(log.Errors(),
              (Lines{"OComStream | Write | Error [STG_E_ACCESSDENIED          ]",
                     "OComStorage | OpenStream | Error [STG_E_FILENOTFOUND          ], hResult[80030002], Stream [0001]"}));
}

TEST_F(OComStorageOfFile, CopiesAllButWhatIsLeftOut)
{
    WriteFile("first");
    const OString sOther = file.Beside("Other.cfb");
    {
        OComStorage root, other;
        OComStream notes;
        root.OpenRootStorage(file.Name(), kulElement, nullptr);
        root.CreateStream(AsUnits(u"Notes"), notes, kulElement);
        notes = OComStream();
        other.CreateRootStorage(sOther, kulNewFile);
        std::u16string sNotes = u"Notes";
        unsigned short* apNames[] = {reinterpret_cast<unsigned short*>(sNotes.data()), nullptr};
        root.CopyTo(0, nullptr, apNames, other);
    }
    EXPECT_EQ(ReadFile(sOther), "first");
    OComStorage other;
    OComStream notes;
    other.OpenRootStorage(sOther, kulReadFile, nullptr);
    EXPECT_RAISES(other.OpenStream(AsUnits(u"Notes"), notes, kulElement), 12021);
}

TEST_F(OComStorageOfFile, CopiesNoStreamsWhereTheyAreLeftOut)
{
    const OString sOther = file.Beside("Other.cfb");
    OComStorage root, runs, other, copied;
    OComStream notes;
    root.CreateRootStorage(file.Name(), kulNewFile);
    root.CreateSubStorage(kpRuns, runs, kulElement);
    root.CreateStream(AsUnits(u"Notes"), notes, kulElement);
    other.CreateRootStorage(sOther, kulNewFile);
    root.CopyTo(1, &IID_IStream, nullptr, other);
    notes = OComStream();
    EXPECT_RAISES(other.OpenStream(AsUnits(u"Notes"), notes, kulElement), 12021);
    other.OpenSubStorage(kpRuns, copied, kulElement, nullptr);
}

TEST_F(OComStorageOfFile, AFileIsOpenedWithoutWhatIsLeftOut)
{
    WriteFile("first");
    std::u16string sRuns = u"Runs";
    unsigned short* apNames[] = {reinterpret_cast<unsigned short*>(sRuns.data()), nullptr};
    OComStorage root, runs, first;
    root.OpenRootStorage(file.Name(), STGM_TRANSACTED | kulElement, apNames);
    root.OpenSubStorage(kpRuns, runs, kulElement, nullptr);
    // It is there, and empty. Wine opens the file as if nothing were left out.
    const std::optional<ULONG> missing = RaisedCode([&] { runs.OpenSubStorage(kpFirst, first, kulElement, nullptr); });
    EXPECT_EQ(missing, WineSays(std::optional<ULONG>(), std::optional<ULONG>(12021)));
}

TEST_F(OComStorageOfFile, ACopyToNothingIsRefused)
{
    OComStorage root, nothing;
    root.CreateRootStorage(file.Name(), kulNewFile);
    EXPECT_RAISES(root.CopyTo(0, nullptr, nullptr, nothing), 12018);
    EXPECT_EQ(log.Errors(), Lines{"OComStorage | CopyTo | Error [STG_E_INVALIDPOINTER        ], hResult[80030009], File[]"});
}

TEST_F(OComStorageOfFile, FilesAreCreatedAndOpenedAsTheUser)
{
    RecordingSecurity security;
    OComStorage root, other;
    EXPECT_RAISES(other.OpenRootStorage(file.Name(), kulReadFile, nullptr), 12021);
    EXPECT_EQ(security.Calls(), (Lines{"impersonate", "revert"}));
    root.CreateRootStorage(file.Name(), kulNewFile);
    EXPECT_EQ(security.Calls(), (Lines{"impersonate", "revert"}));
    EXPECT_RAISES(root.CreateRootStorage(file.Name(), kulNewFile), 12002);
    EXPECT_EQ(security.Calls(), Lines{});
    root = OComStorage();
    other.OpenRootStorage(file.Name(), kulReadFile, nullptr);
    EXPECT_EQ(security.Calls(), (Lines{"impersonate", "revert"}));
}

TEST_F(OComStorageOfFile, CopiesHaveTheSameStorage)
{
    OComStorage copy;
    {
        OComStorage root;
        root.CreateRootStorage(file.Name(), kulNewFile);
        copy = root;
    }
    OComStream stream;
    copy.CreateStream(kpSpectrum, stream, kulElement);
    stream.Write("0123", 4);
    stream = OComStream();
    EXPECT_EQ(ReadStream(copy, kpSpectrum), "0123");
}

TEST_F(OComStorageOfFile, ANameThatALineCannotHoldLosesSomeCharactersAndNotTheLine)
{
    MessageRecorder boxes;
    OComStorage root;
    OComStream stream;
    root.CreateRootStorage(file.Name(), kulNewFile);
    EXPECT_RAISES(root.OpenStream(AsUnits(u"dark \u6697"), stream, kulElement), 12021);
    Lines errors = log.Errors();
    ASSERT_EQ(errors.size(), 1u);
    const std::string sUpTo = "OComStorage | OpenStream | Error [STG_E_FILENOTFOUND          ], hResult[80030002], Stream [dark ";
    EXPECT_TRUE(errors[0] == sUpTo + "?]" || errors[0] == sUpTo + "\xE6\x9A\x97]") << errors[0]; // by the system's code page
    const OString sLong(OString(AsUnits(u"C:\\")) + OString(std::u16string(2000, u'x').c_str()));
    EXPECT_TRUE(RaisedCode([&] { OComStorage().OpenRootStorage(sLong, kulReadFile, nullptr); }));
    errors = log.Errors();
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(errors[0].ends_with(std::string(896, 'x') + "]")) << errors[0];
    EXPECT_EQ(boxes.Shown(), Lines{});
}
