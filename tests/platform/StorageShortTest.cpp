// What a write that failed leaves of a stream, at every step of it. Linux only.
#include "StorageParts.h"

#include "SmallDisk.h"
#include "StorageContent.h"
#include "StorageNamed.h"

namespace
{
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;
using Landing = StorageMemory::Landing;

struct Case
{
    WORD uwVersion;
    StorageAccess eAccess;
    Landing eLanding;
    std::size_t ulSize;
    bool bBegun; // some of it was written in this transaction already
};

// A stream between two others, in a file whose disk stops.
class Short
{
public:
    explicit Short(const Case& c) : mCase(c), mOld(StoragePattern(c.ulSize, 1))
    {
        StorageMemory bytes;
        CompoundFile file(bytes);
        EXPECT_EQ(file.Create(c.uwVersion, StorageAccess::Transacted), S_OK);
        const StorageBlob contents[] = {StoragePattern(3000, 2), mOld, StoragePattern(50000, 3)};
        ULONG ulEntry = 0;
        for (int i = 0; i < 3; ++i)
        {
            EXPECT_EQ(InsertNamed(file, 0, kpNames[i], EntryKind::Stream, ulEntry), S_OK);
            EXPECT_EQ(file.Write(ulEntry, 0, contents[i].data(), contents[i].size()), S_OK);
        }
        EXPECT_EQ(file.Commit(), S_OK);
        EXPECT_EQ(ContentOf(bytes, mBefore), S_OK);
        mImage = bytes.maBytes;
    }

    // Work on the stream after so many steps of which the disk stops; whether it came to its end.
    template <class Work, class Check>
    bool Try(ULONG ulAllowed, Work work, Check check)
    {
        StorageMemory bytes(mImage);
        CompoundFile file(bytes);
        ULONG ulEntry = 0;
        EXPECT_EQ(file.Open(mCase.eAccess), S_OK);
        EXPECT_EQ(file.Find(0, kpNames[1], ulEntry), S_OK);
        const std::size_t ulBegun = mCase.bBegun && !mOld.empty() ? 1 : 0;
        EXPECT_EQ(file.Write(ulEntry, mOld.size() / 2, mOld.data() + mOld.size() / 2, ulBegun), S_OK);
        bytes.Stop(ulAllowed);
        bytes.meLanding = mCase.eLanding;
        bytes.mhrStopped = STG_E_MEDIUMFULL;
        const HRESULT hr = work(file, ulEntry);
        bytes.GoOn();
        if (SUCCEEDED(hr)) return true;
        EXPECT_EQ(hr, STG_E_MEDIUMFULL);

        StorageBlob found;
        EXPECT_EQ(ReadWhole(file, ulEntry, found), S_OK);
        EXPECT_EQ(found.size(), mOld.size());
        found.resize(mOld.size());
        check(found);
        // What the stream gains afterwards is zero, and the rest of the file is as it was.
        EXPECT_EQ(file.Resize(ulEntry, found.size() + 20000), S_OK);
        found.resize(found.size() + 20000);
        StorageContent expected = mBefore, after;
        expected[kpNames[1]] = found;
        EXPECT_EQ(file.Commit(), S_OK);
        EXPECT_EQ(ContentOf(bytes, after), S_OK);
        EXPECT_TRUE(after == expected);
        EXPECT_EQ(DamageOf(bytes), "");
        return false;
    }

    static constexpr const char16_t* kpNames[] = {u"Before", u"Stream", u"Behind"};
    const Case mCase;
    const StorageBlob mOld;

private:
    StorageContent mBefore;
    std::vector<BYTE> mImage;
};

// Writes so many bytes at a place, with every stop; how many stops there were.
int WriteWithStops(Short& file, std::size_t ulAt, std::size_t ulBytes)
{
    const StorageBlob more = StoragePattern(ulBytes, 9);
    std::size_t ulWritten = 0;
    const auto work = [&](CompoundFile& to, ULONG ulEntry)
    { return to.Write(ulEntry, ulAt, more.data(), more.size(), &ulWritten); };
    const auto check = [&](const StorageBlob& found)
    {
        std::size_t ulWrong = 0;
        for (std::size_t i = 0; i < found.size(); ++i)
        {
            const bool bInside = i >= ulAt && i - ulAt < ulBytes;
            const bool bNew = bInside && found[i] == more[i - ulAt];
            ulWrong += bInside && i - ulAt < ulWritten ? !bNew : !bNew && found[i] != file.mOld[i];
        }
        EXPECT_EQ(ulWrong, 0u);
        EXPECT_LE(ulWritten, file.mOld.size() > ulAt ? file.mOld.size() - ulAt : 0);
    };
    int iStops = 0;
    while (!testing::Test::HasFailure() && !file.Try(static_cast<ULONG>(iStops), work, check)) ++iStops;
    return iStops;
}

template <class Work>
void ForAll(Work work)
{
    for (WORD uwVersion : {3, 4})
        for (StorageAccess eAccess : {StorageAccess::Direct, StorageAccess::Transacted})
            for (Landing eLanding : {Landing::None, Landing::Half})
                for (std::size_t ulSize : {0u, 1000u, 4095u, 4096u, 5000u, 70000u})
                    for (bool bBegun : {false, true})
                    {
                        Short file({uwVersion, eAccess, eLanding, ulSize, bBegun});
                        work(file);
                        ASSERT_FALSE(testing::Test::HasFailure())
                            << uwVersion << ' ' << static_cast<int>(eAccess) << ' ' << static_cast<int>(eLanding) << ' ' << ulSize;
                    }
}
} // namespace

TEST(StorageShort, AWriteThatFailsKeepsTheSizeAndAllThatItIsNotFor)
{
    int iStops = 0;
    ForAll(
        [&](Short& file)
        {
            const std::size_t ulSize = file.mOld.size();
            iStops += WriteWithStops(file, 0, 100);
            iStops += WriteWithStops(file, ulSize / 2, 3000);
            iStops += WriteWithStops(file, ulSize, 5000);
            iStops += WriteWithStops(file, ulSize + 3000, 100);
            iStops += WriteWithStops(file, ulSize / 2, 100000);
        });
    EXPECT_GT(iStops, 500);
}

TEST(StorageShort, AGrowthThatFailsKeepsAll)
{
    int iStops = 0;
    ForAll(
        [&](Short& file)
        {
            const auto work = [&](CompoundFile& to, ULONG ulEntry) { return to.Resize(ulEntry, file.mOld.size() + 30000); };
            const auto check = [&](const StorageBlob& found) { EXPECT_TRUE(found == file.mOld); };
            for (ULONG i = 0; !testing::Test::HasFailure() && !file.Try(i, work, check); ++i) ++iStops;
        });
    EXPECT_GT(iStops, 20);
}

TEST(StorageShort, AFullDiskIsToldWithHowMuchWasWritten)
{
    TempFolder folder;
    SmallDisk disk(folder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::u16string sName = Widen(folder / "file");
    Storage root;
    ASSERT_EQ(StgCreateDocfile(W(sName.c_str()), kulElement, 0, root.Out()), S_OK);
    const Stream stream = NewStream(root, u"Stream");
    const std::string sOld(5000, 'o'), sNew(20000, 'n');
    Write(stream, sOld);
    ASSERT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    disk.Fill();
    ULONG ulWritten = 1;
    ULARGE_INTEGER place = Bytes(0);
    EXPECT_EQ(stream->Write(sNew.data(), static_cast<ULONG>(sNew.size()), &ulWritten), STG_E_MEDIUMFULL);
    EXPECT_EQ(ulWritten, 0u);
    EXPECT_EQ(stream->Seek(By(0), STREAM_SEEK_CUR, &place), S_OK);
    EXPECT_EQ(place.QuadPart, sOld.size());
    EXPECT_EQ(SizeOf(stream), sOld.size());
    disk.MakeRoom();
    EXPECT_EQ(stream->SetSize(Bytes(8000)), S_OK);
    ASSERT_EQ(stream->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(ReadUpTo(stream, 9000), sOld + std::string(3000, '\0'));
}
