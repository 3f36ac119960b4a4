// Where a function with handlers or destructors, a guarded function, expects an exception. Internal to platform/.
//
//  * The compiler notes which instructions of it may throw; at the others an exception ends the program. It knows statements that
//    may fault, but neither a function's first instructions nor the calls of functions that are declared to throw nothing: the C
//    library's, and destructors.
//  * An exception for a fault at such a place is thrown from the function's caller instead: its own handlers and destructors do
//    not run, but the program lives.
//  * A stack overflow happens anywhere, in the midst of the allocator as well. It is let run, on the reserve, to the next
//    instruction of the innermost guarded function that expects an exception.
#pragma once

#include <cstdint>

namespace lum
{
// ExpectsException: pTable is the function's table for the C++ runtime, ulOffset the instruction's from the function's beginning.
//   True as well for a table that is not understood.
bool ExpectsException(const std::uint8_t* pTable, std::uint64_t ulOffset);

// A guarded function that is being executed.
struct GuardedFunction
{
    std::uintptr_t ulBegin = 0;
    const std::uint8_t* pTable = nullptr; // null: no such function
    std::uintptr_t ulStackAfter = 0;      // the stack pointer once it has returned

    // IsReady: whether it expects an exception at that instruction, or has returned.
    bool IsReady(std::uintptr_t ulRip, std::uintptr_t ulStackPointer) const
    {
        return ulStackPointer >= ulStackAfter || ExpectsException(pTable, ulRip - ulBegin);
    }
};

// How many instructions an overflowing thread is followed for, one trap each: a second or two. Then it is left to run on.
constexpr unsigned kuMostSteps = 1000000;
} // namespace lum
