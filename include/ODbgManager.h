// Where the log lines of a process go: the interface that OBase logs through, and its switches.
//
//  * A program makes one manager and installs it with OBase::SetDbgManager; while none is installed, logging is silent.
//  * A line is named by group, class and item.
//  * Takes no lock of its own; calls arrive on whatever thread logs.
#pragma once

#include "OBase.h"

class ODbgManager : public OBase
{
public:
    ODbgManager() { DbgManagerInit(); }

    // Sets group, error base and the switches (all on but the update of the registry); leaves errors-only as it is.
    void DbgManagerInit();

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
};
