// A thread that is busy in a log manager. What fails there is logged as everything is, and so comes back to the manager, or to
// a copy with the same files, which must not take it on: it would wait for itself, or go round without end.
#pragma once

class OBusyInLog
{
public:
    // pLog: what stands for a manager and its copies.
    explicit OBusyInLog(const void* pLog) : mpOuter(tpLog), mbNested(tpLog == pLog) { tpLog = pLog; }
    ~OBusyInLog() { tpLog = mpOuter; }
    OBusyInLog(const OBusyInLog&) = delete;
    OBusyInLog& operator=(const OBusyInLog&) = delete;

    bool IsNested() const { return mbNested; }

private:
    static constinit thread_local const void* tpLog;

    const void* const mpOuter;
    const bool mbNested;
};
