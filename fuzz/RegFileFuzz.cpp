// The reader of .reg files, given any bytes at all: an error that names a line of the file, or operations that survive
// being written and read again.
#include "RegFile.h"

#include <cstdint>
#include <cstdlib>

namespace
{
using namespace tool;

bool Same(const RegOperation& left, const RegOperation& right)
{
    return left.eKind == right.eKind && left.key == right.key && left.sValue == right.sValue && left.ulType == right.ulType &&
           left.aubData == right.aubData;
}

bool CanBeWritten(RegOperation::Kind eKind) { return eKind == RegOperation::Kind::CreateKey || eKind == RegOperation::Kind::SetValue; }

// noexcept: that we refuse what we wrote ourselves is a find.
void WriteAndReadBack(const std::vector<RegOperation>& operations) noexcept
{
    std::vector<const RegOperation*> written;
    RegFileWriter writer(RegFileVersion::Unicode5);
    try
    {
        for (const RegOperation& operation : operations)
        {
            if (!CanBeWritten(operation.eKind)) continue;
            if (operation.eKind == RegOperation::Kind::CreateKey) writer.AddKey(operation.key);
            else writer.AddValue(operation.sValue, operation.ulType, operation.aubData);
            written.push_back(&operation);
        }
    }
    catch (const std::runtime_error&)
    {
        return; // a name that the format cannot express, such as one with a carriage return
    }
    const auto back = ParseRegFile(writer.TakeBytes());
    if (back.size() != written.size()) std::abort();
    for (std::size_t u = 0; u < back.size(); ++u)
        if (!Same(back[u], *written[u])) std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    std::vector<RegOperation> operations;
    try
    {
        operations = ParseRegFile({reinterpret_cast<const char*>(pData), uSize});
    }
    catch (const RegFileError& error)
    {
        if (error.Line() == 0 || error.Line() > uSize + 2) std::abort();
    }
    WriteAndReadBack(operations);
    return 0;
}
