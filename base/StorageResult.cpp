#include "StorageResult.h"

#include <algorithm>
#include <iterator>
#include <string_view>

static constexpr OStorageResult kResults[] = {
    {STG_E_INVALIDFUNCTION, "STG_E_INVALIDFUNCTION       ", kulOtherResult},
    {STG_E_FILENOTFOUND, "STG_E_FILENOTFOUND          ", kulFileNotFound},
    {STG_E_PATHNOTFOUND, "STG_E_PATHNOTFOUND          ", kulPathNotFound},
    {STG_E_TOOMANYOPENFILES, "STG_E_TOOMANYOPENFILES      ", kulOtherResult},
    {STG_E_ACCESSDENIED, "STG_E_ACCESSDENIED          ", kulAccessDenied},
    {STG_E_INVALIDHANDLE, "STG_E_INVALIDHANDLE         ", kulInvalidHandle},
    {STG_E_INSUFFICIENTMEMORY, "STG_E_INSUFFICIENTMEMORY    ", kulInsufficientMemory},
    {STG_E_INVALIDPOINTER, "STG_E_INVALIDPOINTER        ", kulInvalidPointer},
    {STG_E_NOMOREFILES, "STG_E_NOMOREFILES           ", kulOtherResult},
    {STG_E_DISKISWRITEPROTECTED, "STG_E_DISKISWRITEPROTECTED  ", kulOtherResult},
    {STG_E_SEEKERROR, "STG_E_SEEKERROR             ", kulOtherResult},
    {STG_E_WRITEFAULT, "STG_E_WRITEFAULT            ", kulWriteFault},
    {STG_E_READFAULT, "STG_E_READFAULT             ", kulReadFault},
    {STG_E_SHAREVIOLATION, "STG_E_SHAREVIOLATION        ", kulOtherResult},
    {STG_E_LOCKVIOLATION, "STG_E_LOCKVIOLATION         ", kulLockViolation},
    {STG_E_FILEALREADYEXISTS, "STG_E_FILEALREADYEXISTS     ", kulOtherResult},
    {STG_E_INVALIDPARAMETER, "STG_E_INVALIDPARAMETER      ", kulOtherResult},
    {STG_E_MEDIUMFULL, "STG_E_MEDIUMFULL            ", kulMediumFull},
    {STG_E_PROPSETMISMATCHED, "STG_E_PROPSETMISMATCHED     ", kulOtherResult},
    {STG_E_ABNORMALAPIEXIT, "STG_E_ABNORMALAPIEXIT       ", kulOtherResult},
    {STG_E_INVALIDHEADER, "STG_E_INVALIDHEADER         ", kulOtherResult},
    {STG_E_INVALIDNAME, "STG_E_INVALIDNAME           ", kulOtherResult},
    {STG_E_UNKNOWN, "STG_E_UNKNOWN               ", kulOtherResult},
    {STG_E_UNIMPLEMENTEDFUNCTION, "STG_E_UNIMPLEMENTEDFUNCTION ", kulOtherResult},
    {STG_E_INVALIDFLAG, "STG_E_INVALIDFLAG           ", kulOtherResult},
    {STG_E_INUSE, "STG_E_INUSE                 ", kulOtherResult},
    {STG_E_NOTCURRENT, "STG_E_NOTCURRENT            ", kulOtherResult},
    {STG_E_REVERTED, "STG_E_REVERTED              ", kulOtherResult},
    {STG_E_CANTSAVE, "STG_E_CANTSAVE              ", kulOtherResult},
    {STG_E_OLDFORMAT, "STG_E_OLDFORMAT             ", kulOtherResult},
    {STG_E_OLDDLL, "STG_E_OLDDLL                ", kulOtherResult},
    {STG_E_SHAREREQUIRED, "STG_E_SHAREREQUIRED         ", kulOtherResult},
    {STG_E_NOTFILEBASEDSTORAGE, "STG_E_NOTFILEBASEDSTORAGE   ", kulOtherResult},
    {STG_E_EXTANTMARSHALLINGS, "STG_E_EXTANTMARSHALLINGS    ", kulOtherResult},
    {STG_E_DOCFILECORRUPT, "STG_E_DOCFILECORRUPT        ", kulOtherResult},
    {STG_E_BADBASEADDRESS, "STG_E_BADBASEADDRESS        ", kulOtherResult},
    {STG_E_INCOMPLETE, "STG_E_INCOMPLETE            ", kulOtherResult},
    {STG_E_TERMINATED, "STG_E_TERMINATED            ", kulOtherResult},
    {STG_S_CONVERTED, "STG_S_CONVERTED             ", kulOtherResult},
    {STG_S_BLOCK, "STG_S_BLOCK                 ", kulOtherResult},
    {STG_S_RETRYNOW, "STG_S_RETRYNOW              ", kulOtherResult},
    {STG_S_MONITORING, "STG_S_MONITORING            ", kulOtherResult},
};
static_assert(std::ranges::all_of(kResults, [](const OStorageResult& row) { return std::string_view(row.pName).size() == 28; }));

OStorageResult StorageResult(HRESULT hResult)
{
    const auto* const pRow = std::ranges::find(kResults, hResult, &OStorageResult::hResult);
    return pRow == std::end(kResults) ? OStorageResult{hResult, "UKNOWN", kulOtherResult} : *pRow;
}

void RaiseStorageResult(OBase& object, const char* pMethod, HRESULT hResult)
{
    const OStorageResult result = StorageResult(hResult);
    object.LogGroup("Error", nullptr, pMethod, "Error [%s], hResult[%08X]", result.pName, static_cast<unsigned>(hResult));
    object.Raise(result.ulRaiseCode);
}
