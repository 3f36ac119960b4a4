// A compound file in memory, whose disk stops when a test says so.
#pragma once

#include "linux/storage/StorageBytes.h"

#include <algorithm>
#include <cstring>
#include <vector>

class StorageMemory : public lum::StorageBytes
{
public:
    StorageMemory() = default;
    explicit StorageMemory(std::vector<BYTE> bytes) : maBytes(std::move(bytes)) {}

    // One thing that was done to the file.
    struct Step
    {
        ULONGLONG ullAt;            // for a new size: the size
        std::vector<BYTE> bytes;    // empty: a new size
    };

    static constexpr ULONG kulForEver = 0xFFFFFFFF;
    enum class Landing { None, Half, Whole };

    std::vector<BYTE> maBytes;     // as whoever reads sees them
    std::vector<BYTE> maFlushed;   // as they are after a power cut, since Remember
    std::vector<Step> maUnflushed; // what may have come there too
    bool mbRemember = false;
    ULONG mulChanges = 0;          // writes and new sizes
    ULONG mulFlushes = 0;
    ULONG mulReads = 0;
    ULONGLONG mullWritten = 0;     // bytes
    ULONG mulAllowed = kulForEver;  // so many changes and flushes more, then the disk stops
    ULONG mulFailures = kulForEver; // for so many, after which it works again
    Landing meLanding = Landing::None; // what a write or flush that fails leaves
    HRESULT mhrStopped = STG_E_WRITEFAULT;

    void Remember()
    {
        mbRemember = true;
        maFlushed = maBytes;
        maUnflushed.clear();
    }
    // Stop: after so many steps more, so many fail.
    void Stop(ULONG ulAllowed, ULONG ulFailures = kulForEver)
    {
        mulAllowed = ulAllowed;
        mulFailures = ulFailures;
    }
    void GoOn() { Stop(kulForEver); }

    static void Do(std::vector<BYTE>& file, const Step& step)
    {
        if (step.bytes.empty()) return file.resize(step.ullAt);
        if (step.ullAt + step.bytes.size() > file.size()) file.resize(step.ullAt + step.bytes.size());
        std::memcpy(file.data() + step.ullAt, step.bytes.data(), step.bytes.size());
    }

    HRESULT Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override
    {
        ++mulReads;
        ulRead = ullAt >= maBytes.size() ? 0 : static_cast<std::size_t>(std::min<ULONGLONG>(ulBytes, maBytes.size() - ullAt));
        if (ulRead > 0) std::memcpy(pTo, maBytes.data() + ullAt, ulRead);
        return S_OK;
    }
    HRESULT Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes) override
    {
        const BYTE* pBytes = static_cast<const BYTE*>(pFrom);
        mullWritten += ulBytes;
        return ulBytes == 0 ? S_OK : Change({ullAt, std::vector<BYTE>(pBytes, pBytes + ulBytes)});
    }
    HRESULT Size(ULONGLONG& ullBytes) override
    {
        ullBytes = maBytes.size();
        return S_OK;
    }
    HRESULT SetSize(ULONGLONG ullBytes) override { return Change({ullBytes, {}}); }
    // What is on the disk after a power cut: everything that was flushed, and of what came after it the picked steps.
    template <class Pick>
    std::vector<BYTE> AfterPowerCut(Pick pick) const
    {
        std::vector<BYTE> disk = maFlushed;
        for (const Step& step : maUnflushed)
            if (pick()) Do(disk, step);
        return disk;
    }

    // A system that failed to write takes what it could not write for written: no later flush tries again.
    HRESULT Flush() override
    {
        const bool bDone = Allow();
        mulFlushes += bDone;
        if (!bDone && mulFailures == kulForEver) return mhrStopped;
        const std::size_t ulEvery = bDone || meLanding == Landing::Whole ? 1 : meLanding == Landing::Half ? 2 : ~std::size_t{0};
        for (std::size_t i = ulEvery - 1; i < maUnflushed.size(); i += ulEvery) Do(maFlushed, maUnflushed[i]);
        maUnflushed.clear();
        return bDone ? S_OK : mhrStopped;
    }

private:
    bool Allow()
    {
        if (mulAllowed > 0) return mulAllowed--;
        if (mulFailures == 0) return true;
        if (mulFailures != kulForEver) --mulFailures;
        return false;
    }
    HRESULT Change(Step step)
    {
        const bool bDone = Allow();
        mulChanges += bDone;
        if (!bDone) step.bytes.resize(step.bytes.size() * static_cast<int>(meLanding) / 2);
        if (!bDone && step.bytes.empty()) return mhrStopped;
        Do(maBytes, step);
        if (mbRemember) maUnflushed.push_back(std::move(step));
        return bDone ? S_OK : mhrStopped;
    }
};
