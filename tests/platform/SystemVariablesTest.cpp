// What environment variables change on Linux; Windows has a version, and a debugger, of its own.
#include "FileHandle.h"
#include "Program.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

static OSVERSIONINFOA Version()
{
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExA(&version);
    return version;
}

TEST(SystemVariables, TheVersionCanBeAnother)
{
    SetForPrograms("LUMBASE_OSVERSION", "4.10.2222.1");
    const OSVERSIONINFOA version = Version();
    SetForPrograms("LUMBASE_OSVERSION", "");
    EXPECT_EQ(version.dwMajorVersion, 4u);
    EXPECT_EQ(version.dwMinorVersion, 10u);
    EXPECT_EQ(version.dwBuildNumber, 2222u);
    EXPECT_EQ(version.dwPlatformId, DWORD(VER_PLATFORM_WIN32_WINDOWS));
}

TEST(SystemVariables, AVersionThatIsNoneIsNotTaken)
{
    const DWORD ulMajor = Version().dwMajorVersion;
    for (const char* pVersion : {"4.10", "new", "4.10.x.1", ""})
    {
        SetForPrograms("LUMBASE_OSVERSION", pVersion);
        EXPECT_EQ(Version().dwMajorVersion, ulMajor) << pVersion;
        EXPECT_EQ(Version().dwPlatformId, DWORD(VER_PLATFORM_WIN32_NT)) << pVersion;
    }
    SetForPrograms("LUMBASE_OSVERSION", "");
}

TEST(SystemVariables, DebugOutputGoesWhereItIsSent)
{
    TempFolder folder;
    OutputDebugStringA("to nobody\n");
    SetForPrograms("LUMBASE_DEBUG_OUTPUT", ("file:" + folder / "out").c_str());
    OutputDebugStringA("one\n");
    OutputDebugStringA("two\n");
    OutputDebugStringA(nullptr);
    SetForPrograms("LUMBASE_DEBUG_OUTPUT", "stderr");
    testing::internal::CaptureStderr();
    OutputDebugStringA("three\n");
    const std::string sErr = testing::internal::GetCapturedStderr();
    SetForPrograms("LUMBASE_DEBUG_OUTPUT", "");
    OutputDebugStringA("to nobody\n");
    EXPECT_EQ(ReadText(folder / "out"), "one\ntwo\n");
    EXPECT_EQ(sErr, "three\n");
}

TEST(SystemVariables, DebugOutputThatCannotBeWrittenIsLostQuietly)
{
    SetForPrograms("LUMBASE_DEBUG_OUTPUT", "file:/nowhere/at/all");
    SetLastError(ERROR_CRC);
    OutputDebugStringA("lost\n");
    EXPECT_EQ(GetLastError(), DWORD(ERROR_CRC));
    SetForPrograms("LUMBASE_DEBUG_OUTPUT", "");
}
