// Whether a function expects an exception where it was left. Internal to platform/.
//
//  * The compiler notes which parts of a function with handlers or destructors may throw; in the others an exception ends the
//    program. It knows statements that may fault, but not a function's first instructions, which a stack overflow meets, nor calls
//    of functions that are declared to throw nothing: the C library's, and destructors.
//  * An exception for a fault in such a part is thrown as if the whole function had been called by nobody but its caller:
//    the function's own handlers and destructors do not run.
#pragma once

#include <cstdint>

namespace lum
{
// ExpectsException: pTable is the function's table for the C++ runtime, ulOffset the instruction's from the function's beginning.
//   True as well for a table that is not understood.
bool ExpectsException(const std::uint8_t* pTable, std::uint64_t ulOffset);
} // namespace lum
