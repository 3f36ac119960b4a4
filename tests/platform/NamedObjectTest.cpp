// Events and mutexes with a name: in one process, and between two.
#include "FileHandle.h"
#include "ObjectHandle.h"
#include "ObjectRole.h"
#include "WideText.h"
#include "Wine.h"

namespace
{
// What a call to make or open an object answered; the object is closed again.
template <class Call>
DWORD OpeningError(Call call)
{
    SetLastError(4711);
    const ObjectHandle object = call();
    const DWORD ulError = GetLastError();
    return object ? ulError | 0x80000000u : ulError; // a bit that no error has
}

constexpr DWORD kulMade = 0x80000000u, kulWasThere = 0x80000000u | ERROR_ALREADY_EXISTS, kulOpened = 0x80000000u | 4711;

DWORD MakeEvent(const std::string& sName) { return OpeningError([&] { return CreateEventA(nullptr, TRUE, FALSE, sName.c_str()); }); }
DWORD MakeMutex(const std::string& sName) { return OpeningError([&] { return CreateMutexA(nullptr, FALSE, sName.c_str()); }); }
DWORD TryEvent(const std::string& sName, DWORD ulAccess = SYNCHRONIZE)
{
    return OpeningError([&] { return OpenEventA(ulAccess, FALSE, sName.c_str()); });
}
DWORD TryMutex(const std::string& sName)
{
    return OpeningError([&] { return OpenMutexA(SYNCHRONIZE, FALSE, sName.c_str()); });
}
} // namespace

TEST(NamedObject, IsThereForAsLongAsItHasAHandle)
{
    const std::string sName = ObjectName("life");
    EXPECT_EQ(TryEvent(sName), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(TryMutex(sName), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(MakeEvent(sName), kulMade);
    EXPECT_EQ(MakeEvent(sName), kulMade); // the one before is gone
    {
        const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sName.c_str());
        EXPECT_EQ(MakeEvent(sName), kulWasThere);
        EXPECT_EQ(TryEvent(sName), kulOpened);
    }
    EXPECT_EQ(TryEvent(sName), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(MakeMutex(sName), kulMade);
}

TEST(NamedObject, ThatExistsStaysAsItIs)
{
    const std::string sEvent = ObjectName("event"), sMutex = ObjectName("mutex");
    const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sEvent.c_str());
    const ObjectHandle again = CreateEventA(nullptr, FALSE, TRUE, sEvent.c_str());
    EXPECT_EQ(WaitForSingleObject(again, 0), DWORD(WAIT_TIMEOUT));
    SetEvent(event);
    EXPECT_EQ(WaitForSingleObject(again, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(again, 0), WAIT_OBJECT_0); // of manual reset, as it was made

    const ObjectHandle mutex = CreateMutexA(nullptr, FALSE, sMutex.c_str());
    const ObjectHandle wanted = CreateMutexA(nullptr, TRUE, sMutex.c_str());
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(ErrorOf(ReleaseMutex(wanted)), DWORD(ERROR_NOT_OWNER));
}

TEST(NamedObject, OfAnotherKindIsNotOpened)
{
    const std::string sEvent = ObjectName("event"), sMutex = ObjectName("mutex");
    const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sEvent.c_str());
    const ObjectHandle mutex = CreateMutexA(nullptr, FALSE, sMutex.c_str());
    EXPECT_EQ(MakeMutex(sEvent), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(TryMutex(sEvent), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MakeEvent(sMutex), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(TryEvent(sMutex), DWORD(ERROR_INVALID_HANDLE));
    ObjectProcess other;
    EXPECT_EQ(other.Ask("mutex " + sEvent + " 0"), "failed 6");
    EXPECT_EQ(other.Ask("open-event " + sMutex + " 1048576"), "failed 6");
}

TEST(NamedObject, NamesDifferByCase)
{
    const std::string sName = ObjectName("case");
    const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sName.c_str());
    std::string sUpper = sName;
    for (char& c : sUpper) c = static_cast<char>(std::toupper(c));
    EXPECT_EQ(TryEvent(sUpper), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(MakeEvent(sUpper), kulMade);
}

TEST(NamedObject, NarrowNamesAreNoLongerThanAPath)
{
    const std::string sStem = ObjectName("long");
    const std::string s260 = sStem + std::string(MAX_PATH - sStem.size(), 'x'), s261 = s260 + 'x', s1000 = s260 + std::string(740, 'x');
    const std::string s259 = s260.substr(0, 259);
    const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, s259.c_str());
    EXPECT_NE(event, nullptr);
    EXPECT_EQ(MakeEvent(s259), kulWasThere);
    EXPECT_EQ(MakeMutex(s260), kulMade);
    EXPECT_EQ(MakeEvent(s260), WineSays(DWORD(ERROR_FILENAME_EXCED_RANGE), kulMade)); // one less there for an event than for a mutex
    for (const std::string& sLong : {s261, s1000})
    {
        EXPECT_EQ(MakeEvent(sLong), DWORD(ERROR_FILENAME_EXCED_RANGE));
        EXPECT_EQ(TryEvent(sLong), DWORD(ERROR_FILENAME_EXCED_RANGE));
        EXPECT_EQ(MakeMutex(sLong), DWORD(ERROR_FILENAME_EXCED_RANGE));
    }
    EXPECT_EQ(MakeEvent("Local\\" + s260.substr(0, 253)), kulMade); // the prefix counts
    EXPECT_EQ(MakeEvent("Local\\" + s260.substr(0, 255)), DWORD(ERROR_FILENAME_EXCED_RANGE));
}

TEST(NamedObject, WideNamesMayBeLongAndOfAnyUnit)
{
    std::u16string sName = Widen(ObjectName("wide")) + u"-\u00e4\u20ac/%*?|.";
    for (std::size_t ulUnits : {sName.size(), std::size_t(300), std::size_t(5000)})
    {
        sName.resize(ulUnits, u'z');
        std::u16string sOther = sName;
        sOther.back() = u'y'; // differs at its end alone
        const WCHAR* pName = W(sName.c_str());
        const WCHAR* pOther = W(sOther.c_str());
        const ObjectHandle event = CreateEventW(nullptr, TRUE, FALSE, pName);
        EXPECT_NE(event, nullptr);
        EXPECT_EQ(OpeningError([&] { return OpenEventW(SYNCHRONIZE, FALSE, pName); }), kulOpened);
        EXPECT_EQ(OpeningError([&] { return OpenEventW(SYNCHRONIZE, FALSE, pOther); }), DWORD(ERROR_FILE_NOT_FOUND));
        EXPECT_EQ(OpeningError([&] { return CreateMutexW(nullptr, FALSE, pOther); }), kulMade);
        EXPECT_EQ(OpeningError([&] { return OpenMutexW(SYNCHRONIZE, FALSE, pName); }), DWORD(ERROR_INVALID_HANDLE));
    }
}

TEST(NamedObject, BackslashesStandBehindTwoPrefixesAlone)
{
    const std::string sName = ObjectName("prefix");
    const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sName.c_str());
    EXPECT_EQ(MakeEvent("Local\\" + sName), kulWasThere);
    EXPECT_EQ(MakeEvent("Global\\" + sName), kulMade);
    for (const char* pPrefix : {"global\\", "local\\", "Other\\", "Global\\a\\", "Local\\a\\"})
        EXPECT_EQ(MakeEvent(pPrefix + sName), DWORD(ERROR_PATH_NOT_FOUND)) << pPrefix;
    EXPECT_EQ(TryEvent("Other\\" + sName), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(MakeEvent("\\" + sName), DWORD(ERROR_BAD_PATHNAME));
    EXPECT_EQ(MakeEvent("Global\\"), DWORD(ERROR_INVALID_NAME));
    EXPECT_EQ(MakeEvent("Local\\"), DWORD(ERROR_INVALID_NAME));
    EXPECT_EQ(MakeEvent("Global"), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MakeEvent("Local"), DWORD(ERROR_INVALID_HANDLE));
    for (const char* pDots : {".", ".."}) EXPECT_EQ(MakeEvent(pDots), kulMade); // are names as any
}

TEST(NamedObject, IsNotOpenedWithoutAName)
{
    EXPECT_EQ(OpeningError([] { return OpenEventA(SYNCHRONIZE, FALSE, nullptr); }), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(OpeningError([] { return OpenMutexA(SYNCHRONIZE, FALSE, nullptr); }), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(TryEvent(""), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(TryMutex(""), DWORD(ERROR_INVALID_HANDLE));
}

TEST(NamedObject, EachHandleHasTheRightsItWasOpenedWith)
{
    const std::string sName = ObjectName("rights");
    const ObjectHandle event = CreateEventA(nullptr, FALSE, FALSE, sName.c_str());
    struct Row { DWORD ulAccess; bool bMayWait, bMaySet; };
    constexpr Row kRows[] = {{SYNCHRONIZE, true, false}, {EVENT_MODIFY_STATE, false, true}, {0, false, false},
                             {GENERIC_READ, false, false}, {GENERIC_WRITE, false, true}, {GENERIC_EXECUTE, true, false},
                             {GENERIC_ALL, true, true}, {EVENT_ALL_ACCESS, true, true}, {MAXIMUM_ALLOWED, true, true}};
    for (const Row& row : kRows)
    {
        const ObjectHandle handle = OpenEventA(row.ulAccess, FALSE, sName.c_str());
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(ErrorOf(SetEvent(handle)), DWORD(row.bMaySet ? NO_ERROR : ERROR_ACCESS_DENIED)) << row.ulAccess;
        EXPECT_EQ(ErrorOf(ResetEvent(handle)), DWORD(row.bMaySet ? NO_ERROR : ERROR_ACCESS_DENIED)) << row.ulAccess;
        EXPECT_EQ(WaitError(handle), row.bMayWait ? WAIT_TIMEOUT | 0x80000000u : DWORD(ERROR_ACCESS_DENIED)) << row.ulAccess;
        const HANDLE aObjects[] = {event, handle};
        EXPECT_EQ(WaitForMultipleObjects(2, aObjects, FALSE, 0), row.bMayWait ? DWORD(WAIT_TIMEOUT) : WAIT_FAILED);
    }
    const std::string sMutex = ObjectName("mutex-rights");
    const ObjectHandle mutex = CreateMutexA(nullptr, TRUE, sMutex.c_str());
    const ObjectHandle wait = OpenMutexA(SYNCHRONIZE, FALSE, sMutex.c_str());
    const ObjectHandle modify = OpenMutexA(MUTEX_MODIFY_STATE, FALSE, sMutex.c_str());
    EXPECT_EQ(WaitForSingleObject(wait, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitError(modify), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(ReleaseMutex(wait)); // releasing asks for no right
    EXPECT_TRUE(ReleaseMutex(modify));
}

TEST(NamedObject, IsOneForTwoProcesses)
{
    const std::string sEvent = ObjectName("event"), sMutex = ObjectName("mutex");
    ObjectProcess other;
    EXPECT_EQ(other.Ask("event " + sEvent + " 0 0"), "0");
    const ObjectHandle event = CreateEventA(nullptr, TRUE, TRUE, sEvent.c_str());
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT));
    SetEvent(event);
    EXPECT_EQ(other.Number("wait " + sEvent + " 0"), WAIT_OBJECT_0);
    EXPECT_EQ(other.Number("wait " + sEvent + " 0"), DWORD(WAIT_TIMEOUT)); // of auto reset, as it was made

    other.Tell("wait " + sEvent + " 20000");
    LetThemSleep();
    SetEvent(event);
    EXPECT_EQ(other.NumberAnswer(), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT));

    const ObjectHandle mutex = CreateMutexA(nullptr, TRUE, sMutex.c_str());
    EXPECT_EQ(other.Ask("open-mutex " + sMutex + " 1048576"), "0");
    EXPECT_EQ(other.Number("wait " + sMutex + " 10"), DWORD(WAIT_TIMEOUT));
    EXPECT_EQ(other.Ask("release " + sMutex), "288");
    other.Tell("wait " + sMutex + " 20000");
    LetThemSleep();
    ReleaseMutex(mutex);
    EXPECT_EQ(other.NumberAnswer(), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), DWORD(WAIT_TIMEOUT));
    EXPECT_EQ(other.Ask("release " + sMutex), "0");
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    ReleaseMutex(mutex);
}

TEST(NamedObject, LivesWithItsLastHandleInWhicheverProcess)
{
    const std::string sName = ObjectName("last");
    ObjectProcess other;
    ObjectHandle event = CreateEventA(nullptr, TRUE, TRUE, sName.c_str());
    EXPECT_EQ(other.Ask("open-event " + sName + " 1048576"), "0");
    event.Close();
    EXPECT_EQ(other.Number("wait " + sName + " 0"), WAIT_OBJECT_0);
    EXPECT_EQ(MakeEvent(sName), kulWasThere);
    EXPECT_EQ(other.Ask("close " + sName), "0");
    EXPECT_EQ(TryEvent(sName), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(other.Ask("event " + sName + " 1 0"), "0");
    EXPECT_EQ(TryEvent(sName), kulOpened);
}

TEST(NamedObject, IsReleasedByOneForEverySetAcrossProcesses)
{
    const std::string sName = ObjectName("queue");
    const ObjectHandle event = CreateEventA(nullptr, FALSE, FALSE, sName.c_str());
    ObjectProcess aOthers[4];
    for (ObjectProcess& other : aOthers)
    {
        EXPECT_EQ(other.Ask("open-event " + sName + " 1048576"), "0");
        other.Tell("wait " + sName + " 20000");
        LetThemSleep();
    }
    for (int i = 0; i < 4; ++i) SetEvent(event);
    for (ObjectProcess& other : aOthers) EXPECT_EQ(other.NumberAnswer(), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT));
}

TEST(NamedObject, AManualEventReleasesEveryProcess)
{
    const std::string sName = ObjectName("gate");
    const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sName.c_str());
    ObjectProcess aOthers[3];
    for (ObjectProcess& other : aOthers)
    {
        other.Ask("open-event " + sName + " 1048576");
        other.Tell("wait " + sName + " 20000");
    }
    LetThemSleep();
    SetEvent(event);
    ResetEvent(event);
    for (ObjectProcess& other : aOthers) EXPECT_EQ(other.NumberAnswer(), WAIT_OBJECT_0);
}

TEST(NamedObject, AMutexClosedWhileOwnedStaysOwnedForTheOthers)
{
    const std::string sName = ObjectName("closed");
    ObjectProcess other;
    ObjectHandle mutex = CreateMutexA(nullptr, TRUE, sName.c_str());
    EXPECT_EQ(other.Ask("open-mutex " + sName + " 1048576"), "0");
    mutex.Close();
    EXPECT_EQ(other.Number("wait " + sName + " 10"), DWORD(WAIT_TIMEOUT));
    const ObjectHandle again = OpenMutexA(SYNCHRONIZE, FALSE, sName.c_str());
    EXPECT_TRUE(ReleaseMutex(again));
    EXPECT_EQ(other.Number("wait " + sName + " 10"), WAIT_OBJECT_0);
}

TEST(NamedObject, AMutexClosedByItsOwnerWithoutOthersIsMadeAnew)
{
    const std::string sName = ObjectName("renewed");
    ObjectHandle mutex = CreateMutexA(nullptr, TRUE, sName.c_str());
    mutex.Close();
    mutex = CreateMutexA(nullptr, FALSE, sName.c_str());
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    EXPECT_EQ(ErrorOf(ReleaseMutex(mutex)), DWORD(ERROR_NOT_OWNER));
    EXPECT_EQ(InAnotherThread([&] { return WaitForSingleObject(mutex, 0); }), WAIT_OBJECT_0);
}

TEST(NamedObject, ManyThreadsMayMakeAndCloseOneNameAtOnce)
{
    const std::string sName = ObjectName("race");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i)
            {
                const ObjectHandle mutex = CreateMutexA(nullptr, FALSE, sName.c_str());
                ASSERT_NE(mutex, nullptr);
                ASSERT_EQ(WaitForSingleObject(mutex, 20'000), WAIT_OBJECT_0);
                ASSERT_TRUE(ReleaseMutex(mutex));
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(TryMutex(sName), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST(NamedObject, WaitsOfMixedKindsGoAcrossProcesses)
{
    const std::string sEvent = ObjectName("mixed-event"), sMutex = ObjectName("mixed-mutex");
    const ObjectHandle event = CreateEventA(nullptr, FALSE, FALSE, sEvent.c_str());
    const ObjectHandle mutex = CreateMutexA(nullptr, FALSE, sMutex.c_str());
    ObjectProcess other;
    other.Ask("open-event " + sEvent + " 1048576");
    other.Ask("open-mutex " + sMutex + " 1048576");
    for (int i = 0; i < 20; ++i)
    {
        ASSERT_EQ(WaitForSingleObject(mutex, 20'000), WAIT_OBJECT_0);
        other.Tell("waits " + sEvent + " " + sMutex + " 20000");
        if (i % 4 == 0) LetThemSleep();
        if (i % 2) SetEvent(event);
        else ReleaseMutex(mutex);
        EXPECT_EQ(other.NumberAnswer(), WAIT_OBJECT_0 + (i % 2 ? 0 : 1));
        if (i % 2) ReleaseMutex(mutex);
        else EXPECT_EQ(other.Ask("release " + sMutex), "0");
    }
}
