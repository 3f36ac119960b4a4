// Making a compound file around bytes that are none. Internal to platform/linux.
#pragma once

#include "StorageBytes.h"

namespace lum
{
// WrapBytes: the bytes become the contents of a stream CONTENTS, where they lie; the first ones, where the header goes, are copied.
//   Everything else is written behind them, the header last. A stream below 4096 bytes is filled up with zeros to that size.
//   Errors: STG_E_MEDIUMFULL (2 GB and above), and those of StorageBytes.
HRESULT WrapBytes(StorageBytes& bytes, WORD uwVersion);
} // namespace lum
