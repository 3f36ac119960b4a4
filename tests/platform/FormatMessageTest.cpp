// The system's message formatter.
#include "FileHandle.h"
#include "WideText.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <vector>

static std::string Outcome(DWORD ulLength, const char* pText)
{
    return ulLength ? std::string(pText, ulLength) : "(error " + std::to_string(GetLastError()) + ")";
}

static DWORD Call(DWORD ulFlags, const void* pSource, char* pTo, DWORD ulRoom, va_list* pArguments)
{
    SetLastError(NO_ERROR);
    return FormatMessageA(ulFlags | FORMAT_MESSAGE_FROM_STRING, pSource, 0, 0, pTo, ulRoom, pArguments);
}

// The message, or "(error N)".
static std::string Format(DWORD ulFlags, const char* pFormat, ...)
{
    char acText[800];
    va_list args;
    va_start(args, pFormat);
    const std::string sText = Outcome(Call(ulFlags, pFormat, acText, sizeof acText, &args), acText);
    va_end(args);
    return sText;
}

static std::u16string FormatWide(const char16_t* pFormat, ...)
{
    WCHAR auwText[800];
    va_list args;
    va_start(args, pFormat);
    const DWORD ulLength = FormatMessageW(FORMAT_MESSAGE_FROM_STRING, W(pFormat), 0, 0, auwText, 800, &args);
    va_end(args);
    return Units(auwText, ulLength);
}

static std::string FormatArray(const char* pFormat, std::vector<ULONG_PTR> arguments)
{
    char acText[800];
    const DWORD ulLength = Call(FORMAT_MESSAGE_ARGUMENT_ARRAY, pFormat, acText, sizeof acText, reinterpret_cast<va_list*>(arguments.data()));
    return Outcome(ulLength, acText);
}

static std::string Plain(DWORD ulFlags, const char* pFormat)
{
    char acText[800];
    return Outcome(Call(ulFlags, pFormat, acText, sizeof acText, nullptr), acText);
}

static ULONG_PTR Argument(const char* pText) { return reinterpret_cast<ULONG_PTR>(pText); }

static std::string SystemMessage(DWORD ulCode, DWORD ulLanguage = 0, DWORD ulFlags = FORMAT_MESSAGE_IGNORE_INSERTS)
{
    char acText[800];
    SetLastError(NO_ERROR);
    return Outcome(FormatMessageA(ulFlags | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, ulCode, ulLanguage, acText, sizeof acText, nullptr), acText);
}

TEST(FormatMessage, InsertsAreNumbered)
{
    EXPECT_EQ(Format(0, "%1 and %2", "one", "two"), "one and two");
    EXPECT_EQ(Format(0, "%2%1%2", "one", "two"), "twoonetwo");
    EXPECT_EQ(Format(0, "%10-%1x", "1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"), "ten-1x");
    EXPECT_EQ(Format(0, "%1", nullptr), "(null)");
}

TEST(FormatMessage, InsertsCarryAPrintfFormat)
{
    EXPECT_EQ(Format(0, "a%1!s!b%2!d!", "x", -5), "axb-5");
    EXPECT_EQ(Format(0, "%1!u! %2!x! %3!X! %4!o! %5!i!", -1, 255, 255, 8, -3), "4294967295 ff FF 10 -3");
    EXPECT_EQ(Format(0, "%1!5d!|%2!-5d!|%3!05d!|%4!+d!|%5!#x!", 1, 2, 3, 4, 255), "    1|2    |00003|+4|0xff");
    EXPECT_EQ(Format(0, "%1!I64d! %2!ld! %3!hd!", LONGLONG(1) << 40, -1, 70000), "1099511627776 -1 4464");
    EXPECT_EQ(Format(0, "%1!5s!|%2!-5s!|%3!.1s!|%4!c!", "ab", "ab", "ab", 'x'), "   ab|ab   |a|x");
    EXPECT_EQ(Format(0, "%1!S! %2!ls! %3!hs!", W(u"x"), W(u"y"), "z"), "x y z");
    EXPECT_EQ(FormatWide(u"%1 %2!S! %3!hs! %4!ls! %5!d!", W(u"v"), "w", "x", W(u"y"), 5), u"v w x y 5");
}

TEST(FormatMessage, StarsInAnArrayTakeTheNextArguments)
{
    EXPECT_EQ(FormatArray("%1!*.*s! %4 %5!*s!|", {4, 2, Argument("Bill"), Argument("Bob"), 6, Argument("Jill")}), "  Bi Bob   Jill|");
    EXPECT_EQ(FormatArray("%3 %4", {4, 2, Argument("Bill"), Argument("Bob")}), "Bill Bob");
    EXPECT_EQ(FormatArray("%2!d!%2!d!%1!d!", {4, 2}), "224");
}

TEST(FormatMessage, TheFirstStarInAListHasNoNumber)
{
    EXPECT_EQ(Format(0, "%1!*.*s! %3 %4!*s!|", 4, 2, "Bill", "Bob", 6, "Jill"), "  Bi Bob   Jill|");
    EXPECT_EQ(Format(0, "%1!*s!|%2", 5, "ab", "cd"), "   ab|cd");
    EXPECT_EQ(Format(0, "%1!.*s!|%2", 1, "ab", "cd"), "a|cd");
    EXPECT_EQ(Format(0, "%1 %2!*s!|", "a", 5, "b"), "a     b|");
    EXPECT_EQ(Format(0, "%1!*d! %2!d! %3!d!", 5, 1, 2, 3), "    1 2 3");
}

TEST(FormatMessage, OtherCharactersBehindThePercentSignStandForThemselves)
{
    EXPECT_EQ(Format(0, "%%|%.|%!|% |%x|%\\|", ""), "%|.|!| |x|\\|");
    EXPECT_EQ(Format(0, "a%nb%rc%td", ""), "a\r\nb\rc\td");
    EXPECT_EQ(Format(0, "a%0b", ""), "a");
}

TEST(FormatMessage, LineBreaksBecomeThoseOfTheSystem)
{
    EXPECT_EQ(Plain(0, "a\nb\r\nc\rd\n\re"), "a\r\nb\r\nc\r\nd\r\n\r\ne");
    EXPECT_EQ(Plain(FORMAT_MESSAGE_MAX_WIDTH_MASK, "a\nb\r\nc\rd%ne\n"), "a b c d\r\ne ");
}

TEST(FormatMessage, InsertsCanBeLeftAlone)
{
    EXPECT_EQ(Plain(FORMAT_MESSAGE_IGNORE_INSERTS, "%1 %2!d! %% %. %n%t%x"), "%1 %2!d! %% %. \r\n\t%x");
    EXPECT_EQ(Plain(FORMAT_MESSAGE_IGNORE_INSERTS, "a%0b"), "a");
}

TEST(FormatMessage, LinesOfAWidthAreBrokenAtBlanks)
{
    EXPECT_EQ(Format(20, "The quick brown fox jumps over the lazy dog", ""), "The quick brown fox\r\njumps over the lazy\r\ndog");
    EXPECT_EQ(Format(5, "ab cd  ef gh", ""), "ab\r\ncd\r\nef\r\ngh");
    EXPECT_EQ(Format(4, "ab  cd   ef", ""), "ab\r\ncd\r\n ef");
    EXPECT_EQ(Format(3, "abcdefgh i", ""), "abc\r\ndef\r\ngh\r\ni");
    EXPECT_EQ(Format(4, "a\nb\nc d%nef", ""), "a b\r\nc d\r\nef");
    EXPECT_EQ(Format(8, "ab%tcd", ""), "ab\r\ncd");
}

TEST(FormatMessage, InsertsAreNotBroken)
{
    EXPECT_EQ(Format(4, "aa %1 bb", "x y z"), "aa\r\nx y z\r\nbb");
    EXPECT_EQ(Format(9, "aa %1 bb", "x y z"), "aa x y z\r\nbb");
    EXPECT_EQ(Format(3, "aa %1 bb", "x y z"), "aa\r\nx y z\r\n\r\nbb");
}

TEST(FormatMessage, BadFormatsAreRefused)
{
    EXPECT_EQ(Format(0, "abc%", "x"), "(error 87)");
    EXPECT_EQ(Format(0, "%1!", "x"), "(error 87)");
    EXPECT_EQ(Format(0, "%1!s", "x"), "(error 87)");
    EXPECT_EQ(Plain(0, "%1"), "(error 87)") << "an insert needs arguments";
    EXPECT_EQ(Plain(FORMAT_MESSAGE_IGNORE_INSERTS, "abc%"), "(error 87)");
}

TEST(FormatMessage, AnEmptyMessageIsAnError)
{
    EXPECT_EQ(Plain(0, ""), "(error 235)");
    EXPECT_EQ(Plain(0, "%0abc"), "(error 235)");
    EXPECT_EQ(Format(0, "%1", ""), "(error 235)");
}

TEST(FormatMessage, NeedsASource)
{
    char acText[20];
    EXPECT_EQ(ErrorOf(FormatMessageA(0, "x", 5, 0, acText, 20, nullptr)), DWORD(ERROR_INVALID_PARAMETER));
    // A module without messages; the system is asked when it may be.
    EXPECT_EQ(ErrorOf(FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE, nullptr, 5, 0, acText, 20, nullptr)), DWORD(ERROR_RESOURCE_DATA_NOT_FOUND));
    EXPECT_EQ(SystemMessage(5, 0, FORMAT_MESSAGE_FROM_HMODULE), SystemMessage(5));
}

TEST(FormatMessage, TooLittleRoomIsAnError)
{
    char acText[8] = "-------";
    for (DWORD ulRoom : {0, 1, 4})
        EXPECT_EQ(ErrorOf(FormatMessageA(FORMAT_MESSAGE_FROM_STRING, "a%%cd", 0, 0, acText, ulRoom, nullptr)), DWORD(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_FROM_STRING, "a%%cd", 0, 0, acText, 5, nullptr), 4u);
    EXPECT_EQ(std::string(acText, 7), std::string("a%cd\0--", 7));
}

TEST(FormatMessage, GivesMemoryOfItsOwnWhenAsked)
{
    char* pText = nullptr;
    const DWORD ulFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING;
    ASSERT_EQ(FormatMessageA(ulFlags, "hello", 0, 0, reinterpret_cast<LPSTR>(&pText), 100, nullptr), 5u);
    EXPECT_STREQ(pText, "hello");
    std::fill(pText, pText + 100, 'x'); // there is as much of it as was asked for
    EXPECT_EQ(LocalFree(pText), nullptr);

    WCHAR* pWide = nullptr;
    ASSERT_EQ(FormatMessageW(ulFlags, W(u"hello"), 0, 0, reinterpret_cast<LPWSTR>(&pWide), 0, nullptr), 5u);
    EXPECT_EQ(Units(pWide, 6), std::u16string(u"hello\0", 6));
    EXPECT_EQ(LocalFree(pWide), nullptr);
}

TEST(FormatMessage, GivesNoMemoryWhenItFails)
{
    for (const char* pFormat : {"%1!", "", "abc%"})
    {
        char* pText = const_cast<char*>(pFormat);
        EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING, pFormat, 0, 0, reinterpret_cast<LPSTR>(&pText), 0,
                                 nullptr), 0u);
        EXPECT_EQ(pText, nullptr);
    }
    char* pText = nullptr;
    const DWORD ulFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM;
    EXPECT_EQ(ErrorOf(FormatMessageA(ulFlags, nullptr, 123456, 0, reinterpret_cast<LPSTR>(&pText), 2, nullptr)), DWORD(ERROR_MR_MID_NOT_FOUND));
    EXPECT_EQ(pText, nullptr);
}

TEST(SystemMessage, HasTheDocumentedWords)
{
    // Wine words its messages in its own way.
    EXPECT_EQ(SystemMessage(ERROR_FILE_NOT_FOUND), WineSays("File not found.\r\n", "The system cannot find the file specified.\r\n"));
    EXPECT_EQ(SystemMessage(ERROR_ACCESS_DENIED), WineSays("Access denied.\r\n", "Access is denied.\r\n"));
    EXPECT_EQ(SystemMessage(ERROR_SUCCESS), WineSays("Success.\r\n", "The operation completed successfully.\r\n"));
}

TEST(SystemMessage, ThereIsOneForEveryErrorThatACallerMeets)
{
    const DWORD kCodes[] = {
        ERROR_INVALID_FUNCTION, ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_TOO_MANY_OPEN_FILES, ERROR_ACCESS_DENIED,
        ERROR_INVALID_HANDLE, ERROR_NOT_ENOUGH_MEMORY, ERROR_BAD_FORMAT, ERROR_INVALID_DATA, ERROR_OUTOFMEMORY, ERROR_INVALID_DRIVE,
        ERROR_NOT_SAME_DEVICE, ERROR_NO_MORE_FILES, ERROR_WRITE_PROTECT, ERROR_NOT_READY, ERROR_CRC, ERROR_SEEK, ERROR_WRITE_FAULT,
        ERROR_READ_FAULT, ERROR_GEN_FAILURE, ERROR_SHARING_VIOLATION, ERROR_LOCK_VIOLATION, ERROR_HANDLE_EOF, ERROR_HANDLE_DISK_FULL,
        ERROR_NOT_SUPPORTED, ERROR_FILE_EXISTS, ERROR_CANNOT_MAKE, ERROR_INVALID_PARAMETER, ERROR_BROKEN_PIPE, ERROR_OPEN_FAILED,
        ERROR_BUFFER_OVERFLOW, ERROR_DISK_FULL, ERROR_CALL_NOT_IMPLEMENTED, ERROR_SEM_TIMEOUT, ERROR_INSUFFICIENT_BUFFER,
        ERROR_INVALID_NAME, ERROR_MOD_NOT_FOUND, ERROR_PROC_NOT_FOUND, ERROR_NEGATIVE_SEEK, ERROR_DIR_NOT_EMPTY, ERROR_NOT_LOCKED,
        ERROR_BAD_PATHNAME, ERROR_BUSY, ERROR_ALREADY_EXISTS, ERROR_BAD_EXE_FORMAT, ERROR_FILENAME_EXCED_RANGE, ERROR_MORE_DATA,
        ERROR_NO_MORE_ITEMS, ERROR_DIRECTORY, ERROR_NOT_OWNER, ERROR_MR_MID_NOT_FOUND, ERROR_INVALID_ADDRESS,
        ERROR_ARITHMETIC_OVERFLOW, ERROR_NOACCESS, ERROR_STACK_OVERFLOW, ERROR_INVALID_FLAGS, ERROR_FILE_INVALID, ERROR_NO_TOKEN,
        ERROR_BADDB, ERROR_BADKEY, ERROR_CANTOPEN, ERROR_CANTREAD, ERROR_CANTWRITE, ERROR_REGISTRY_CORRUPT, ERROR_REGISTRY_IO_FAILED,
        ERROR_NOT_REGISTRY_FILE, ERROR_KEY_DELETED, ERROR_KEY_HAS_CHILDREN, ERROR_CHILD_MUST_BE_VOLATILE, ERROR_NO_UNICODE_TRANSLATION,
        ERROR_DLL_INIT_FAILED, ERROR_IO_DEVICE, ERROR_POSSIBLE_DEADLOCK, ERROR_NOT_FOUND, ERROR_CANCELLED, ERROR_PRIVILEGE_NOT_HELD,
        ERROR_NO_SUCH_USER, ERROR_LOGON_FAILURE, ERROR_INTERNAL_ERROR, ERROR_FILE_CORRUPT, ERROR_DISK_CORRUPT,
        ERROR_INVALID_WINDOW_HANDLE, ERROR_NO_SYSTEM_RESOURCES, ERROR_TIMEOUT, ERROR_RESOURCE_DATA_NOT_FOUND,
        ERROR_RESOURCE_TYPE_NOT_FOUND, ERROR_RESOURCE_NAME_NOT_FOUND, ERROR_RESOURCE_LANG_NOT_FOUND};
    for (DWORD ulCode : kCodes)
    {
        const std::string sText = SystemMessage(ulCode);
        EXPECT_GT(sText.size(), 6u) << ulCode;
        EXPECT_EQ(sText.substr(sText.size() - 2), "\r\n") << ulCode << ": " << sText;
        EXPECT_EQ(sText.find('\n'), sText.size() - 1) << ulCode << ": one line";
        EXPECT_EQ(SystemMessage(0x80070000 | ulCode), sText) << "a result code that carries the error";
    }
    EXPECT_EQ(SystemMessage(WAIT_TIMEOUT), WineSays("(error 317)", "The wait operation timed out.\r\n")); // not in Wine's list
}

TEST(SystemMessage, UnknownCodesHaveNone)
{
    for (DWORD ulCode : {12345u, 99999u, 0xFFFFFFFFu, 0xC0000005u}) EXPECT_EQ(SystemMessage(ulCode), "(error 317)") << ulCode;
}

TEST(SystemMessage, IsThereInEnglishForTheUsualLanguages)
{
    const std::string sText = SystemMessage(ERROR_ACCESS_DENIED);
    for (DWORD ulLanguage : {0x400u, 0x800u, 0x409u, 0x9u, 0x809u}) EXPECT_EQ(SystemMessage(ERROR_ACCESS_DENIED, ulLanguage), sText) << ulLanguage;
    for (DWORD ulLanguage : {0x455u, 0x7Fu, 0xFFFFu}) EXPECT_EQ(SystemMessage(ERROR_ACCESS_DENIED, ulLanguage), "(error 1815)") << ulLanguage;
}

TEST(SystemMessage, WithInsertsNeedsArguments)
{
    EXPECT_EQ(SystemMessage(ERROR_BAD_EXE_FORMAT, 0, 0), "(error 87)");
    EXPECT_NE(SystemMessage(ERROR_BAD_EXE_FORMAT).find("%1"), std::string::npos);
}

TEST(SystemMessage, EndsWithABlankWhereLinesAreNotBroken)
{
    const std::string sText = SystemMessage(ERROR_DISK_FULL), sOneLine = SystemMessage(ERROR_DISK_FULL, 0, FORMAT_MESSAGE_MAX_WIDTH_MASK);
    EXPECT_EQ(sOneLine, sText.substr(0, sText.size() - 2) + " ");
}
