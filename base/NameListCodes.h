// What ONameList raises.
#pragma once

#include "Platform.h"

enum ONameListCode : ULONG
{
    kulNotListed = 1,
    kulNameExists = 2,
    kulMissingLevel = 4,
};
