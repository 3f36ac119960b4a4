// What the faulting instruction tells beyond the processor's own report. Internal to platform/.
//
//  * Reads the instruction, and for a division its operand, where the processor has just read them; allocates nothing.
#pragma once

#include <cstdint>

namespace lum
{
// The processor at a fault, in the order in which instructions number the registers: rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi,
// r8 to r15.
struct CpuState
{
    std::uint64_t aulRegisters[16];
    std::uint64_t ulRip;
    std::uint64_t ulThreadBase; // where the segment of thread-local data begins; 0 when that is not known
};

// IsDivisionByZero: tells the two reasons of a divide error apart. True for a zero divisor, and for an instruction that is
//   not understood; false when the quotient did not fit.
bool IsDivisionByZero(const CpuState& state);

// IsPrivileged: whether the instruction is one that only the system may execute.
bool IsPrivileged(const std::uint8_t* pInstruction);

// FloatFaultCode: the system's code for floating-point conditions, given as the processor's flags (both units number them
//   alike); 0 for none. The most serious one counts.
std::uint32_t FloatFaultCode(std::uint32_t ulConditions);

constexpr std::uint32_t kulFloatConditions = 0x3F; // invalid, denormal, zero, overflow, underflow, inexact
constexpr std::uint32_t kulFloatDenormal = 0x02;
constexpr std::uint32_t kulFloatUnderflow = 0x10;
constexpr std::uint32_t kulFloatStack = 0x40; // with invalid, in the older unit: its register stack

// The conditions of the vector unit that are raised and not masked; the masks stand 7 bits above the flags.
constexpr std::uint32_t RaisedByVectorUnit(std::uint32_t ulMxCsr) { return ulMxCsr & ~(ulMxCsr >> 7) & kulFloatConditions; }
// The same of the older unit, from its status and control words.
constexpr std::uint32_t RaisedByX87(std::uint32_t ulStatus, std::uint32_t ulControl)
{
    return (ulStatus & ~ulControl & kulFloatConditions) | (ulStatus & kulFloatStack);
}
} // namespace lum
