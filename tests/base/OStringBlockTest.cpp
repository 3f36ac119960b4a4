// The string's block: who shares it, who may write to it, and what it is allocated for.
#include "CException.h"
#include "NoLargeBlocks.h"
#include "OString.h"
#include "Printers.h"
#include "StringBlock.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace
{
// Lets a test look at the block and call what clients of a derived class may call.
class OpenString : public OString
{
public:
    using OString::AllocBeforeWrite;
    using OString::AllocBuffer;
    using OString::AllocCopy;
    using OString::AssignCopy;
    using OString::ConcatCopy;
    using OString::ConcatInPlace;
    using OString::CopyBeforeWrite;
    using OString::Init;
    using OString::OString;
    using OString::Release;
    using OString::SafeStrlen;
    using OString::operator=;
};
} // namespace

// The block ---------------------------------------------------------------------------------------------------------------

TEST(OString, IsOnePointerWide) { EXPECT_EQ(sizeof(OString), sizeof(void*)); }

TEST(OString, StandsBehindATwelveByteHeader)
{
    const OString sText(u"lamp");
    const char* pHeader = reinterpret_cast<const char*>(sText.GetData());
    EXPECT_EQ(reinterpret_cast<const char*>(TextOf(sText)) - pHeader, 12);
    EXPECT_EQ(sText.GetData()->lRefs, 1);
    EXPECT_EQ(sText.GetData()->lLength, 4);
    EXPECT_EQ(sText.GetData()->lAllocated, 4);
    EXPECT_EQ(TextOf(sText)[4], 0);
}

TEST(OString, EveryEmptyStringPointsAtTheSharedEmptyBlock)
{
    OString sEmptied(u"text");
    sEmptied.Empty();
    OpenString sAllocated;
    sAllocated.AllocBuffer(0);
    const OString sText(u"lamp");

    EXPECT_TRUE(IsSharedEmpty(OString()));
    EXPECT_TRUE(IsSharedEmpty(sEmptied));
    EXPECT_TRUE(IsSharedEmpty(sAllocated));
    EXPECT_TRUE(IsSharedEmpty(sText.Left(0)));
    EXPECT_TRUE(IsSharedEmpty(sText.Mid(4)));
    EXPECT_TRUE(IsSharedEmpty(OString(u"")));
    EXPECT_TRUE(IsSharedEmpty(OString("")));
    EXPECT_TRUE(IsSharedEmpty(OString(static_cast<const char*>(nullptr))));
    EXPECT_TRUE(IsSharedEmpty(OString(static_cast<const unsigned short*>(nullptr))));
    EXPECT_TRUE(IsSharedEmpty(OString(u"abc", 0)));
    EXPECT_TRUE(IsSharedEmpty(OString(u'x', 0)));
    EXPECT_TRUE(IsSharedEmpty(OString(u'x', -1)));
}

TEST(OString, TheEmptyBlockKeepsItsCountThroughCopiesAndDestructions)
{
    {
        std::vector<OString> copies(100, AfxGetEmptyOString());
        for (OString& sCopy : copies) EXPECT_TRUE(IsSharedEmpty(sCopy));
        copies[0] += u"";
        copies[1] = u"";
        copies[2] = "";
        copies[3].GetBuffer(0);
        copies[3].ReleaseBuffer(-1);
        copies[4].Empty();
        copies[5].LockBuffer();
        copies[6].UnlockBuffer();
        copies[7].MakeUpper();
        copies[8].TrimLeft();
        copies[8].TrimRight();
        for (OString& sCopy : copies) EXPECT_TRUE(IsSharedEmpty(sCopy));
    }
    EXPECT_EQ(RefsOf(AfxGetEmptyOString()), -1);
    EXPECT_EQ(AfxGetEmptyOString().GetLength(), 0);
    EXPECT_EQ(TextOf(AfxGetEmptyOString())[0], 0);
}

// A text that was emptied in place keeps its block, and may share it; who writes to it then needs no block at all.
TEST(OString, WritingToASharedTextOfLengthZeroTakesTheEmptyBlock)
{
    OString sText(u"lamp");
    sText = u"";
    OString sChanged = sText, sBuffer = sText, sAppended = sText, sAssigned = sText, sLocked = sText;
    EXPECT_EQ(RefsOf(sText), 6);
    sChanged.MakeUpper();
    sBuffer.GetBuffer(0);
    sAppended += u"";
    sAssigned = static_cast<const char*>(nullptr);
    sLocked.LockBuffer();
    for (const OString* pText : {&sChanged, &sBuffer, &sAppended, &sAssigned, &sLocked}) EXPECT_TRUE(IsSharedEmpty(*pText));
    EXPECT_EQ(RefsOf(sText), 1);
    sText.FreeExtra();
    EXPECT_TRUE(IsSharedEmpty(sText));
}

// Sharing -----------------------------------------------------------------------------------------------------------------

TEST(OString, ACopySharesTheBlock)
{
    const OString sLamp(u"lamp");
    {
        const OString sCopy = sLamp;
        EXPECT_EQ(TextOf(sCopy), TextOf(sLamp));
        EXPECT_EQ(RefsOf(sLamp), 2);
    }
    EXPECT_EQ(RefsOf(sLamp), 1);
}

TEST(OString, WritingToACopyLeavesTheOriginalAlone)
{
    const OString sLamp(u"lamp");
    OString sDamp = sLamp;
    sDamp.SetAt(0, u'd');
    EXPECT_EQ(sLamp, u"lamp");
    EXPECT_EQ(sDamp, u"damp");
}

TEST(OString, CopyBeforeWriteKeepsTheLengthButNotTheSpareRoom)
{
    OpenString sText(u"lamp");
    sText.GetBuffer(40);
    const OString sShare = sText;
    sText.CopyBeforeWrite();
    EXPECT_EQ(sText.GetAllocLength(), 4);
    EXPECT_EQ(sShare.GetAllocLength(), 40);
    EXPECT_EQ(sText, u"lamp");
}

TEST(OString, AssignmentSharesAndGivesTheOldBlockBack)
{
    OString sOld(u"old");
    const OString sKeep = sOld;
    const OString sNew(u"new");
    sOld = sNew;
    EXPECT_EQ(TextOf(sOld), TextOf(sNew));
    EXPECT_EQ(RefsOf(sKeep), 1);
    sOld = sOld;
    EXPECT_EQ(sOld, u"new");
    EXPECT_EQ(RefsOf(sNew), 2);
}

TEST(OString, CopyingALockedStringMakesAnIndependentOne)
{
    OString sLocked(u"lamp");
    sLocked.LockBuffer();
    EXPECT_EQ(RefsOf(sLocked), -1);
    OString sCopy = sLocked;
    EXPECT_NE(TextOf(sCopy), TextOf(sLocked));
    EXPECT_EQ(sCopy, u"lamp");

    OString sAssigned;
    sAssigned = sLocked;
    EXPECT_NE(TextOf(sAssigned), TextOf(sLocked));

    sLocked.UnlockBuffer();
    const OString sShare = sLocked;
    EXPECT_EQ(TextOf(sShare), TextOf(sLocked));
}

TEST(OString, AnAssignmentToALockedStringStaysInItsBuffer)
{
    OString sLocked(u"filament");
    const unsigned short* pBuffer = sLocked.LockBuffer();
    sLocked = OString(u"lamp");
    EXPECT_EQ(TextOf(sLocked), pBuffer);
    EXPECT_EQ(RefsOf(sLocked), -1);
    EXPECT_EQ(sLocked, u"lamp");
    sLocked.Empty();
    EXPECT_EQ(TextOf(sLocked), pBuffer);
    EXPECT_EQ(sLocked.GetLength(), 0);
    sLocked += u"torch";
    EXPECT_EQ(sLocked, u"torch");
    EXPECT_EQ(TextOf(sLocked), pBuffer);
    EXPECT_EQ(RefsOf(sLocked), -1);
    sLocked += u" and lamp"; // has no room there
    EXPECT_EQ(sLocked, u"torch and lamp");
    EXPECT_EQ(RefsOf(sLocked), 1);
}

TEST(OString, LockingASharedTextMakesACopyToLock)
{
    const OString sText(u"lamp");
    OString sLocked = sText;
    sLocked.LockBuffer()[0] = u'd';
    EXPECT_EQ(sText, u"lamp");
    EXPECT_EQ(RefsOf(sText), 1);
    EXPECT_EQ(sLocked, u"damp");
    EXPECT_EQ(sLocked.GetBuffer(4), TextOf(sLocked));
    EXPECT_EQ(RefsOf(sLocked), -1);
}

TEST(OString, ACopyOfALockedStringEndsAtItsFirstZeroAndAnAssignmentDoesNot)
{
    OString sLocked(u"ab\0cd", 5);
    sLocked.LockBuffer();
    EXPECT_EQ(OString(sLocked).GetLength(), 2);
    OString sAssigned(u"something longer");
    sAssigned = sLocked;
    EXPECT_EQ(sAssigned.GetLength(), 5);
    EXPECT_EQ(sAssigned, OString(u"ab\0cd", 5));
}

TEST(OString, StringsThatShareABlockMayLiveOnDifferentThreads)
{
    const OString sShared(u"shared between threads");
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < 4; ++iThread)
        threads.emplace_back([&sShared]
        {
            for (int i = 0; i < 20000; ++i)
            {
                OString sOwn = sShared;
                if (i % 3 == 0) sOwn += u'!';
                ASSERT_EQ(sOwn.Left(6), u"shared");
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(RefsOf(sShared), 1);
}

// Raw buffer access ---------------------------------------------------------------------------------------------------------

TEST(OString, GetBufferMakesRoomAndKeepsTheText)
{
    OString sText(u"abc");
    sText.GetBuffer(10);
    EXPECT_EQ(sText.GetAllocLength(), 10);
    EXPECT_EQ(sText.GetLength(), 3);
    EXPECT_EQ(sText, u"abc");
}

TEST(OString, GetBufferUnsharesEvenWithoutNeedOfRoom)
{
    OString sText(u"abc");
    const OString sShare = sText;
    sText.GetBuffer(0)[0] = u'X';
    EXPECT_EQ(sShare, u"abc");
    EXPECT_EQ(sText, u"Xbc");
}

TEST(OString, ReleaseBufferMeasuresOrCuts)
{
    OString sText(u"abc");
    unsigned short* pText = sText.GetBuffer(10);
    for (int i = 0; i < 6; ++i) pText[i] = static_cast<unsigned short>(u'0' + i);
    pText[6] = 0;
    sText.ReleaseBuffer(-1);
    EXPECT_EQ(sText, u"012345");
    sText.ReleaseBuffer(2);
    EXPECT_EQ(sText, u"01");
    EXPECT_EQ(sText.GetAllocLength(), 10);
}

TEST(OString, GetBufferSetLengthSetsBoth)
{
    OString sText(u"abc");
    unsigned short* pText = sText.GetBufferSetLength(5);
    EXPECT_EQ(sText.GetLength(), 5);
    EXPECT_EQ(pText[5], 0);
    sText.GetBufferSetLength(1);
    EXPECT_EQ(sText, u"a");
    EXPECT_EQ(sText.GetAllocLength(), 5);
}

TEST(OString, FreeExtraGivesSpareRoomBack)
{
    OString sText(u"abc");
    const unsigned short* pBefore = sText;
    sText.FreeExtra();
    EXPECT_EQ(TextOf(sText), pBefore);
    sText.GetBuffer(100);
    sText.FreeExtra();
    EXPECT_EQ(sText.GetAllocLength(), 3);
    EXPECT_EQ(sText, u"abc");
}

TEST(OString, UnlockingALockedBufferMakesItOwnedAgain)
{
    OString sText(u"abc");
    unsigned short* pText = sText.LockBuffer();
    EXPECT_EQ(TextOf(sText), pText);
    sText.UnlockBuffer();
    EXPECT_EQ(RefsOf(sText), 1);
}

// Exhausted memory -----------------------------------------------------------------------------------------------------------

TEST(OString, ThrowsAndStaysWholeWhenMemoryIsExhausted)
{
    const NoLargeBlocks none;
    OString sText(u"lamp");
    const OString sShare = sText;
    EXPECT_THROW(OString(u'x', 0x7FFFFFFF), CMemoryException*);
    EXPECT_THROW(sText.GetBuffer(0x7FFFFFFF), CMemoryException*);
    EXPECT_THROW(sText.GetBufferSetLength(0x7FFFFFFF), CMemoryException*);
    EXPECT_EQ(TextOf(sText), TextOf(sShare));
    EXPECT_EQ(RefsOf(sShare), 2);
}

TEST(OString, ThrowsWhenATextBecomesLongerThanALengthCanSay)
{
    OString sText(u"lamp");
    sText.GetData()->lLength = sText.GetData()->lAllocated = 0x7FFFFFFF; // nothing that follows reads so far
    EXPECT_THROW(sText += u"!", CMemoryException*);
    EXPECT_THROW(sText += sText, CMemoryException*);
    EXPECT_THROW(sText + u'!', CMemoryException*);
    EXPECT_THROW(sText + sText, CMemoryException*);
    EXPECT_THROW(OString(u"abc", -1), CMemoryException*);

    unsigned short* pSystem = OString(u"kept").AllocSysString();
    EXPECT_THROW(sText.AllocSysString(), CMemoryException*);
    EXPECT_THROW(sText.SetSysString(&pSystem), CMemoryException*);
    EXPECT_EQ(OString(pSystem), u"kept");
    SysFreeString(AsWide(pSystem));

    sText.GetData()->lLength = sText.GetData()->lAllocated = 4;
    EXPECT_EQ(sText, u"lamp");
}

// What derived classes may call -----------------------------------------------------------------------------------------------

TEST(OString, MeasuresNullAsNothing)
{
    EXPECT_EQ(OpenString::SafeStrlen(nullptr), 0);
    EXPECT_EQ(OpenString::SafeStrlen(AsUnits(u"lamp")), 4);
}

TEST(OString, AllocBeforeWriteKeepsABufferThatIsLargeEnough)
{
    OpenString sText(u"abcdef");
    const unsigned short* pBuffer = sText;
    sText.AllocBeforeWrite(6);
    EXPECT_EQ(TextOf(sText), pBuffer);
    sText.AllocBeforeWrite(7);
    EXPECT_EQ(sText.GetAllocLength(), 7);
}

TEST(OString, AllocCopyMakesRoomForMore)
{
    const OpenString sText(u"plasma");
    OpenString sTarget;
    sText.AllocCopy(sTarget, 3, 1, 4);
    EXPECT_EQ(sTarget.GetAllocLength(), 7);
    EXPECT_EQ(sTarget[0], u'l');
    EXPECT_EQ(sTarget[2], u's');
    OpenString sNone;
    sText.AllocCopy(sNone, 0, 0, 0);
    EXPECT_TRUE(IsSharedEmpty(sNone));
}

TEST(OString, ConcatCopyTakesBothPartsIntoABlockOfTheirLength)
{
    OpenString sText;
    sText.ConcatCopy(0, nullptr, 0, nullptr);
    EXPECT_TRUE(IsSharedEmpty(sText));
    sText.ConcatCopy(2, AsUnits(u"a\0z"), 3, AsUnits(u"bcdef"));
    EXPECT_EQ(sText, OString(u"a\0bcd", 5));
    EXPECT_EQ(sText.GetAllocLength(), 5);
}

TEST(OString, ReleasePointsAtTheEmptyBlock)
{
    OpenString sText(u"lamp");
    sText.Release();
    EXPECT_TRUE(IsSharedEmpty(sText));
    sText.Release();
    EXPECT_TRUE(IsSharedEmpty(sText));
}
