// Linux only: what becomes of signals, of signal stacks and of mappings, which Windows does not have.
#include "Platform.h"

#include "CaughtFault.h"
#include "linux/kernel/FaultThread.h"
#include "Faulting.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>
#include <thread>

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{
class FaultSignal : public testing::Test
{
protected:
    FaultSignal() { LumSetFaultTranslator(ThrowCode); }
    ~FaultSignal() override { LumSetFaultTranslator(nullptr); }
};

// What was there before our handlers can only be chosen before the first translator of a process: in a process of its own.
class FaultSignalDeathTest : public testing::Test
{
protected:
    FaultSignalDeathTest() { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

TEST_F(FaultSignal, TheMaskIsWhatItWas)
{
    sigset_t before, after, blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    EXPECT_EQ(CodeOf(faulting::ReadNull), kuAccessViolation);
    pthread_sigmask(SIG_BLOCK, nullptr, &after);
    for (int iSignal = 1; iSignal < SIGRTMAX; ++iSignal)
    {
        EXPECT_EQ(sigismember(&after, iSignal), sigismember(&before, iSignal)) << iSignal;
    }
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
}

TEST_F(FaultSignal, ErrnoIsWhatItWas)
{
    errno = 77;
    EXPECT_EQ(CodeOf(faulting::ReadNull), kuAccessViolation);
    EXPECT_EQ(errno, 77);
}

TEST_F(FaultSignal, TheHandlerOfAFaultStandsOnTheThreadsOwnStack)
{
    try
    {
        faulting::ReadNull();
    }
    catch (const OCaughtFault&)
    {
        stack_t stack;
        sigaltstack(nullptr, &stack);
        EXPECT_EQ(stack.ss_flags & SS_ONSTACK, 0);
    }
}

TEST_F(FaultSignal, AMappingBeyondItsFileIsAnErrorOfItsOwn)
{
    char acName[] = "/tmp/lumbase-fault-XXXXXX";
    const int iFile = mkstemp(acName);
    unlink(acName);
    void* pMapping = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, iFile, 0);
    EXPECT_EQ(CodeOf([&] { faulting::ReadFrom(pMapping); }), 0xC0000006u);
    munmap(pMapping, 4096);
    close(iFile);
}

// Assembler, as the compiler's own accesses are aligned or made for others.
void ReadMisalignedWithTheCheckOn()
{
    asm volatile("pushfq; orl $0x40000, (%%rsp); popfq; leaq 1f+1(%%rip), %%rcx; 1: movl (%%rcx), %%eax" ::: "rax", "rcx", "memory");
}

TEST_F(FaultSignal, AMisalignedAccessIsAFaultWhereThatIsChecked)
{
    EXPECT_EQ(CodeOf(ReadMisalignedWithTheCheckOn), 0x80000002u);
    unsigned long ulFlags = 0;
    asm volatile("pushfq; popq %0" : "=r"(ulFlags)::"memory");
    EXPECT_EQ(ulFlags & 0x40000, 0u); // or the handler would fault in its turn
}

stack_t CurrentStack()
{
    stack_t stack;
    sigaltstack(nullptr, &stack);
    return stack;
}

TEST_F(FaultSignal, ASignalStackOfTheProgramIsUsedWhenItIsLargeEnough)
{
    for (const std::size_t ulBytes : {std::size_t{256 * 1024}, std::size_t{16 * 1024}})
    {
        std::thread([&]
        {
            stack_t own = {};
            own.ss_size = ulBytes;
            own.ss_sp = std::malloc(own.ss_size);
            sigaltstack(&own, nullptr);
            LumSetFaultTranslator(ThrowCode);
            EXPECT_EQ(CurrentStack().ss_sp == own.ss_sp, ulBytes >= 64 * 1024);
            EXPECT_EQ(CodeOf(faulting::ReadNull), kuAccessViolation);
            LumSetFaultTranslator(nullptr);
            EXPECT_EQ(CurrentStack().ss_sp, own.ss_sp);
            EXPECT_EQ(CurrentStack().ss_size, own.ss_size);
            own.ss_flags = SS_DISABLE;
            sigaltstack(&own, nullptr);
            std::free(own.ss_sp);
        }).join();
    }
}

int CountMappings()
{
    std::ifstream maps("/proc/self/maps");
    int iLines = 0;
    for (std::string sLine; std::getline(maps, sLine);) ++iLines;
    return iLines;
}

TEST_F(FaultSignal, AThreadLeavesNothingBehind)
{
    const auto run = []
    {
        std::thread([]
        {
            LumSetFaultTranslator(ThrowCode);
            EXPECT_EQ(CodeOf(faulting::ReadNull), kuAccessViolation);
        }).join();
    };
    run();
    const int iBefore = CountMappings();
    for (int i = 0; i < 200; ++i) run();
    EXPECT_LE(CountMappings(), iBefore + 5);
}

// What arrives from a function that a new thread with these attributes runs.
unsigned int CodeOnThread(pthread_attr_t& attributes, void (*pFunction)())
{
    struct OCall
    {
        void (*pFunction)();
        unsigned int uCode;
    } call = {pFunction, 0};
    const auto run = [](void* p) -> void*
    {
        LumSetFaultTranslator(ThrowCode);
        static_cast<OCall*>(p)->uCode = CodeOf(static_cast<OCall*>(p)->pFunction);
        return nullptr;
    };
    pthread_t thread;
    if (pthread_create(&thread, &attributes, run, &call) == 0) pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return call.uCode;
}

TEST_F(FaultSignal, ASmallStackOverflowsToo)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 128 * 1024); // too small to keep anything back
    EXPECT_EQ(CodeOnThread(attributes, [] { faulting::RecurseWithoutEnd(1000); }), kuStackOverflow);
}

TEST_F(FaultSignal, AFrameThatStepsOverTheGuardIsAnOverflow)
{
    // Nothing lies below the main thread's stack, and a page nobody may touch below this one: no frame lands in a neighbour.
    constexpr std::size_t kulClosed = 4 * 1024 * 1024, kulOpen = 4 * 1024 * 1024;
    void* pPlace = mmap(nullptr, kulClosed + kulOpen, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(pPlace, MAP_FAILED);
    void* pStack = static_cast<char*>(pPlace) + kulClosed;
    ASSERT_EQ(mprotect(pStack, kulOpen, PROT_READ | PROT_WRITE), 0);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, pStack, kulOpen);
    EXPECT_EQ(CodeOnThread(attributes, [] { faulting::RecurseWithoutEnd(1000000); }), kuStackOverflow);
    munmap(pPlace, kulClosed + kulOpen);

    EXPECT_EQ(CodeOf([] { faulting::RecurseWithoutEnd(1000000); }), kuStackOverflow);
}

TEST_F(FaultSignal, TheMainStackEndsWhereItsLimitSaysEvenWhenThatIsLowered)
{
    rlimit limit;
    getrlimit(RLIMIT_STACK, &limit);
    const rlimit lower = {2 * 1024 * 1024, limit.rlim_max};
    setrlimit(RLIMIT_STACK, &lower);
    EXPECT_EQ(CodeOf([] { faulting::RecurseWithoutEnd(4000); }), kuStackOverflow);
    EXPECT_NE(_resetstkoflw(), 0);
    setrlimit(RLIMIT_STACK, &limit);
    EXPECT_EQ(CodeOf([] { faulting::RecurseWithoutEnd(4000); }), kuStackOverflow);
    EXPECT_NE(_resetstkoflw(), 0);
}

TEST_F(FaultSignal, AnOverflowWhoseExceptionIsForgottenIsCaughtAgain)
{
    std::thread([]
    {
        LumSetFaultTranslator(ThrowCode);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(CodeOf([] { faulting::RecurseWithoutEnd(500); }), kuStackOverflow);
    }).join();
}

TEST(FaultThread, KeepsTheEndOfAThreadsStackBackAndGivesItBack)
{
    std::thread([]
    {
        lum::FaultThread* pThread = lum::FaultThread::Enter();
        ASSERT_NE(pThread, nullptr);
        const auto ulHere = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
        EXPECT_TRUE(pThread->CloseReserve(ulHere)); // nothing open: nothing to do
        EXPECT_TRUE(pThread->OpenReserve());
        EXPECT_FALSE(pThread->OpenReserve()); // once
        EXPECT_TRUE(pThread->CloseReserve(ulHere));
        EXPECT_TRUE(pThread->OpenReserve());
        lum::FaultThread::Leave();
        EXPECT_EQ(lum::FaultThread::Current(), nullptr);
    }).join();
}

volatile sig_atomic_t gSeen = 0;
volatile sig_atomic_t gWithInfo = 0;

void OnPlain(int iSignal) { gSeen = iSignal; }

TEST_F(FaultSignalDeathTest, AHandlerFromBeforeSeesTheSignalsThatWereSent)
{
    EXPECT_EXIT(
        {
            std::signal(SIGTRAP, OnPlain);
            LumSetFaultTranslator(ThrowCode);
            raise(SIGTRAP);
            const bool bSent = gSeen == SIGTRAP;
            gSeen = 0;
            const bool bFault = CodeOf(faulting::Breakpoint) == 0x80000003 && gSeen == 0;
            LumSetFaultTranslator(nullptr);
            faulting::Breakpoint();
            _exit(bSent && bFault && gSeen == SIGTRAP ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

TEST_F(FaultSignalDeathTest, AHandlerFromBeforeGetsItsArgumentsItsMaskAndOneCallIfItAskedForOne)
{
    EXPECT_EXIT(
        {
            struct sigaction action = {};
            action.sa_flags = SA_SIGINFO | static_cast<int>(SA_RESETHAND);
            sigaddset(&action.sa_mask, SIGUSR2);
            action.sa_sigaction = [](int iSignal, siginfo_t* pInfo, void* pContext)
            {
                sigset_t mask;
                pthread_sigmask(SIG_BLOCK, nullptr, &mask);
                const bool bMasked = sigismember(&mask, SIGUSR2) && sigismember(&mask, iSignal);
                if (pContext && pInfo->si_signo == iSignal && bMasked) gWithInfo = gWithInfo + 1;
            };
            sigaction(SIGTRAP, &action, nullptr);
            LumSetFaultTranslator(ThrowCode);
            raise(SIGTRAP);
            if (gWithInfo != 1) _exit(1);
            raise(SIGTRAP); // back to the default: death
            _exit(2);
        },
        testing::KilledBySignal(SIGTRAP), "");
}

TEST_F(FaultSignalDeathTest, IgnoringHelpsAgainstSentSignalsAlone)
{
    EXPECT_EXIT(
        {
            std::signal(SIGSEGV, SIG_IGN);
            LumSetFaultTranslator(ThrowCode);
            raise(SIGSEGV);
            _exit(42);
        },
        testing::ExitedWithCode(42), "");
    EXPECT_EXIT(
        {
            std::signal(SIGSEGV, SIG_IGN);
            LumSetFaultTranslator(ThrowCode);
            LumSetFaultTranslator(nullptr);
            faulting::ReadNull();
            _exit(1);
        },
        testing::KilledBySignal(SIGSEGV), "");
}

TEST_F(FaultSignalDeathTest, ASentSignalKillsAThreadWithATranslatorToo)
{
    for (int iSignal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP})
    {
        EXPECT_EXIT(
            {
                std::signal(iSignal, SIG_DFL);
                LumSetFaultTranslator(ThrowCode);
                CodeOf([&] { raise(iSignal); });
                _exit(1);
            },
            testing::KilledBySignal(iSignal), "");
    }
}

TEST_F(FaultSignalDeathTest, AFaultOnTheThrowStackEndsTheProcess)
{
    EXPECT_EXIT(
        {
            std::signal(SIGSEGV, SIG_DFL);
            LumSetFaultTranslator([](unsigned int) { faulting::ReadNull(); });
            CodeOf(faulting::DivideByZero);
            _exit(1);
        },
        testing::KilledBySignal(SIGSEGV), "");
}

TEST_F(FaultSignalDeathTest, AnExceptionThatNobodyHandlesEndsTheProcess)
{
    EXPECT_EXIT(
        {
            std::set_terminate([] { _exit(43); });
            std::thread([]
            {
                LumSetFaultTranslator(ThrowCode);
                faulting::ReadNull();
            }).join();
            _exit(1);
        },
        testing::ExitedWithCode(43), "");
}
} // namespace
