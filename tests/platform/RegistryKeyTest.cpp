// Opening, creating, closing, deleting and enumerating keys.
#include "RegistryKey.h"

namespace
{
using Names = std::vector<std::string>;

class RegistryKeys : public RegistryKey
{
protected:
    struct Created
    {
        LSTATUS lStatus;
        DWORD ulDisposition;
        bool operator==(const Created&) const = default;
    };
    static Created CreateSaying(HKEY hKey, const char* pPath, DWORD ulOptions = 0)
    {
        OpenKey key;
        DWORD ulDisposition = 0;
        const LSTATUS lStatus =
            RegCreateKeyExA(hKey, pPath, 0, nullptr, ulOptions, KEY_ALL_ACCESS, nullptr, key.Put(), &ulDisposition);
        return {lStatus, ulDisposition};
    }
    static std::string ClassOf(HKEY hKey)
    {
        char acClass[100] = "unchanged";
        DWORD ulChars = sizeof acClass;
        EXPECT_EQ(RegQueryInfoKeyA(hKey, acClass, &ulChars, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  ERROR_SUCCESS);
        return {acClass, ulChars};
    }
    static ULONGLONG WrittenAt(HKEY hKey)
    {
        FILETIME written{};
        EXPECT_EQ(RegQueryInfoKeyA(hKey, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &written),
                  ERROR_SUCCESS);
        return static_cast<ULONGLONG>(written.dwHighDateTime) << 32 | written.dwLowDateTime;
    }
};

TEST_F(RegistryKeys, CreatingSaysWhetherTheKeyIsNew)
{
    EXPECT_EQ(CreateSaying(mKey, "A"), (Created{ERROR_SUCCESS, REG_CREATED_NEW_KEY}));
    EXPECT_EQ(CreateSaying(mKey, "A"), (Created{ERROR_SUCCESS, REG_OPENED_EXISTING_KEY}));
    EXPECT_EQ(CreateSaying(mKey, "a"), (Created{ERROR_SUCCESS, REG_OPENED_EXISTING_KEY}));
    EXPECT_EQ(SubKeys(mKey), (Names{"A"}));
}

TEST_F(RegistryKeys, CreatingMakesWhatIsMissingAbove)
{
    EXPECT_EQ(CreateSaying(mKey, "A\\B\\C"), (Created{ERROR_SUCCESS, REG_CREATED_NEW_KEY}));
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(Open(mKey, "A")), (Names{"B"}));
    EXPECT_EQ(CreateSaying(mKey, "A\\X"), (Created{ERROR_SUCCESS, REG_CREATED_NEW_KEY}));
    EXPECT_EQ(SubKeys(Open(mKey, "A")), (Names{"B", "X"}));
}

TEST_F(RegistryKeys, WhatWasMissingIsFoundOnceItIsMade)
{
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(TryOpen(mKey, "A"), ERROR_FILE_NOT_FOUND);
    Create(mKey, "A\\B");
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, "A"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyA(mKey, "A\\B"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(TryOpen(mKey, "A"), ERROR_SUCCESS);
}

TEST_F(RegistryKeys, BackslashesAtTheEndAndInARowCountForNothing)
{
    Create(mKey, "A\\B");
    for (const char* pPath : {"A\\B", "A\\B\\", "A\\B\\\\", "A\\\\B", "A\\\\\\B\\"}) EXPECT_EQ(TryOpen(mKey, pPath), ERROR_SUCCESS) << pPath;
    EXPECT_EQ(TryOpen(mKey, "A/B"), ERROR_FILE_NOT_FOUND);
    Create(mKey, "C\\\\D\\");
    EXPECT_EQ(SubKeys(Open(mKey, "C")), (Names{"D"}));
    EXPECT_EQ(RegDeleteKeyA(mKey, "C\\D\\"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, "C\\D"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryKeys, APathThatBeginsWithABackslashIsNone)
{
    Create(mKey, "A");
    for (const char* pPath : {"\\A", "\\", "\\\\A"})
    {
        EXPECT_EQ(TryOpen(mKey, pPath), ERROR_BAD_PATHNAME) << pPath;
        EXPECT_EQ(TryOpen(HKEY_LOCAL_MACHINE, pPath), ERROR_BAD_PATHNAME) << pPath;
        EXPECT_EQ(CreateSaying(mKey, pPath).lStatus, ERROR_BAD_PATHNAME) << pPath;
        EXPECT_EQ(RegDeleteKeyA(mKey, pPath), ERROR_BAD_PATHNAME) << pPath;
        EXPECT_EQ(RegDeleteTreeA(mKey, pPath), ERROR_BAD_PATHNAME) << pPath;
    }
}

TEST_F(RegistryKeys, APathToOpenBelowTheClassesMayBeginWithABackslash)
{
    Create(HKEY_CLASSES_ROOT, "LumBaseTests.Registry");
    EXPECT_EQ(TryOpen(HKEY_CLASSES_ROOT, "\\LumBaseTests.Registry"), ERROR_SUCCESS);
    EXPECT_EQ(CreateSaying(HKEY_CLASSES_ROOT, "\\LumBaseTests.Registry").lStatus, ERROR_BAD_PATHNAME);
    EXPECT_EQ(RegDeleteKeyA(HKEY_CLASSES_ROOT, "\\LumBaseTests.Registry"), ERROR_BAD_PATHNAME);
    EXPECT_EQ(RegDeleteKeyA(HKEY_CLASSES_ROOT, "LumBaseTests.Registry"), ERROR_SUCCESS);
}

TEST_F(RegistryKeys, AnEmptyPathIsTheKeyItself)
{
    for (const char* pPath : {"", static_cast<const char*>(nullptr)})
    {
        OpenKey again;
        ASSERT_EQ(RegOpenKeyExA(mKey, pPath, 0, KEY_ALL_ACCESS, again.Put()), ERROR_SUCCESS);
        EXPECT_NE(static_cast<HKEY>(again), static_cast<HKEY>(mKey));
        EXPECT_EQ(SetText(again, "name", "text"), ERROR_SUCCESS);
        EXPECT_EQ(GetText(mKey, "name"), "text");
        HKEY hRoot = nullptr;
        ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, pPath, 0, KEY_READ, &hRoot), ERROR_SUCCESS);
        EXPECT_EQ(hRoot, HKEY_LOCAL_MACHINE);
    }
}

TEST_F(RegistryKeys, AnyNameWithoutABackslashWillDo)
{
    for (const char* pName : {".", "..", "a/b", "a:b*?\"<>|", " lead", "trail ", "tab\there", "{0-1}"})
    {
        Create(mKey, pName);
        EXPECT_EQ(SubKeys(mKey), (Names{pName}));
        EXPECT_EQ(RegDeleteKeyA(mKey, pName), ERROR_SUCCESS);
    }
}

TEST_F(RegistryKeys, NamesKeepTheirCaseAndCompareWithoutIt)
{
    Create(mKey, "MiXed\\InneR");
    EXPECT_EQ(TryOpen(mKey, "mixed\\inner"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, "MIXED\\INNER"), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey), (Names{"MiXed"}));
    EXPECT_EQ(RegDeleteKeyA(mKey, "mIXED\\iNNER"), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(Open(mKey, "mixed")), Names{});
}

TEST_F(RegistryKeys, SubkeysComeInOrderWithoutRegardToCase)
{
    for (const char* pName : {"Zed", "alpha", "Beta", "Alpine", "0n", "gamma", "~t"}) Create(mKey, pName);
    EXPECT_EQ(SubKeys(mKey), (Names{"0n", "alpha", "Alpine", "Beta", "gamma", "Zed", "~t"}));
    Create(mKey, "Delta");
    EXPECT_EQ(RegDeleteKeyA(mKey, "0n"), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey), (Names{"alpha", "Alpine", "Beta", "Delta", "gamma", "Zed", "~t"}));
}

TEST_F(RegistryKeys, AHandleThatIsNoneIsRefusedEverywhere)
{
    OpenKey closed = Create(mKey, "A");
    const HKEY hClosed = *closed.Put();
    EXPECT_EQ(RegCloseKey(hClosed), ERROR_SUCCESS);
    *closed.Put() = nullptr;
    for (HKEY hKey : {static_cast<HKEY>(nullptr), NoKey(), hClosed}) EXPECT_EQ(RegCloseKey(hKey), ERROR_INVALID_HANDLE);

    const auto pUnknown = reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000010u));
    for (HKEY hKey : {static_cast<HKEY>(nullptr), NoKey(), hClosed, pUnknown, reinterpret_cast<HKEY>(~static_cast<ULONG_PTR>(0))})
    {
        char acName[10];
        DWORD ulChars = sizeof acName, ulCount = 0;
        HKEY hResult = nullptr;
        EXPECT_EQ(RegOpenKeyExA(hKey, "x", 0, KEY_READ, &hResult), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegOpenKeyExA(hKey, nullptr, 0, KEY_READ, &hResult), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegCreateKeyExA(hKey, "x", 0, nullptr, 0, KEY_READ, nullptr, &hResult, nullptr), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegQueryValueExA(hKey, "x", nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
        EXPECT_EQ(SetText(hKey, "x", "y"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegDeleteValueA(hKey, "x"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegDeleteKeyA(hKey, "x"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegDeleteTreeA(hKey, "x"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegEnumKeyExA(hKey, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegEnumValueA(hKey, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegQueryInfoKeyA(hKey, nullptr, nullptr, nullptr, &ulCount, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegFlushKey(hKey), ERROR_INVALID_HANDLE);
    }
}

TEST_F(RegistryKeys, AFailedOpenLeavesNoHandleBehind)
{
    HKEY hResult = mKey;
    EXPECT_EQ(RegOpenKeyExA(mKey, "missing", 0, KEY_READ, &hResult), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(hResult, nullptr);
    hResult = mKey;
    EXPECT_EQ(RegCreateKeyExA(mKey, "\\bad", 0, nullptr, 0, KEY_READ, nullptr, &hResult, nullptr), ERROR_BAD_PATHNAME);
    EXPECT_EQ(hResult, nullptr);
}

TEST_F(RegistryKeys, APredefinedKeyCanBeClosedAndStaysOpen)
{
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(HKEY_LOCAL_MACHINE, msPath.c_str()), ERROR_SUCCESS);
}

TEST_F(RegistryKeys, TheRootsAreApart)
{
    Create(HKEY_CURRENT_USER, "Software\\LumBaseTests\\Apart");
    EXPECT_EQ(TryOpen(HKEY_LOCAL_MACHINE, "Software\\LumBaseTests\\Apart"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(TryOpen(HKEY_CURRENT_USER, "Software\\LumBaseTests\\Apart"), ERROR_SUCCESS);
    Create(HKEY_USERS, "LumBaseTests");
    EXPECT_EQ(TryOpen(HKEY_USERS, "LumBaseTests"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(HKEY_CURRENT_USER, "LumBaseTests"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyA(HKEY_USERS, "LumBaseTests"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\LumBaseTests"), ERROR_SUCCESS);
}

TEST_F(RegistryKeys, AKeyWithSubkeysIsNotDeleted)
{
    Create(mKey, "A\\B");
    EXPECT_EQ(RegDeleteKeyA(mKey, "A"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyA(mKey, "A\\B"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyA(mKey, "A"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyA(mKey, "A"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyA(mKey, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, ""), ERROR_ACCESS_DENIED);
}

TEST_F(RegistryKeys, DeletingAnEmptyPathDeletesTheKeyItself)
{
    const OpenKey key = Create(mKey, "A");
    EXPECT_EQ(RegDeleteKeyA(key, ""), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, "A"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryKeys, EveryCallOnADeletedKeySaysSo)
{
    const OpenKey key = Create(mKey, "A");
    ASSERT_EQ(SetText(key, "v", "text"), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteKeyA(mKey, "A"), ERROR_SUCCESS);

    const auto expectDeleted = [&]
    {
        char acName[10];
        DWORD ulChars = sizeof acName, ulCount = 0;
        HKEY hResult = nullptr;
        EXPECT_EQ(Get(key, "v").lStatus, ERROR_KEY_DELETED);
        EXPECT_EQ(SetText(key, "v", "other"), ERROR_KEY_DELETED);
        EXPECT_EQ(RegDeleteValueA(key, "v"), ERROR_KEY_DELETED);
        EXPECT_EQ(RegEnumKeyExA(key, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
        EXPECT_EQ(RegEnumValueA(key, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
        EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &ulCount, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  ERROR_KEY_DELETED);
        EXPECT_EQ(RegOpenKeyExA(key, "B", 0, KEY_READ, &hResult), ERROR_KEY_DELETED);
        EXPECT_EQ(RegOpenKeyExA(key, "", 0, KEY_READ, &hResult), ERROR_KEY_DELETED);
        EXPECT_EQ(RegCreateKeyExA(key, "B", 0, nullptr, 0, KEY_READ, nullptr, &hResult, nullptr), ERROR_KEY_DELETED);
        EXPECT_EQ(RegDeleteKeyA(key, "B"), ERROR_KEY_DELETED);
        EXPECT_EQ(RegDeleteKeyA(key, ""), ERROR_KEY_DELETED);
        EXPECT_EQ(RegDeleteTreeA(key, nullptr), ERROR_KEY_DELETED);
        EXPECT_EQ(RegFlushKey(key), ERROR_KEY_DELETED);
    };
    expectDeleted();
    const OpenKey namesake = Create(mKey, "A"); // another key of the same name
    EXPECT_EQ(Get(namesake, "v").lStatus, ERROR_FILE_NOT_FOUND);
    expectDeleted();
}

TEST_F(RegistryKeys, ADeletedTreeIsGoneAtEveryDepth)
{
    const OpenKey inner = Create(mKey, "T\\A\\B");
    Create(mKey, "T\\C");
    ASSERT_EQ(SetText(inner, "v", "text"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteTreeA(mKey, "T"), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(mKey, "T"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(TryOpen(mKey, "T\\A\\B"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Get(inner, "v").lStatus, ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteTreeA(mKey, "T"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(SubKeys(mKey), Names{});
}

TEST_F(RegistryKeys, ATreeWithoutANameIsEmptiedAndStays)
{
    for (const char* pPath : {static_cast<const char*>(nullptr), ""})
    {
        Create(mKey, "T\\A\\B");
        const OpenKey key = Open(mKey, "T");
        ASSERT_EQ(SetText(key, "v", "text"), ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteTreeA(key, pPath), ERROR_SUCCESS);
        EXPECT_EQ(SubKeys(key), Names{});
        EXPECT_EQ(ValueNames(key), Names{});
        EXPECT_EQ(TryOpen(mKey, "T"), ERROR_SUCCESS);
    }
}

TEST_F(RegistryKeys, EmptyingATreeNeedsTheRightToWriteValues)
{
    const OpenKey key = Create(mKey, "T");
    ASSERT_EQ(SetText(key, "v", "text"), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteTreeA(Open(mKey, "T", KEY_READ), nullptr), ERROR_ACCESS_DENIED);
    EXPECT_EQ(GetText(key, "v"), "text");
}

TEST_F(RegistryKeys, AHandleDoesWhatItWasOpenedFor)
{
    Create(mKey, "A\\B");
    struct Row
    {
        REGSAM ulAccess;
        bool bQuery, bSet, bEnumerate;
    };
    constexpr Row kRows[] = {
        {0, false, false, false},
        {KEY_QUERY_VALUE, true, false, false},
        {KEY_SET_VALUE, false, true, false},
        {KEY_CREATE_SUB_KEY, false, false, false},
        {KEY_ENUMERATE_SUB_KEYS, false, false, true},
        {KEY_NOTIFY, false, false, false},
        {KEY_READ, true, false, true},
        {KEY_WRITE, false, true, false},
        {15, true, true, true},
        {KEY_ALL_ACCESS, true, true, true},
        {MAXIMUM_ALLOWED, true, true, true},
        {GENERIC_READ, true, false, true},
        {GENERIC_WRITE, false, true, false},
        {GENERIC_EXECUTE, true, false, true},
        {GENERIC_ALL, true, true, true},
        {KEY_READ | KEY_WOW64_64KEY, true, false, true},
    };
    const auto allowed = [](bool bAllowed, LSTATUS lThen) { return bAllowed ? lThen : static_cast<LSTATUS>(ERROR_ACCESS_DENIED); };
    for (const Row& row : kRows)
    {
        SCOPED_TRACE(row.ulAccess);
        const OpenKey key = Open(mKey, "A", row.ulAccess);
        char acName[10];
        DWORD ulChars = sizeof acName;
        EXPECT_EQ(Get(key, "none").lStatus, allowed(row.bQuery, ERROR_FILE_NOT_FOUND));
        EXPECT_EQ(RegEnumValueA(key, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), allowed(row.bQuery, ERROR_NO_MORE_ITEMS));
        EXPECT_EQ(SetText(key, "v", "text"), allowed(row.bSet, ERROR_SUCCESS));
        EXPECT_EQ(RegDeleteValueA(key, "v"), allowed(row.bSet, ERROR_SUCCESS));
        EXPECT_EQ(RegEnumKeyExA(key, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), allowed(row.bEnumerate, ERROR_SUCCESS));
        // Below the key the rights that count are those of the user, not of the handle.
        EXPECT_EQ(TryOpen(key, "B"), ERROR_SUCCESS);
        EXPECT_EQ(CreateSaying(key, "New\\Key").lStatus, ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteTreeA(key, "New"), ERROR_SUCCESS);
    }
}

TEST_F(RegistryKeys, AKeyCreatedForReadingIsNotWritten)
{
    OpenKey key;
    ASSERT_EQ(RegCreateKeyExA(mKey, "A", 0, nullptr, 0, KEY_READ, nullptr, key.Put(), nullptr), ERROR_SUCCESS);
    EXPECT_EQ(SetText(key, "v", "text"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Get(key, "v").lStatus, ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryKeys, AVolatileKeyHasOnlyVolatileSubkeys)
{
    EXPECT_EQ(CreateSaying(mKey, "V\\W", REG_OPTION_VOLATILE), (Created{ERROR_SUCCESS, REG_CREATED_NEW_KEY}));
    EXPECT_EQ(CreateSaying(mKey, "V\\X"), (Created{ERROR_CHILD_MUST_BE_VOLATILE, 0}));
    EXPECT_EQ(CreateSaying(Open(mKey, "V\\W"), "X"), (Created{ERROR_CHILD_MUST_BE_VOLATILE, 0}));
    EXPECT_EQ(CreateSaying(mKey, "V\\X", REG_OPTION_VOLATILE), (Created{ERROR_SUCCESS, REG_CREATED_NEW_KEY}));
    EXPECT_EQ(CreateSaying(mKey, "V\\W"), (Created{ERROR_SUCCESS, REG_OPENED_EXISTING_KEY}));
    EXPECT_EQ(SubKeys(Open(mKey, "V")), (Names{"W", "X"}));
}

TEST_F(RegistryKeys, TheReservedArgumentMustBeZero)
{
    HKEY hResult = nullptr;
    EXPECT_EQ(RegCreateKeyExA(mKey, "A", 1, nullptr, 0, KEY_READ, nullptr, &hResult, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(TryOpen(mKey, "A"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryKeys, ANewKeyTakesTheClassThatItIsGiven)
{
    char acClass[] = "Lamp";
    OpenKey key;
    ASSERT_EQ(RegCreateKeyExA(mKey, "A", 0, acClass, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr), ERROR_SUCCESS);
    EXPECT_EQ(ClassOf(key), "Lamp");
    EXPECT_EQ(ClassOf(Create(mKey, "B")), "");

    char acName[10];
    DWORD ulChars = sizeof acName, ulClassChars = sizeof acClass;
    FILETIME written{};
    ASSERT_EQ(RegEnumKeyExA(mKey, 0, acName, &ulChars, nullptr, acClass, &ulClassChars, &written), ERROR_SUCCESS);
    EXPECT_STREQ(acName, "A");
    EXPECT_STREQ(acClass, "Lamp");
    EXPECT_EQ(ulClassChars, 4u);
    EXPECT_EQ(static_cast<ULONGLONG>(written.dwHighDateTime) << 32 | written.dwLowDateTime, WrittenAt(key));
}

TEST_F(RegistryKeys, AnEnumeratedNameNeedsRoomForItsTerminator)
{
    Create(mKey, "Four");
    char acName[10] = "unchanged";
    DWORD ulChars = 4;
    EXPECT_EQ(RegEnumKeyExA(mKey, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
    EXPECT_EQ(ulChars, 4u);
    EXPECT_STREQ(acName, "unchanged");
    ulChars = 5;
    EXPECT_EQ(RegEnumKeyExA(mKey, 0, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(ulChars, 4u);
    EXPECT_STREQ(acName, "Four");

    WCHAR auwName[5];
    ulChars = 4;
    EXPECT_EQ(RegEnumKeyExW(mKey, 0, auwName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
    ulChars = 5;
    EXPECT_EQ(RegEnumKeyExW(mKey, 0, auwName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(Units(auwName, ulChars), u"Four");
    EXPECT_EQ(RegEnumKeyExA(mKey, 0, acName, &ulChars, &ulChars, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    ulChars = 5;
    EXPECT_EQ(RegEnumKeyExA(mKey, 1, acName, &ulChars, nullptr, nullptr, nullptr, nullptr), ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistryKeys, TheInformationCountsSubkeysAndValues)
{
    char acClass[] = "SomeClass";
    OpenKey sub;
    ASSERT_EQ(RegCreateKeyExA(mKey, "Longer Sub", 0, acClass, 0, KEY_READ, nullptr, sub.Put(), nullptr), ERROR_SUCCESS);
    Create(mKey, "Sub");
    ASSERT_EQ(SetText(mKey, "text", "12345"), ERROR_SUCCESS);
    ASSERT_EQ(Set(mKey, "a longer name", REG_BINARY, "xyz"), ERROR_SUCCESS);

    DWORD ulSubKeys = 0, ulMaxSubKey = 0, ulMaxClass = 0, ulValues = 0, ulMaxName = 0, ulMaxBytes = 0;
    const auto ask = [&]
    {
        return RegQueryInfoKeyA(mKey, nullptr, nullptr, nullptr, &ulSubKeys, &ulMaxSubKey, &ulMaxClass, &ulValues, &ulMaxName,
                                &ulMaxBytes, nullptr, nullptr);
    };
    ASSERT_EQ(ask(), ERROR_SUCCESS);
    EXPECT_EQ(ulSubKeys, 2u);
    EXPECT_EQ(ulMaxSubKey, 10u);
    EXPECT_EQ(ulMaxClass, 9u);
    EXPECT_EQ(ulValues, 2u);
    EXPECT_EQ(ulMaxName, 13u);
    EXPECT_EQ(ulMaxBytes, 12u); // as stored: two bytes for each unit

    ASSERT_EQ(RegDeleteKeyA(mKey, "Longer Sub"), ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteValueA(mKey, "text"), ERROR_SUCCESS);
    ASSERT_EQ(RegQueryInfoKeyW(mKey, nullptr, nullptr, nullptr, &ulSubKeys, &ulMaxSubKey, &ulMaxClass, &ulValues, &ulMaxName, &ulMaxBytes,
                               nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(ulSubKeys, 1u);
    EXPECT_EQ(ulMaxSubKey, 3u);
    EXPECT_EQ(ulMaxClass, 0u);
    EXPECT_EQ(ulValues, 1u);
    EXPECT_EQ(ulMaxBytes, 3u);
}

TEST_F(RegistryKeys, AClassThatDoesNotFitIsCutOff)
{
    char acGiven[] = "MyClass";
    OpenKey key;
    ASSERT_EQ(RegCreateKeyExA(mKey, "A", 0, acGiven, 0, KEY_READ, nullptr, key.Put(), nullptr), ERROR_SUCCESS);
    const auto ask = [&](char* pClass, DWORD* pulChars)
    { return RegQueryInfoKeyA(key, pClass, pulChars, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); };

    char acClass[10] = "unchanged";
    DWORD ulChars = 7;
    EXPECT_EQ(ask(acClass, &ulChars), ERROR_MORE_DATA);
    EXPECT_STREQ(acClass, "MyClas");
    ulChars = 0;
    EXPECT_EQ(ask(nullptr, &ulChars), ERROR_SUCCESS);
    EXPECT_EQ(ulChars, 7u);
    ulChars = 8;
    EXPECT_EQ(ask(acClass, &ulChars), ERROR_SUCCESS);
    EXPECT_STREQ(acClass, "MyClass");
    EXPECT_EQ(ask(acClass, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryKeys, EveryChangeOfAKeyRenewsItsTime)
{
    const OpenKey key = Create(mKey, "A");
    ULONGLONG ullBefore = WrittenAt(key);
    const auto renewed = [&]
    {
        const ULONGLONG ullNow = WrittenAt(key);
        return ullNow > std::exchange(ullBefore, ullNow);
    };
    const auto later = [] { Sleep(20); };
    later();
    EXPECT_EQ(SetText(key, "v", "text"), ERROR_SUCCESS);
    EXPECT_TRUE(renewed());
    later();
    EXPECT_EQ(SetText(key, "v", "other"), ERROR_SUCCESS);
    EXPECT_TRUE(renewed());
    later();
    EXPECT_EQ(SetText(key, "v", "other"), ERROR_SUCCESS);
    EXPECT_FALSE(renewed());
    later();
    Create(key, "Sub");
    EXPECT_TRUE(renewed());
    later();
    EXPECT_EQ(SetText(Open(key, "Sub"), "v", "text"), ERROR_SUCCESS);
    EXPECT_FALSE(renewed());
    EXPECT_EQ(RegDeleteKeyA(key, "Sub"), ERROR_SUCCESS);
    EXPECT_TRUE(renewed());
    later();
    EXPECT_EQ(RegDeleteValueA(key, "v"), ERROR_SUCCESS);
    EXPECT_TRUE(renewed());
}

TEST_F(RegistryKeys, WhatIsFlushedIsThere)
{
    ASSERT_EQ(SetText(mKey, "v", "text"), ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(mKey), ERROR_SUCCESS);
    EXPECT_EQ(RegFlushKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, "v"), "text");
}

TEST_F(RegistryKeys, ThereIsNothingToRevert) { EXPECT_TRUE(RevertToSelf()); }
} // namespace
