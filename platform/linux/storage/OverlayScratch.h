// Where changed contents wait for a commit: a compound file of its own, which goes with it. Internal to platform/linux.
#pragma once

#include "CompoundFile.h"
#include "ScratchBytes.h"

namespace lum
{
// What lies under a scratch that lies over nothing.
class NoBytes final : public StorageBytes
{
public:
    HRESULT Read(ULONGLONG, void*, std::size_t, std::size_t& ulRead) override
    {
        ulRead = 0;
        return S_OK;
    }
    HRESULT Write(ULONGLONG, const void*, std::size_t) override { return STG_E_ACCESSDENIED; }
    HRESULT Size(ULONGLONG& ullBytes) override
    {
        ullBytes = 0;
        return S_OK;
    }
    HRESULT SetSize(ULONGLONG) override { return STG_E_ACCESSDENIED; }
    HRESULT Flush() override { return S_OK; }
};

class OverlayScratch
{
public:
    HRESULT Begin()
    {
        const HRESULT hr = mBytes.Begin();
        return SUCCEEDED(hr) ? mFile.Create(4, StorageAccess::Direct) : hr;
    }
    CompoundFile& File() { return mFile; }

private:
    NoBytes mNothing;
    ScratchBytes mBytes{mNothing, nullptr};
    CompoundFile mFile{mBytes};
};
} // namespace lum
