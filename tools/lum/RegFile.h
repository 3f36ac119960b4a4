// The registry's exchange format (.reg), as the registry editor writes it.
//
//  * Read: version 5 ("Windows Registry Editor Version 5.00"; UTF-16 with its byte-order mark, or UTF-8) and version 4
//    ("REGEDIT4"; the system's code page). Anything the format does not have is an error that names its line.
//  * Write: version 5 as UTF-16 with a byte-order mark, version 4 in the system's code page; lines end in CR LF.
//  * Knows nothing of a live registry: a file is a list of operations, in the order of its lines.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tool
{
enum class RegFileVersion { Ansi4 = 4, Unicode5 = 5 };

struct RegRoot
{
    const char* pLong;  // "HKEY_LOCAL_MACHINE"
    const char* pShort; // "HKLM"
};
inline constexpr RegRoot kRegRoots[] = {
    {"HKEY_LOCAL_MACHINE", "HKLM"},
    {"HKEY_CURRENT_USER", "HKCU"},
    {"HKEY_CLASSES_ROOT", "HKCR"},
    {"HKEY_USERS", "HKU"},
};

// A key by its root (an index into kRegRoots) and the path below it, without a backslash at either end.
struct RegKeyName
{
    size_t uRoot = 0;
    std::u16string sPath;
    bool operator==(const RegKeyName&) const = default;
};

inline constexpr size_t kuMaxKeyNameUnits = 255; // one level of a path
inline constexpr size_t kuMaxValueNameUnits = 16383;

// FindRegKeyName: splits "HKLM\Software\..." into its root and path. Returns an empty text, or what is wrong with it.
std::string FindRegKeyName(std::u16string_view sText, RegKeyName& result);

// "HKEY_LOCAL_MACHINE\Software\..."
std::u16string FullName(const RegKeyName& key);

struct RegOperation
{
    enum class Kind { CreateKey, DeleteKey, SetValue, DeleteValue };
    Kind eKind;
    size_t uLine;                    // of the file, from 1
    RegKeyName key;                  // CreateKey, DeleteKey; the value operations that follow belong to the key created last
    std::u16string sValue;           // SetValue, DeleteValue; empty: the key's default value
    std::uint32_t ulType = 0;        // SetValue
    std::vector<std::uint8_t> aubData; // SetValue; text as UTF-16 whatever the file held
};

class RegFileError : public std::runtime_error // what(): "line 12: what was found, what was expected"
{
public:
    RegFileError(size_t uLine, const std::string& sWhat)
        : std::runtime_error("line " + std::to_string(uLine) + ": " + sWhat), muLine(uLine) {}
    size_t Line() const { return muLine; }

private:
    size_t muLine;
};

// ParseRegFile: the operations of a whole file. Throws RegFileError.
std::vector<RegOperation> ParseRegFile(std::string_view sBytes);

// Collects the text of an export. What the chosen version cannot express throws std::runtime_error with the name of
// the key or value; nothing is written in another shape than it has.
class RegFileWriter
{
public:
    explicit RegFileWriter(RegFileVersion eVersion);
    void AddKey(const RegKeyName& key);
    void AddValue(std::u16string_view sName, std::uint32_t ulType, const std::vector<std::uint8_t>& aubData);
    std::string TakeBytes();

private:
    void AddLine(std::u16string_view sLine);
    void AddHex(std::u16string sLine, std::uint32_t ulType, const std::vector<std::uint8_t>& aubData);
    std::vector<std::uint8_t> StoredForm(std::u16string_view sName, std::uint32_t ulType,
                                         const std::vector<std::uint8_t>& aubData) const;
    std::runtime_error Inexpressible(const std::string& sWhat) const;

    RegFileVersion meVersion;
    bool mbInKey = false;
    std::u16string msKey;   // the key being written, for messages
    std::string msBytes;
};
} // namespace tool
