// Our reader of program files, on whole and on damaged ones. Linux only: Windows reads them with a loader of its own.
#include "Platform.h"

#include "linux/kernel/PeImage.h"

#include "../../resources/Messages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace
{
namespace fs = std::filesystem;
using lum::PeFault;
using lum::PeImage;
using lum::PeName;
using Bytes = std::vector<BYTE>;

constexpr WORD kuwStringTable = 6;

Bytes ReadFile(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

const Bytes& MessageLibrary()
{
    static const Bytes bytes = ReadFile(fs::path(LUM_TEST_BIN) / "LumRes.dll");
    return bytes;
}

ULONG U32(const Bytes& bytes, std::size_t ulAt)
{
    ULONG ulValue = 0;
    std::memcpy(&ulValue, bytes.data() + ulAt, sizeof ulValue);
    return ulValue;
}

WORD U16(const Bytes& bytes, std::size_t ulAt) { return static_cast<WORD>(U32(bytes, ulAt) & 0xFFFF); }

void Put(Bytes& bytes, std::size_t ulAt, ULONG ulValue) { std::memcpy(bytes.data() + ulAt, &ulValue, sizeof ulValue); }

// Where things lie in a library that we built: one section, and in it nothing but resources.
struct OLayout
{
    std::size_t ulHeader;   // "PE", two zeros
    std::size_t ulDataDirectories;
    std::size_t ulSection;  // its row in the section table
    std::size_t ulTree;     // the root of the resource tree
    std::size_t ulTreeEnd;  // where the first resource's data starts

    explicit OLayout(const Bytes& bytes)
        : ulHeader(U32(bytes, 0x3C)), ulDataDirectories(ulHeader + 0x18 + (U16(bytes, ulHeader + 0x18) == 0x10B ? 0x60 : 0x70)),
          ulSection(ulHeader + 0x18 + U16(bytes, ulHeader + 0x14)), ulTree(U32(bytes, ulSection + 0x14)), ulTreeEnd(bytes.size())
    {
        const PeImage image = Opened(bytes);
        const ULONG ulRva = U32(bytes, ulSection + 0x0C);
        for (const OMessage& message : kMessages)
        {
            std::size_t ulEntry = 0;
            if (image.Find({kuwStringTable}, {static_cast<WORD>(message.ulId / 16 + 1)}, ulEntry) != PeFault::None) continue;
            ulTreeEnd = std::min<std::size_t>(ulTreeEnd, U32(bytes, ulEntry) - ulRva + ulTree);
        }
    }

    static PeImage Opened(const Bytes& bytes)
    {
        PeImage image;
        EXPECT_EQ(image.Open(bytes), PeFault::None);
        return image;
    }
};

bool IsInside(std::span<const BYTE> data, const Bytes& bytes)
{
    const auto ulStart = reinterpret_cast<ULONG_PTR>(data.data()) - reinterpret_cast<ULONG_PTR>(bytes.data());
    return ulStart <= bytes.size() && data.size() <= bytes.size() - ulStart;
}

// What became of a message in a file that may be damaged.
enum class Outcome { Correct, Fault, Wrong, Outside };

Outcome ReadMessage(const PeImage& image, const Bytes& bytes, const OMessage& message)
{
    std::size_t ulEntry = 0;
    std::span<const BYTE> data;
    if (image.Find({kuwStringTable}, {static_cast<WORD>(message.ulId / 16 + 1)}, ulEntry) != PeFault::None) return Outcome::Fault;
    if (image.Data(ulEntry, data) != PeFault::None) return Outcome::Fault;
    if (!IsInside(data, bytes)) return Outcome::Outside;

    std::vector<char16_t> units(data.size() / sizeof(char16_t));
    if (!units.empty()) std::memcpy(units.data(), data.data(), units.size() * sizeof(char16_t));
    std::size_t ulAt = 0;
    for (unsigned int i = 0; i < message.ulId % 16 && ulAt < units.size(); ++i) ulAt += 1 + units[ulAt];
    if (ulAt >= units.size() || ulAt + 1 + units[ulAt] > units.size()) return Outcome::Fault;
    const std::u16string sText(units.data() + ulAt + 1, units[ulAt]);
    return sText == std::u16string(message.sText.begin(), message.sText.end()) ? Outcome::Correct : Outcome::Wrong;
}

// Reads every message of a damaged copy, whose bytes end where the memory does. Counts the outcomes.
struct OTally
{
    std::size_t aulCount[4] = {};
    bool bOpened = false;

    explicit OTally(const Bytes& bytes)
    {
        PeImage image;
        bOpened = image.Open(bytes) == PeFault::None;
        for (const OMessage& message : kMessages) ++aulCount[static_cast<int>(ReadMessage(image, bytes, message))];
    }
    std::size_t operator[](Outcome eOutcome) const { return aulCount[static_cast<int>(eOutcome)]; }
};

TEST(PeImage, ReadsEveryMessageOfTheWholeFile)
{
    const OTally tally(MessageLibrary());
    EXPECT_TRUE(tally.bOpened);
    EXPECT_EQ(tally[Outcome::Correct], std::size(kMessages));
}

TEST(PeImage, Reads32BitAnd64BitFilesAlike)
{
    const Bytes wide = ReadFile(fs::path(LUM_TEST_BIN) / "TestRes.dll");
    const Bytes narrow = ReadFile(fs::path(LUM_TEST_BIN) / "TestRes32.dll");
    ASSERT_EQ(U16(wide, OLayout(wide).ulHeader + 0x18), 0x20B);
    ASSERT_EQ(U16(narrow, OLayout(narrow).ulHeader + 0x18), 0x10B);

    for (WORD uwBlock : {7, 19, 32, 101})
    {
        std::span<const BYTE> wideData, narrowData;
        std::size_t ulWide = 0, ulNarrow = 0;
        const PeImage wideImage = OLayout::Opened(wide), narrowImage = OLayout::Opened(narrow);
        ASSERT_EQ(wideImage.Find({kuwStringTable}, {uwBlock}, ulWide), PeFault::None);
        ASSERT_EQ(narrowImage.Find({kuwStringTable}, {uwBlock}, ulNarrow), PeFault::None);
        ASSERT_EQ(wideImage.Data(ulWide, wideData), PeFault::None);
        ASSERT_EQ(narrowImage.Data(ulNarrow, narrowData), PeFault::None);
        EXPECT_TRUE(std::ranges::equal(wideData, narrowData)) << uwBlock;
    }
}

TEST(PeImage, RefusesAFileCutOffAtAnyLength)
{
    const Bytes& whole = MessageLibrary();
    for (std::size_t ulLength = 0; ulLength < whole.size(); ++ulLength)
    {
        PeImage image;
        const Bytes prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(ulLength)); // ends where its memory ends
        ASSERT_EQ(image.Open(prefix), PeFault::BadImage) << ulLength;
        std::size_t ulEntry = 0;
        ASSERT_EQ(image.Find({kuwStringTable}, {1}, ulEntry), PeFault::NoResources) << ulLength;
    }
}

// Every aligned field of headers and tree, overwritten in turn with values that point nowhere, or back at the field itself.
void DamageFields(std::size_t ulFrom, std::size_t ulTo)
{
    const Bytes& whole = MessageLibrary();
    const OLayout layout(whole);
    Bytes damaged = whole;
    for (std::size_t ulAt = ulFrom; ulAt + 4 <= ulTo; ulAt += 4)
    {
        const ULONG ulSelf = static_cast<ULONG>(ulAt);
        const ULONG ulSelfInTree = static_cast<ULONG>(ulAt - layout.ulTree);
        const ULONG ulNearInTree = ulSelfInTree & ~15u; // the start of the record that the field is in, as records lie
        for (ULONG ulValue : {0u, 0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, ulSelf, ulSelf | 0x80000000u, ulSelfInTree,
                              ulSelfInTree | 0x80000000u, ulNearInTree, ulNearInTree | 0x80000000u})
        {
            Put(damaged, ulAt, ulValue);
            const OTally tally(damaged);
            ASSERT_EQ(tally[Outcome::Outside], 0u) << std::hex << ulAt << " = " << ulValue;
            // One field spoils one block of 16 texts at most, or else the way to all of them.
            ASSERT_LE(tally[Outcome::Wrong], 16u) << std::hex << ulAt << " = " << ulValue;
        }
        Put(damaged, ulAt, U32(whole, ulAt));
    }
}

TEST(PeImage, StaysInsideTheFileWhateverStandsInTheHeaders)
{
    DamageFields(0, OLayout(MessageLibrary()).ulTree);
}

TEST(PeImage, StaysInsideTheFileWhateverStandsInTheResourceTree)
{
    const OLayout layout(MessageLibrary());
    ASSERT_LT(layout.ulTree + 100, layout.ulTreeEnd);
    ASSERT_LT(layout.ulTreeEnd, MessageLibrary().size());
    DamageFields(layout.ulTree, layout.ulTreeEnd);
}

// A field of the message library, a value for it, and what every look-up then gives.
struct ODamage
{
    const char* pWhat;
    std::size_t OLayout::*pBase;
    std::size_t ulOffset;
    ULONG ulValue;
    PeFault eOpen;
    PeFault eFind;
};

constexpr ODamage kDamages[] = {
    {"no PE signature", &OLayout::ulHeader, 0x00, 0x00005050, PeFault::BadImage, PeFault::NoResources},
    {"65535 sections", &OLayout::ulHeader, 0x04, 0xFFFF8664, PeFault::BadImage, PeFault::NoResources},
    {"no section", &OLayout::ulHeader, 0x04, 0x00008664, PeFault::BadImage, PeFault::NoResources},
    {"an optional header without size", &OLayout::ulHeader, 0x14, 0x222E0000, PeFault::BadImage, PeFault::NoResources},
    {"an optional header of 65535 bytes", &OLayout::ulHeader, 0x14, 0x222EFFFF, PeFault::BadImage, PeFault::NoResources},
    {"not an executable", &OLayout::ulHeader, 0x14, 0x222C00F0, PeFault::BadImage, PeFault::NoResources},
    {"an unknown kind of program", &OLayout::ulHeader, 0x18, 0x28020107, PeFault::BadImage, PeFault::NoResources},
    {"two data directories", &OLayout::ulDataDirectories, std::size_t(-4), 2, PeFault::None, PeFault::NoResources},
    {"resources nowhere", &OLayout::ulDataDirectories, 16, 0, PeFault::None, PeFault::NoResources},
    {"resources of no size", &OLayout::ulDataDirectories, 20, 0, PeFault::None, PeFault::NoResources},
    {"resources at the end of memory", &OLayout::ulDataDirectories, 16, 0xFFFFFFF0, PeFault::BadImage, PeFault::NoResources},
    {"resources larger than their section", &OLayout::ulDataDirectories, 20, 0x00100000, PeFault::BadImage, PeFault::NoResources},
    {"resources cut off in the root", &OLayout::ulDataDirectories, 20, 15, PeFault::None, PeFault::BadImage},
    {"a section beyond the end of the file", &OLayout::ulSection, 0x14, 0x00100000, PeFault::BadImage, PeFault::NoResources},
    {"a section that wraps round", &OLayout::ulSection, 0x10, 0xFFFFFFFF, PeFault::BadImage, PeFault::NoResources},
    {"a section elsewhere in memory", &OLayout::ulSection, 0x0C, 0x00100000, PeFault::BadImage, PeFault::NoResources},
    {"65535 named types", &OLayout::ulTree, 0x0C, 0x0002FFFF, PeFault::None, PeFault::BadImage},
    {"65535 types", &OLayout::ulTree, 0x0C, 0xFFFF0000, PeFault::None, PeFault::BadImage},
    {"no types", &OLayout::ulTree, 0x0C, 0x00000000, PeFault::None, PeFault::NoType},
    {"another type", &OLayout::ulTree, 0x10, 5, PeFault::None, PeFault::NoType},
    {"a type that is data", &OLayout::ulTree, 0x14, 0x20, PeFault::None, PeFault::BadImage},
    {"a type beyond the tree", &OLayout::ulTree, 0x14, 0x80100000, PeFault::None, PeFault::BadImage},
    {"a type that leads to the root", &OLayout::ulTree, 0x14, 0x80000000, PeFault::None, PeFault::NoName},
};

TEST(PeImage, SaysWhatIsWrongWithADamagedFile)
{
    const OLayout layout(MessageLibrary());
    for (const ODamage& damage : kDamages)
    {
        Bytes damaged = MessageLibrary();
        Put(damaged, layout.*damage.pBase + damage.ulOffset, damage.ulValue);
        PeImage image;
        EXPECT_EQ(image.Open(damaged), damage.eOpen) << damage.pWhat;
        std::size_t ulEntry = 0;
        EXPECT_EQ(image.Find({kuwStringTable}, {19004 / 16 + 1}, ulEntry), damage.eFind) << damage.pWhat;
    }
}

TEST(PeImage, DoesNotGoRoundInATreeThatLeadsBackToItself)
{
    // Each level's first entry made to carry the id that is looked for, and to lead back to the root.
    Bytes damaged = MessageLibrary();
    const OLayout layout(damaged);
    Put(damaged, layout.ulTree + 0x14, 0x80000000);
    const PeImage image = OLayout::Opened(damaged);
    std::size_t ulEntry = 0;
    EXPECT_EQ(image.Find({kuwStringTable}, {kuwStringTable}, ulEntry), PeFault::BadImage); // root, root, root: no data there
}

TEST(PeImage, RefusesNamesThatLieOutsideTheTree)
{
    const Bytes whole = ReadFile(fs::path(LUM_TEST_BIN) / "TestRes.dll");
    const OLayout layout(whole);
    const std::u16string sType = u"LAMPTABLE";
    const PeName type{0, reinterpret_cast<const WCHAR*>(sType.data()), sType.size()};
    std::size_t ulEntry = 0;
    ASSERT_EQ(OLayout::Opened(whole).Find(type, {7}, ulEntry), PeFault::None);

    ASSERT_TRUE(U32(whole, layout.ulTree + 0x10) & 0x80000000); // the first type is the one with a name
    const std::size_t ulName = layout.ulTree + (U32(whole, layout.ulTree + 0x10) & 0x7FFFFFFF);
    Bytes damaged = whole;
    Put(damaged, layout.ulTree + 0x10, 0xFFFFFFFF);
    EXPECT_EQ(OLayout::Opened(damaged).Find(type, {7}, ulEntry), PeFault::BadImage);
    damaged = whole;
    Put(damaged, ulName, 0x004CFFFF); // a length of 65535
    EXPECT_EQ(OLayout::Opened(damaged).Find(type, {7}, ulEntry), PeFault::BadImage);
    EXPECT_EQ(OLayout::Opened(damaged).Find({kuwStringTable}, {7}, ulEntry), PeFault::None); // who asks by id does not meet it
}

TEST(PeImage, RefusesDataThatLiesOutsideTheFile)
{
    const Bytes& whole = MessageLibrary();
    std::size_t ulEntry = 0;
    ASSERT_EQ(OLayout::Opened(whole).Find({kuwStringTable}, {19004 / 16 + 1}, ulEntry), PeFault::None);

    std::span<const BYTE> data;
    using Field = std::pair<std::size_t, ULONG>;
    for (const auto& [ulField, ulValue] : {Field{0, 0}, {0, 0xFFFFFFFF}, {0, 0x00100000}, {4, 0xFFFFFFFF}, {4, 0x00010000}})
    {
        Bytes damaged = whole;
        Put(damaged, ulEntry + ulField, ulValue);
        const PeImage image = OLayout::Opened(damaged);
        EXPECT_EQ(image.Data(ulEntry, data), PeFault::BadImage) << ulField << " = " << ulValue;
    }

    const PeImage image = OLayout::Opened(whole);
    for (std::size_t ulPlace : {whole.size() - 15, whole.size(), whole.size() + 1, ~std::size_t{0}, ~std::size_t{0} - 15})
        EXPECT_EQ(image.Data(ulPlace, data), PeFault::BadImage) << ulPlace;
}

// Those that once led the reader out of them; tests/data/pe/README.md says how.
TEST(PeImage, StaysInsideTheFilesThatFuzzingFound)
{
    std::size_t ulFiles = 0;
    for (const fs::directory_entry& file : fs::directory_iterator(fs::path(LUM_TEST_DATA) / "pe"))
    {
        if (file.path().extension() != ".dll") continue;
        ++ulFiles;
        const Bytes bytes = ReadFile(file);
        PeImage image;
        image.Open(bytes);
        for (std::size_t ulPlace = 0; ulPlace <= bytes.size(); ++ulPlace)
        {
            std::span<const BYTE> data;
            if (image.Data(ulPlace, data) != PeFault::None) continue;
            EXPECT_TRUE(IsInside(data, bytes)) << file.path() << " at " << ulPlace;
        }
    }
    EXPECT_GE(ulFiles, 1u);
}

TEST(PeImage, TellsWhenAResourceHasNoLanguage)
{
    Bytes damaged = MessageLibrary();
    const OLayout layout(damaged);
    const std::size_t ulNames = layout.ulTree + (U32(damaged, layout.ulTree + 0x14) & 0x7FFFFFFF);
    const std::size_t ulLanguages = layout.ulTree + (U32(damaged, ulNames + 0x14) & 0x7FFFFFFF);
    const WORD uwName = U16(damaged, ulNames + 0x10);
    Put(damaged, ulLanguages + 0x0C, 0);
    std::size_t ulEntry = 0;
    EXPECT_EQ(OLayout::Opened(damaged).Find({kuwStringTable}, {uwName}, ulEntry), PeFault::NoLanguage);
}

// The calls above the reader ----------------------------------------------------------------------------------------------

class ResourceFile : public testing::Test
{
protected:
    ResourceFile() : mPath(fs::temp_directory_path() / ("lum-pe-" + std::to_string(getpid()) + ".dll")) {}
    ~ResourceFile() override { fs::remove(mPath); }

    void Write(const Bytes& bytes) const
    {
        std::ofstream file(mPath, std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    HMODULE Load() const { return LoadLibraryA(mPath.c_str()); }

    const fs::path mPath;
};

TEST_F(ResourceFile, ThatIsCutOffIsNotAProgramFile)
{
    Bytes bytes = MessageLibrary();
    for (std::size_t ulLength : {bytes.size() - 1, bytes.size() / 2, std::size_t{512}, std::size_t{63}, std::size_t{1}})
    {
        bytes.resize(ulLength);
        Write(bytes);
        SetLastError(0);
        EXPECT_EQ(Load(), nullptr) << ulLength;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_EXE_FORMAT}) << ulLength;
    }
}

TEST_F(ResourceFile, WithADamagedTreeLoadsAndFindsNothing)
{
    Bytes bytes = MessageLibrary();
    Put(bytes, OLayout(bytes).ulTree + 0x14, 0x80100000);
    Write(bytes);
    const HMODULE hModule = Load();
    ASSERT_NE(hModule, nullptr);
    EXPECT_EQ(FindResourceA(hModule, MAKEINTRESOURCEA(1188), RT_STRING), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_EXE_FORMAT});
    EXPECT_TRUE(FreeLibrary(hModule));
}

TEST_F(ResourceFile, ThatIsCutOffWhileLoadedKeepsItsTexts)
{
    Write(MessageLibrary());
    const HMODULE hModule = Load();
    ASSERT_NE(hModule, nullptr);
    const HRSRC hBlock = FindResourceA(hModule, MAKEINTRESOURCEA(19004 / 16 + 1), RT_STRING);
    fs::resize_file(mPath, 0);
    ASSERT_NE(hBlock, nullptr);
    const HGLOBAL hData = LoadResource(hModule, hBlock);
    ASSERT_NE(hData, nullptr);
    const std::string sData(static_cast<const char*>(LockResource(hData)), SizeofResource(hModule, hBlock));
    EXPECT_NE(sData.find(std::string("k\0e\0y\0", 6)), std::string::npos);
    EXPECT_TRUE(FreeLibrary(hModule));
}

TEST_F(ResourceFile, ThatChangesIsReadAgain)
{
    Write(MessageLibrary());
    const HMODULE hOld = Load();
    fs::remove(mPath);
    Write(ReadFile(fs::path(LUM_TEST_BIN) / "TestRes.dll"));
    const HMODULE hNew = Load();
    EXPECT_NE(hOld, hNew);
    EXPECT_EQ(FindResourceA(hOld, "Cedar", RT_RCDATA), nullptr);
    EXPECT_NE(FindResourceA(hNew, "Cedar", RT_RCDATA), nullptr);
    EXPECT_TRUE(FreeLibrary(hOld));
    EXPECT_TRUE(FreeLibrary(hNew));
}

TEST_F(ResourceFile, WithResourcesThatAreNotItsOwnGivesNoData)
{
    Write(MessageLibrary());
    const HMODULE hModule = Load();
    ASSERT_NE(hModule, nullptr);
    const Bytes elsewhere(64);
    const ULONG_PTR aulInvented[] = {reinterpret_cast<ULONG_PTR>(elsewhere.data()), reinterpret_cast<ULONG_PTR>(&hModule), 8};
    for (ULONG_PTR ulInvented : aulInvented)
    {
        const HRSRC hInvented = reinterpret_cast<HRSRC>(ulInvented);
        SetLastError(0);
        EXPECT_EQ(LoadResource(hModule, hInvented), nullptr);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_EXE_FORMAT});
        EXPECT_EQ(SizeofResource(hModule, hInvented), 0u);
    }
    EXPECT_TRUE(FreeLibrary(hModule));
}

TEST_F(ResourceFile, ThatIsAPipeIsRefusedWithoutWaiting)
{
    ASSERT_EQ(mkfifo(mPath.c_str(), 0600), 0);
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_EXE_FORMAT});
}

TEST_F(ResourceFile, ThatIsHugeIsRefusedWithoutReadingIt)
{
    Write(MessageLibrary());
    fs::resize_file(mPath, std::uintmax_t{1} << 40);
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
}

TEST_F(ResourceFile, ThatMayNotBeReadIsRefused)
{
    Write(MessageLibrary());
    ASSERT_EQ(chmod(mPath.c_str(), 0), 0);
    const uid_t uidOwn = geteuid();
    const uid_t uidTest = uidOwn == 0 ? 65534 : uidOwn; // root may read everything
    SetLastError(0);
    ASSERT_EQ(seteuid(uidTest), 0);
    const HMODULE hModule = Load();
    const DWORD ulError = GetLastError();
    ASSERT_EQ(seteuid(uidOwn), 0);
    EXPECT_EQ(hModule, nullptr);
    EXPECT_EQ(ulError, DWORD{ERROR_ACCESS_DENIED});
}
} // namespace
