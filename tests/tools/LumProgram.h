// lum, run as a user runs it, with a registry branch and a folder of the test's own.
#pragma once

#include "Platform.h"
#include "Program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

inline ProgramResult Lum(const std::vector<std::string>& words, const std::string& sInput = {})
{
    return RunProgram(ProgramPath("lum"), words, sInput);
}

// The output of a run that must succeed without a word on stderr.
inline std::string LumOutput(const std::vector<std::string>& words)
{
    const ProgramResult result = Lum(words);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    return result.sOut;
}

// A run that must end with that status, print nothing, and say that text.
inline void ExpectRefusal(const std::vector<std::string>& words, int iStatus, const std::string& sText)
{
    const ProgramResult result = Lum(words);
    EXPECT_EQ(result.iStatus, iStatus) << result.sErr;
    EXPECT_EQ(result.sOut, "");
    EXPECT_NE(result.sErr.find(sText), std::string::npos) << result.sErr;
    EXPECT_TRUE(result.sErr.starts_with("lum: ")) << result.sErr;
}

inline std::string FileText(const std::string& sPath)
{
    std::ifstream file(sPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Without their contents in the report.
inline void ExpectSameFiles(const std::string& sPath, const std::string& sExpectedPath)
{
    const std::string sText = FileText(sPath), sExpected = FileText(sExpectedPath);
    EXPECT_GT(sExpected.size(), 0u) << sExpectedPath;
    EXPECT_TRUE(sText == sExpected) << sPath << " has " << sText.size() << " bytes, " << sExpectedPath << " has " << sExpected.size();
}

inline void WriteFileText(const std::string& sPath, const std::string& sText) { std::ofstream(sPath, std::ios::binary) << sText; }

class LumProgram : public testing::Test
{
protected:
    LumProgram() : mFolder(std::filesystem::temp_directory_path() / "lumbase-lum-test")
    {
        CleanUp();
        std::filesystem::create_directories(mFolder);
    }
    ~LumProgram() override { CleanUp(); }

    static constexpr const char* kpBranch = "HKLM\\Software\\LumBaseTests\\Lum";

    std::string Key(const std::string& sBelow = {}) const { return kpBranch + (sBelow.empty() ? sBelow : "\\" + sBelow); }
    std::string File(const char* pName) const { return (mFolder / pName).string(); }

    // The files that lum was writing when something went wrong, below the folder.
    std::vector<std::string> Unfinished() const
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(mFolder))
            if (entry.path().extension() == ".part") found.push_back(entry.path().string());
        return found;
    }
    void ExpectNothingUnfinished() const { EXPECT_TRUE(Unfinished().empty()) << Unfinished().front(); }

private:
    void CleanUp()
    {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\LumBaseTests\\Lum");
        std::filesystem::remove_all(mFolder);
    }

    std::filesystem::path mFolder;
};
