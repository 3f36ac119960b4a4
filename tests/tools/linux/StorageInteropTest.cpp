// Compound files that lum has written, in the hands of other programs, and theirs in ours: those of libgsf, 7-Zip, olefile and
// msitools, where they are installed.
#include "LumProgram.h"

namespace
{
class StorageInterop : public LumProgram
{
protected:
    StorageInterop() { WriteFileText(File("data"), Bytes(300'000)); }

    struct Stream
    {
        const char* pPath;
        size_t uBytes;
    };
    static constexpr Stream kStreams[] = {{"Empty", 0},     {"Runs/0001/One", 1},       {"Runs/0001/Mini", 4095},
                                          {"Sector", 4096}, {"Runs/0002/Many", 70'000}, {"Runs/0002/More", 300'000}};

    static std::string Bytes(size_t uBytes)
    {
        std::string sBytes(uBytes, '\0');
        for (size_t i = 0; i < uBytes; ++i) sBytes[i] = static_cast<char>('a' + i * 7 % 26 - i / 1000 % 3);
        return sBytes;
    }
    static bool Has(const char* pProgram)
    {
        return RunProgram("/bin/sh", {"-c", std::string("command -v ") + pProgram}).iStatus == 0;
    }
    static std::string OutputOf(const std::string& sCommand) { return RunProgram("/bin/sh", {"-c", sCommand}).sOut; }

    // The command for one stream writes it to its output; FILE and PATH stand for the two.
    void ExpectReadBy(const std::string& sCommand)
    {
        for (const auto& [pFile, pSectorBytes] : {std::pair("ours.cfb", "512"), std::pair("large.cfb", "4096")})
        {
            for (const Stream& stream : kStreams)
            {
                WriteFileText(File("data"), Bytes(stream.uBytes));
                LumOutput({"storage", "put", File(pFile), stream.pPath, File("data"), "--sector-size", pSectorBytes});
            }
            for (const Stream& stream : kStreams)
            {
                const std::string sScript = "FILE='" + File(pFile) + "' PATH_IN='" + stream.pPath + "'; " + sCommand;
                EXPECT_TRUE(OutputOf(sScript) == Bytes(stream.uBytes)) << sScript;
            }
        }
    }
};

TEST_F(StorageInterop, LibgsfReadsOurFiles)
{
    if (!Has("gsf")) GTEST_SKIP() << "libgsf-bin is not installed";
    ExpectReadBy("gsf cat \"$FILE\" \"$PATH_IN\"");
    const std::string sList = OutputOf("gsf list '" + File("ours.cfb") + "'");
    EXPECT_NE(sList.find("300000 Runs/0002/More\n"), std::string::npos) << sList;
}

TEST_F(StorageInterop, SevenZipReadsOurFiles)
{
    if (!Has("7z")) GTEST_SKIP() << "p7zip-full is not installed";
    ExpectReadBy("7z x -so -tcompound \"$FILE\" \"$PATH_IN\"");
}

TEST_F(StorageInterop, OlefileReadsOurFiles)
{
    constexpr const char* kpPython = "/usr/bin/python3";
    if (RunProgram(kpPython, {"-c", "import olefile"}).iStatus != 0) GTEST_SKIP() << "python3-olefile is not installed";
    ExpectReadBy(std::string(kpPython) + " -c 'import olefile, sys; "
                                         "sys.stdout.buffer.write(olefile.OleFileIO(sys.argv[1]).openstream(sys.argv[2]).read())' "
                                         "\"$FILE\" \"$PATH_IN\"");
}

TEST_F(StorageInterop, WeReadWhatLibgsfWrites)
{
    if (!Has("gsf")) GTEST_SKIP() << "libgsf-bin is not installed";
    std::filesystem::create_directories(File("Runs"));
    for (const size_t uBytes : {0, 63, 64, 4095, 4096, 70'000})
        WriteFileText(File(("Runs/" + std::to_string(uBytes)).c_str()), Bytes(uBytes));
    ASSERT_EQ(RunProgram("/bin/sh", {"-c", "cd '" + File("") + "' && gsf createole theirs.cfb Runs"}).iStatus, 0);
    for (const size_t uBytes : {0, 63, 64, 4095, 4096, 70'000})
        EXPECT_TRUE(LumOutput({"storage", "cat", File("theirs.cfb"), "Runs/" + std::to_string(uBytes)}) == Bytes(uBytes)) << uBytes;
    LumOutput({"storage", "put", File("theirs.cfb"), "Runs/0001/More", File("data")});
    EXPECT_EQ(LumOutput({"storage", "check", File("theirs.cfb")}), File("theirs.cfb") + ": sound\n");
    EXPECT_TRUE(OutputOf("gsf cat '" + File("theirs.cfb") + "' Runs/0001/More") == FileText(File("data")));
}

TEST_F(StorageInterop, InstallationPackagesAreListedChangedAndCopied)
{
    if (!Has("msibuild")) GTEST_SKIP() << "msitools is not installed";
    const std::string sPackage = File("theirs.msi"), sCopy = File("copy.msi");
    WriteFileText(File("cabinet"), Bytes(70'000));
    const std::string sBuild = "cd '" + File("") +
                               "' && msibuild theirs.msi -s Spectra Lab ';1033' '{12345678-1234-1234-1234-"
                               "123456789ABC}' && msibuild theirs.msi -a data.cab cabinet";
    ASSERT_EQ(RunProgram("/bin/sh", {"-c", sBuild}).iStatus, 0);
    LumOutput({"storage", "put", sPackage, "Notes", File("data")});
    LumOutput({"storage", "copy", sPackage, sCopy});
    EXPECT_EQ(LumOutput({"storage", "check", sPackage, sCopy}), sPackage + ": sound\n" + sCopy + ": sound\n");
    const std::string sList = LumOutput({"storage", "list", sCopy});
    for (const char* pPart : {"{000C1084-0000-0000-C000-000000000046}", "  \\x05SummaryInformation\n", " 70,000  "})
        EXPECT_NE(sList.find(pPart), std::string::npos) << pPart << " in\n" << sList;
    EXPECT_TRUE(OutputOf("msiinfo extract '" + sCopy + "' data.cab") == Bytes(70'000));
    EXPECT_TRUE(OutputOf("msiinfo extract '" + sCopy + "' Notes") == FileText(File("data")));
}
} // namespace
