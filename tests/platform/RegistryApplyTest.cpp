// Many changes as one.
#include "RegistryKey.h"

#include <algorithm>
#include <cstring>
#include <list>

namespace
{
using Names = std::vector<std::string>;

class RegistryApply : public RegistryKey
{
protected:
    // Makes a change of a key below the test's own; what it points to lives as long as the fixture.
    LumRegistryChange Change(LumRegistryChange::Kind eKind, const std::u16string& sKey, const char16_t* pName = nullptr,
                             const char* pData = "")
    {
        const std::u16string sTop(msPath.begin(), msPath.end());
        const std::u16string& sPath = mTexts.emplace_back(sKey.empty() ? sTop : sTop + u"\\" + sKey);
        return {eKind,  HKEY_LOCAL_MACHINE, Wide(sPath), pName ? Wide(pName) : nullptr, REG_BINARY, reinterpret_cast<const BYTE*>(pData),
                static_cast<DWORD>(std::strlen(pData))};
    }
    LSTATUS Apply(const std::vector<LumRegistryChange>& changes)
    {
        mulFailed = 99;
        return LumRegistryApply(changes.data(), changes.size(), &mulFailed);
    }
    std::string BytesOf(const char* pKey, const char* pName)
    {
        const Value value = Get(Open(mKey, pKey), pName);
        return value.lStatus == ERROR_SUCCESS ? value.sBytes : "none";
    }

    using enum LumRegistryChange::Kind;
    size_t mulFailed = 99;

private:
    std::list<std::u16string> mTexts;
};

TEST_F(RegistryApply, ChangesAreMadeInTheirOrder)
{
    Create(mKey, "Old\\Sub");
    const OpenKey kept = Create(mKey, "Kept");
    ASSERT_EQ(Set(kept, "gone", REG_BINARY, "1"), ERROR_SUCCESS);
    ASSERT_EQ(Set(kept, "changed", REG_BINARY, "1"), ERROR_SUCCESS);

    EXPECT_EQ(Apply({Change(CreateKey, u"New\\Sub"), Change(SetValue, u"New\\Sub", u"v", "one"), Change(SetValue, u"New\\Sub", u"V", "two"),
                     Change(SetValue, u"Made\\By\\Value", nullptr, "default"), Change(DeleteKey, u"Old"), Change(SetValue, u"Old", u"v", "anew"),
                     Change(DeleteValue, u"Kept", u"gone"), Change(SetValue, u"kept", u"changed", "2"), Change(CreateKey, u"Kept")}),
              ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey), (Names{"Kept", "Made", "New", "Old"}));
    EXPECT_EQ(BytesOf("New\\Sub", "v"), "two");
    EXPECT_EQ(BytesOf("Made\\By\\Value", ""), "default");
    EXPECT_EQ(SubKeys(Open(mKey, "Old")), Names{});
    EXPECT_EQ(BytesOf("Old", "v"), "anew");
    EXPECT_EQ(ValueNames(kept), (Names{"changed"}));
    EXPECT_EQ(BytesOf("Kept", "changed"), "2");
}

TEST_F(RegistryApply, WhatIsNotThereNeedNotBeDeleted)
{
    EXPECT_EQ(Apply({Change(DeleteKey, u"none"), Change(DeleteValue, u"none", u"v"), Change(DeleteValue, u"", u"v")}), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey), Names{});
    EXPECT_EQ(Apply({}), ERROR_SUCCESS);
}

TEST_F(RegistryApply, OneFailureTakesEverythingBack)
{
    char acClass[] = "Lamp";
    OpenKey old;
    ASSERT_EQ(RegCreateKeyExA(mKey, "Old", 0, acClass, 0, KEY_ALL_ACCESS, nullptr, old.Put(), nullptr), ERROR_SUCCESS);
    ASSERT_EQ(Set(Create(old, "Sub\\Inner"), "deep", REG_DWORD, "1234"), ERROR_SUCCESS);
    ASSERT_EQ(Set(old, "v", REG_BINARY, "old"), ERROR_SUCCESS);
    const OpenKey kept = Create(mKey, "Kept");
    ASSERT_EQ(Set(kept, "v", REG_BINARY, "old"), ERROR_SUCCESS);
    ASSERT_EQ(Set(kept, "gone", REG_BINARY, "old"), ERROR_SUCCESS);

    EXPECT_EQ(Apply({Change(CreateKey, u"New\\Sub"), Change(SetValue, u"Kept", u"v", "new"), Change(SetValue, u"Kept", u"v", "newer"),
                     Change(SetValue, u"Kept", u"extra", "new"), Change(DeleteValue, u"Kept", u"gone"), Change(DeleteKey, u"Old"),
                     Change(SetValue, u"Old\\Other", u"v", "new"), Change(CreateKey, std::u16string(300, u'x')), Change(CreateKey, u"Late")}),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(mulFailed, 7u);
    EXPECT_EQ(SubKeys(mKey), (Names{"Kept", "Old"}));
    EXPECT_EQ(ValueNames(kept), (Names{"gone", "v"}));
    EXPECT_EQ(BytesOf("Kept", "v"), "old");
    EXPECT_EQ(SubKeys(Open(mKey, "Old")), (Names{"Sub"}));
    EXPECT_EQ(BytesOf("Old", "v"), "old");
    EXPECT_EQ(Get(Open(mKey, "Old\\Sub\\Inner"), "deep"), (Value{ERROR_SUCCESS, REG_DWORD, "1234"}));
    char acFound[10];
    DWORD ulChars = sizeof acFound;
    EXPECT_EQ(RegQueryInfoKeyA(Open(mKey, "Old"), acFound, &ulChars, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(acFound, "Lamp");
}

TEST_F(RegistryApply, WhatAKeyThatIsOpenReadsIsTheNewState)
{
    const OpenKey key = Create(mKey, "A");
    ASSERT_EQ(Set(key, "v", REG_BINARY, "old"), ERROR_SUCCESS);
    EXPECT_EQ(Get(key, "v").sBytes, "old");
    EXPECT_EQ(Apply({Change(SetValue, u"A", u"v", "new"), Change(CreateKey, u"A\\Sub")}), ERROR_SUCCESS);
    EXPECT_EQ(Get(key, "v").sBytes, "new");
    EXPECT_EQ(SubKeys(key), (Names{"Sub"}));
    EXPECT_EQ(Apply({Change(DeleteKey, u"A"), Change(SetValue, u"A", u"v", "newer")}), ERROR_SUCCESS);
    EXPECT_EQ(Get(key, "v").lStatus, ERROR_KEY_DELETED);
    EXPECT_EQ(BytesOf("A", "v"), "newer");
}

TEST_F(RegistryApply, SeveralRootsChangeTogetherOrNotAtAll)
{
    const char16_t* const pKey = u"Software\\LumBaseTests\\Together";
    const auto set = [&](HKEY hRoot)
    { return LumRegistryChange{SetValue, hRoot, Wide(pKey), Wide(u"v"), REG_BINARY, reinterpret_cast<const BYTE*>("1"), 1}; };
    const LumRegistryChange bad = Change(CreateKey, std::u16string(300, u'x'));

    EXPECT_EQ(Apply({set(HKEY_CURRENT_USER), set(HKEY_LOCAL_MACHINE), bad}), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(TryOpen(HKEY_CURRENT_USER, std::u16string(pKey)), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(TryOpen(HKEY_LOCAL_MACHINE, std::u16string(pKey)), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Apply({set(HKEY_CURRENT_USER), set(HKEY_LOCAL_MACHINE)}), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(HKEY_CURRENT_USER, std::u16string(pKey)), ERROR_SUCCESS);
    EXPECT_EQ(TryOpen(HKEY_LOCAL_MACHINE, std::u16string(pKey)), ERROR_SUCCESS);
    LumRegistryChange drop[] = {set(HKEY_CURRENT_USER), set(HKEY_LOCAL_MACHINE)};
    for (LumRegistryChange& change : drop) change.eKind = DeleteKey;
    EXPECT_EQ(LumRegistryApply(drop, 2), ERROR_SUCCESS);
}

TEST_F(RegistryApply, OnlyPredefinedKeysAreRoots)
{
    LumRegistryChange change = Change(CreateKey, u"A");
    change.hRoot = mKey;
    EXPECT_EQ(Apply({Change(CreateKey, u"B"), change}), ERROR_INVALID_HANDLE);
    EXPECT_EQ(mulFailed, 1u);
    change.hRoot = nullptr;
    EXPECT_EQ(Apply({change}), ERROR_INVALID_HANDLE);
    change = {DeleteKey, HKEY_LOCAL_MACHINE, Wide(u""), nullptr, 0, nullptr, 0};
    EXPECT_EQ(Apply({change}), ERROR_ACCESS_DENIED);
    EXPECT_EQ(SubKeys(mKey), Names{});
}

TEST_F(RegistryApply, ProgressComesUpToTheLastChange)
{
    std::vector<LumRegistryChange> changes(2500, Change(SetValue, u"A", u"v", "same"));
    std::vector<size_t> told;
    const auto note = [](void* pTold, size_t ulDone) { static_cast<std::vector<size_t>*>(pTold)->push_back(ulDone); };
    EXPECT_EQ(LumRegistryApply(changes.data(), changes.size(), nullptr, note, &told), ERROR_SUCCESS);
    ASSERT_GE(told.size(), 2u);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_EQ(told.back(), changes.size());
}
} // namespace
