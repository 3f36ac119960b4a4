// What a printf call takes from and writes to. Internal to the printf calls.
#pragma once

#include "CodePages.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstring>

namespace lum
{
// The caller's arguments, in order. An own copy: `va_list` is an array on some systems and decays when it is passed on.
class Arguments
{
public:
    explicit Arguments(va_list args) { va_copy(mArgs, args); }
    ~Arguments() { va_end(mArgs); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    int Int() { return va_arg(mArgs, int); }
    LONGLONG Long() { return va_arg(mArgs, LONGLONG); }
    double Double() { return va_arg(mArgs, double); }
    template <class T> T* Pointer() { return static_cast<T*>(va_arg(mArgs, void*)); }

private:
    va_list mArgs;
};

inline Conversion Converted(const char* pFrom, std::size_t ulFrom, WCHAR* pTo, std::size_t ulRoom)
{
    return NarrowToWide(pFrom, ulFrom, pTo, ulRoom);
}
inline Conversion Converted(const WCHAR* pFrom, std::size_t ulFrom, char* pTo, std::size_t ulRoom)
{
    return WideToNarrow(pFrom, ulFrom, pTo, ulRoom, Misfit::Refuse);
}

// How many units of a text are needed for ulUnits units of the same or the other width; no more are read.
inline std::size_t Needed(const char* pText, std::size_t ulUnits, const char*) { return strnlen(pText, ulUnits); }
inline std::size_t Needed(const char* pText, std::size_t ulUnits, const WCHAR*) { return NarrowBytes(pText, ulUnits); }
template <class Unit>
std::size_t Needed(const WCHAR* pText, std::size_t ulUnits, const Unit*)
{
    std::size_t ul = 0;
    while (ul < ulUnits && pText[ul]) ++ul;
    return ul;
}

// Where the text goes: as much of it as fits. Without a buffer it is only counted.
template <class Unit>
class Output
{
public:
    Output(Unit* pTo, std::size_t ulRoom) : mpTo(pTo), mulRoom(pTo ? ulRoom : kulAnyRoom) {}

    void Put(Unit unit) { Fill(unit, 1); }
    void Fill(Unit unit, std::size_t ulUnits)
    {
        const std::size_t ulFits = Take(ulUnits);
        if (mpTo) std::fill_n(mpTo + mulMade, ulFits, unit);
        mulMade += ulFits;
    }
    template <class Source>
    void Copy(const Source* pFrom, std::size_t ulUnits)
    {
        const std::size_t ulFits = Take(ulUnits);
        if (mpTo) std::copy_n(pFrom, ulFits, mpTo + mulMade);
        mulMade += ulFits;
    }
    // ulUnits units of a text of the other width.
    template <class Source>
    void Convert(const Source* pFrom, std::size_t ulFrom, std::size_t ulUnits)
    {
        Unit* pNext = mpTo ? mpTo + mulMade : nullptr;
        const std::size_t ulMade = Converted(pFrom, ulFrom, pNext, std::min(ulUnits, mulRoom - mulMade)).ulMade;
        mulMade += ulMade;
        mbFull |= ulMade < ulUnits;
    }

    bool IsFull() const { return mbFull; }
    std::size_t Made() const { return mulMade; }
    int Finish()
    {
        if (mpTo && mulMade < mulRoom) mpTo[mulMade] = 0;
        return mbFull || mulMade > INT_MAX ? -1 : static_cast<int>(mulMade);
    }

private:
    std::size_t Take(std::size_t ulUnits)
    {
        mbFull |= ulUnits > mulRoom - mulMade;
        return std::min(ulUnits, mulRoom - mulMade);
    }

    Unit* const mpTo;
    const std::size_t mulRoom;
    std::size_t mulMade = 0;
    bool mbFull = false;
};
} // namespace lum
