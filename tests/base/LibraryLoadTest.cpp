// What the library does when it is loaded, seen in a process that loads it anew.
#include "ExportedName.h"
#include "InstalledFamily.h"
#include "OSecurity.h"
#include "OtherProcess.h"
#include "RecordingSecurity.h"
#include "RegFunctions.h"
#include "RegistryBranch.h"

#include <thread>

namespace
{
// Answers whether it finds a key below the base path that the library chose while it was loaded.
const OtherRole kLoaded("loaded", [](const std::string& sKey) -> std::string { return RegKeyExist(sKey.c_str()) ? "yes" : "no"; });

// Tells whether the security lock is there: both steps take it.
const OtherRole kLocking("locking", [](const std::string&) -> std::string
{
    return ImpersonateUser() && ImpersonateRevertToSelf() ? "yes" : "no";
});

class LibraryLoad : public RegistryBranch
{
protected:
    // A key at a path that is whole, gone with the test.
    class Key
    {
    public:
        explicit Key(const std::string& sPath) : msPath(sPath)
        {
            HKEY hKey = nullptr;
            RegCreateKeyExA(HKEY_LOCAL_MACHINE, sPath.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &hKey, nullptr);
            RegCloseKey(hKey);
        }
        ~Key() { RegDeleteTreeA(HKEY_LOCAL_MACHINE, msPath.c_str()); }

    private:
        std::string msPath;
    };

    InstalledFamily family;
};
} // namespace

TEST_F(LibraryLoad, ChoosesTheBranchOfTheInstalledFamily)
{
    for (const std::string sFamily : {"Alder", "Birch", "Cedar"})
    {
        const Key key("Software\\Tarvek\\Lum\\ES\\" + sFamily + "\\LumBaseTests" + sFamily);
        family.Set(sFamily);
        OtherProcess other("loaded");
        for (const std::string sAsked : {"Alder", "Birch", "Cedar"})
            EXPECT_EQ(other.Ask("LumBaseTests" + sAsked), sAsked == sFamily ? "yes" : "no") << sFamily << " " << sAsked;
    }
}

TEST_F(LibraryLoad, ChoosesNoBranchWhenNoFamilyIsInstalled)
{
    MakeKey("Key");
    OtherProcess other("loaded");
    EXPECT_EQ(other.Ask(Path("Key")), "yes");
}

TEST_F(LibraryLoad, MakesTheSecurityLock)
{
    EXPECT_EQ(OtherProcess("locking").Ask("go"), "yes");
}

TEST(LibraryEntry, TellsTheSecurityObjectOfAThreadsEndAndNotOfItsBeginning)
{
    using Calls = std::vector<std::string>;
    RecordingSecurity security;
    EXPECT_TRUE(LumLibraryEntry(DLL_THREAD_ATTACH));
    EXPECT_EQ(security.Calls(), Calls{});
    Calls atFirst{"none asked"};
    std::thread([&]
    {
        atFirst = security.Calls();
        ImpersonateUser();
    }).join();
    EXPECT_EQ(atFirst, Calls{});
    EXPECT_EQ(security.Calls(), (Calls{"impersonate", "detach"}));
    EXPECT_TRUE(LumLibraryEntry(DLL_THREAD_DETACH));
    EXPECT_EQ(security.Calls(), Calls{"detach"});
}

TEST(LibraryEntry, DoesNothingForAReasonThatItDoesNotKnow)
{
    RecordingSecurity security;
    EXPECT_TRUE(LumLibraryEntry(4711));
    EXPECT_EQ(security.Calls(), std::vector<std::string>{});
}

TEST(LibraryExports, HoldTheFlatFunctionsUnderTheirPlainNames)
{
    for (const char* pName :
         {"SetupSignal", "BuildExceptionString", "ThrowString", "ImpersonateUser", "ImpersonateRevertToSelf",
          "InitLumSecurity", "InitLumSecurityWithNoImpersonateUser", "ReportSecurityError",
          "RegWriteString", "RegCreateAndWriteString", "RegReadString", "RegWriteDWord", "RegCreateAndWriteDWord", "RegReadDWord",
          "RegKeyExist", "RegKeyWithoutBaseExist", "RegValueExist", "RegKeyCreate", "RegKeyDelete", "RegKeyGetHandle",
          "RegIsInstTypeAlder", "RegIsInstTypeBirch", "RegIsInstTypeCedar"})
        EXPECT_NE(FindExport(pName), nullptr) << pName;
    EXPECT_EQ(FindExport("RegWriteNothing"), nullptr);
}
