// Transactions inside transactions when memory runs out in a call that only looks. Linux only.
#include "StorageParts.h"

#include "FewBlocks.h"

#include <functional>
#include <map>

namespace
{
using Content = std::map<std::u16string, std::string>; // storages by their path and a slash

void Collect(IStorage* pStorage, const std::u16string& sPath, Content& content)
{
    for (const std::u16string& sName : Names(pStorage))
    {
        std::string& sBytes = content[sPath + sName];
        const std::u16string sBare = sName.substr(0, sName.find(u'/'));
        if (sBare == sName)
            sBytes = Get(pStorage, sName.c_str());
        else
            Collect(OpenStorage(pStorage, sBare.c_str()), sPath + sName, content);
    }
}
Content ContentOf(IStorage* pStorage)
{
    Content content;
    Collect(pStorage, u"", content);
    return content;
}

struct Look // a call that changes nothing
{
    const char* pName;
    std::function<HRESULT(IStorage*, IStorage* pOther)> call;
};

HRESULT ReadIn(IStorage* pStorage, const char16_t* pName)
{
    Stream stream;
    const HRESULT hr = pStorage->OpenStream(W(pName), nullptr, kulElement, 0, stream.Out());
    BYTE aubBytes[7000];
    return SUCCEEDED(hr) ? stream->Read(aubBytes, sizeof aubBytes, nullptr) : hr;
}
HRESULT OpenDeep(IStorage* pStorage, DWORD ulMode)
{
    Storage deep;
    const HRESULT hr = pStorage->OpenStorage(W(u"Deep"), nullptr, ulMode, nullptr, 0, deep.Out());
    return SUCCEEDED(hr) ? ReadIn(deep, u"Inside") : hr;
}
HRESULT Enumerate(IStorage* pStorage)
{
    Enumeration elements;
    HRESULT hr = pStorage->EnumElements(0, nullptr, 0, elements.Out());
    if (SUCCEEDED(hr)) hr = elements->Skip(3);
    for (STATSTG stat; SUCCEEDED(hr);)
    {
        hr = elements->Next(1, &stat, nullptr);
        if (hr == S_FALSE) return S_OK;
        if (SUCCEEDED(hr)) CoTaskMemFree(stat.pwcsName);
    }
    return hr;
}

const Look kLooks[] = {
    {"Stat",
     [](IStorage* p, IStorage*)
     {
         STATSTG stat;
         return p->Stat(&stat, STATFLAG_NONAME);
     }},
    {"Enumerate", [](IStorage* p, IStorage*) { return Enumerate(p); }},
    {"Read", [](IStorage* p, IStorage*) { return ReadIn(p, u"m6"); }},
    {"OpenStorage", [](IStorage* p, IStorage*) { return OpenDeep(p, kulElement); }},
    {"OpenStorageTransacted", [](IStorage* p, IStorage*) { return OpenDeep(p, kulTransacted); }},
    {"CopyTo", [](IStorage* p, IStorage* pOther) { return p->CopyTo(0, nullptr, nullptr, pOther); }},
};

class OverlayMemory : public testing::TestWithParam<Look>
{
protected:
    OverlayMemory()
    {
        const Storage root = mFolder.Create(), outer = NewStorage(root, u"Outer"), runs = NewStorage(outer, u"Runs");
        for (const char16_t* pName : {u"m0", u"m1", u"m2", u"m3", u"m4", u"m5", u"m6", u"m7", u"m8"})
            Put(runs, pName, std::string(1000 * (pName[1] - u'0'), 'm'));
        Put(NewStorage(runs, u"Deep"), u"Inside", std::string(5000, 'i'));
        mExpected = ContentOf(runs);
    }
    RootFolder mFolder;
    Content mExpected; // of Runs
};
} // namespace

TEST_P(OverlayMemory, NothingIsHiddenWhenACallThatLooksFindsNone)
{
    int iFailures = 0;
    for (const bool bTwoLevels : {false, true})
    {
        HRESULT hr = E_FAIL;
        for (long lBlocks = 0; FAILED(hr) && lBlocks < 1000; ++lBlocks)
        {
            const Storage root = mFolder.Open(kulTransacted), other = mFolder.Create(STGM_DIRECT, "Other.cfb");
            const Storage outer = OpenStorage(root, u"Outer", kulTransacted);
            const Storage runs = OpenStorage(outer, u"Runs", bTwoLevels ? kulTransacted : kulElement);
            hr = WithBlocks(lBlocks, [&] { return GetParam().call(runs, other); });
            if (SUCCEEDED(hr)) break;
            ++iFailures;
            ASSERT_EQ(hr, STG_E_INSUFFICIENTMEMORY) << lBlocks;
            ASSERT_TRUE(ContentOf(runs) == mExpected) << lBlocks;
            Put(runs, u"m6", "new");
            ASSERT_EQ(runs->Commit(STGC_DEFAULT), S_OK) << lBlocks;
            ASSERT_EQ(outer->Commit(STGC_DEFAULT), S_OK) << lBlocks;
            ASSERT_EQ(Get(runs, u"m6"), "new") << lBlocks;
        }
        EXPECT_EQ(hr, S_OK);
    }
    EXPECT_GT(iFailures, 0);
}

INSTANTIATE_TEST_SUITE_P(Calls, OverlayMemory, testing::ValuesIn(kLooks),
                         [](const testing::TestParamInfo<Look>& info) { return info.param.pName; });
