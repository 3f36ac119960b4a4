#include "ElementStat.h"

#include "../kernel/FileStatus.h"

namespace lum
{
namespace
{
constexpr DWORD kulToldOfMode = ~(STGM_CREATE | STGM_CONVERT); // what happened when it was opened is over

HRESULT SetName(std::u16string_view sName, DWORD ulFlags, STATSTG& stat)
{
    if (ulFlags == STATFLAG_NONAME) return S_OK;
    stat.pwcsName = CopyName(sName);
    return stat.pwcsName ? S_OK : STG_E_INSUFFICIENTMEMORY;
}

void FillStorage(const CfEntry& entry, STATSTG& stat)
{
    stat.type = STGTY_STORAGE;
    stat.clsid = entry.clsid;
    stat.grfStateBits = entry.ulState;
}
} // namespace

HRESULT FillStat(StorageLevel& level, const CfEntry& entry, DWORD ulMode, DWORD ulFlags, STATSTG& stat)
{
    stat = STATSTG();
    stat.grfMode = ulMode & kulToldOfMode;
    if (entry.eKind == EntryKind::Stream)
    {
        stat.type = STGTY_STREAM;
        stat.cbSize.QuadPart = level.tree.SizeOf(entry);
    }
    else
    {
        FillStorage(entry, stat);
        stat.ctime = entry.created;
        stat.mtime = entry.modified;
    }
    std::u16string_view sName;
    return NameOfEntry(entry, sName) ? SetName(sName, ulFlags, stat) : STG_E_DOCFILECORRUPT;
}

HRESULT FillRootStat(const RootFile& file, const CfEntry& entry, DWORD ulFlags, STATSTG& stat)
{
    stat = STATSTG();
    stat.grfMode = file.Mode() & kulToldOfMode;
    FillStorage(entry, stat);
    FileStatus status;
    if (ReadFileStatus(file.Descriptor(), "", status))
    {
        stat.ctime = status.times.made;
        stat.mtime = status.times.written;
        stat.atime = status.times.read;
    }
    return SetName(file.Name(), ulFlags, stat);
}
} // namespace lum
