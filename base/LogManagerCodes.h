// What a log manager raises.
#pragma once

#include "Platform.h"

enum OLogManagerCode : ULONG
{
    kulNotThere = 2,
    kulEmptyName = 3,
};
