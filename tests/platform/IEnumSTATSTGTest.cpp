// Going through the elements of a storage.
#include "StorageParts.h"
#include "Wine.h"

namespace
{
class IEnumSTATSTGTest : public testing::Test
{
protected:
    IEnumSTATSTGTest()
    {
        for (const char16_t* pName : {u"One", u"Two", u"Three"}) Put(mRoot, pName, "bytes");
        const Storage runs = NewStorage(mRoot, u"Runs");
        EXPECT_EQ(runs->SetClass(IID_IStream), S_OK);
        EXPECT_EQ(mRoot->EnumElements(0, nullptr, 0, mElements.Out()), S_OK);
    }
    RootFolder mFolder;
    Storage mRoot = mFolder.Create();
    Enumeration mElements;

    // So many at once; "" for none.
    NameList Next(ULONG ulCount, HRESULT hrExpected)
    {
        STATSTG aStats[8];
        ULONG ulFetched = 99;
        NameList names;
        EXPECT_EQ(mElements->Next(ulCount, aStats, &ulFetched), hrExpected);
        for (ULONG i = 0; i < ulFetched && i < 8; ++i) names.push_back(TakeName(aStats[i]));
        return names;
    }
};
} // namespace

TEST_F(IEnumSTATSTGTest, GivesEachOnceAndThenNoMore)
{
    NameList all = Next(3, S_OK);
    const NameList rest = Next(3, S_FALSE);
    EXPECT_EQ(rest.size(), 1u);
    all.insert(all.end(), rest.begin(), rest.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, (NameList{u"One", u"Runs", u"Three", u"Two"}));
    EXPECT_EQ(Next(1, S_FALSE), NameList{});
    EXPECT_EQ(Next(0, S_OK), NameList{});
}

TEST_F(IEnumSTATSTGTest, TellsOfEachWhatItIs)
{
    STATSTG stat;
    for (int i = 0; i < 4; ++i)
    {
        ASSERT_EQ(mElements->Next(1, &stat, nullptr), S_OK);
        const bool bStorage = TakeName(stat) == u"Runs";
        EXPECT_EQ(stat.type, bStorage ? DWORD{STGTY_STORAGE} : DWORD{STGTY_STREAM});
        EXPECT_EQ(stat.cbSize.QuadPart, bStorage ? 0u : 5u);
        EXPECT_EQ(stat.grfMode, 0u);
        EXPECT_TRUE(IsEqualGUID(stat.clsid, bStorage ? IID_IStream : GUID_NULL));
    }
}

TEST_F(IEnumSTATSTGTest, SkipsAndStartsAgain)
{
    const NameList first = Next(2, S_OK);
    EXPECT_EQ(mElements->Reset(), S_OK);
    EXPECT_EQ(mElements->Skip(1), S_OK);
    EXPECT_EQ(Next(1, S_OK), NameList{first[1]});
    EXPECT_EQ(mElements->Skip(0), S_OK);
    EXPECT_EQ(mElements->Skip(3), S_FALSE);
    EXPECT_EQ(Next(1, S_FALSE), NameList{});
}

TEST_F(IEnumSTATSTGTest, HasClonesThatGoOnFromItsPlace)
{
    EXPECT_EQ(mElements->Skip(2), S_OK);
    Enumeration clone;
    ASSERT_EQ(mElements->Clone(clone.Out()), S_OK);
    const NameList third = Next(1, S_OK);
    std::swap(mElements, clone);
    EXPECT_EQ(Next(1, S_OK), third);
}

TEST_F(IEnumSTATSTGTest, NeedsACountWhereverItIsNotOne)
{
    STATSTG aStats[2];
    EXPECT_EQ(mElements->Next(2, aStats, nullptr), WineSays(E_INVALIDARG, STG_E_INVALIDPARAMETER)); // another code in Wine
    EXPECT_EQ(mElements->Next(0, aStats, nullptr), WineSays(E_INVALIDARG, STG_E_INVALIDPARAMETER));
    EXPECT_EQ(mElements->Clone(nullptr), WineSays(E_INVALIDARG, STG_E_INVALIDPOINTER));
    EXPECT_EQ(mRoot->EnumElements(0, nullptr, 0, nullptr), WineSays(E_INVALIDARG, STG_E_INVALIDPOINTER));
}

TEST_F(IEnumSTATSTGTest, StandsElementsThatComeAndGo)
{
    std::size_t ulCount = 0;
    STATSTG stat;
    while (mElements->Next(1, &stat, nullptr) == S_OK)
    {
        ++ulCount;
        const std::u16string sName = TakeName(stat);
        EXPECT_EQ(mRoot->DestroyElement(W(sName.c_str())), S_OK);
    }
    EXPECT_EQ(ulCount, 4u);
    EXPECT_EQ(Names(mRoot), NameList{});
}

TEST_F(IEnumSTATSTGTest, EndsWithItsStorage)
{
    mRoot.Reset();
    EXPECT_EQ(mElements->Skip(1), WineSays(S_OK, STG_E_REVERTED)); // to Wine, it keeps the storage
    if (RunsUnderWine()) return;
    STATSTG stat;
    Enumeration clone;
    EXPECT_EQ(mElements->Next(1, &stat, nullptr), STG_E_REVERTED);
    EXPECT_EQ(mElements->Reset(), STG_E_REVERTED);
    EXPECT_EQ(mElements->Clone(clone.Out()), STG_E_REVERTED);
}
