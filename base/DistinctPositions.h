// The check of a table of positions.
#pragma once

#include "Platform.h"

#include <span>

// AreDistinct: whether no value of the table comes twice.
constexpr bool AreDistinct(std::span<const LONG> positions)
{
    for (std::size_t k = 1; k < positions.size(); ++k)
        for (std::size_t i = 0; i < k; ++i)
            if (positions[i] == positions[k]) return false;
    return true;
}
