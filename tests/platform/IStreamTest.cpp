// A stream of a compound file: bytes, places and sizes.
#include "StorageParts.h"
#include "Wine.h"

namespace
{
class IStreamTest : public testing::TestWithParam<DWORD>
{
protected:
    RootFolder mFolder;
    Storage mRoot = mFolder.Create(GetParam());
    Stream mStream = NewStream(mRoot, u"Stream");

    ULONGLONG PlaceOf(IStream* pStream)
    {
        ULARGE_INTEGER place = Bytes(~0ull);
        EXPECT_EQ(pStream->Seek(By(0), STREAM_SEEK_CUR, &place), S_OK);
        return place.QuadPart;
    }
    std::string All()
    {
        EXPECT_EQ(mStream->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
        return ReadUpTo(mStream, 100000);
    }
};
INSTANTIATE_TEST_SUITE_P(Modes, IStreamTest, testing::Values(STGM_DIRECT, STGM_TRANSACTED));
} // namespace

TEST_P(IStreamTest, ReadsWhatWasWrittenFromThePlaceOn)
{
    Write(mStream, "spectrum");
    EXPECT_EQ(PlaceOf(mStream), 8u);
    EXPECT_EQ(ReadUpTo(mStream, 5), "");
    EXPECT_EQ(mStream->Seek(By(2), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(ReadUpTo(mStream, 3), "ect");
    EXPECT_EQ(ReadUpTo(mStream, 30), "rum");
    EXPECT_EQ(PlaceOf(mStream), 8u);
}

TEST_P(IStreamTest, NeedsNoPlaceForTheCounts)
{
    char c = 0;
    EXPECT_EQ(mStream->Write("x", 1, nullptr), S_OK);
    EXPECT_EQ(mStream->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(mStream->Read(&c, 1, nullptr), S_OK);
    EXPECT_EQ(c, 'x');
    EXPECT_EQ(mStream->Write(nullptr, 1, nullptr), STG_E_INVALIDPOINTER);
    ULONG ulCount = 7;
    EXPECT_EQ(mStream->Write(nullptr, 0, &ulCount), STG_E_INVALIDPOINTER);
    EXPECT_EQ(mStream->Write("x", 0, &ulCount), S_OK);
    EXPECT_EQ(ulCount, 0u);
}

TEST_P(IStreamTest, SeeksFromStartPlaceAndEnd)
{
    Write(mStream, "0123456789");
    ULARGE_INTEGER place;
    EXPECT_EQ(mStream->Seek(By(4), STREAM_SEEK_SET, &place), S_OK);
    EXPECT_EQ(mStream->Seek(By(-1), STREAM_SEEK_CUR, &place), S_OK);
    EXPECT_EQ(place.QuadPart, 3u);
    EXPECT_EQ(mStream->Seek(By(-2), STREAM_SEEK_END, &place), S_OK);
    EXPECT_EQ(place.QuadPart, 8u);
    EXPECT_EQ(ReadUpTo(mStream, 5), "89");
    EXPECT_EQ(mStream->Seek(By(0), 3, &place), STG_E_INVALIDFUNCTION);
}

TEST_P(IStreamTest, DoesNotSeekBeforeItsStart)
{
    Write(mStream, "0123456789");
    // Wine takes the place for a number without sign.
    EXPECT_EQ(mStream->Seek(By(-11), STREAM_SEEK_END, nullptr), WineSays(S_OK, STG_E_INVALIDFUNCTION));
    if (RunsUnderWine()) return;
    EXPECT_EQ(mStream->Seek(By(-11), STREAM_SEEK_CUR, nullptr), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(PlaceOf(mStream), 10u);
}

TEST_P(IStreamTest, SeeksBeyondItsEndAndBeyondFourGigabytes)
{
    Write(mStream, "0123456789");
    ULARGE_INTEGER place;
    EXPECT_EQ(mStream->Seek(By(0x100000005), STREAM_SEEK_SET, &place), S_OK);
    EXPECT_EQ(place.QuadPart, 0x100000005u);
    if (!RunsUnderWine()) // which ends the program there
    {
        EXPECT_EQ(ReadUpTo(mStream, 5), "");
        EXPECT_EQ(mStream->Write("x", 1, nullptr), STG_E_MEDIUMFULL); // of 512-byte sectors
    }
    EXPECT_EQ(SizeOf(mStream), 10u);
}

TEST_P(IStreamTest, HasZerosWhereItWasNotWritten)
{
    Write(mStream, "start");
    EXPECT_EQ(mStream->Seek(By(3), STREAM_SEEK_END, nullptr), S_OK);
    EXPECT_EQ(SizeOf(mStream), 5u);
    Write(mStream, "end");
    EXPECT_EQ(All(), std::string("start\0\0\0end", 11));
}

TEST_P(IStreamTest, ChangesItsSizeAndLeavesThePlace)
{
    Write(mStream, "0123456789");
    EXPECT_EQ(mStream->SetSize(Bytes(4)), S_OK);
    EXPECT_EQ(PlaceOf(mStream), 10u);
    EXPECT_EQ(All(), "0123");
    EXPECT_EQ(mStream->SetSize(Bytes(6)), S_OK);
    const std::string sAll = All();
    EXPECT_EQ(sAll.size(), 6u);
    EXPECT_EQ(sAll.substr(0, 4), "0123");
    EXPECT_EQ(mStream->SetSize(Bytes(0)), S_OK);
    EXPECT_EQ(All(), "");
}

TEST_P(IStreamTest, KeepsItsBytesOverEveryBoundary)
{
    std::string sExpected;
    for (const ULONG ulSize : {1u, 63u, 64u, 65u, 4095u, 4096u, 4097u, 70000u, 4096u, 4095u, 64u, 63u, 0u, 5000u})
    {
        EXPECT_EQ(mStream->SetSize(Bytes(ulSize)), S_OK);
        EXPECT_EQ(mStream->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
        sExpected.resize(ulSize);
        for (ULONG i = 0; i < ulSize; ++i) sExpected[i] = static_cast<char>(i * 7 + ulSize);
        Write(mStream, sExpected);
        EXPECT_EQ(All(), sExpected) << ulSize;
    }
}

TEST_P(IStreamTest, HasClonesWithPlacesOfTheirOwn)
{
    Write(mStream, "0123456789");
    EXPECT_EQ(mStream->Seek(By(2), STREAM_SEEK_SET, nullptr), S_OK);
    Stream clone;
    ASSERT_EQ(mStream->Clone(clone.Out()), S_OK);
    EXPECT_EQ(PlaceOf(clone), 2u);
    Write(clone, "ab");
    EXPECT_EQ(ReadUpTo(mStream, 3), "ab4");
    EXPECT_EQ(mStream->SetSize(Bytes(3)), S_OK);
    EXPECT_EQ(SizeOf(clone), 3u);
    EXPECT_EQ(mStream->Clone(nullptr), STG_E_INVALIDPOINTER);
    mStream.Reset();
    EXPECT_EQ(TryStream(mRoot, u"Stream"), STG_E_ACCESSDENIED); // the clone still has it open
    clone.Reset();
    EXPECT_EQ(TryStream(mRoot, u"Stream"), S_OK);
}

TEST_P(IStreamTest, CopiesFromPlaceToPlace)
{
    Write(mStream, "0123456789");
    EXPECT_EQ(mStream->Seek(By(3), STREAM_SEEK_SET, nullptr), S_OK);
    const Stream other = NewStream(mRoot, u"Other");
    Write(other, ">>");
    ULARGE_INTEGER read, written;
    EXPECT_EQ(mStream->CopyTo(other, Bytes(4), &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 4u);
    EXPECT_EQ(written.QuadPart, 4u);
    EXPECT_EQ(PlaceOf(mStream), 7u);
    EXPECT_EQ(PlaceOf(other), 6u);
    EXPECT_EQ(mStream->CopyTo(other, Bytes(100), &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 3u);
    EXPECT_EQ(mStream->CopyTo(other, Bytes(100), nullptr, nullptr), S_OK);
    EXPECT_EQ(other->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(ReadUpTo(other, 100), ">>3456789");
}

TEST_P(IStreamTest, CopiesMoreThanItHoldsAtOnce)
{
    std::string sMuch(1000000, '\0');
    for (std::size_t i = 0; i < sMuch.size(); ++i) sMuch[i] = static_cast<char>(i * 31 >> 5);
    Write(mStream, sMuch);
    EXPECT_EQ(mStream->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
    const Stream other = NewStream(mRoot, u"Other");
    EXPECT_EQ(mStream->CopyTo(other, Bytes(2000000), nullptr, nullptr), S_OK);
    EXPECT_EQ(other->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_TRUE(ReadUpTo(other, 2000000) == sMuch);
}

TEST_P(IStreamTest, CopiesToACloneFurtherOnWhatItHeldAtFirst)
{
    std::string sBytes(5000, '\0');
    for (std::size_t i = 0; i < sBytes.size(); ++i) sBytes[i] = static_cast<char>(i * 31 >> 5);
    Write(mStream, sBytes);
    Stream clone;
    ASSERT_EQ(mStream->Clone(clone.Out()), S_OK);
    EXPECT_EQ(mStream->Seek(By(0), STREAM_SEEK_SET, nullptr), S_OK);
    ULARGE_INTEGER read, written;
    // Wine reads what it has just written, and with a larger number does not end.
    EXPECT_EQ(mStream->CopyTo(clone, Bytes(RunsUnderWine() ? 20000 : ~0ull), &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, WineSays(20000u, 5000u));
    EXPECT_EQ(written.QuadPart, read.QuadPart);
    EXPECT_EQ(PlaceOf(mStream), read.QuadPart);
    EXPECT_EQ(SizeOf(mStream), 5000 + read.QuadPart);
    EXPECT_EQ(All().substr(0, 10000), sBytes + sBytes);
}

TEST_P(IStreamTest, CopiesNothingFromItsEndOn)
{
    Write(mStream, "bytes");
    const Stream other = NewStream(mRoot, u"Other");
    ULARGE_INTEGER read = Bytes(7), written = Bytes(7);
    EXPECT_EQ(mStream->CopyTo(other, Bytes(10), &read, &written), S_OK);
    EXPECT_EQ(mStream->Seek(By(100), STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(mStream->CopyTo(other, Bytes(10), &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 0u);
    EXPECT_EQ(written.QuadPart, 0u);
    EXPECT_EQ(SizeOf(other), 0u);
}

TEST_P(IStreamTest, CommitsAndRevertsNothing)
{
    Write(mStream, "bytes");
    EXPECT_EQ(mStream->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(mStream->Commit(16), WineSays(S_OK, STG_E_INVALIDFLAG)); // Wine takes any number
    EXPECT_EQ(mStream->Revert(), S_OK);
    EXPECT_EQ(All(), "bytes");
}

TEST_P(IStreamTest, LocksNoRegions)
{
    // Wine says that it is not implemented.
    EXPECT_EQ(mStream->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE), WineSays(E_NOTIMPL, STG_E_INVALIDFUNCTION));
    EXPECT_EQ(mStream->UnlockRegion(Bytes(0), Bytes(1), LOCK_WRITE), WineSays(E_NOTIMPL, STG_E_INVALIDFUNCTION));
}

TEST_P(IStreamTest, TellsWhatItIs)
{
    Write(mStream, "bytes");
    STATSTG stat;
    ASSERT_EQ(mStream->Stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(TakeName(stat), u"Stream");
    EXPECT_EQ(stat.type, DWORD{STGTY_STREAM});
    EXPECT_EQ(stat.cbSize.QuadPart, 5u);
    EXPECT_EQ(stat.grfMode, kulElement);
    EXPECT_EQ(stat.grfLocksSupported, 0u);
    EXPECT_TRUE(IsEqualGUID(stat.clsid, GUID_NULL));
    ASSERT_EQ(mStream->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.pwcsName, nullptr);
    EXPECT_EQ(mStream->Stat(&stat, 3), WineSays(S_OK, STG_E_INVALIDFLAG)); // Wine takes any number
    if (RunsUnderWine()) return; // which ends the program
    EXPECT_EQ(mStream->Stat(nullptr, STATFLAG_DEFAULT), STG_E_INVALIDPOINTER);
}

TEST_P(IStreamTest, DoesOnlyWhatItWasOpenedFor)
{
    Write(mStream, "bytes");
    mStream.Reset();
    char c = 0;
    const Stream reader = OpenStream(mRoot, u"Stream", STGM_READ | STGM_SHARE_EXCLUSIVE);
    EXPECT_EQ(reader->Write("x", 1, nullptr), STG_E_ACCESSDENIED);
    EXPECT_EQ(reader->SetSize(Bytes(1)), STG_E_ACCESSDENIED);
    EXPECT_EQ(reader->Read(&c, 1, nullptr), S_OK);
    const Stream writer = NewStream(mRoot, u"Writer", STGM_WRITE | STGM_SHARE_EXCLUSIVE);
    Write(writer, "x");
    EXPECT_EQ(writer->Read(&c, 1, nullptr), WineSays(S_OK, STG_E_ACCESSDENIED)); // Wine reads what is for writing
}

TEST_P(IStreamTest, IsKnownByItsInterfaces)
{
    for (const IID* pIid : {&IID_IUnknown, &IID_ISequentialStream, &IID_IStream})
    {
        Held<IUnknown> found;
        EXPECT_EQ(mStream->QueryInterface(*pIid, reinterpret_cast<void**>(found.Out())), S_OK);
    }
    void* pObject = &mStream;
    EXPECT_EQ(mStream->QueryInterface(IID_IStorage, &pObject), E_NOINTERFACE);
    EXPECT_EQ(pObject, nullptr);
    EXPECT_EQ(mStream->AddRef(), 2u);
    EXPECT_EQ(mStream->Release(), 1u);
}
