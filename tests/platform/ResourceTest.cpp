// Resource libraries, as the Windows loader reads them and as we do: the same file, the same answers.
#include "Platform.h"

#include "../../resources/Messages.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace
{
namespace fs = std::filesystem;

// A library loaded for the length of a scope.
class OLoaded
{
public:
    explicit OLoaded(const char* pName) : mhModule(LoadLibraryA(pName)) {}
    ~OLoaded() { if (mhModule) FreeLibrary(mhModule); }
    OLoaded(const OLoaded&) = delete;
    OLoaded& operator=(const OLoaded&) = delete;
    operator HMODULE() const { return mhModule; }

private:
    const HMODULE mhModule;
};

std::string ReadData(HMODULE hModule, HRSRC hResource)
{
    const HGLOBAL hData = LoadResource(hModule, hResource);
    return hData ? std::string(static_cast<const char*>(LockResource(hData)), SizeofResource(hModule, hResource)) : std::string();
}

// The units of a string table's block; empty when there is no such block.
std::vector<char16_t> ReadBlock(HMODULE hModule, unsigned int ulBlock)
{
    const HRSRC hBlock = FindResourceA(hModule, MAKEINTRESOURCEA(ulBlock), RT_STRING);
    const std::string sData = hBlock ? ReadData(hModule, hBlock) : std::string();
    std::vector<char16_t> units(sData.size() / sizeof(char16_t));
    if (!units.empty()) std::memcpy(units.data(), sData.data(), units.size() * sizeof(char16_t));
    return units;
}

std::u16string ReadText(HMODULE hModule, unsigned int ulId)
{
    const std::vector<char16_t> units = ReadBlock(hModule, ulId / 16 + 1);
    std::size_t ulAt = 0;
    for (unsigned int i = 0; i < ulId % 16 && ulAt < units.size(); ++i) ulAt += 1 + units[ulAt];
    if (ulAt >= units.size() || ulAt + 1 + units[ulAt] > units.size()) return {};
    return std::u16string(units.data() + ulAt + 1, units[ulAt]);
}

std::u16string Widen(std::string_view sAscii) { return std::u16string(sAscii.begin(), sAscii.end()); }

// Runs a look-up that must fail; the code it leaves.
template <class F>
DWORD ErrorOfFailing(F lookUp)
{
    SetLastError(0xABCD);
    const bool bFound = lookUp() != nullptr;
    return bFound ? NO_ERROR : GetLastError();
}

constexpr DWORD kNoModule = ERROR_MOD_NOT_FOUND;
constexpr DWORD kNoResources = ERROR_RESOURCE_DATA_NOT_FOUND;
constexpr DWORD kNoType = ERROR_RESOURCE_TYPE_NOT_FOUND;
constexpr DWORD kNoName = ERROR_RESOURCE_NAME_NOT_FOUND;
constexpr DWORD kBadNumber = ERROR_INVALID_PARAMETER;
constexpr DWORD kBadFile = ERROR_BAD_EXE_FORMAT;
constexpr DWORD kNoAccess = ERROR_ACCESS_DENIED;

DWORD ErrorOfFinding(HMODULE hModule, LPCSTR pName, LPCSTR pType)
{
    return ErrorOfFailing([&] { return FindResourceA(hModule, pName, pType); });
}

DWORD ErrorOfLoading(const char* pName)
{
    return ErrorOfFailing([&] { return LoadLibraryA(pName); });
}

class ResourceLibrary : public testing::Test
{
protected:
    ResourceLibrary() : mWorkingFolder(fs::current_path()) {}
    ~ResourceLibrary() override
    {
        fs::current_path(mWorkingFolder);
        if (!mFolder.empty()) fs::remove_all(mFolder);
    }

    // A folder of this test's own.
    const fs::path& Folder()
    {
        if (!mFolder.empty()) return mFolder;
        static std::atomic<unsigned int> gulNext{0};
        mFolder = fs::temp_directory_path() / ("lum-resources-" + std::to_string(gulNext++));
        fs::remove_all(mFolder);
        fs::create_directories(mFolder);
        return mFolder;
    }

    static fs::path Original(const char* pName) { return fs::path(LUM_TEST_BIN) / pName; }

    const HMODULE mhNothing = nullptr;

private:
    const fs::path mWorkingFolder;
    fs::path mFolder;
};

TEST_F(ResourceLibrary, HoldsEveryMessageOfTheListAsWritten)
{
    const OLoaded library("LumRes.dll");
    ASSERT_NE(library, mhNothing);
    for (const OMessage& message : kMessages) EXPECT_EQ(ReadText(library, message.ulId), Widen(message.sText)) << message.sName;
}

TEST_F(ResourceLibrary, HoldsNoMessageThatTheListDoesNotHave)
{
    const OLoaded library("LumRes.dll");
    ASSERT_NE(library, mhNothing);
    std::size_t ulTexts = 0;
    for (unsigned int ulBlock = 1; ulBlock <= 0x1000; ++ulBlock)
    {
        const std::vector<char16_t> units = ReadBlock(library, ulBlock);
        for (std::size_t ulAt = 0; ulAt < units.size(); ulAt += 1 + units[ulAt]) ulTexts += units[ulAt] != 0;
    }
    EXPECT_EQ(ulTexts, std::size(kMessages));
}

TEST_F(ResourceLibrary, CarriesTheVersion)
{
    const OLoaded library("LumRes.dll");
    const HRSRC hVersion = FindResourceA(library, MAKEINTRESOURCEA(1), RT_VERSION);
    ASSERT_NE(hVersion, nullptr);
    EXPECT_NE(ReadData(library, hVersion).find(std::string("V\0S\0_\0V\0E\0R\0S\0I\0O\0N\0", 20)), std::string::npos);
}

TEST_F(ResourceLibrary, GivesTextsFromTheStartTheMiddleAndTheEndOfABlock)
{
    const OLoaded library("TestRes.dll");
    EXPECT_EQ(ReadText(library, 1600), u"first of its block");
    EXPECT_EQ(ReadText(library, 1607), u"\x2126 in the middle");
    EXPECT_EQ(ReadText(library, 1615), u"last of its block");
    EXPECT_EQ(ReadText(library, 1601), u"");
    EXPECT_EQ(ReadText(library, 1616), u"");
}

TEST_F(ResourceLibrary, PrefersTheNeutralLanguageThenEnglishThenTheFirst)
{
    const OLoaded library("TestRes.dll");
    EXPECT_EQ(ReadText(library, 500), u"neutral");
    EXPECT_EQ(ReadText(library, 100), u"english");
    EXPECT_EQ(ReadText(library, 300), u"german");
}

TEST_F(ResourceLibrary, FindsResourcesByNameInAnyCase)
{
    const OLoaded library("TestRes.dll");
    const HRSRC hLamp = FindResourceA(library, "cEDAR", RT_RCDATA);
    EXPECT_EQ(ReadData(library, hLamp), std::string("lamp\x01\x02", 6));
    EXPECT_EQ(FindResourceW(library, reinterpret_cast<LPCWSTR>(u"Cedar"), MAKEINTRESOURCEW(10)), hLamp);
    EXPECT_EQ(FindResourceA(library, "CEDAR", "#10"), hLamp);
    EXPECT_EQ(ReadData(library, FindResourceA(library, "Cedar", "LampTable")), std::string("\x05\0", 2));
    EXPECT_EQ(ReadData(library, FindResourceW(library, MAKEINTRESOURCEW(7), reinterpret_cast<LPCWSTR>(u"lamptable"))),
              std::string("\x06\0\x07\0", 4));
}

TEST_F(ResourceLibrary, TakesANumberSignAndDigitsForAnId)
{
    const OLoaded library("TestRes.dll");
    const HRSRC hOne = FindResourceA(library, MAKEINTRESOURCEA(8), MAKEINTRESOURCEA(300));
    EXPECT_EQ(ReadData(library, hOne), std::string("one\0", 4));
    EXPECT_EQ(FindResourceA(library, "#8", "#300"), hOne);
    EXPECT_EQ(FindResourceA(library, "#0008", "#300"), hOne);
    EXPECT_EQ(FindResourceA(library, "# 8", "#300"), hOne);
    EXPECT_EQ(FindResourceA(library, "#8x", "#300"), hOne);
    EXPECT_EQ(ErrorOfFinding(library, "#", "#300"), kNoName);
    EXPECT_EQ(ErrorOfFinding(library, "#65544", "#300"), kBadNumber);
    EXPECT_EQ(ErrorOfFinding(library, "#-8", "#300"), kBadNumber);
    EXPECT_EQ(ErrorOfFinding(library, "#99999999999999999999", "#300"), kBadNumber);
}

TEST_F(ResourceLibrary, TellsAMissingTypeFromAMissingName)
{
    const OLoaded library("TestRes.dll");
    EXPECT_EQ(ErrorOfFinding(library, "Cedar", "nothing"), kNoType);
    EXPECT_EQ(ErrorOfFinding(library, "Cedar", MAKEINTRESOURCEA(77)), kNoType);
    EXPECT_EQ(ErrorOfFinding(library, "Cedar", nullptr), kNoType);
    EXPECT_EQ(ErrorOfFinding(library, "nothing", RT_RCDATA), kNoName);
    EXPECT_EQ(ErrorOfFinding(library, "", RT_RCDATA), kNoName);
    EXPECT_EQ(ErrorOfFinding(library, "Ceda", RT_RCDATA), kNoName);
    EXPECT_EQ(ErrorOfFinding(library, nullptr, RT_RCDATA), kNoName);
    EXPECT_EQ(ErrorOfFinding(library, MAKEINTRESOURCEA(4096), RT_STRING), kNoName);
}

TEST_F(ResourceLibrary, GivesAnEmptyResourceAsFoundWithNoBytes)
{
    const OLoaded library("TestRes.dll");
    const HRSRC hEmpty = FindResourceA(library, "Empty", RT_RCDATA);
    ASSERT_NE(hEmpty, nullptr);
    EXPECT_NE(LoadResource(library, hEmpty), nullptr);
    EXPECT_EQ(SizeofResource(library, hEmpty), 0u);
}

TEST_F(ResourceLibrary, AnswersNullForANullResourceAndLeavesTheLastErrorAlone)
{
    const OLoaded library("TestRes.dll");
    SetLastError(0xABCD);
    EXPECT_EQ(LoadResource(library, nullptr), nullptr);
    EXPECT_EQ(SizeofResource(library, nullptr), 0u);
    EXPECT_EQ(LockResource(nullptr), nullptr);
    EXPECT_EQ(GetLastError(), 0xABCDu);
}

TEST_F(ResourceLibrary, IsCountedAndGivesOneValueHoweverOftenItIsLoaded)
{
    const HMODULE hFirst = LoadLibraryA("TestRes.dll");
    const HMODULE hSecond = LoadLibraryA("testres");
    ASSERT_NE(hFirst, nullptr);
    EXPECT_EQ(hFirst, hSecond);
    EXPECT_TRUE(FreeLibrary(hFirst));
    EXPECT_EQ(ReadText(hSecond, 500), u"neutral");
    EXPECT_TRUE(FreeLibrary(hSecond));

    EXPECT_EQ(ErrorOfFinding(hFirst, MAKEINTRESOURCEA(32), RT_STRING), kNoResources);
    SetLastError(0);
    EXPECT_FALSE(FreeLibrary(hFirst));
    EXPECT_EQ(GetLastError(), kNoModule);
}

TEST_F(ResourceLibrary, RefusesModulesThatDoNotExist)
{
    for (ULONG_PTR ulValue : {ULONG_PTR{0x1234560}, ULONG_PTR{0x10006}, ~ULONG_PTR{0}, ULONG_PTR{0x7F0000000000}})
    {
        const HMODULE hInvented = reinterpret_cast<HMODULE>(ulValue);
        EXPECT_EQ(ErrorOfFinding(hInvented, MAKEINTRESOURCEA(1), RT_STRING), kNoResources) << ulValue;
    }
    EXPECT_EQ(ErrorOfFinding(nullptr, MAKEINTRESOURCEA(1), RT_STRING), kNoResources);

    SetLastError(0);
    EXPECT_FALSE(FreeLibrary(nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(FreeLibrary(reinterpret_cast<HMODULE>(ULONG_PTR{0x12345670})));
    EXPECT_EQ(GetLastError(), kNoModule);
}

TEST_F(ResourceLibrary, IsFoundByPathWithEitherSlash)
{
    fs::copy_file(Original("TestRes.dll"), Folder() / "Moved.dll");
    std::string sPath = (Folder() / "Moved.dll").string();
    for (char cSlash : {'/', '\\'})
    {
        for (char& c : sPath) if (c == '/' || c == '\\') c = cSlash;
        const OLoaded library(sPath.c_str());
        EXPECT_EQ(ReadText(library, 500), u"neutral") << sPath;
    }

    fs::current_path(Folder());
    EXPECT_EQ(ReadText(OLoaded(".\\Moved.dll"), 500), u"neutral");
    EXPECT_EQ(ReadText(OLoaded("./moved.DLL"), 500), u"neutral");
}

TEST_F(ResourceLibrary, IsFoundByBareNameInTheWorkingFolderLast)
{
    fs::copy_file(Original("TestRes.dll"), Folder() / "Moved.dll");
    std::ofstream(Folder() / "TestRes.dll") << "the one beside the program comes first";
    fs::current_path(Folder());
    EXPECT_EQ(ReadText(OLoaded("Moved.dll"), 500), u"neutral");
    EXPECT_EQ(ReadText(OLoaded("MOVED"), 500), u"neutral");
    EXPECT_EQ(ReadText(OLoaded("TestRes.dll"), 500), u"neutral");
}

TEST_F(ResourceLibrary, LoadedByItsPathIsTheOneOfItsBareName)
{
    fs::copy_file(Original("TestRes.dll"), Folder() / "LumRes.dll");
    {
        const OLoaded byPath((Folder() / "LumRes.dll").string().c_str());
        const OLoaded byName("lumres");
        EXPECT_EQ(static_cast<HMODULE>(byName), static_cast<HMODULE>(byPath));
        EXPECT_EQ(ReadText(byName, 500), u"neutral");
    }
    EXPECT_EQ(ReadText(OLoaded("LumRes.dll"), 500), u"");
}

TEST_F(ResourceLibrary, ThatIsMissingIsNotFound)
{
    for (const char* pName : {"nowhere.dll", "nowhere", "", "TestRes.", "TestRes.dll\\", ".\\nowhere.dll", "no\\TestRes.dll"})
        EXPECT_EQ(ErrorOfLoading(pName), kNoModule) << '"' << pName << '"';
    EXPECT_EQ(ErrorOfLoading(nullptr), kNoModule);
}

TEST_F(ResourceLibrary, ThatIsSomethingElseIsRefused)
{
    fs::create_directory(Folder() / "folder.dll");
    std::ofstream(Folder() / "empty.dll").flush();
    std::ofstream(Folder() / "text.dll") << "A note of what the library should hold, longer than the header of a program file.";
    EXPECT_EQ(ErrorOfLoading((Folder() / "folder.dll").string().c_str()), kNoAccess);
    EXPECT_EQ(ErrorOfLoading((Folder() / "empty.dll").string().c_str()), kBadFile);
    EXPECT_EQ(ErrorOfLoading((Folder() / "text.dll").string().c_str()), kBadFile);
}

TEST_F(ResourceLibrary, IsLoadedReadAndFreedByManyThreadsAtOnce)
{
    std::atomic<unsigned int> ulWrong{0};
    const auto work = [&]
    {
        for (int i = 0; i < 300; ++i)
        {
            const OLoaded library("TestRes.dll");
            ulWrong += ReadText(library, 500) != u"neutral";
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(ulWrong, 0u);
}
} // namespace
