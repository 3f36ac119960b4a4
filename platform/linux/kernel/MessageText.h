// Puts one message of FormatMessage together. Internal to it.
#pragma once

#include "Types.h"

#include <cstdarg>
#include <vector>

namespace lum
{
// The caller's arguments by their numbers, each an integer or a pointer in a register's width.
class MessageArguments
{
public:
    MessageArguments(va_list* pList, bool bArray);
    ~MessageArguments();
    MessageArguments(const MessageArguments&) = delete;
    MessageArguments& operator=(const MessageArguments&) = delete;

    bool Exist() const { return mpArray || mbList; }
    bool IsList() const { return mbList; }
    ULONG_PTR Get(unsigned uNumber); // from 1

    // Get, of a list; and what follows moves up by one number.
    ULONG_PTR Remove(unsigned uNumber);

private:
    const ULONG_PTR* mpArray;
    const bool mbList;
    va_list mList;
    std::vector<ULONG_PTR> mTaken; // a list can be walked only once, but an insert may stand twice
};

// Units in lines of at most so many. A line that is full ends at its last blank, or where it is when it has none; what is
// put in as a whole is never broken.
class MessageLines
{
public:
    explicit MessageLines(std::size_t ulWidth) : mulWidth(ulWidth) {} // 0: as long as they come

    void PutBlank();
    void Put(WCHAR uwUnit) { PutWhole(&uwUnit, 1); }
    void PutWhole(const WCHAR* pText, std::size_t ulUnits);
    void PutReturn(); // alone, without a line feed
    void Break();

    const std::vector<WCHAR>& Text() const { return mText; }

private:
    void Wrap();

    const std::size_t mulWidth;
    std::vector<WCHAR> mText;
    std::size_t mulLine = 0;  // where the line begins
    std::size_t mulBlank = 0; // its last blank
    bool mbBlank = false;     // whether it has one
};

// FormatMessageText: formats pSource as the flags say; text inserts without a size are narrow or wide as bNarrow says.
//   Returns 0, or the error of a bad format.
DWORD FormatMessageText(const WCHAR* pSource, DWORD ulFlags, bool bNarrow, va_list* pArguments, std::vector<WCHAR>& text);
} // namespace lum
