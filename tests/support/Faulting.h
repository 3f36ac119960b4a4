// Functions that fault, each in one known way.
//
//  * In assembler and in a file of their own: no optimiser reasons the fault away, no sanitizer reports it first, and the compiler
//    takes the call for one that may throw.
//  * The float functions need their condition unmasked: in MXCSR, or, for those of the x87, they do it themselves.
#pragma once

namespace faulting
{
void ReadNull();
void WriteNull();
void ReadImpossibleAddress();        // one that no address can be
void ReadVectorMisaligned();         // an aligned vector load from an odd address
void ReadFrom(const void* pAddress); // wherever the test has prepared it
void CallTo(void (*pFunction)());
void JumpTo(void (*pFunction)()); // as a function's last call is compiled: leaves no trace of the jump
void CopyBackwardsToNull();       // with the direction flag set
void ReadNullWithFullX87();       // with eight numbers on the x87's stack

void DivideByZero();
void DivideMinimumByMinusOne();

void VectorDivideByZero();
void VectorInvalid();
void VectorOverflow();
void VectorUnderflow();
void VectorInexact();
void VectorDenormal();

void X87DivideByZero();
void X87Invalid();
void X87Overflow();
void X87Underflow();
void X87Inexact();
void X87Denormal();
void X87StackOverflow();
void X87StackUnderflow();

void IllegalInstruction();
void PrivilegedInstruction();
void Breakpoint();
void SingleStep();

// Recurses until the stack ends; every frame holds ulFrameBytes.
void RecurseWithoutEnd(unsigned uFrameBytes);
} // namespace faulting
