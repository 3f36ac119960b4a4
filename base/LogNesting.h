// A thread that is busy with a log file. What fails there is logged as everything is, and so may come back to the file, which must
// not take it on: it would go round without end.
#pragma once

class OBusyInLog
{
public:
    explicit OBusyInLog(const void* pFile) : mpFile(pFile), mpOuter(tpInnermost), mbNested(IsBusyIn(pFile)) { tpInnermost = this; }
    ~OBusyInLog() { tpInnermost = mpOuter; }
    OBusyInLog(const OBusyInLog&) = delete;
    OBusyInLog& operator=(const OBusyInLog&) = delete;

    bool IsNested() const { return mbNested; }

private:
    static bool IsBusyIn(const void* pFile)
    {
        const OBusyInLog* pBusy = tpInnermost;
        while (pBusy && pBusy->mpFile != pFile) pBusy = pBusy->mpOuter;
        return pBusy != nullptr;
    }

    static constinit thread_local const OBusyInLog* tpInnermost;

    const void* const mpFile;
    const OBusyInLog* const mpOuter;
    const bool mbNested;
};
