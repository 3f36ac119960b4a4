// Waiting for other programs, which have a file open for moments mostly.
#pragma once

#include "Platform.h"

#include <chrono>

namespace tool
{
// WaitWhile: asks again and again, for three seconds at most, until the answer is no. Gives the last answer.
template <class Busy>
bool WaitWhile(Busy isBusy)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds kMost(3);
    constexpr DWORD kulPauseMs = 20;
    for (const auto end = Clock::now() + kMost; isBusy(); Sleep(kulPauseMs))
        if (Clock::now() >= end) return true;
    return false;
}
} // namespace tool
