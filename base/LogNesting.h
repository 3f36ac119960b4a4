// A thread that is busy in a log manager. What fails there is logged as everything is, and so comes back to the manager, which
// must not take it on: it would wait for itself, or go round without end.
#pragma once

class ODbgManager;

class OBusyInLog
{
public:
    explicit OBusyInLog(const ODbgManager* pManager) : mpOuter(tpManager), mbNested(tpManager == pManager) { tpManager = pManager; }
    ~OBusyInLog() { tpManager = mpOuter; }
    OBusyInLog(const OBusyInLog&) = delete;
    OBusyInLog& operator=(const OBusyInLog&) = delete;

    bool IsNested() const { return mbNested; }

private:
    static constinit thread_local const ODbgManager* tpManager;

    const ODbgManager* const mpOuter;
    const bool mbNested;
};
