// Parameter blocks as a person likes to read them.
#pragma once

#include "Json.h"
#include "ParamTable.h"

namespace tool
{
// PrintBlock: phases as columns, or a line for each value. Returns whether a default was marked with '*'.
bool PrintBlock(const ParamBlock& block, ParamSet eSet);

// PrintMark: the line that explains the '*'.
void PrintMark();

void AddBlock(Json& json, const ParamBlock& block, ParamSet eSet);
} // namespace tool
