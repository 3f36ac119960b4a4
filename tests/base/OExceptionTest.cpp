// The exception classes, what faults become after SetupSignal, and the texts of errors.
#include "AfxMessage.h"
#include "Faulting.h"
#include "LogRecorder.h"
#include "OBase.h"
#include "OException.h"
#include "Printers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <typeinfo>

// A stack that ends while a level is being entered may cost the text of the level before it: the leak checker would call it a leak.
// The runtime library keeps the list of LOCPATH's folders for good.
extern "C" const char* __lsan_default_suppressions() { return "leak:Recurse\nleak:__argz_add_sep\n"; }

namespace
{
class SetupSignalled : public testing::Test
{
protected:
    SetupSignalled() { SetupSignal(); }
    ~SetupSignalled() override
    {
        LumSetFaultTranslator(nullptr);
        _control87(_MCW_EM, _MCW_EM);
        _clearfp();
    }
};

struct OExpected
{
    const char* pName;
    void (*pFunction)();
    unsigned int ulCode;
    const std::type_info& type;
    ULONG ulErrorCode;
};

const OExpected kFaults[] = {
    {"access violation", faulting::ReadNull, 0xC0000005, typeid(OAccessViolationException), 34014},
    {"denormal operand", faulting::VectorDenormal, 0xC000008D, typeid(OSEUnknownException), 34010},
    {"float division", faulting::VectorDivideByZero, 0xC000008E, typeid(OFloatDivZeroException), 34003},
    {"float inexact", faulting::X87Inexact, 0xC000008F, typeid(OFloatInexactException), 34004},
    {"float invalid", faulting::VectorInvalid, 0xC0000090, typeid(OFloatInvalidException), 34005},
    {"float overflow", faulting::VectorOverflow, 0xC0000091, typeid(OFloatOverflowException), 34006},
    {"float stack", faulting::X87StackOverflow, 0xC0000092, typeid(OFloatStackException), 34007},
    {"float underflow", faulting::X87Underflow, 0xC0000093, typeid(OFloatUnderflowException), 34008},
    {"integer division", faulting::DivideByZero, 0xC0000094, typeid(OIntDivZeroException), 34001},
    {"integer overflow", faulting::DivideMinimumByMinusOne, 0xC0000095, typeid(OIntOverflowException), 34002},
    {"breakpoint", faulting::Breakpoint, 0x80000003, typeid(OSEUnknownException), 34010},
    {"single step", faulting::SingleStep, 0x80000004, typeid(OSEUnknownException), 34010},
    {"illegal instruction", faulting::IllegalInstruction, 0xC000001D, typeid(OSEUnknownException), 34010},
    {"privileged instruction", faulting::PrivilegedInstruction, 0xC0000096, typeid(OSEUnknownException), 34010},
};

TEST_F(SetupSignalled, EveryFaultBecomesItsClass)
{
    for (const OExpected& expected : kFaults)
    {
        SCOPED_TRACE(expected.pName);
        try
        {
            expected.pFunction();
            ADD_FAILURE() << "no fault";
        }
        catch (OStructuredException* pEx)
        {
            asm volatile("fninit"); // some leave a condition of the x87 unmasked
            EXPECT_EQ(typeid(*pEx), expected.type);
            EXPECT_EQ(pEx->mulStructuredCode, expected.ulCode);
            EXPECT_EQ(pEx->mulErrorBase, 34000u);
            EXPECT_EQ(pEx->mulOffset, 0u);
            EXPECT_EQ(pEx->mulErrorCode, expected.ulErrorCode);
            EXPECT_EQ(pEx->miApiErrorCode, 0);
            EXPECT_EQ(pEx->mText, OString());
            EXPECT_STREQ(pEx->GetRuntimeClass()->m_lpszClassName, "CException");
            pEx->Delete();
        }
    }
}

template <class Exception>
bool CatchesAs(void (*pFunction)())
{
    try
    {
        pFunction();
    }
    catch (Exception* pEx)
    {
        pEx->Delete();
        return true;
    }
    catch (CException* pEx)
    {
        pEx->Delete();
    }
    return false;
}

TEST_F(SetupSignalled, AFaultIsCaughtAsItsClassAndAllItsBases)
{
    EXPECT_TRUE(CatchesAs<OIntDivZeroException>(faulting::DivideByZero));
    EXPECT_TRUE(CatchesAs<OIntException>(faulting::DivideByZero));
    EXPECT_TRUE(CatchesAs<OMathException>(faulting::DivideByZero));
    EXPECT_TRUE(CatchesAs<OStructuredException>(faulting::DivideByZero));
    EXPECT_TRUE(CatchesAs<OAppException>(faulting::DivideByZero));
    EXPECT_FALSE(CatchesAs<OFloatException>(faulting::DivideByZero));
    EXPECT_FALSE(CatchesAs<OIntOverflowException>(faulting::DivideByZero));
    EXPECT_TRUE(CatchesAs<OFloatException>(faulting::VectorDivideByZero));
    EXPECT_TRUE(CatchesAs<OMathException>(faulting::VectorDivideByZero));
    EXPECT_FALSE(CatchesAs<OMathException>(faulting::ReadNull));
}

// Statements of C++, each with a handler of its own function.
__attribute__((noinline, no_sanitize("address", "undefined"))) ULONG CodeOfDivision(volatile int* pLeft, volatile int* pRight)
{
    try
    {
        *pLeft = *pLeft / *pRight;
    }
    catch (OIntDivZeroException* pEx)
    {
        const ULONG ulCode = pEx->mulErrorCode;
        pEx->Delete();
        return ulCode;
    }
    return 0;
}

__attribute__((noinline, no_sanitize("address", "undefined"))) ULONG CodeOfDivision(volatile double* pLeft, volatile double* pRight)
{
    try
    {
        *pLeft = *pLeft / *pRight;
    }
    catch (OFloatException* pEx)
    {
        const ULONG ulCode = pEx->mulErrorCode;
        pEx->Delete();
        return ulCode;
    }
    return 0;
}

TEST_F(SetupSignalled, DivisionsInPlainCodeAreCaught)
{
    volatile int iLeft = 7, iRight = 0;
    EXPECT_EQ(CodeOfDivision(&iLeft, &iRight), 34001u);
    volatile double dLeft = 7, dRight = 0;
    EXPECT_EQ(CodeOfDivision(&dLeft, &dRight), 34003u);
    dRight = 2;
    EXPECT_EQ(CodeOfDivision(&dLeft, &dRight), 0u);
    EXPECT_EQ(dLeft, 3.5);
}

TEST_F(SetupSignalled, UnderflowAndInexactResultsAreNoFaultsUnlessUnmasked)
{
    EXPECT_NO_THROW(faulting::VectorUnderflow());
    EXPECT_NO_THROW(faulting::VectorInexact());
    _control87(0, _EM_UNDERFLOW);
    EXPECT_TRUE(CatchesAs<OFloatUnderflowException>(faulting::VectorUnderflow));
    _control87(0, _EM_INEXACT);
    EXPECT_TRUE(CatchesAs<OFloatInexactException>(faulting::VectorInexact));
}

TEST_F(SetupSignalled, AFloatFaultLeavesTheControlWordAndNothingPending)
{
    const unsigned int ulControl = _control87(0, 0);
    EXPECT_EQ(ulControl & _MCW_EM, static_cast<unsigned int>(_EM_UNDERFLOW | _EM_INEXACT));
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(CatchesAs<OFloatDivZeroException>(faulting::VectorDivideByZero));
        EXPECT_EQ(_statusfp(), 0u);
        EXPECT_EQ(_control87(0, 0), ulControl);
    }
}

TEST(SetupSignal, ReturnsAndClearsThePendingConditions)
{
    _control87(_MCW_EM, _MCW_EM);
    // With the masks already as they will be set, nothing but the last step clears.
    SetupSignal();
    faulting::VectorInexact();
    EXPECT_EQ(SetupSignal() & _EM_INEXACT, static_cast<unsigned int>(_EM_INEXACT));
    EXPECT_EQ(_statusfp(), 0u);
    LumSetFaultTranslator(nullptr);
    _control87(_MCW_EM, _MCW_EM);
}

TEST(SetupSignal, IsForTheCallingThreadAlone)
{
    unsigned int ulControl = 0;
    bool bCaught = false;
    std::thread([&]
    {
        SetupSignal();
        ulControl = _control87(0, 0);
        bCaught = CatchesAs<OAccessViolationException>(faulting::ReadNull);
    }).join();
    EXPECT_TRUE(bCaught);
    EXPECT_EQ(ulControl & _MCW_EM, static_cast<unsigned int>(_EM_UNDERFLOW | _EM_INEXACT));
    EXPECT_EQ(_control87(0, 0) & _MCW_EM, static_cast<unsigned int>(_MCW_EM));
}

// A class of a client's: three methods deep, each with the library's call frame.
class OFaultyValve : public OBase
{
public:
    explicit OFaultyValve(int& iDestroyed) : miDestroyed(iDestroyed) {}

    void Open()
    try
    {
        const OCounted counted(miDestroyed);
        Turn();
    }
    catch (...)
    {
        LogCaught("OFaultyValve::Open");
        throw;
    }

    void Turn()
    try
    {
        const OCounted counted(miDestroyed);
        Touch();
    }
    catch (...)
    {
        LogCaught("OFaultyValve::Turn");
        throw;
    }

    void Touch()
    try
    {
        const OCounted counted(miDestroyed);
        faulting::WriteNull();
    }
    catch (...)
    {
        LogCaught("OFaultyValve::Touch");
        throw;
    }

    // As Open, but so deep that the stack ends: mostly within the allocator, which must not be broken off while it holds a lock.
    int Recurse(int iDepth)
    try
    {
        if (iDepth < 0) return 0; // never: depths count up
        const OCounted counted(miDestroyed);
        volatile char acFrame[1000];
        acFrame[0] = 1;
        const OString sText(u"every level holds a text");
        return Recurse(iDepth + 1) + sText.GetLength() + acFrame[0];
    }
    catch (...)
    {
        LogCaught("OFaultyValve::Recurse");
        throw;
    }

private:
    class OCounted
    {
    public:
        explicit OCounted(int& iDestroyed) : miDestroyed(iDestroyed) {}
        ~OCounted() { ++miDestroyed; }

    private:
        int& miDestroyed;
    };

    int& miDestroyed;
};

TEST_F(SetupSignalled, AFaultIsLoggedByEveryMethodThatItPasses)
{
    LogRecorder log;
    int iDestroyed = 0;
    OFaultyValve valve(iDestroyed);
    EXPECT_THROW(
        {
            try
            {
                valve.Open();
            }
            catch (OAccessViolationException* pEx)
            {
                EXPECT_EQ(pEx->mulErrorCode, 34014u);
                pEx->Delete();
                throw 1;
            }
        },
        int);
    EXPECT_EQ(log.Places(), (LogRecorder::Lines{"Caught in OFaultyValve::Touch", "Caught in OFaultyValve::Turn",
                                                "Caught in OFaultyValve::Open"}));
    EXPECT_EQ(iDestroyed, 3);
}

void OverflowOnThisThread()
{
    for (int iRound = 0; iRound < 3; ++iRound)
    {
        int iDestroyed = 0;
        OFaultyValve valve(iDestroyed);
        ULONG ulStructuredCode = 0, ulErrorCode = 0;
        std::size_t ulLines = 0;
        {
            LogRecorder log;
            try
            {
                valve.Recurse(0);
            }
            catch (OSEUnknownException* pEx)
            {
                ulStructuredCode = pEx->mulStructuredCode;
                ulErrorCode = pEx->mulErrorCode;
                pEx->Delete();
            }
            ulLines = log.Places().size();
        }
        EXPECT_EQ(ulStructuredCode, 0xC00000FDu);
        EXPECT_EQ(ulErrorCode, 34010u);
        EXPECT_GT(ulLines, 100u);
        // Every level logs and destroys, but perhaps the last, which met the end while it was being entered.
        EXPECT_NEAR(static_cast<double>(ulLines), iDestroyed, 1);
    }
}

TEST_F(SetupSignalled, AStackOverflowPassesTheMethodsAndIsCaughtAgainAndAgain) { OverflowOnThisThread(); }

TEST_F(SetupSignalled, AStackOverflowOfAnotherThreadIsCaughtAgainAndAgain)
{
    std::thread([]
    {
        SetupSignal();
        OverflowOnThisThread();
    }).join();
}

TEST(OException, ClassesMadeByHandCarryTheirNumbers)
{
    const OAppException app;
    EXPECT_EQ(app.mulErrorBase + app.mulOffset + app.mulErrorCode, 0u);
    EXPECT_EQ(app.miApiErrorCode, 0);
    EXPECT_EQ(app.mText, OString());
    EXPECT_EQ(OStopException().mulStopCode, 0u);
    EXPECT_EQ(OStopException(12).mulStopCode, 12u);

    const OStructuredException structured(0xE0000001);
    EXPECT_EQ(structured.mulErrorBase, 0u);
    EXPECT_EQ(structured.mulErrorCode, 34012u);
    EXPECT_EQ(structured.mulStructuredCode, 0xE0000001u);
    EXPECT_EQ(OMathException(1).mulErrorCode, 34011u);
    EXPECT_EQ(OIntException(1).mulErrorCode, 34009u);
    EXPECT_EQ(OFloatException(1).mulErrorCode, 34013u);
    EXPECT_EQ(OFloatException(1).mulErrorBase, 34000u);
}

TEST(OException, MakingAFloatExceptionClearsTheFloatStatus)
{
    faulting::VectorDivideByZero();
    EXPECT_NE(_statusfp(), 0u);
    const OFloatException exception(0xC000008E);
    EXPECT_EQ(_statusfp(), 0u);
}

TEST(OException, AssignmentCopiesEveryField)
{
    OStructuredException source(0xC0000005), target(0);
    source.m_bAutoDelete = FALSE;
    source.mulErrorBase = 1;
    source.mulOffset = 2;
    source.mulErrorCode = 3;
    source.miApiErrorCode = -4;
    source.mText = u"text";
    target = source;
    EXPECT_EQ(target.m_bAutoDelete, FALSE);
    EXPECT_EQ(target.mulErrorBase, 1u);
    EXPECT_EQ(target.mulOffset, 2u);
    EXPECT_EQ(target.mulErrorCode, 3u);
    EXPECT_EQ(target.miApiErrorCode, -4);
    EXPECT_EQ(target.mText, OString(u"text"));
    EXPECT_EQ(target.mulStructuredCode, 0xC0000005u);

    OStopException stop(8), copy;
    stop.mText = u"stop";
    copy = stop;
    EXPECT_EQ(copy.mulStopCode, 8u);
    EXPECT_EQ(copy.mText, OString(u"stop"));
}

std::string gsNotice;

TEST(OException, AStopExceptionReportsAFixedText)
{
    LumSetMessageHook([](const char* pText, const char*)
    {
        gsNotice = pText;
        return IDOK;
    });
    OStopException(77).ReportError();
    LumSetMessageHook(nullptr);
    EXPECT_EQ(gsNotice, "ReportError: Error=%d");
}

OString SystemTextOf(DWORD ulError)
{
    OString sText;
    unsigned short auwText[512] = {};
    sText.FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, ulError, 0x400, auwText, 512, nullptr);
    return OString(auwText);
}

TEST(BuildExceptionString, IsTheResourceTextWithTheCodeFilledIn)
{
    OString sText, sResource, sExpected;
    sResource.LoadStringA(34001);
    ASSERT_FALSE(sResource.IsEmpty());
    sExpected.Format(static_cast<const unsigned short*>(sResource), 34001);
    BuildExceptionString(sText, 1, 34000, 0, nullptr, nullptr);
    EXPECT_EQ(sText, sExpected);
    EXPECT_GE(sText.Find(u"34001"), 0);

    const OString sExtra(u"not used");
    BuildExceptionString(sText, 1, 34000, 0, &sExtra, &sExtra);
    EXPECT_EQ(sText, sExpected);
}

TEST(BuildExceptionString, AppendsTheSystemsTextWithItsLineBreak)
{
    OString sText, sExpected;
    BuildExceptionString(sText, 1, 34000, 0, nullptr, nullptr);
    sExpected = sText + u" : " + SystemTextOf(ERROR_ACCESS_DENIED);
    BuildExceptionString(sText, 1, 34000, ERROR_ACCESS_DENIED, nullptr, nullptr);
    EXPECT_EQ(sText, sExpected);
    EXPECT_EQ(sText.Right(2), OString(u"\r\n"));
}

TEST(BuildExceptionString, NamesTheNumbersOfACodeWithoutAText)
{
    OString sText;
    BuildExceptionString(sText, 8, 1000, 0, nullptr, nullptr);
    EXPECT_EQ(sText, OString(u"Error Code not known : ErrorBase=1000 : Offset=8 : ErrorCode=1008 : ApiErrorCode=0"));
    BuildExceptionString(sText, 8, 1000, 5, nullptr, nullptr);
    EXPECT_EQ(sText, OString(u"Error Code not known : ErrorBase=1000 : Offset=8 : ErrorCode=1008 : ApiErrorCode=5 : ") +
                         SystemTextOf(5));
    EXPECT_GT(SystemTextOf(5).GetLength(), 10);
}

TEST(BuildExceptionString, SaysSoWhenTheSystemHasNoText)
{
    OString sText;
    BuildExceptionString(sText, 8, 1000, 0x2FFFFFFF, nullptr, nullptr);
    EXPECT_EQ(sText, OString(u"Error Code not known : ErrorBase=1000 : Offset=8 : ErrorCode=1008 : ApiErrorCode=805306367 : "
                             u"Error from BuildExceptionString"));
}

TEST(ThrowString, ThrowsTheCodeAndTheTextWithoutABase)
{
    try
    {
        ThrowString(7, OString(u"seven"));
    }
    catch (OAppException* pEx)
    {
        EXPECT_EQ(pEx->mulErrorBase, 0u);
        EXPECT_EQ(pEx->mulOffset, 0u);
        EXPECT_EQ(pEx->mulErrorCode, 7u);
        EXPECT_EQ(pEx->miApiErrorCode, 0);
        EXPECT_EQ(pEx->mText, OString(u"seven"));
        pEx->Delete();
    }
}
} // namespace
