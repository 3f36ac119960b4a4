#include "HeaderCheck.h"

#include <algorithm>
#include <cstring>

namespace lum
{
HRESULT ReadHeader(StorageBytes& bytes, CfHeader& header)
{
    header = {};
    std::size_t ulRead = 0;
    const HRESULT hr = bytes.Read(0, &header, sizeof header, ulRead);
    return SUCCEEDED(hr) && ulRead < sizeof header ? STG_E_INVALIDHEADER : hr;
}

HRESULT CheckHeader(const CfHeader& header)
{
    if (std::memcmp(header.aubMagic, kaubCfOldMagic, sizeof header.aubMagic) == 0) return STG_E_OLDFORMAT;
    if (std::memcmp(header.aubMagic, kaubCfMagic, sizeof header.aubMagic) != 0) return STG_E_INVALIDHEADER;
    if (header.uwByteOrder != 0xFFFE) return STG_E_INVALIDHEADER;
    if (header.uwMajor > 4) return STG_E_OLDDLL;
    if (header.uwMajor < 3 || header.uwSectorShift != (header.uwMajor == 3 ? 9 : 12)) return STG_E_INVALIDHEADER;
    return header.uwMiniShift == kulMiniShift && header.ulCutoff == kulCutoff ? S_OK : STG_E_INVALIDHEADER;
}

CfHeader NewHeader(WORD uwVersion)
{
    CfHeader header{};
    std::memcpy(header.aubMagic, kaubCfMagic, sizeof header.aubMagic);
    header.uwMinor = 0x003E;
    header.uwMajor = uwVersion;
    header.uwByteOrder = 0xFFFE;
    header.uwSectorShift = uwVersion == 3 ? 9 : 12;
    header.uwMiniShift = kulMiniShift;
    header.ulCutoff = kulCutoff;
    header.ulDirectory = header.ulMiniFat = header.ulDifat = kulEndOfChain;
    std::fill_n(header.aulFat, kulHeaderFats, kulFree);
    return header;
}
} // namespace lum
