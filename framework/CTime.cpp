#include "CTime.h"

CTime CTime::GetCurrentTime() { return CTime(static_cast<LONGLONG>(std::time(nullptr))); }

CString CTime::Format(const char* pFormat) const
{
    CString sText;
    std::tm local{};
    if (!*pFormat || !LumLocalTime(m_time, &local)) return sText;
    // A result of 0 may mean "too long" and "nothing"; a character in front tells them apart.
    const CString sMarked = '.' + CString(pFormat);
    constexpr int kiMost = 65536;
    for (int iRoom = 128; iRoom <= kiMost; iRoom *= 2)
    {
        char* pText = sText.GetBuffer(iRoom);
        const auto iLength = static_cast<int>(std::strftime(pText, static_cast<std::size_t>(iRoom) + 1, sMarked, &local));
        sText.ReleaseBuffer(iLength);
        if (iLength > 0) return sText.Mid(1);
    }
    return sText;
}
