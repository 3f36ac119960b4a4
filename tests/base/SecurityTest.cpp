// The impersonation bracket, what is done inside it, and the system's version.
#include "CSecureFile.h"
#include "FileHandle.h"
#include "OBase.h"
#include "OSecurity.h"
#include "Raises.h"
#include "RecordingSecurity.h"
#include "RegistryBranch.h"
#include "TempFolder.h"
#include "WindowsVersion.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{
using Calls = std::vector<std::string>;
const Calls kBracket{"impersonate", "revert"};

// Puts the security state back as it was.
class Impersonation : public testing::Test
{
protected:
    ~Impersonation() override
    {
        SecurityState().login.ulFlag = 0;
        SecurityState().version = mVersion;
    }

private:
    const OOSVersion mVersion = SecurityState().version;
};

class SecureApi : public RegistryBranch
{
protected:
    TempFolder folder;
};

using SecureFile = SecureApi;

bool Exists(const std::string& sFile) { return GetFileAttributesA(sFile.c_str()) != INVALID_FILE_ATTRIBUTES; }

struct Refusal
{
    int iCause = -1;
    LONG lOsError = -1;
    std::string sFile;
};

template <class Call>
Refusal RefusalOf(Call call)
{
    Refusal refusal;
    try
    {
        call();
    }
    catch (CFileException* pEx)
    {
        refusal = {pEx->m_cause, pEx->m_lOsError, static_cast<const char*>(pEx->m_strFileName)};
        pEx->Delete();
    }
    return refusal;
}
} // namespace

// The version ----------------------------------------------------------------------------------------------------------------

TEST(OOSVersion, ReportsTheSystemsOwnRecord)
{
    OSVERSIONINFOA record{};
    record.dwOSVersionInfoSize = sizeof record;
    ASSERT_NE(GetVersionExA(&record), FALSE);
    const OOSVersion version;
    EXPECT_EQ(version.MajorVer(), record.dwMajorVersion);
    EXPECT_EQ(version.MinorVer(), record.dwMinorVersion);
    EXPECT_TRUE(version.IsWinNT());
    EXPECT_FALSE(version.IsWin95());
    EXPECT_TRUE(version.HasWin95Shell());
    EXPECT_EQ(sizeof version, sizeof record);
    const OOSVersion copy(version);
    EXPECT_EQ(std::memcmp(&copy, &version, sizeof version), 0);
}

TEST(OOSVersion, KnowsTheFamiliesAndWhoHasTheShell)
{
    const struct { DWORD dwPlatform, dwMajor, dwMinor; bool bNt, bWin95, bShell; } rows[] = {
        {2, 3, 51, true, false, false}, {2, 4, 0, true, false, true}, {2, 10, 0, true, false, true},
        {1, 4, 10, false, true, true}, {0, 3, 11, false, false, false}, {0, 4, 0, false, false, false},
    };
    for (const auto& row : rows)
    {
        const OOSVersion version = VersionOf(row.dwPlatform, row.dwMajor, row.dwMinor);
        EXPECT_EQ(version.IsWinNT(), row.bNt);
        EXPECT_EQ(version.IsWin95(), row.bWin95);
        EXPECT_EQ(version.HasWin95Shell(), row.bShell) << row.dwPlatform << " " << row.dwMajor;
        EXPECT_EQ(version.MajorVer(), row.dwMajor);
        EXPECT_EQ(version.MinorVer(), row.dwMinor);
    }
}

// The two steps --------------------------------------------------------------------------------------------------------------

TEST_F(Impersonation, SucceedsWithoutAnObjectWhileSecurityIsNotConfigured)
{
    EXPECT_EQ(ImpersonateUser(), 1);
    EXPECT_EQ(ImpersonateRevertToSelf(), 1);
}

TEST_F(Impersonation, FailsWithoutAnObjectOnceSecurityIsConfigured)
{
    SecurityState().login.ulFlag = 1;
    EXPECT_EQ(ImpersonateUser(), 0);
    EXPECT_EQ(ImpersonateRevertToSelf(), 0);
    SecurityState().login.ulFlag = 0x80000000;
    EXPECT_EQ(ImpersonateUser(), 0);
}

TEST_F(Impersonation, SucceedsOutsideTheNtFamilyWhateverIsConfigured)
{
    SecurityState().version = VersionOf(VER_PLATFORM_WIN32_WINDOWS, 4, 10);
    SecurityState().login.ulFlag = 1;
    EXPECT_EQ(ImpersonateUser(), 1);
    EXPECT_EQ(ImpersonateRevertToSelf(), 1);
}

TEST_F(Impersonation, AsksTheObjectWhenThereIsOne)
{
    SecurityState().login.ulFlag = 1;
    RecordingSecurity security;
    EXPECT_EQ(ImpersonateUser(), 1);
    EXPECT_EQ(security.Calls(), Calls{"impersonate"});
    EXPECT_EQ(ImpersonateRevertToSelf(), 1);
    EXPECT_EQ(security.Calls(), Calls{"revert"});
}

TEST_F(Impersonation, SucceedsWithEveryResultOfTheObjectThatIsNotNegative)
{
    RecordingSecurity security;
    for (const HRESULT hResult : {S_FALSE, static_cast<HRESULT>(0x7FFFFFFF)})
    {
        security.hResult = hResult;
        EXPECT_EQ(ImpersonateUser(), 1);
        EXPECT_EQ(ImpersonateRevertToSelf(), 1);
    }
    security.hResult = E_FAIL;
    EXPECT_EQ(ImpersonateUser(), 0);
    EXPECT_EQ(ImpersonateRevertToSelf(), 0);
    SecurityState().version = VersionOf(VER_PLATFORM_WIN32_WINDOWS, 4, 10);
    EXPECT_EQ(ImpersonateUser(), 0);
}

TEST_F(Impersonation, CallsTheEighthAndNinthMethodOfTheInterface)
{
    static std::vector<int> places;
    places.clear();
    using Method = HRESULT (WINAPI*)(void*);
    static const Method methods[10] = {
        [](void*) { places.push_back(1); return S_OK; }, [](void*) { places.push_back(2); return S_OK; },
        [](void*) { places.push_back(3); return S_OK; }, [](void*) { places.push_back(4); return S_OK; },
        [](void*) { places.push_back(5); return S_OK; }, [](void*) { places.push_back(6); return S_OK; },
        [](void*) { places.push_back(7); return S_OK; }, [](void*) { places.push_back(8); return S_OK; },
        [](void*) { places.push_back(9); return S_OK; }, [](void*) { places.push_back(10); return S_OK; },
    };
    struct { const Method* pMethods; } object{methods}; // as another module's object looks like
    SecurityState().pObject = reinterpret_cast<OSecurityObject*>(&object);
    ImpersonateUser();
    ImpersonateRevertToSelf();
    OSecurityObject* pObject = SecurityState().pObject.exchange(nullptr);
    pObject->ThreadDetach();
    pObject->Release();
    EXPECT_EQ(places, (std::vector<int>{8, 9, 10, 3}));
}

TEST_F(Impersonation, IsOneThreadAtATime)
{
    std::atomic<int> iInside = 0;
    std::atomic<int> iMost = 0;
    const auto step = [&]
    {
        iMost = std::max(iMost.load(), ++iInside);
        std::this_thread::yield();
        --iInside;
    };
    // Not a RecordingSecurity's own list: that would be the race which this test is about.
    struct OCounting : OWithoutAutomation<OSecurityObject>
    {
        HRESULT WINAPI QueryInterface(REFIID, void**) override { return E_NOTIMPL; }
        ULONG WINAPI AddRef() override { return 1; }
        ULONG WINAPI Release() override { return 1; }
        HRESULT WINAPI Impersonate() override { return fStep(), S_OK; }
        HRESULT WINAPI Revert() override { return fStep(), S_OK; }
        HRESULT WINAPI ThreadDetach() override { return S_OK; }
        std::function<void()> fStep;
    } security;
    security.fStep = step;
    SecurityState().pObject = &security;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([]
            {
                for (int iTurn = 0; iTurn < 500; ++iTurn)
                {
                    ImpersonateUser();
                    ImpersonateRevertToSelf();
                }
            });
    }
    SecurityState().pObject = nullptr;
    EXPECT_EQ(iMost, 1);
}

TEST_F(Impersonation, LeavesTheLockWhenTheObjectThrows)
{
    RecordingSecurity security;
    security.onImpersonate = [] { throw 1; };
    EXPECT_THROW(ImpersonateUser(), int);
    int iResult = 0;
    std::jthread([&] { iResult = ImpersonateRevertToSelf(); }).join();
    EXPECT_EQ(iResult, 1);
}

// SecureAPI ------------------------------------------------------------------------------------------------------------------

TEST_F(SecureApi, IsTheBarePlatformCallWhileNothingIsConfigured)
{
    MakeKey("Key");
    HKEY hKey = nullptr;
    EXPECT_EQ(SecureAPI::RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path("Key").c_str(), 0, KEY_READ, &hKey), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(hKey), ERROR_SUCCESS);
    EXPECT_EQ(SecureAPI::RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path("Nothing").c_str(), 0, KEY_READ, &hKey), ERROR_FILE_NOT_FOUND);

    ULONG ulDisposition = 0;
    char acClass[] = "class";
    EXPECT_EQ(SecureAPI::RegCreateKeyExA(HKEY_LOCAL_MACHINE, Path("New").c_str(), 0, acClass, REG_OPTION_NON_VOLATILE, KEY_READ,
                                         nullptr, &hKey, &ulDisposition),
              ERROR_SUCCESS);
    EXPECT_EQ(ulDisposition, static_cast<ULONG>(REG_CREATED_NEW_KEY));
    char acStored[16] = "";
    DWORD dwRoom = sizeof acStored;
    RegQueryInfoKeyA(hKey, acStored, &dwRoom, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_STREQ(acStored, "class");
    EXPECT_EQ(RegCloseKey(hKey), ERROR_SUCCESS);

    const std::string sFile = folder / "file";
    FileHandle made(SecureAPI::CreateFileA(sFile.c_str(), kulWrite, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_TRUE(made.IsOpen());
    EXPECT_EQ(OpenError(sFile, kulRead), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    made.Close();
    const std::u16string sWide(sFile.begin(), sFile.end());
    const unsigned short* pWide = AsUnits(sWide.c_str());
    EXPECT_TRUE(FileHandle(SecureAPI::CreateFileW(pWide, kulRead, kulShareAll, nullptr, OPEN_EXISTING, 0, nullptr)).IsOpen());
    const std::string sMissing = folder / "nothing";
    EXPECT_EQ(SecureAPI::CreateFileA(sMissing.c_str(), kulRead, 0, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(SecureApi, ImpersonatesBeforeTheCallAndRevertsAfterIt)
{
    const std::string sFile = folder / "file";
    RecordingSecurity security;
    security.onImpersonate = [&] { EXPECT_FALSE(Exists(sFile)); };
    security.onRevert = [&] { EXPECT_TRUE(Exists(sFile)); };
    FileHandle(SecureAPI::CreateFileA(sFile.c_str(), kulWrite, 0, nullptr, CREATE_NEW, 0, nullptr));
    EXPECT_EQ(security.Calls(), kBracket);

    const std::string sOther = folder / "other";
    const std::u16string sWide(sOther.begin(), sOther.end());
    security.onImpersonate = [&] { EXPECT_FALSE(Exists(sOther)); };
    security.onRevert = [&] { EXPECT_TRUE(Exists(sOther)); };
    FileHandle(SecureAPI::CreateFileW(AsUnits(sWide.c_str()), kulWrite, 0, nullptr, CREATE_NEW, 0, nullptr));
    EXPECT_EQ(security.Calls(), kBracket);

    security.onImpersonate = [&] { EXPECT_FALSE(HasKey("Key")); };
    security.onRevert = [&] { EXPECT_TRUE(HasKey("Key")); };
    HKEY hKey = nullptr;
    SecureAPI::RegCreateKeyExA(HKEY_LOCAL_MACHINE, Path("Key").c_str(), 0, nullptr, 0, KEY_READ, nullptr, &hKey, nullptr);
    EXPECT_EQ(security.Calls(), kBracket);
    RegCloseKey(hKey);
    hKey = nullptr;
    security.onImpersonate = [&] { EXPECT_EQ(hKey, nullptr); };
    security.onRevert = [&] { EXPECT_NE(hKey, nullptr); };
    SecureAPI::RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path("Key").c_str(), 0, KEY_READ, &hKey);
    EXPECT_EQ(security.Calls(), kBracket);
    RegCloseKey(hKey);
}

TEST_F(SecureApi, CallsWhateverTheTwoStepsAnswer)
{
    RecordingSecurity security;
    security.hResult = E_ACCESSDENIED;
    const std::string sFile = folder / "file";
    EXPECT_TRUE(FileHandle(SecureAPI::CreateFileA(sFile.c_str(), kulWrite, 0, nullptr, CREATE_NEW, 0, nullptr)).IsOpen());
    EXPECT_EQ(security.Calls(), kBracket);
}

TEST_F(SecureApi, KeepsTheLastErrorOfTheCall)
{
    RecordingSecurity security;
    security.onRevert = [] { SetLastError(ERROR_PRIVILEGE_NOT_HELD); };
    SecureAPI::CreateFileA((folder / "nothing").c_str(), kulRead, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(SecureApi, OpensRegistryKeysInTheBracket)
{
    RecordingSecurity security;
    ORegistry reg;
    reg.OpenKey("Key", ORegistry::OPEN_OR_CREATE);
    EXPECT_EQ(security.Calls(), (Calls{"impersonate", "revert", "impersonate", "revert"})); // an open that fails, and a create
    reg.WriteInteger("Number", 1);
    reg.OpenKeyEx(Path("Key").c_str(), ORegistry::OPEN_ONLY);
    EXPECT_EQ(security.Calls(), kBracket);
}

// Files ----------------------------------------------------------------------------------------------------------------------

TEST_F(SecureFile, OpensInTheBracket)
{
    const std::string sFile = folder / "file";
    RecordingSecurity security;
    security.onImpersonate = [&] { EXPECT_FALSE(Exists(sFile)); };
    security.onRevert = [&] { EXPECT_TRUE(Exists(sFile)); };
    CSecureFile file;
    CFile& asFile = file;
    EXPECT_TRUE(asFile.Open(sFile.c_str(), CFile::modeCreate | CFile::modeWrite, nullptr));
    EXPECT_EQ(security.Calls(), kBracket);
    file.Write("lamp", 4);
    file.Close();
    EXPECT_EQ(security.Calls(), Calls{});
    EXPECT_EQ(ReadText(sFile), "lamp");
}

TEST_F(SecureFile, OpensStreamsInTheBracket)
{
    const std::string sFile = folder / "file";
    RecordingSecurity security;
    security.onImpersonate = [&] { EXPECT_FALSE(Exists(sFile)); };
    security.onRevert = [&] { EXPECT_TRUE(Exists(sFile)); };
    CSecureStdioFile file;
    CFile& asFile = file;
    EXPECT_TRUE(asFile.Open(sFile.c_str(), CFile::modeCreate | CFile::modeWrite, nullptr));
    EXPECT_EQ(security.Calls(), kBracket);
    file.WriteString("lamp\n");
    file.Close();
    EXPECT_EQ(ReadText(sFile), "lamp\r\n");
}

TEST_F(SecureFile, OpensOnConstruction)
{
    WriteText(folder / "file", "lamp\r\n");
    RecordingSecurity security;
    char acText[8] = "";
    CSecureFile file((folder / "file").c_str(), CFile::modeRead);
    EXPECT_EQ(security.Calls(), kBracket);
    EXPECT_EQ(file.Read(acText, 4), 4u);
    EXPECT_STREQ(acText, "lamp");
    file.Close();

    CSecureStdioFile stream((folder / "file").c_str(), CFile::modeRead);
    EXPECT_EQ(security.Calls(), kBracket);
    CString sLine;
    EXPECT_TRUE(stream.ReadString(sLine));
    EXPECT_EQ(sLine, "lamp");
}

TEST_F(SecureFile, WrapsWhatIsOpenAlready)
{
    WriteText(folder / "file", "lamp");
    RecordingSecurity security;
    FileHandle handle(folder / "file", kulRead);
    CSecureFile file(static_cast<HANDLE>(handle));
    EXPECT_EQ(file.GetLength(), 4u);

    FILE* pStream = std::fopen((folder / "file").c_str(), "rb");
    ASSERT_NE(pStream, nullptr);
    {
        CSecureStdioFile stream(pStream);
        char acText[8] = "";
        EXPECT_EQ(stream.Read(acText, 4), 4u);
        EXPECT_STREQ(acText, "lamp");
    }
    std::fclose(pStream);
    EXPECT_EQ(security.Calls(), Calls{});
}

TEST_F(SecureFile, ReportsByResultOrByExceptionWhatTheFrameworkSays)
{
    const std::string sMissing = folder / "nothing";
    CFileException expected;
    EXPECT_FALSE(CFile().Open(sMissing.c_str(), CFile::modeRead, &expected));

    RecordingSecurity security;
    CFileException error;
    EXPECT_FALSE(CSecureFile().Open(sMissing.c_str(), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_EQ(error.m_lOsError, expected.m_lOsError);
    EXPECT_EQ(security.Calls(), kBracket);
    EXPECT_FALSE(CSecureStdioFile().Open(sMissing.c_str(), CFile::modeRead));
    EXPECT_EQ(security.Calls(), kBracket);

    for (const Refusal& refusal : {RefusalOf([&] { CSecureFile file(sMissing.c_str(), CFile::modeRead); }),
                                   RefusalOf([&] { CSecureStdioFile file(sMissing.c_str(), CFile::modeRead); })})
    {
        EXPECT_EQ(refusal.iCause, CFileException::fileNotFound);
        EXPECT_EQ(refusal.lOsError, ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(refusal.sFile, static_cast<const char*>(expected.m_strFileName));
    }
    EXPECT_EQ(security.Calls(), (Calls{"impersonate", "revert", "impersonate", "revert"}));
}

TEST_F(SecureFile, RefusesNamesThatAreNone)
{
    for (const char* pName : {static_cast<const char*>(nullptr), ""})
        for (const Refusal& refusal : {RefusalOf([&] { CSecureFile file(pName, CFile::modeRead); }),
                                       RefusalOf([&] { CSecureStdioFile file(pName, CFile::modeRead); })})
        {
            EXPECT_EQ(refusal.iCause, CFileException::badPath);
            EXPECT_EQ(refusal.lOsError, ERROR_PATH_NOT_FOUND);
            EXPECT_EQ(refusal.sFile, "");
        }
    CFileStatus status;
    EXPECT_FALSE(CSecureFile::GetStatus(nullptr, status));
    EXPECT_EQ(RefusalOf([] { CSecureFile::Remove(nullptr); }).lOsError, ERROR_PATH_NOT_FOUND);
}

namespace
{
struct OByName // the calls that take a name, of either class
{
    void (*pRename)(const char*, const char*);
    void (*pRemove)(const char*);
    BOOL (*pGetStatus)(const char*, CFileStatus&);
    void (*pSetStatus)(const char*, const CFileStatus&);
};
const OByName kByName[] = {
    {&CSecureFile::Rename, &CSecureFile::Remove, &CSecureFile::GetStatus, &CSecureFile::SetStatus},
    {&CSecureStdioFile::Rename, &CSecureStdioFile::Remove, &CSecureStdioFile::GetStatus, &CSecureStdioFile::SetStatus},
};
} // namespace

TEST_F(SecureFile, DoesWhatTakesANameInTheBracket)
{
    const std::string sOld = folder / "old";
    const std::string sNew = folder / "new";
    for (const OByName& calls : kByName)
    {
        WriteText(sOld, "lamp");
        RecordingSecurity security;
        security.onImpersonate = [&] { EXPECT_FALSE(Exists(sNew)); };
        security.onRevert = [&] { EXPECT_TRUE(Exists(sNew)); };
        calls.pRename(sOld.c_str(), sNew.c_str());
        EXPECT_EQ(security.Calls(), kBracket);

        CFileStatus status;
        security.onImpersonate = [&] { EXPECT_EQ(status.m_size, 0u); };
        security.onRevert = [&] { EXPECT_EQ(status.m_size, 4u); };
        EXPECT_TRUE(calls.pGetStatus(sNew.c_str(), status));
        EXPECT_EQ(security.Calls(), kBracket);

        const auto isReadOnly = [&] { return (GetFileAttributesA(sNew.c_str()) & FILE_ATTRIBUTE_READONLY) != 0; };
        for (const bool bReadOnly : {true, false})
        {
            status.m_attribute = bReadOnly ? CFile::readOnly : CFile::normal;
            security.onImpersonate = [&] { EXPECT_NE(isReadOnly(), bReadOnly); };
            security.onRevert = [&] { EXPECT_EQ(isReadOnly(), bReadOnly); };
            calls.pSetStatus(sNew.c_str(), status);
            EXPECT_EQ(security.Calls(), kBracket);
        }

        security.onImpersonate = [&] { EXPECT_TRUE(Exists(sNew)); };
        security.onRevert = [&] { EXPECT_FALSE(Exists(sNew)); };
        calls.pRemove(sNew.c_str());
        EXPECT_EQ(security.Calls(), kBracket);
        security.onImpersonate = security.onRevert = nullptr;
        EXPECT_FALSE(calls.pGetStatus(sNew.c_str(), status));
        EXPECT_EQ(security.Calls(), kBracket);
    }
}

TEST_F(SecureFile, DoesNotRevertWhenTheFrameworkThrows)
{
    const std::string sMissing = folder / "nothing";
    for (const OByName& calls : kByName)
    {
        RecordingSecurity security;
        CFileStatus status;
        EXPECT_EQ(RefusalOf([&] { calls.pRename(sMissing.c_str(), (folder / "new").c_str()); }).lOsError, ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(security.Calls(), Calls{"impersonate"});
        EXPECT_EQ(RefusalOf([&] { calls.pRemove(sMissing.c_str()); }).lOsError, ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(security.Calls(), Calls{"impersonate"});
        EXPECT_EQ(RefusalOf([&] { calls.pSetStatus(sMissing.c_str(), status); }).lOsError, ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(security.Calls(), Calls{"impersonate"});
    }
}
