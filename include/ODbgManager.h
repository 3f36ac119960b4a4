// Where the log lines of a process go: the interface that OBase logs through, its switches, and its files.
//
//  * A program makes one manager and installs it with OBase::SetDbgManager; while none is installed, logging is silent.
//    It installs null before it destroys the manager: destruction does not clear the pointer.
//  * A line is named by group, class and item.
//  * Raises codes of the base 13000: 2 a file is not open, there are no lists, or no performance counter; 3 an empty name.
//  * Copies share lists and files, which end with the last of them.
#pragma once

#include "Platform.h"

#include "CString.h"
#include "OBase.h"

#include <memory>

class OLogFile;
class ONameList;

class ODbgManager : public OBase
{
public:
    ODbgManager() { DbgManagerInit(); }
    ODbgManager(const ODbgManager& source) = default;
    ODbgManager& operator=(const ODbgManager& source) = default;
    ~ODbgManager() override;

    // Sets group, error base and fields (all switches on but the update of the registry); leaves errors-only as it is.
    void DbgManagerInit();
    // Init: opens sLogPath, which is appended to, and an empty "Error.Log" in its folder, which is made when it is missing (the
    //   last one of the path, no more); writes the start banner to both and starts the clock. When that fails, the files that
    //   were open before still are. iUpdateRegistry nonzero: UpdateRegistry writes the switches back.
    void Init(int iUpdateRegistry, CString sLogPath);

    // Writeln: writes one line. iCheck nonzero: only if IsEnabled says so; 0: the caller has asked already.
    virtual void Writeln(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iCheck) = 0;
    virtual int IsEnabled(const char* pGroup, const char* pClassName, const char* pItem) = 0;
    virtual void UpdateRegistry() = 0;

    // WriteErrorLine: takes a copy of a line that was logged under "Error". A manager without an error file ignores it.
    virtual void WriteErrorLine(const char* /*pText*/) {}

    ULONG mulEnabled;         // 0 silences everything but forced lines
    ULONG mulErrorsOnly = 0;  // nonzero: only error-like groups are written
    ULONG mulDefaultEnable;   // what a name that was never seen before starts with
    ULONG mulUpdateRegistry;  // nonzero: UpdateRegistry writes the switches back

protected:
    LONGLONG mllStartCounter;   // the performance counter at Init
    LONGLONG mllFrequency;      // its steps per second
    std::shared_ptr<ONameList> mpNameLists;
    std::shared_ptr<OLogFile> mpLogFile;
    std::shared_ptr<OLogFile> mpErrorFile;

private:
    static void Terminate(std::shared_ptr<OLogFile>& pFile);
};
