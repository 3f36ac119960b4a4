// Registry values as a person types and reads them.
#pragma once

#include "Json.h"
#include "RegStore.h"

#include <string>
#include <vector>

namespace tool
{
// The word of a type on the command line ("string", "dword"...) and its name in the registry ("REG_SZ"...).
struct RegTypeName
{
    const char* pWord;
    const char* pName;
    DWORD ulType;
};
inline constexpr RegTypeName kRegTypes[] = {
    {"string", "REG_SZ", REG_SZ},         {"dword", "REG_DWORD", REG_DWORD},       {"qword", "REG_QWORD", REG_QWORD},
    {"expand", "REG_EXPAND_SZ", REG_EXPAND_SZ}, {"multi", "REG_MULTI_SZ", REG_MULTI_SZ}, {"binary", "REG_BINARY", REG_BINARY},
};

// "REG_SZ"; a type without a name is its number, such as "type 12".
std::string TypeName(DWORD ulType);

// DataOfWords: the bytes that the words on the command line mean for a type. Throws Stop (a usage error).
std::vector<std::uint8_t> DataOfWords(const RegTypeName& type, const std::vector<std::u16string>& words);

// DataTexts: one text, or each text of a REG_MULTI_SZ, as stored. Data that does not have the shape of its type is shown as bytes.
std::vector<std::string> DataTexts(const RegValue& value);

// HexNote: " (0x1f)" for a number, nothing for anything else.
std::string HexNote(const RegValue& value);

void AddJson(Json& json, const RegValue& value);
} // namespace tool
