// The stored login record, as the first initialisation of a process reads it.
#include "SecurityInit.h"

#include <algorithm>

using Calls = SecurityCalls;
static constexpr char kacMissing[] = "Security configuration error | Missing 'user.dat' file";

TEST_F(SecurityInit, WithoutTheFileNobodyIsConfigured)
{
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
    Install(Record()); // too late
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
    EXPECT_EQ(factory.Take(), Calls{});
    EXPECT_EQ(ImpersonateUser(), 1);
}

TEST_F(SecurityInit, WithoutARunDirectoryTheFileIsMissing)
{
    Store("Run", "RunDir", REG_DWORD, std::string(4, '\0'));
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
    Forget();
    ORegistry::SetBasePath("Software\\LumBaseTests\\Nothing\\");
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
}

TEST_F(SecurityInit, AFileThatSomebodyElseHasOpenIsMissingToo)
{
    Install(Record());
    HANDLE hFile = CreateFileA(File().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(hFile, INVALID_HANDLE_VALUE);
    EXPECT_EQ(InitLumSecurity(0), 1);
    CloseHandle(hFile);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
}

TEST_F(SecurityInit, ARecordThatSaysNoOrNeitherConfiguresNobody)
{
    std::string sNeither = Record();
    sNeither[2 * kalLoginPositions[768]] ^= 1;
    for (const std::string& sBytes : {Record(0), sNeither, std::string(), std::string(20000, '\0')})
    {
        Forget();
        Install(sBytes);
        EXPECT_EQ(InitLumSecurity(0), 1);
        EXPECT_EQ(ImpersonateUser(), 1);
        EXPECT_EQ(factory.Take(), Calls{});
    }
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
}

TEST_F(SecurityInit, WhatAShortFileLacksIsZeros)
{
    const LONG lFlag = kalLoginPositions[768];
    std::string sShort = Record();
    sShort.resize(2 * static_cast<std::size_t>(lFlag)); // all up to the flag
    Install(sShort);
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(factory.Take(), Calls{});
    Forget();
    Install(Record().substr(0, 2 * static_cast<std::size_t>(lFlag) + 2)); // and the flag
    EXPECT_EQ(InitLumSecurity(0), 1);
    std::string sExpected;
    const auto at = [&](std::size_t ulFirst, std::string_view sText)
    {
        for (std::size_t i = 0; i < sText.size() && kalLoginPositions[ulFirst + i] <= lFlag; ++i) sExpected += sText[i];
    };
    at(512, "operator");
    sExpected += " | ";
    at(0, "LAB");
    sExpected += " | ";
    at(256, "torch & lamp");
    EXPECT_EQ(factory.Take(), Calls{sExpected});
}

TEST_F(SecurityInit, OfALongFileTheFirst20000BytesCount)
{
    Install(Record() + Record(0) + std::string(1 << 20, 'x'));
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(factory.Take(), Calls{ksLogOn});
    EXPECT_TRUE(std::filesystem::remove(File())); // nobody has it open any more
}

TEST_F(SecurityInit, ThePasswordIsWipedOnceItIsNotNeededAnyMore)
{
    Install(Record());
    const auto isWiped = []
    {
        const auto* pBytes = reinterpret_cast<const char*>(&SecurityState().login);
        return std::all_of(pBytes, pBytes + offsetof(LOGINDATA, ulFlag), [](char c) { return c == 0; });
    };
    factory.hResult = E_FAIL;
    InitLumSecurityWithNoImpersonateUser();
    EXPECT_FALSE(isWiped());
    factory.hResult = S_OK;
    InitLumSecurityWithNoImpersonateUser();
    EXPECT_TRUE(isWiped());
    EXPECT_EQ(SecurityState().login.ulFlag, 1u);
}

// The program's own box is what fails here; what it throws does not reach the caller.
TEST_F(SecurityInit, AnExceptionWhileTheRecordIsReadIsToldAndConfiguresNobody)
{
    static std::vector<std::string> told;
    LumSetMessageHook([](const char* pText, const char* pCaption)
    {
        told.push_back(std::string(pCaption) + " | " + pText);
        if (told.size() == 1) throw 1;
        return IDOK;
    });
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1); // once
    EXPECT_EQ(told, (std::vector<std::string>{kacMissing, "Security configuration error | Exception"}));
    EXPECT_EQ(ImpersonateUser(), 1);
}
