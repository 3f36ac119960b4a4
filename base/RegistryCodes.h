// The codes that ORegistry raises, above its base 19000.
#pragma once

#include "Platform.h"

enum ORegistryCode : ULONG
{
    kulCloseFailed = 3,
    kulNotOpen = 4, // or a name is missing
    kulWriteFailed = 5,
    kulNullText = 6,
    kulReadFailed = 7,
    kulWrongType = 8,
    kulDeleteFailed = 9,
    kulNoInfo = 10,
    kulEnumFailed = 11,
};
