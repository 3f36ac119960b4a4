// lum and the system's own registry editor read each other's files. On Windows alone: Linux has no such editor.
#include "LumProgram.h"

namespace
{
class RegistryEditor : public LumProgram
{
protected:
    static void Edit(const std::vector<std::string>& words)
    {
        char aFolder[MAX_PATH] = "";
        GetWindowsDirectoryA(aFolder, sizeof aFolder);
        EXPECT_EQ(RunProgram(std::string(aFolder) + "\\regedit.exe", words).iStatus, 0);
    }

    // Every kind of value, below the test's own branch.
    void Fill()
    {
        LumOutput({"reg", "set", Key(), "", "the \"default\" \\ value"});
        LumOutput({"reg", "set", Key(), "expand", "%PATH%", "-t", "expand"});
        LumOutput({"reg", "set", Key(), "multi", "one", "two", "-t", "multi"});
        LumOutput({"reg", "set", Key("Sub"), "number", "0xfedcba98", "-t", "dword"});
        LumOutput({"reg", "set", Key("Sub"), "long", "0xfedcba9876543210", "-t", "qword"});
        LumOutput({"reg", "set", Key("Sub\\Deep"), "bytes", std::string(200, 'a'), "-t", "binary"});
    }

    std::string LongKey() const { return "HKEY_LOCAL_MACHINE" + Key().substr(4); }
};

TEST_F(RegistryEditor, ExportsWhatLumExportsToTheByte)
{
    Fill();
    Edit({"/E", File("editor.reg"), LongKey()});
    LumOutput({"reg", "export", Key(), File("lum.reg")});
    ExpectSameFiles(File("lum.reg"), File("editor.reg"));
}

TEST_F(RegistryEditor, ImportsBothVersionsThatLumWrites)
{
    Fill();
    LumOutput({"reg", "export", Key(), File("first.reg")});
    LumOutput({"reg", "export", Key(), File("version4.reg"), "--version4"});
    for (const char* pFile : {"first.reg", "version4.reg"})
    {
        LumOutput({"reg", "delete", Key(), "-r"});
        Edit({"/S", File(pFile)});
        LumOutput({"reg", "export", Key(), File("second.reg")});
        ExpectSameFiles(File("second.reg"), File("first.reg"));
    }
}

TEST_F(RegistryEditor, DeletesWhatAFileForLumDeletes)
{
    const std::string sFile = "REGEDIT4\r\n\r\n[-" + LongKey() + "\\Sub]\r\n[" + LongKey() + "]\r\n\"multi\"=-\r\n@=-\r\n";
    Fill();
    WriteFileText(File("in.reg"), sFile);
    Edit({"/S", File("in.reg")});
    LumOutput({"reg", "export", Key(), File("editor.reg")});

    LumOutput({"reg", "delete", Key(), "-r"});
    Fill();
    LumOutput({"reg", "import", File("in.reg")});
    LumOutput({"reg", "export", Key(), File("lum.reg")});
    ExpectSameFiles(File("lum.reg"), File("editor.reg"));
}
} // namespace
