// Numbers as the text that the registry keeps. No locale has a say: the decimal point is a point everywhere.
#pragma once

#include "CString.h"

// ToDouble: the number that a text starts with, as strtod reads it; white space may stand in front, anything may follow.
//   No number: 0. Beyond the range of a double: infinity or 0. Only decimal digits count: no "inf", no "nan", no "0x".
double ToDouble(const char* pText);

// ToInt: the decimal number that a text starts with, as atoi reads it; no number: 0. Beyond the range of an int: its limit.
int ToInt(const char* pText);

// ToText: the number with iPrecision digits behind the point, as "%.*f" writes it (a negative precision is 6).
CString ToText(double fValue, int iPrecision);
