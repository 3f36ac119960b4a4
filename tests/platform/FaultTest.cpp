// Hardware faults as exceptions: on both systems the same codes, in the same frames.
#include "Platform.h"

#include "CaughtFault.h"
#include "ClosedPage.h"
#include "Faulting.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{
class Fault : public testing::Test
{
protected:
    Fault() { LumSetFaultTranslator(ThrowCode); }
    ~Fault() override
    {
        LumSetFaultTranslator(nullptr);
        _control87(_MCW_EM, _MCW_EM);
        _clearfp();
    }
};

struct OKind
{
    const char* pName;
    void (*pFunction)();
    unsigned int uUnmasked; // of the vector unit
    unsigned int uCode;
};

constexpr OKind kKinds[] = {
    {"read of null", faulting::ReadNull, 0, kuAccessViolation},
    {"write to null", faulting::WriteNull, 0, kuAccessViolation},
    {"impossible address", faulting::ReadImpossibleAddress, 0, kuAccessViolation},
    {"misaligned vector", faulting::ReadVectorMisaligned, 0, kuAccessViolation},
    {"call of null", [] { faulting::CallTo(nullptr); }, 0, kuAccessViolation},
    {"jump to null", [] { faulting::JumpTo(nullptr); }, 0, kuAccessViolation},
    {"division by zero", faulting::DivideByZero, 0, 0xC0000094},
    {"quotient too large", faulting::DivideMinimumByMinusOne, 0, 0xC0000095},
    {"vector division by zero", faulting::VectorDivideByZero, _EM_ZERODIVIDE, 0xC000008E},
    {"vector inexact", faulting::VectorInexact, _EM_INEXACT, 0xC000008F},
    {"vector invalid", faulting::VectorInvalid, _EM_INVALID, 0xC0000090},
    {"vector overflow", faulting::VectorOverflow, _EM_OVERFLOW, 0xC0000091},
    {"vector underflow", faulting::VectorUnderflow, _EM_UNDERFLOW, 0xC0000093},
    {"vector denormal", faulting::VectorDenormal, _EM_DENORMAL, 0xC000008D},
    {"vector overflow, all unmasked", faulting::VectorOverflow, _MCW_EM, 0xC0000091},
    {"x87 division by zero", faulting::X87DivideByZero, 0, 0xC000008E},
    {"x87 inexact", faulting::X87Inexact, 0, 0xC000008F},
    {"x87 invalid", faulting::X87Invalid, 0, 0xC0000090},
    {"x87 overflow", faulting::X87Overflow, 0, 0xC0000091},
    {"x87 underflow", faulting::X87Underflow, 0, 0xC0000093},
    {"x87 denormal", faulting::X87Denormal, 0, 0xC000008D},
    {"x87 stack too full", faulting::X87StackOverflow, 0, 0xC0000092},
    {"x87 stack empty", faulting::X87StackUnderflow, 0, 0xC0000092},
    {"illegal instruction", faulting::IllegalInstruction, 0, 0xC000001D},
    {"privileged instruction", faulting::PrivilegedInstruction, 0, 0xC0000096},
    {"breakpoint", faulting::Breakpoint, 0, 0x80000003},
    {"single step", faulting::SingleStep, 0, 0x80000004},
};

// Resets the x87 after a fault of its own: its masks stay as the faulting code set them.
void ResetX87() { asm volatile("fninit"); }

TEST_F(Fault, EveryKindHasItsCode)
{
    for (const OKind& kind : kKinds)
    {
        _control87(~kind.uUnmasked, _MCW_EM);
        _clearfp();
        const unsigned int uCode = CodeOf(kind.pFunction);
        const unsigned int uStatus = _statusfp();
        ResetX87();
        _control87(_MCW_EM, _MCW_EM);
        EXPECT_EQ(uCode, kind.uCode) << kind.pName;
        EXPECT_EQ(uStatus, 0u) << kind.pName;
    }
}

TEST_F(Fault, AMaskedConditionIsNoFault)
{
    for (const OKind& kind : kKinds)
    {
        if (!kind.uUnmasked) continue;
        EXPECT_EQ(CodeOf(kind.pFunction), 0u) << kind.pName;
    }
}

TEST_F(Fault, AClosedPageIsAnAccessViolation)
{
    const OClosedPage page;
    EXPECT_EQ(CodeOf([&] { faulting::ReadFrom(page.Get()); }), kuAccessViolation);
    EXPECT_EQ(CodeOf([&] { faulting::CallTo(reinterpret_cast<void (*)()>(page.Get())); }), kuAccessViolation);
}

// Through pointers: under their own names the compiler takes these for functions that throw nothing, and gives the call no handler.
// A fault in them then reaches handlers only from a function that has neither handlers nor destructors of its own.
TEST_F(Fault, AFaultInTheRuntimeLibraryReachesItsCaller)
{
    const OClosedPage page;
    char acBuffer[64] = {};
    char* const pClosed = page.Get();
    std::size_t (*volatile pStrlen)(const char*) = std::strlen;
    void* (*volatile pMemcpy)(void*, const void*, std::size_t) = std::memcpy;
    void* (*volatile pMemmove)(void*, const void*, std::size_t) = std::memmove;
    void* (*volatile pMemset)(void*, int, std::size_t) = std::memset;
    EXPECT_EQ(CodeOf([&] { pStrlen(pClosed); }), kuAccessViolation);
    EXPECT_EQ(CodeOf([&] { pMemcpy(acBuffer, pClosed, sizeof acBuffer); }), kuAccessViolation);
    EXPECT_EQ(CodeOf([&] { pMemmove(pClosed, acBuffer, sizeof acBuffer); }), kuAccessViolation);
    EXPECT_EQ(CodeOf([&] { pMemset(pClosed, 1, sizeof acBuffer); }), kuAccessViolation);
}

// Faults in the very function that catches: the statement itself has a handler. The sanitizers would report it first.
__attribute__((noinline, no_sanitize("address", "undefined"))) unsigned int DivideHere(volatile int* pLeft, volatile int* pRight)
{
    try
    {
        *pLeft = *pLeft / *pRight;
    }
    catch (const OCaughtFault& fault)
    {
        return fault.uCode;
    }
    return 0;
}

TEST_F(Fault, AStatementIsCaughtInItsOwnFunction)
{
    volatile int iLeft = 6, iRight = 0;
    EXPECT_EQ(DivideHere(&iLeft, &iRight), 0xC0000094u);
    EXPECT_EQ(DivideHere(nullptr, &iRight), kuAccessViolation);
    EXPECT_EQ(DivideHere(&iLeft, nullptr), kuAccessViolation);
    iRight = 2;
    EXPECT_EQ(DivideHere(&iLeft, &iRight), 0u);
    EXPECT_EQ(iLeft, 3);
}

// Keeps ten values over a fault; more than six need registers that calls preserve, the rest the frame. Calls itself, so that the
// frames in between have saved those registers and given them values of their own.
__attribute__((noinline)) unsigned int KeepValues(const unsigned int* pValues, int iDepth, void (*pFunction)())
{
    const unsigned int a = pValues[0], b = pValues[1] * 3, c = pValues[2] * 5, d = pValues[3] * 7, e = pValues[4] * 11;
    const unsigned int f = pValues[5] * 13, g = pValues[6] * 17, h = pValues[7] * 19, i = pValues[8] * 23, j = pValues[9] * 29;
    unsigned int uCaught = 0;
    try
    {
        if (iDepth > 0) uCaught = KeepValues(pValues + 1, iDepth - 1, pFunction);
        pFunction();
    }
    catch (const OCaughtFault&)
    {
        ++uCaught;
    }
    return uCaught * 1000000 + (((((((((a * 2 + b) * 2 + c) * 2 + d) * 2 + e) * 2 + f) * 2 + g) * 2 + h) * 2 + i) * 2 + j);
}

TEST_F(Fault, ValuesInRegistersAreWhatTheyWere)
{
    const unsigned int auValues[] = {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8, 9};
    void (*volatile pFault)() = faulting::ReadNull;
    void (*volatile pThrow)() = [] { ThrowCode(1); };
    for (int iDepth = 0; iDepth <= 3; ++iDepth)
    {
        EXPECT_EQ(KeepValues(auValues, iDepth, pFault), KeepValues(auValues, iDepth, pThrow)) << iDepth;
    }
}

TEST_F(Fault, TheFloatingPointControlStaysAsItWas)
{
    _control87(~(_EM_ZERODIVIDE | _EM_INVALID), _MCW_EM);
    _control87(_RC_UP, _MCW_RC);
    const unsigned int uControl = _control87(0, 0);
    EXPECT_EQ(CodeOf(faulting::VectorDivideByZero), 0xC000008Eu);
    EXPECT_EQ(_control87(0, 0), uControl);
    EXPECT_EQ(CodeOf(faulting::ReadNull), kuAccessViolation);
    EXPECT_EQ(_control87(0, 0), uControl);
    EXPECT_EQ(CodeOf(faulting::VectorInvalid), 0xC0000090u); // still unmasked
    _control87(_RC_NEAR, _MCW_RC);
}

TEST_F(Fault, HandlersStartWithTheDirectionThatCodeExpects)
{
    EXPECT_EQ(CodeOf(faulting::CopyBackwardsToNull), kuAccessViolation);
    ULONGLONG ulFlags = 0;
    asm volatile("pushfq; popq %0" : "=r"(ulFlags)::"memory");
    EXPECT_EQ(ulFlags & 0x400, 0u);
}

TEST_F(Fault, HandlersStartWithAnEmptyX87Stack)
{
    EXPECT_EQ(CodeOf(faulting::ReadNullWithFullX87), kuAccessViolation);
    struct { unsigned int uControl, uStatus, uTags, auRest[4]; } environment;
    asm volatile("fnstenv %0" : "=m"(environment)::"memory");
    ResetX87();
    EXPECT_EQ(environment.uTags & 0xFFFF, 0xFFFFu);
    EXPECT_EQ(environment.uStatus & 0x3800, 0u); // the top
}

TEST_F(Fault, TheLastErrorStaysAsItWas)
{
    SetLastError(1234);
    EXPECT_EQ(CodeOf(faulting::ReadNull), kuAccessViolation);
    EXPECT_EQ(GetLastError(), 1234u);
}

class OWitness
{
public:
    OWitness(std::string& sLog, const char* pName) : msLog(sLog), mpName(pName) {}
    ~OWitness() { msLog += std::string("~") + mpName + " "; }

private:
    std::string& msLog;
    const char* mpName;
};

// Three levels with the handler of the library's methods: note, and pass it on.
void Level(std::string& sLog, int iLevel)
{
    static constexpr const char* kapNames[] = {"inner", "middle", "outer"};
    OWitness witness(sLog, kapNames[iLevel]);
    try
    {
        OWitness within(sLog, "within");
        if (iLevel == 0)
            faulting::WriteNull();
        else
            Level(sLog, iLevel - 1);
    }
    catch (...)
    {
        sLog += std::string(kapNames[iLevel]) + " ";
        throw;
    }
}

TEST_F(Fault, PassesEveryHandlerAndDestructorOnce)
{
    std::string sLog;
    EXPECT_EQ(CodeOf([&] { Level(sLog, 2); }), kuAccessViolation);
    EXPECT_EQ(sLog, "~within inner ~inner ~within middle ~middle ~within outer ~outer ");
    EXPECT_EQ(std::uncaught_exceptions(), 0);
}

TEST_F(Fault, AHandlerMayFaultItself)
{
    unsigned int uInner = 0;
    const unsigned int uOuter = CodeOf([&]
    {
        try
        {
            faulting::ReadNull();
        }
        catch (const OCaughtFault& fault)
        {
            uInner = fault.uCode;
            faulting::DivideByZero();
        }
    });
    EXPECT_EQ(uInner, kuAccessViolation);
    EXPECT_EQ(uOuter, 0xC0000094u);
}

class OFaultsWhenDestroyed
{
public:
    explicit OFaultsWhenDestroyed(unsigned int& uCode) : muCode(uCode) {}
    ~OFaultsWhenDestroyed() { muCode = CodeOf(faulting::IllegalInstruction); }

private:
    unsigned int& muCode;
};

TEST_F(Fault, ADestructorMayFaultAndCatchWhileAFaultPasses)
{
    unsigned int uInner = 0;
    const unsigned int uOuter = CodeOf([&]
    {
        OFaultsWhenDestroyed object(uInner);
        faulting::ReadNull();
    });
    EXPECT_EQ(uInner, 0xC000001Du);
    EXPECT_EQ(uOuter, kuAccessViolation);
}

TEST_F(Fault, ATranslatorIsReplacedByTheNext)
{
    LumSetFaultTranslator([](unsigned int uCode) { throw uCode; });
    EXPECT_THROW(faulting::ReadNull(), unsigned int);
    LumSetFaultTranslator(ThrowCode);
    EXPECT_THROW(faulting::ReadNull(), OCaughtFault);
}

TEST_F(Fault, TenThousandAreCaughtInARow)
{
    int iCaught = 0;
    for (int i = 0; i < 10000; ++i) iCaught += CodeOf(faulting::ReadNull) == kuAccessViolation;
    EXPECT_EQ(iCaught, 10000);
}

TEST_F(Fault, ThreadsCatchTheirOwnAtTheSameTime)
{
    constexpr int kiThreads = 8, kiRounds = 500;
    static constexpr OKind kOwn[] = {kKinds[0], kKinds[6], kKinds[7], kKinds[23]};
    int aiCaught[kiThreads] = {};
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < kiThreads; ++iThread)
    {
        threads.emplace_back([&aiCaught, iThread]
        {
            LumSetFaultTranslator(ThrowCode);
            const OKind& kind = kOwn[iThread % 4];
            for (int i = 0; i < kiRounds; ++i) aiCaught[iThread] += CodeOf(kind.pFunction) == kind.uCode;
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int iCaught : aiCaught) EXPECT_EQ(iCaught, kiRounds);
}

// A recursion that does in every frame what the library's methods do: something to destroy, something to log.
int LogOnTheWay(int iDepth, int* piHandlers)
{
    if (iDepth < 0) return 0; // never: depths count up
    char acFrame[300];
    std::string sText = "a text that is too long for the string itself, " + std::to_string(iDepth);
    try
    {
        std::snprintf(acFrame, sizeof acFrame, "%s", sText.c_str());
        return LogOnTheWay(iDepth + 1, piHandlers) + acFrame[0];
    }
    catch (...)
    {
        char acLine[1024];
        std::snprintf(acLine, sizeof acLine, "%d: %s", iDepth, sText.c_str());
        ++*piHandlers;
        throw;
    }
}

void OverflowRepeatedly()
{
    for (unsigned int uFrameBytes : {256u, 256u, 4000u, 40000u, 256u})
    {
        EXPECT_EQ(CodeOf([&] { faulting::RecurseWithoutEnd(uFrameBytes); }), kuStackOverflow) << uFrameBytes;
        EXPECT_NE(_resetstkoflw(), 0);
        EXPECT_EQ(CodeOf(faulting::ReadNull), kuAccessViolation); // other faults in between
    }
}

TEST_F(Fault, AStackOverflowIsCaughtAgainAndAgain) { OverflowRepeatedly(); }

TEST_F(Fault, AStackOverflowOfAnotherThreadIsCaughtAgainAndAgain)
{
    std::thread([]
    {
        LumSetFaultTranslator(ThrowCode);
        OverflowRepeatedly();
    }).join();
}

TEST_F(Fault, HandlersAndDestructorsNearAStackOverflowHaveRoom)
{
    for (int i = 0; i < 2; ++i)
    {
        int iHandlers = 0;
        EXPECT_EQ(CodeOf([&] { LogOnTheWay(0, &iHandlers); }), kuStackOverflow);
        EXPECT_GT(iHandlers, 100);
        EXPECT_EQ(std::uncaught_exceptions(), 0);
        EXPECT_NE(_resetstkoflw(), 0);
    }
}

// A call of the allocator that meets the end of the stack ends with the exception: the block that it took belongs to nobody. Where
// the stack ends differs from run to run.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:AllocateOnTheWay\nleak:LogOnTheWay\n"; }

// Takes memory in every frame, so that the stack mostly ends within the allocator.
int AllocateOnTheWay(int iDepth, unsigned int uFirstFrame)
{
    if (iDepth < 0) return 0; // never: depths count up
    auto* pFrame = static_cast<volatile char*>(__builtin_alloca(uFirstFrame + 16));
    pFrame[0] = 1;
    const auto pBlock = std::make_unique<std::string>(100, 'x');
    return AllocateOnTheWay(iDepth + 1, 200) + pBlock->front() + pFrame[0];
}

// Broken off in the midst, an allocator would keep its lock: the next to allocate would wait for ever.
TEST_F(Fault, AStackOverflowBreaksNoCallOfTheAllocatorOff)
{
    std::thread([]
    {
        LumSetFaultTranslator(ThrowCode);
        for (unsigned int uFirstFrame = 0; uFirstFrame < 1024; uFirstFrame += 64)
        {
            EXPECT_EQ(CodeOf([&] { AllocateOnTheWay(0, uFirstFrame); }), kuStackOverflow);
            EXPECT_NE(_resetstkoflw(), 0);
            const std::string sText(1000, 'y');
            EXPECT_EQ(sText.back(), 'y');
        }
    }).join();
    // In the memory that the thread has left behind, and in everybody's.
    std::thread([] { EXPECT_EQ(std::string(1000, 'z').back(), 'z'); }).join();
}

// The death of the process is what a thread without a translator had before.

TEST(FaultDeathTest, AThreadWithoutATranslatorKeepsWhatItHad)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            LeaveFaultsToTheSystem();
            LumSetFaultTranslator(ThrowCode);
            std::thread([] { CodeOf(faulting::ReadNull); }).join();
        },
        DiedOfAccessViolation, "");
    EXPECT_EXIT(
        {
            LeaveFaultsToTheSystem();
            LumSetFaultTranslator(ThrowCode);
            LumSetFaultTranslator(nullptr);
            CodeOf(faulting::ReadNull);
        },
        DiedOfAccessViolation, "");
}
} // namespace
