#include "Faulting.h"


// The operands lie in memory, where assembler of both systems finds them.
extern "C"
{
alignas(16) unsigned char gaubAligned[32];
double gdZero = 0, gdOne = 1, gdThree = 3, gdHuge = 1e308, gdTiny = 1e-200, gdDenormal = 5e-324;
unsigned short guwX87Control;
}

namespace
{
// The x87 with one condition unmasked, its stack empty.
void PrepareX87(unsigned uUnmasked)
{
    guwX87Control = static_cast<unsigned short>(0x037F & ~uUnmasked);
    asm volatile("fninit; fldcw guwX87Control(%%rip)" ::: "memory");
}
} // namespace

namespace faulting
{
void ReadNull() { asm volatile("xorl %%ecx, %%ecx; movl (%%rcx), %%eax" ::: "rax", "rcx", "memory"); }
void WriteNull() { asm volatile("xorl %%ecx, %%ecx; movl %%eax, (%%rcx)" ::: "rax", "rcx", "memory"); }
void ReadImpossibleAddress() { asm volatile("movq $0x8000000000000000, %%rcx; movl (%%rcx), %%eax" ::: "rax", "rcx", "memory"); }
void ReadVectorMisaligned() { asm volatile("movaps gaubAligned+1(%%rip), %%xmm0" ::: "xmm0", "memory"); }
void ReadFrom(const void* pAddress) { asm volatile("movb (%0), %%al" ::"r"(pAddress) : "rax", "memory"); }

void CallTo(void (*pFunction)())
{
    pFunction();
    asm volatile("" ::: "memory"); // so that it is a call, not a jump
}

void JumpTo(void (*pFunction)()) { pFunction(); }

void CopyBackwardsToNull()
{
    asm volatile("std; xorl %%edi, %%edi; leaq gaubAligned(%%rip), %%rsi; movl $8, %%ecx; rep movsb; cld" ::: "rcx", "rsi", "rdi",
                 "memory");
}

void ReadNullWithFullX87()
{
    PrepareX87(0);
    asm volatile("fldz; fldz; fldz; fldz; fldz; fldz; fldz; fldz" ::: "memory");
    ReadNull();
}

void DivideByZero() { asm volatile("xorl %%ecx, %%ecx; xorl %%edx, %%edx; movl $1, %%eax; idivl %%ecx" ::: "rax", "rcx", "rdx"); }
void DivideMinimumByMinusOne()
{
    asm volatile("movl $-1, %%ecx; movl $-1, %%edx; movl $0x80000000, %%eax; idivl %%ecx" ::: "rax", "rcx", "rdx");
}

#define FAULTING_VECTOR(operation, left, right)                                                                                    \
    asm volatile("movsd " left "(%%rip), %%xmm0; " operation " " right "(%%rip), %%xmm0" ::: "xmm0", "memory")
void VectorDivideByZero() { FAULTING_VECTOR("divsd", "gdOne", "gdZero"); }
void VectorInvalid() { FAULTING_VECTOR("divsd", "gdZero", "gdZero"); }
void VectorOverflow() { FAULTING_VECTOR("mulsd", "gdHuge", "gdHuge"); }
void VectorUnderflow() { FAULTING_VECTOR("mulsd", "gdTiny", "gdTiny"); }
void VectorInexact() { FAULTING_VECTOR("divsd", "gdOne", "gdThree"); }
void VectorDenormal() { FAULTING_VECTOR("addsd", "gdDenormal", "gdOne"); }

// The fault comes with the x87's next instruction: fwait.
void X87DivideByZero()
{
    PrepareX87(0x04);
    asm volatile("fldl gdOne(%%rip); fdivl gdZero(%%rip); fwait" ::: "memory");
}
void X87Invalid()
{
    PrepareX87(0x01);
    asm volatile("fldl gdZero(%%rip); fdivl gdZero(%%rip); fwait" ::: "memory");
}
void X87Overflow()
{
    double dResult;
    PrepareX87(0x08);
    asm volatile("fldl gdHuge(%%rip); fmull gdHuge(%%rip); fstpl %0; fwait" : "=m"(dResult)::"memory");
}
void X87Underflow()
{
    double dResult;
    PrepareX87(0x10);
    asm volatile("fldl gdTiny(%%rip); fmull gdTiny(%%rip); fstpl %0; fwait" : "=m"(dResult)::"memory");
}
void X87Inexact()
{
    PrepareX87(0x20);
    asm volatile("fldl gdOne(%%rip); fdivl gdThree(%%rip); fwait" ::: "memory");
}
void X87Denormal()
{
    PrepareX87(0x02);
    asm volatile("fldl gdDenormal(%%rip); fwait" ::: "memory");
}
void X87StackOverflow()
{
    PrepareX87(0x01);
    asm volatile("fldz; fldz; fldz; fldz; fldz; fldz; fldz; fldz; fldz; fwait" ::: "memory");
}
void X87StackUnderflow()
{
    PrepareX87(0x01);
    asm volatile("fstp %%st(0); fwait" ::: "memory");
}

void IllegalInstruction() { asm volatile("ud2"); }
void PrivilegedInstruction() { asm volatile("hlt"); }
void Breakpoint() { asm volatile("int3"); }

// Without locals, so that nothing lies where the flags are pushed to.
void SingleStep() { asm volatile("pushfq; orl $0x100, (%%rsp); popfq; nop; nop" ::: "memory", "cc"); }

static volatile bool gbDeeper = true;

__attribute__((no_sanitize("address", "undefined"))) void RecurseWithoutEnd(unsigned uFrameBytes)
{
    auto* pFrame = static_cast<volatile char*>(__builtin_alloca(uFrameBytes));
    for (unsigned u = 0; u < uFrameBytes; u += 256) pFrame[u] = 1;
    if (gbDeeper) RecurseWithoutEnd(uFrameBytes);
    pFrame[0] = 2; // after the call, so that it stays one
}
} // namespace faulting
