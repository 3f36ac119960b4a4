// Registry keys: counting, listing and deleting subkeys.
#include "RegistryBranch.h"

#include "Raises.h"
#include "RecordingSecurity.h"

#include <set>

namespace
{
const std::string ksNotOpen = "Object is not initialised: mhKey=NULL";

class ORegistryKeys : public RegistryBranch
{
protected:
    // An object whose key's handle is closed behind its back.
    ORegistry Stale()
    {
        ORegistry open(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_OR_CREATE);
        open.OpenKey("Key", ORegistry::OPEN_ONLY);
        ORegistry copy(open);
        return copy;
    }

    std::set<std::string> Subkeys(ORegistry& reg)
    {
        std::set<std::string> names;
        CString sName;
        for (ULONG i = 0; reg.EnumerateKeys(i, sName); ++i) names.insert(static_cast<const char*>(sName));
        return names;
    }
};
} // namespace

TEST_F(ORegistryKeys, CountsSubkeysAndTheirLongestName)
{
    MakeKey("Key\\Lamp\\Below");
    MakeKey("Key\\Filament");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.GetNumSubKeys(), 2u);
    EXPECT_EQ(reg.GetMaxSubKeyNameLength(), 8u);
    ORegistry leaf(HKEY_LOCAL_MACHINE, "Key\\Filament", ORegistry::OPEN_ONLY);
    EXPECT_EQ(leaf.GetNumSubKeys(), 0u);
    EXPECT_EQ(leaf.GetMaxSubKeyNameLength(), 0u);
}

TEST_F(ORegistryKeys, ListsEverySubkeyOnce)
{
    MakeKey("Key\\Lamp\\Below");
    MakeKey("Key\\Filament");
    MakeKey("Key\\x");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(Subkeys(reg), (std::set<std::string>{"Filament", "Lamp", "x"}));

    CString sName = "untouched";
    EXPECT_EQ(reg.EnumerateKeys(3, sName), 0);
    EXPECT_EQ(reg.EnumerateKeys(0xFFFFFFFF, sName), 0);
    ORegistry leaf(HKEY_LOCAL_MACHINE, "Key\\x", ORegistry::OPEN_ONLY);
    EXPECT_EQ(leaf.EnumerateKeys(0, sName), 0);
    EXPECT_EQ(sName, "untouched");
}

TEST_F(ORegistryKeys, ListsAndDeletesNamesOfSeveralBytesACharacter)
{
    MakeKey("Key");
    HKEY hMade = nullptr;
    const std::u16string sPath = [&]
    {
        const std::string sNarrow = Path("Key") + "\\";
        return std::u16string(sNarrow.begin(), sNarrow.end()) + u"\u00D6\u00F6\u00E4\u00FC\u00DF";
    }();
    const WCHAR* pPath = AsWide(AsUnits(sPath.c_str()));
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, pPath, 0, nullptr, 0, KEY_READ, nullptr, &hMade, nullptr), ERROR_SUCCESS);
    RegCloseKey(hMade);

    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.GetMaxSubKeyNameLength(), 5u);
    CString sName;
    ASSERT_EQ(reg.EnumerateKeys(0, sName), 1);
    ORegistry child;
    reg.Clone(child, sName, FALSE);
    EXPECT_NE(child.GetKeyHandle(), nullptr);
    child.CloseKey();
    EXPECT_EQ(reg.DeleteKeyEx(nullptr), 1);
    EXPECT_FALSE(HasKey("Key"));
}

TEST_F(ORegistryKeys, DeletesASubkey)
{
    MakeKey("Key\\Lamp");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.DeleteKey("Lamp"), 1);
    EXPECT_FALSE(HasKey("Key\\Lamp"));
    EXPECT_EQ(reg.DeleteKey("Lamp"), 0);
    EXPECT_NE(reg.GetKeyHandle(), nullptr);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(ORegistryKeys, DeletesItsOwnKeyAndIsClosedThen)
{
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.DeleteKey(nullptr), 1);
    EXPECT_FALSE(HasKey("Key"));
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);
}

TEST_F(ORegistryKeys, RaisesNineForAKeyThatHasSubkeys)
{
    MakeKey("Key\\Lamp\\Below");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_RAISES(reg.DeleteKey("Lamp"), 19009);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | DeleteKey | RegDeleteKey failed: lRetval=5; lpSubKey='" + Path("Key\\Lamp") + "'"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::DeleteKey"});

    EXPECT_RAISES(reg.DeleteKey(nullptr), 19009);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | DeleteKey | RegDeleteKey failed: lRetval=5; lpSubKey='(null)'"});
    EXPECT_RAISES(reg.GetKeyHandle(), 19004); // closed all the same
    EXPECT_TRUE(HasKey("Key\\Lamp\\Below"));
}

TEST_F(ORegistryKeys, RaisesNineWhenItsOwnKeyIsGone)
{
    MakeKey("Key");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    ASSERT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, Path("Key").c_str()), ERROR_SUCCESS);
    EXPECT_RAISES(reg.DeleteKey(nullptr), 19009);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | DeleteKey | RegDeleteKey failed: lRetval=2; lpSubKey='(null)'"});
}

TEST_F(ORegistryKeys, DeletesAWholeTreeAndIsClosedThen)
{
    StoreText("Key\\A\\B\\C", "Text", "x");
    MakeKey("Key\\A\\D");
    MakeKey("Key\\E");
    MakeKey("KeyBesides");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.DeleteKeyEx(nullptr), 1);
    EXPECT_FALSE(HasKey("Key"));
    EXPECT_TRUE(HasKey("KeyBesides"));
    EXPECT_RAISES(reg.GetKeyHandle(), 19004);
}

TEST_F(ORegistryKeys, DeletesASubtreeAndStaysOpen)
{
    MakeKey("Key\\A\\B");
    MakeKey("Key\\E");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.DeleteKeyEx("A"), 1);
    EXPECT_FALSE(HasKey("Key\\A"));
    EXPECT_TRUE(HasKey("Key\\E"));
    EXPECT_EQ(reg.DeleteKeyEx("Missing"), 1); // made, and deleted with what is not in it
    EXPECT_FALSE(HasKey("Key\\Missing"));
    EXPECT_EQ(reg.GetNumSubKeys(), 1u);
}

TEST_F(ORegistryKeys, DeletesThePathOpenedBeforeWhenItHadToMakeItsKey)
{
    MakeKey("One");
    ORegistry reg(HKEY_LOCAL_MACHINE, "One", ORegistry::OPEN_ONLY);
    reg.OpenKey("Two", ORegistry::OPEN_OR_CREATE);
    EXPECT_EQ(reg.DeleteKey(nullptr), 1);
    EXPECT_FALSE(HasKey("One"));
    EXPECT_TRUE(HasKey("Two"));
}

TEST_F(ORegistryKeys, RaisesElevenWhenSubkeysGoWhileATreeIsDeleted)
{
    MakeKey("Key\\A");
    MakeKey("Key\\B");
    ORegistry reg(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
    RecordingSecurity security;
    int iOpens = 0;
    security.onImpersonate = [&] // from the third open on, two subkeys have been counted
    {
        if (++iOpens >= 3) RegDeleteKeyA(HKEY_LOCAL_MACHINE, Path("Key\\B").c_str());
    };
    EXPECT_RAISES(reg.DeleteKeyEx(nullptr), 19011);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | DeleteKeyEx | Reg.EnumerateKeys failed: Name=''"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::DeleteKeyEx"});
    EXPECT_TRUE(HasKey("Key"));
    EXPECT_FALSE(HasKey("Key\\A"));
}

TEST_F(ORegistryKeys, RaisesFourWhileNoKeyIsOpen)
{
    ORegistry reg;
    CString sName;
    EXPECT_RAISES(reg.GetNumSubKeys(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetNumSubKeys | Object is not initialised; mhKey=NULL"});
    EXPECT_RAISES(reg.GetMaxSubKeyNameLength(), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetMaxSubKeyNameLength | " + ksNotOpen});
    EXPECT_RAISES(reg.EnumerateKeys(0, sName), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | EnumerateKeys | " + ksNotOpen});
    EXPECT_RAISES(reg.DeleteKey("A"), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | DeleteKey | " + ksNotOpen});
    EXPECT_RAISES(reg.DeleteKeyEx("A"), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | DeleteKeyEx | " + ksNotOpen});
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::GetNumSubKeys", "Caught in ORegistry::GetMaxValueNameLength",
                                   "Caught in ORegistry::EnumerateKeys", "Caught in ORegistry::DeleteKey",
                                   "Caught in ORegistry::DeleteKeyEx"}));
}

TEST_F(ORegistryKeys, RaisesTenWhenTheKeyCannotBeAsked)
{
    ORegistry stale = Stale();
    EXPECT_RAISES(stale.GetNumSubKeys(), 19010);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetNumSubKeys | RegQueryInfoKey failed: lRetval=6"});
    EXPECT_RAISES(stale.GetMaxSubKeyNameLength(), 19010);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetMaxSubKeyNameLength | RegQueryInfoKey failed: lRetval=6"});
}

TEST_F(ORegistryKeys, RaisesElevenWhenItMayNotList)
{
    MakeKey("Key\\Lamp");
    ORegistry reg;
    reg.InitAccess(KEY_QUERY_VALUE);
    reg.OpenKey("Key", ORegistry::OPEN_ONLY);
    CString sName;
    EXPECT_RAISES(reg.EnumerateKeys(0, sName), 19011);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | EnumerateKeys | RegEnumKeyEx failed: lRetval=5; SubKeyName=''"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::EnumerateKeys"});
}
