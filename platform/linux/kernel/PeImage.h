// Reads the resources of a Windows program file (PE32 or PE32+) that lies in memory; docs/format_pe_resources.md draws it.
//
//  * Trusts nothing: every offset and count is checked against the bytes that are there. Damage is an answer, never a crash.
//  * Copies nothing: the bytes belong to the caller and stay as they are while the object is in use.
//  * Knows nothing of the system: opens no file, sets no last error.
#pragma once

#include "Types.h"

#include <span>

namespace lum
{
enum class PeFault
{
    None,
    BadImage,    // not a program file, cut off, or an offset or count leads out of it
    NoResources, // the file has no resources at all
    NoType,      // no resource of that type
    NoName,      // none of that name or id
    NoLanguage   // the resource exists in no language
};

// What a level of the resource tree is searched for: a name in capitals, or an id.
struct PeName
{
    WORD uwId = 0;
    const WCHAR* pText = nullptr; // null: the id counts
    std::size_t ulChars = 0;
};

class PeImage
{
public:
    // Open: checks headers and section table and finds the resources. Anything but None leaves an image without resources.
    PeFault Open(std::span<const BYTE> bytes);

    // Find: the place in the file of a resource's data entry. Of several languages it takes the neutral one, then US English,
    //   then the first.
    PeFault Find(const PeName& type, const PeName& name, std::size_t& ulEntry) const;

    // Data: the bytes that the data entry at that place describes. Any place may be asked for.
    PeFault Data(std::size_t ulEntry, std::span<const BYTE>& data) const;

private:
    PeFault FindResources(std::size_t ulOptional, std::size_t ulOptionalBytes);
    bool MapRva(ULONG ulRva, ULONG ulBytes, std::size_t& ulOffset) const;

    std::span<const BYTE> mFile;
    std::size_t mulSections = 0;      // where the section table starts
    WORD muwSectionCount = 0;
    std::span<const BYTE> mResources; // the resource tree; its offsets count from its start
};
} // namespace lum
