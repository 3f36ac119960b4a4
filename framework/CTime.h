// A moment, in whole seconds since 1970-01-01 UTC; 0 stands for none.
#pragma once

#include "CString.h"

#include <compare>

class CTime
{
public:
    CTime() = default;
    CTime(LONGLONG llSeconds) : m_time(llSeconds) {}
    CTime(const FILETIME& time) // earlier than 1970: none
    {
        const ULONGLONG ullSteps = static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
        m_time = ullSteps < kullStepsTo1970 ? 0 : static_cast<LONGLONG>((ullSteps - kullStepsTo1970) / kullStepsPerSecond);
    }

    static CTime GetCurrentTime();

    // Format: local time, with the conversions of strftime. Empty when there is no such moment.
    CString Format(const char* pFormat) const;

    LONGLONG GetTime() const { return m_time; }
    FILETIME GetFileTime() const
    {
        const ULONGLONG ullSteps = static_cast<ULONGLONG>(m_time) * kullStepsPerSecond + kullStepsTo1970;
        return {static_cast<DWORD>(ullSteps), static_cast<DWORD>(ullSteps >> 32)};
    }

    friend auto operator<=>(const CTime&, const CTime&) = default;

private:
    static constexpr ULONGLONG kullStepsPerSecond = 10'000'000;
    static constexpr ULONGLONG kullStepsTo1970 = 116'444'736'000'000'000;

    LONGLONG m_time = 0;
};
