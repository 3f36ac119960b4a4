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

    std::vector<BYTE> maBytes;
    std::vector<BYTE> maFlushed;   // with the last Flush, when mbRemember is set
    std::vector<Step> maUnflushed; // since then
    bool mbRemember = false;
    ULONG mulChanges = 0;          // writes and new sizes
    ULONG mulFlushes = 0;
    ULONG mulReads = 0;
    ULONGLONG mullWritten = 0;     // bytes
    ULONG mulAllowed = 0xFFFFFFFF; // so many changes and flushes more, then the disk has stopped
    HRESULT mhrStopped = STG_E_WRITEFAULT;

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
    HRESULT Flush() override
    {
        if (!Allow()) return mhrStopped;
        ++mulFlushes;
        maUnflushed.clear();
        if (mbRemember) maFlushed = maBytes;
        return S_OK;
    }

private:
    bool Allow()
    {
        if (mulAllowed == 0) return false;
        --mulAllowed;
        return true;
    }
    HRESULT Change(Step step)
    {
        if (!Allow()) return mhrStopped;
        ++mulChanges;
        Do(maBytes, step);
        if (mbRemember) maUnflushed.push_back(std::move(step));
        return S_OK;
    }
};
