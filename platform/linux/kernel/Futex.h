// Sleeping on a word of memory, and waking who sleeps. Internal to platform/linux.
//
//  * A word is private to the process or shared with others; who sleeps and who wakes must say the same.
//  * A sleeper may wake for no reason: whoever calls looks again at what it waits for.
#pragma once

#include "Types.h"

#include <atomic>
#include <ctime>

namespace lum
{
using FutexWord = std::atomic<ULONG>;
static_assert(sizeof(FutexWord) == 4 && FutexWord::is_always_lock_free);

// A moment on the clock that no one sets, or never.
class Deadline
{
public:
    explicit Deadline(DWORD ulMilliseconds); // from now; INFINITE: never

    // The moment for the system's calls; null for never.
    const timespec* Moment() const { return mbNever ? nullptr : &mMoment; }
    // This one, or ulMilliseconds from now when that comes first.
    Deadline NoLaterThanIn(DWORD ulMilliseconds) const;
    bool IsBefore(const Deadline& other) const;

private:
    timespec mMoment{};
    bool mbNever;
};

// A word to sleep on, for as long as it holds a value.
struct SleepWord
{
    FutexWord* pWord;
    ULONG ulWhile;
    bool bShared;
};

// SleepOn: one word, or any of several (at most 64); false when the deadline came first.
//   A kernel that cannot sleep on several words (before 5.16) is asked about one, and the others are looked at every
//   few milliseconds.
bool SleepOn(const SleepWord& sleep, const Deadline& deadline);
bool SleepOnAny(const SleepWord* pSleeps, ULONG ulCount, const Deadline& deadline);

// WakeOne: one of those who sleep on a word.
void WakeOne(FutexWord& word, bool bShared);

// RaiseAndWake: sets bits in a word and wakes up to iSleepers who sleep on it, in one step that no signal, SIGKILL
//   included, can part: there is no moment in which the bits are set and nobody was woken.
void RaiseAndWake(FutexWord& word, ULONG ulBits, int iSleepers, bool bShared);
} // namespace lum
