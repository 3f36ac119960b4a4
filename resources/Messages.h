// The table of the library's message texts, made from the same list as LumRes.dll. The list is checked here, while the
// compiler reads it: rising ids, and texts that are formats with the id as their one argument.
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

struct OMessage
{
    unsigned int ulId;
    std::string_view sName;
    std::string_view sText;
};

inline constexpr OMessage kMessages[] = {
#define LUM_MESSAGE(id, name, text) {id, #name, text},
#include "messages.inc"
#undef LUM_MESSAGE
};

inline constexpr std::size_t kulMaxMessageChars = 250; // as shown; a reader's buffer may hold 256

constexpr bool MessageIdsRise()
{
    for (std::size_t i = 1; i < std::size(kMessages); ++i)
    {
        if (kMessages[i - 1].ulId >= kMessages[i].ulId) return false;
    }
    return true;
}

// Plain ASCII, not too long once the id is in it, and %u for the id, once; any other % is doubled.
constexpr bool IsMessageFormat(std::string_view sText)
{
    constexpr std::size_t kulIdDigits = 10;
    std::size_t ulIds = 0;
    if (sText.empty() || sText.size() + kulIdDigits > kulMaxMessageChars) return false;
    for (std::size_t i = 0; i < sText.size(); ++i)
    {
        if (sText[i] < ' ' || sText[i] > '~') return false;
        if (sText[i] != '%') continue;
        if (++i == sText.size()) return false;
        if (sText[i] == 'u') ++ulIds;
        else if (sText[i] != '%') return false;
    }
    return ulIds == 1;
}

constexpr bool MessagesAreFormats()
{
    for (const OMessage& message : kMessages)
    {
        if (!IsMessageFormat(message.sText)) return false;
    }
    return true;
}

static_assert(MessageIdsRise(), "messages.inc: an id appears twice or out of order");
static_assert(MessagesAreFormats(), "messages.inc: a text is empty, too long, not ASCII or not a format with one %u");
static_assert(!IsMessageFormat("%s") && !IsMessageFormat("100% of %u") && !IsMessageFormat("%u %u") && !IsMessageFormat("no id"));
