// File mappings: of files and of memory, with names and without.
#include "FileHandle.h"
#include "ObjectHandle.h"
#include "ObjectRole.h"
#include "TempFolder.h"
#include "Wine.h"

#include <cstring>

namespace
{
HANDLE Memory(DWORD ulBytes, const char* pName = nullptr, DWORD ulProtect = PAGE_READWRITE)
{
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, ulProtect, 0, ulBytes, pName);
}

HANDLE Map(HANDLE hFile, DWORD ulProtect, DWORD ulBytes = 0) { return CreateFileMappingA(hFile, nullptr, ulProtect, 0, ulBytes, nullptr); }

// A view, unmapped in the end.
class View
{
public:
    explicit View(HANDLE hMapping, DWORD ulAccess = FILE_MAP_ALL_ACCESS, DWORD ulOffset = 0, SIZE_T ulBytes = 0)
        : mpStart(static_cast<char*>(MapViewOfFile(hMapping, ulAccess, 0, ulOffset, ulBytes)))
    {
    }
    ~View() { Unmap(); }
    View(const View&) = delete;
    View& operator=(const View&) = delete;
    void Unmap()
    {
        if (mpStart) UnmapViewOfFile(mpStart);
        mpStart = nullptr;
    }
    operator char*() const { return mpStart; }

private:
    char* mpStart;
};

// The last error of a view or mapping that could not be had; 0 for one that could.
DWORD ViewError(HANDLE hMapping, DWORD ulAccess, DWORD ulOffset = 0, SIZE_T ulBytes = 0)
{
    return View(hMapping, ulAccess, ulOffset, ulBytes) ? NO_ERROR : GetLastError();
}
DWORD MapError(HANDLE hMapping)
{
    const DWORD ulError = hMapping ? NO_ERROR : GetLastError();
    if (hMapping) CloseHandle(hMapping);
    return ulError;
}
} // namespace

class Mapping : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(WriteText(msFile, "0123456789")); }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
};

TEST_F(Mapping, OfMemoryIsZeroAndOneForAllItsViews)
{
    const ObjectHandle mapping = Memory(0x20000);
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    const View first(mapping), second(mapping), tail(mapping, FILE_MAP_READ, 0x10000);
    ASSERT_TRUE(first && second && tail);
    EXPECT_EQ(std::strlen(first), 0u);
    first[0x10005] = 'x';
    EXPECT_EQ(second[0x10005], 'x');
    EXPECT_EQ(tail[5], 'x');
}

TEST_F(Mapping, OfAFileReadsAndWritesIt)
{
    const FileHandle file(msFile, kulReadWrite);
    const ObjectHandle mapping = Map(file, PAGE_READWRITE);
    View view(mapping);
    ASSERT_TRUE(view);
    EXPECT_EQ(std::string(view, 10), "0123456789");
    EXPECT_EQ(view[10], 0); // the rest of the last page
    view[3] = 'X';
    EXPECT_EQ(ReadText(msFile), "012X456789");
    EXPECT_TRUE(FlushViewOfFile(view, 0));
    EXPECT_TRUE(FlushViewOfFile(view + 2, 5));
}

TEST_F(Mapping, LengthensTheFileWhenItMayWrite)
{
    const FileHandle file(msFile, kulReadWrite);
    const ObjectHandle mapping = Map(file, PAGE_READWRITE, 1000);
    EXPECT_EQ(GetFileSize(file, nullptr), 1000u);
    const View view(mapping);
    ASSERT_TRUE(view);
    EXPECT_EQ(std::string(view, 10), "0123456789");
    EXPECT_EQ(view[999], 0);
    EXPECT_EQ(MapError(Map(file, PAGE_READONLY, 1001)), DWORD(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(MapError(Map(file, PAGE_WRITECOPY, 1001)), DWORD(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(MapError(Map(file, PAGE_READWRITE, 500)), DWORD(NO_ERROR));
    EXPECT_EQ(GetFileSize(file, nullptr), 1000u);
}

TEST_F(Mapping, CopiesAreNotWrittenToTheFile)
{
    const FileHandle file(msFile, kulRead);
    const ObjectHandle mapping = Map(file, PAGE_WRITECOPY), reading = Map(file, PAGE_READONLY);
    const View copy(mapping, FILE_MAP_COPY), other(reading, FILE_MAP_COPY);
    ASSERT_TRUE(copy && other);
    copy[0] = 'X';
    other[0] = 'Y';
    EXPECT_EQ(ReadText(msFile), "0123456789");
    EXPECT_EQ(ViewError(mapping, FILE_MAP_WRITE), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ), DWORD(NO_ERROR));
}

TEST_F(Mapping, NeedsTheRightsOfTheFile)
{
    const FileHandle read(msFile, kulRead), write(msFile, kulWrite);
    EXPECT_EQ(MapError(Map(read, PAGE_READWRITE)), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(MapError(Map(write, PAGE_READWRITE)), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(MapError(Map(write, PAGE_READONLY)), DWORD(ERROR_ACCESS_DENIED));
    const ObjectHandle mapping = Map(read, PAGE_READONLY);
    EXPECT_EQ(ViewError(mapping, FILE_MAP_WRITE), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(ViewError(mapping, FILE_MAP_ALL_ACCESS), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ), DWORD(NO_ERROR));
}

TEST_F(Mapping, RefusesWhatCannotBeMapped)
{
    const ObjectHandle event = NewEvent(true);
    ASSERT_TRUE(WriteText(mFolder / "empty", ""));
    const FileHandle empty(mFolder / "empty", kulReadWrite), file(msFile, kulReadWrite);
    EXPECT_EQ(MapError(Map(empty, PAGE_READWRITE)), DWORD(ERROR_FILE_INVALID));
    EXPECT_EQ(MapError(Map(event, PAGE_READWRITE, 10)), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MapError(Map(reinterpret_cast<HANDLE>(ULONG_PTR(0x7777774)), PAGE_READWRITE, 10)), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MapError(Memory(0)), DWORD(ERROR_INVALID_PARAMETER));
    for (DWORD ulProtect : {0, PAGE_NOACCESS, PAGE_EXECUTE, PAGE_READONLY | PAGE_READWRITE, PAGE_READWRITE | SEC_NOCACHE,
                            PAGE_READWRITE | SEC_RESERVE | SEC_COMMIT})
    {
        EXPECT_EQ(MapError(Memory(100, nullptr, ulProtect)), DWORD(ERROR_INVALID_PARAMETER)) << ulProtect;
        EXPECT_EQ(MapError(Map(file, ulProtect)), DWORD(ERROR_INVALID_PARAMETER)) << ulProtect;
    }
    for (DWORD ulProtect : {PAGE_READONLY, PAGE_WRITECOPY, PAGE_READWRITE | SEC_COMMIT, PAGE_READWRITE | SEC_RESERVE})
        EXPECT_EQ(MapError(Memory(100, nullptr, ulProtect)), DWORD(NO_ERROR)) << ulProtect;
}

TEST_F(Mapping, ViewsLieInsideAndBeginAtMultiplesOf64K)
{
    const ObjectHandle mapping = Memory(0x30000);
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ, 0x20000), DWORD(NO_ERROR));
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ, 0x20000, 0x10000), DWORD(NO_ERROR));
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ, 0x20000, 0x10001), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ, 0, ~SIZE_T{0}), DWORD(ERROR_ACCESS_DENIED));
    for (DWORD ulOffset : {1u, 0x1000u, 0x8000u, 0x18000u})
        EXPECT_EQ(ViewError(mapping, FILE_MAP_READ, ulOffset), DWORD(ERROR_MAPPED_ALIGNMENT)) << ulOffset;
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ, 0x30000), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(ViewError(mapping, FILE_MAP_READ, 0x40000), DWORD(ERROR_INVALID_PARAMETER));

    const FileHandle file(msFile, kulRead);
    const ObjectHandle ofFile = Map(file, PAGE_READONLY);
    EXPECT_EQ(ViewError(ofFile, FILE_MAP_READ, 0, 10), DWORD(NO_ERROR));
    EXPECT_EQ(ViewError(ofFile, FILE_MAP_READ, 0, 11), DWORD(ERROR_ACCESS_DENIED));
}

TEST_F(Mapping, HandlesThatAreNoneOrOfAnotherKindAreRefused)
{
    const ObjectHandle event = NewEvent(true);
    const FileHandle file(msFile, kulRead);
    for (HANDLE hBad : {HANDLE(nullptr), INVALID_HANDLE_VALUE, HANDLE(event), HANDLE(file)})
        EXPECT_EQ(ViewError(hBad, FILE_MAP_READ), DWORD(ERROR_INVALID_HANDLE));
    const ObjectHandle mapping = Memory(100);
    EXPECT_EQ(ErrorOf(SetEvent(mapping)), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(WaitError(mapping), DWORD(ERROR_ACCESS_DENIED)); // made without the right to wait
}

TEST_F(Mapping, AViewOutlivesTheHandles)
{
    FileHandle file(msFile, kulReadWrite, kulShareAll);
    ObjectHandle mapping = Map(file, PAGE_READWRITE), memory = Memory(100);
    const View view(mapping), ofMemory(memory);
    ASSERT_TRUE(view && ofMemory);
    mapping.Close();
    file.Close();
    memory.Close();
    view[0] = 'X';
    ofMemory[99] = 'Y';
    EXPECT_EQ(ofMemory[99], 'Y');
    EXPECT_EQ(ReadText(msFile), "X123456789");
}

TEST_F(Mapping, LeavesTheShareModeToTheHandlesOfTheFile)
{
    FileHandle file(msFile, kulReadWrite, FILE_SHARE_READ);
    const ObjectHandle mapping = Map(file, PAGE_READWRITE);
    const View view(mapping);
    EXPECT_EQ(OpenError(msFile, kulWrite), DWORD(ERROR_SHARING_VIOLATION));
    file.Close();
    EXPECT_EQ(OpenError(msFile, kulWrite), DWORD(NO_ERROR));
}

TEST_F(Mapping, AViewIsUnmappedOnce)
{
    const ObjectHandle mapping = Memory(0x2000);
    void* pView = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    ASSERT_NE(pView, nullptr);
    EXPECT_TRUE(UnmapViewOfFile(pView));
    EXPECT_EQ(ErrorOf(UnmapViewOfFile(pView)), DWORD(ERROR_INVALID_ADDRESS));
    EXPECT_EQ(ErrorOf(UnmapViewOfFile(nullptr)), DWORD(ERROR_INVALID_ADDRESS));
    int iLocal = 0;
    EXPECT_EQ(ErrorOf(UnmapViewOfFile(&iLocal)), DWORD(ERROR_INVALID_ADDRESS));
    pView = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    EXPECT_TRUE(UnmapViewOfFile(static_cast<char*>(pView) + 100)); // any address in it will do
    EXPECT_EQ(ErrorOf(UnmapViewOfFile(pView)), DWORD(ERROR_INVALID_ADDRESS));
}

TEST_F(Mapping, OnlyViewsAreFlushed)
{
    const ObjectHandle mapping = Memory(0x2000);
    const View view(mapping);
    EXPECT_TRUE(FlushViewOfFile(view, 0));
    EXPECT_TRUE(FlushViewOfFile(view, 0x2000));
    EXPECT_EQ(ErrorOf(FlushViewOfFile(view, 0x100000)), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(ErrorOf(FlushViewOfFile(nullptr, 0)), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(Mapping, WithANameIsThereForAsLongAsItHasAHandle)
{
    const std::string sName = ObjectName("mapping");
    const auto open = [&] { return MapError(OpenFileMappingA(FILE_MAP_READ, FALSE, sName.c_str())); };
    EXPECT_EQ(open(), DWORD(ERROR_FILE_NOT_FOUND));
    ObjectHandle mapping = Memory(5000, sName.c_str());
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    ObjectHandle longer = Memory(100'000, sName.c_str());
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(ViewError(longer, FILE_MAP_READ, 0, 100'000), DWORD(ERROR_ACCESS_DENIED)); // it is as long as it was made
    const View view(mapping), other(longer);
    ASSERT_TRUE(view && other);
    EXPECT_EQ(view[4999], 0);
    view[4999] = 'x';
    EXPECT_EQ(other[4999], 'x');
    EXPECT_EQ(open(), DWORD(NO_ERROR));
    mapping.Close();
    EXPECT_EQ(open(), DWORD(NO_ERROR));
    longer.Close();
    EXPECT_EQ(open(), DWORD(ERROR_FILE_NOT_FOUND)); // the views are no handles
    EXPECT_EQ(view[4999], 'x');
    ObjectHandle anew = Memory(5000, sName.c_str());
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    EXPECT_EQ(View(anew)[4999], 0);
}

TEST_F(Mapping, SharesItsNamesWithTheOtherKinds)
{
    const std::string sMapping = ObjectName("mapping"), sEvent = ObjectName("event");
    const ObjectHandle mapping = Memory(100, sMapping.c_str()), event = CreateEventA(nullptr, TRUE, FALSE, sEvent.c_str());
    EXPECT_EQ(MapError(Memory(100, sEvent.c_str())), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MapError(OpenFileMappingA(FILE_MAP_READ, FALSE, sEvent.c_str())), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MapError(OpenMutexA(SYNCHRONIZE, FALSE, sMapping.c_str())), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MapError(OpenFileMappingA(FILE_MAP_READ, FALSE, nullptr)), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(MapError(OpenFileMappingA(FILE_MAP_READ, FALSE, "")), DWORD(ERROR_INVALID_HANDLE));
}

TEST_F(Mapping, EachHandleHasTheRightsItWasOpenedWith)
{
    const std::string sName = ObjectName("rights");
    const ObjectHandle mapping = Memory(5000, sName.c_str());
    struct Row { DWORD ulAccess, ulRead, ulWrite, ulCopy; };
    constexpr Row kRows[] = {{FILE_MAP_READ, NO_ERROR, ERROR_ACCESS_DENIED, NO_ERROR},
                             {FILE_MAP_COPY, NO_ERROR, ERROR_ACCESS_DENIED, NO_ERROR},
                             {FILE_MAP_WRITE, ERROR_ACCESS_DENIED, NO_ERROR, ERROR_ACCESS_DENIED},
                             {FILE_MAP_ALL_ACCESS, NO_ERROR, NO_ERROR, NO_ERROR}};
    for (const Row& row : kRows)
    {
        const ObjectHandle handle = OpenFileMappingA(row.ulAccess, FALSE, sName.c_str());
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(ViewError(handle, FILE_MAP_READ), row.ulRead) << row.ulAccess;
        EXPECT_EQ(ViewError(handle, FILE_MAP_WRITE), row.ulWrite) << row.ulAccess;
        EXPECT_EQ(ViewError(handle, FILE_MAP_COPY), row.ulCopy) << row.ulAccess;
    }
    const ObjectHandle reading = Memory(5000, sName.c_str(), PAGE_READONLY);
    EXPECT_EQ(ViewError(reading, FILE_MAP_WRITE), DWORD(ERROR_ACCESS_DENIED));
}

TEST_F(Mapping, OfMemoryIsOneForTwoProcesses)
{
    const std::string sName = ObjectName("shared");
    ObjectProcess other;
    EXPECT_EQ(other.Ask("mapping " + sName + " 70000"), "0");
    const ObjectHandle mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, sName.c_str());
    const View view(mapping);
    ASSERT_TRUE(view);
    view[69'999] = 17;
    EXPECT_EQ(other.Ask("read " + sName + " 69999"), "17");
    EXPECT_EQ(other.Ask("write " + sName + " 65536 99"), "99");
    EXPECT_EQ(view[65'536], 99);
    other.Kill();
    EXPECT_EQ(view[65'536], 99);
    EXPECT_EQ(MapError(Memory(1, sName.c_str())), DWORD(NO_ERROR));
}

TEST_F(Mapping, OfAFileIsOpenedByNameInAnotherProcess)
{
    const std::string sName = ObjectName("of-file");
    FileHandle file(msFile, kulReadWrite);
    const ObjectHandle mapping = CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 0, sName.c_str());
    ASSERT_NE(mapping, nullptr);
    file.Close();
    ObjectProcess other;
    EXPECT_EQ(other.Ask("open-mapping " + sName + " 6"), "0");
    EXPECT_EQ(other.Ask("read " + sName + " 3"), std::to_string('3'));
    EXPECT_EQ(other.Ask("write " + sName + " 3 65"), "65");
    EXPECT_EQ(ReadText(msFile), "012A456789");
}
