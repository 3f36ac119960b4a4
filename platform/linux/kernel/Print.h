// printf formatting into a buffer, with the results of the Windows runtime.
//
//  * Bounded always: nothing is written beyond ulRoom. What fits is there; the terminator too where there is room for it.
//  * Returns the units written without the terminator, or -1: the text does not fit, or a wide text has a unit that the
//    narrow page lacks. pTo null: writes nothing and returns how many units the text has.
//  * Numbers: exponents of three digits, %p as 16 upper-case digits, halves rounded away from zero, 1.#INF, 1.#QNAN, -1.#IND,
//    %a with all 13 digits, and 0 as a flag pads whatever is formatted.
//  * Sizes: h, l (32 bits), ll, j, I64 and, before an integer conversion, I, z, t (all 64 bits), I32; L, F, N say nothing.
//  * Text: %s and %c are of the format's own width, %S and %C of the other; h makes both narrow, l and w wide. A null text
//    is "(null)". Width and precision count units of the output.
//  * %n stores an int. An unknown conversion stands for its own letter and takes no argument.
//
// Not provided: swprintf and vswprintf, which the Windows headers give two meanings.
#pragma once

#include "Types.h"

#include <cstdarg>

int _vsnprintf(char* pTo, std::size_t ulRoom, const char* pFormat, va_list args);
int _snprintf(char* pTo, std::size_t ulRoom, const char* pFormat, ...) __attribute__((nonnull(3)));
int _vsnwprintf(WCHAR* pTo, std::size_t ulRoom, const WCHAR* pFormat, va_list args);
int _snwprintf(WCHAR* pTo, std::size_t ulRoom, const WCHAR* pFormat, ...) __attribute__((nonnull(3)));
