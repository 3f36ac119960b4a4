// The working log manager: decides by the registry's switches, and writes to files.
//
//  * The main log's lines are "   seconds : group : class : item : text", the seconds counted from Init.
//  * Switches are those of HKEY_LOCAL_MACHINE, "Debug" below ORegistry's base path. Every combination that is logged is added
//    to them in memory; UpdateRegistry writes them all.
//  * Any thread may log at any time between Init and destruction. Lines are whole, in the order in which they were written,
//    also when several programs write to one log.
//  * A line that the file does not take (a full disk, say) does not fail its caller: it is lost, and once there is room
//    again a line under "Error" says how many were, at the latest when the manager ends. What a failed write left of a line
//    is taken back; only where another program has appended behind it, a blank line stands in its place. A file that was removed is
//    made anew within a second.
#pragma once

#include "ODbgManager.h"

class ODbgManagerCore : public ODbgManager
{
public:
    ODbgManagerCore() = default;
    ODbgManagerCore(const ODbgManagerCore& source) = default;
    ODbgManagerCore& operator=(const ODbgManagerCore& source) = default;
    ~ODbgManagerCore() override;

    // Init: reads lists and switches, then opens the files as ODbgManager::Init does. Another Init replaces the lists.
    void Init(int iUpdateRegistry, CString sLogPath);

    void Writeln(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iCheck) override;
    int IsEnabled(const char* pGroup, const char* pClassName, const char* pItem) override;
    void UpdateRegistry() override;
    // WriteErrorLine: the text, with the time behind it, to "Error.Log".
    void WriteErrorLine(const char* pText) override;

private:
    struct OMoment // since the start, rounded
    {
        LONGLONG llSecond;
        int iMillisecond;
    };

    // Log: the same for all copies that write to the same files.
    const void* Log() const { return mpLogFile ? static_cast<const void*>(mpLogFile.get()) : this; }
    const void* ErrorLog() const { return mpErrorFile ? static_cast<const void*>(mpErrorFile.get()) : this; }
    OMoment Elapsed();
    static char* PutSeconds(char* pOut, const OMoment& now);
    bool WriteLine(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iCheck);
    bool WriteDiagnostics(const char* pText, const char* pGroup, const char* pClassName, const char* pItem);
    bool TellOfLostLines(const OMoment& now);
    bool TellOfLostErrors(const CString& sSuffix, const OMoment& now);
};
