// The base of every working class: a range of error codes, a log group, and the ways to raise and to log.
//
//  * An error code is the object's error base plus a small code; it is also the id of its text in the resource library.
//  * Errors are thrown by pointer (OAppException*); whoever swallows one deletes it with its Delete().
//  * Logging is printf-style 8-bit text of at most 1,023 bytes; it never throws, and is silent while no manager is installed.
#pragma once

#include "Platform.h"

#include "OString.h"

#include <cstdarg>
#include <cstring>

class ODbgManager;

class OBase
{
public:
    OBase() = default;
    OBase(const OBase& source) = default;
    OBase& operator=(const OBase& source) = default;
    virtual ~OBase() = default;

    // Raise: throws the OAppException* for ulCode of this object's range.
    virtual void Raise(ULONG ulCode);
    // RaiseWithAbsCode: throws the OAppException* for a code that needs no base.
    void RaiseWithAbsCode(ULONG ulCode);

    void SetErrorBase(ULONG ulBase) { mulErrorBase = ulBase; }
    ULONG GetErrorBase() const { return mulErrorBase; }
    // SetGroup: 15 characters count, the rest is cut.
    void SetGroup(const char* pName)
    {
        const std::size_t ulGiven = std::strlen(pName);
        const std::size_t ulChars = ulGiven < sizeof macGroup ? ulGiven : sizeof macGroup - 1;
        std::memcpy(macGroup, pName, ulChars);
        std::memset(macGroup + ulChars, 0, sizeof macGroup - ulChars);
    }

    // SetDbgManager: for all objects of the process; not owned. Set it before other threads log; null silences logging.
    void SetDbgManager(ODbgManager* pManager) { mpDbgManager = pManager; }

    // LoadStringA: text ulId into a buffer of ulLength units, as wcsncpy copies; 1 when there is one, else 0 and a note instead.
    ULONG LoadStringA(ULONG ulId, unsigned short* pBuffer, ULONG ulLength);
    // BuildErrorString: the text of an absolute code; the three further texts are not used.
    void BuildErrorString(unsigned int ulId, OString& sOut, const unsigned short* pText1, const unsigned short* pText2,
                          const unsigned short* pText3);

    // A name that is null, or that a member does not take: the object's own group and class, and "Item".
    void LogGroup(const char* pGroup, const char* pClassName, const char* pItem, const char* pFormat, ...);
    void LogClass(const char* pClassName, const char* pItem, const char* pFormat, ...);
    void LogItem(const char* pItem, const char* pFormat, ...);
    void Log(const char* pFormat, ...);
    void Writeln(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iFlag);

    // LogCaught: the call frame. Writes the line that belongs to the exception in flight, with pWhere, such as
    //   "OApiFile::Read", as the place. Call it in a handler only, and throw on; itself it throws nothing.
    void LogCaught(const char* pWhere);

    static ODbgManager* mpDbgManager;

private:
    bool IsDropped() const;
    void LogLine(const char* pGroup, const char* pClassName, const char* pItem, const char* pOverflowNotice, const char* pFormat,
                 va_list args) const;

    char macGroup[16] = "Group";
    ULONG mulErrorBase = 0;
};
