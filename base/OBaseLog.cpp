// The ways to log, and the call frame that logs what passes through it.
#include "OBase.h"

#include "CaughtException.h"
#include "CException.h"
#include "ClassName.h"
#include "KeepLastError.h"
#include "ODbgManager.h"
#include "OException.h"

#include <typeinfo>

ODbgManager* OBase::mpDbgManager = nullptr;

static bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

static bool IsGroup(const char* pGroup, const char* pName) { return std::strcmp(pGroup, pName) == 0; }

static bool IsExceptionOrWarning(const char* pGroup)
{
    return std::strncmp(pGroup, "Exception", 9) == 0 || IsGroup(pGroup, "Warning");
}

// What LogGroup writes in errors-only mode; the other members write less.
static bool IsErrorLike(const char* pGroup)
{
    return pGroup && (IsExceptionOrWarning(pGroup) || IsGroup(pGroup, "Error") || IsGroup(pGroup, "Debug"));
}

// By the two switches alone, without asking for the names. A line that passes in errors-only mode is forced.
bool OBase::IsDropped() const
{
    return mpDbgManager->mulErrorsOnly ? !IsExceptionOrWarning(macGroup) : !mpDbgManager->mulEnabled;
}

void OBase::LogLine(const char* pGroup, const char* pClassName, const char* pItem, const char* pOverflowNotice, const char* pFormat,
                    va_list args) const
try
{
    const OKeepLastError keep;
    const bool bForced = mpDbgManager->mulErrorsOnly != 0;

    if (!pGroup) pGroup = macGroup;
    if (!pClassName) pClassName = ClassName(typeid(*this));
    if (!pItem) pItem = "Item";
    if (!bForced && !mpDbgManager->IsEnabled(pGroup, pClassName, pItem)) return;

    char acLine[1024];
    constexpr int kiMostBytes = sizeof acLine - 1;
    const int iBytes = _vsnprintf(acLine, kiMostBytes, pFormat, args);
    if (iBytes < 0 || iBytes > kiMostBytes)
    {
        LumMessageBox(pOverflowNotice, "ERROR");
        return;
    }
    acLine[kiMostBytes] = 0;
    mpDbgManager->Writeln(acLine, pGroup, pClassName, pItem, 0);
    if (bForced && IsGroup(pGroup, "Error")) mpDbgManager->WriteErrorLine(acLine);
}
catch (...)
{
    DropCaught(); // a line that cannot be written must not become its writer's failure
}

void OBase::LogGroup(const char* pGroup, const char* pClassName, const char* pItem, const char* pFormat, ...)
{
    if (!mpDbgManager) return;
    if (mpDbgManager->mulErrorsOnly ? !IsErrorLike(pGroup) : !mpDbgManager->mulEnabled) return;
    if (!pClassName)
    {
        pClassName = ClassName(typeid(*this));
        if (!IsLetter(pClassName[0])) pClassName = "????";
    }
    va_list args;
    va_start(args, pFormat);
    LogLine(pGroup, pClassName, pItem, "Error from OBase::LogGroup", pFormat, args);
    va_end(args);
}

void OBase::LogClass(const char* pClassName, const char* pItem, const char* pFormat, ...)
{
    if (!mpDbgManager || IsDropped()) return;
    va_list args;
    va_start(args, pFormat);
    LogLine(nullptr, pClassName, pItem, "Error from OBase::LogClass", pFormat, args);
    va_end(args);
}

void OBase::LogItem(const char* pItem, const char* pFormat, ...)
{
    if (!mpDbgManager || IsDropped()) return;
    va_list args;
    va_start(args, pFormat);
    LogLine(nullptr, nullptr, pItem, "Error from OBase::LogItem", pFormat, args);
    va_end(args);
}

void OBase::Log(const char* pFormat, ...)
{
    if (!mpDbgManager || IsDropped()) return;
    va_list args;
    va_start(args, pFormat);
    LogLine(nullptr, nullptr, nullptr, "Error from OBase::LogGroup", pFormat, args);
    va_end(args);
}

void OBase::Writeln(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iFlag)
{
    if (mpDbgManager) mpDbgManager->Writeln(pText, pGroup, pClassName, pItem, iFlag);
}

void OBase::LogCaught(const char* pWhere)
{
    // A manager that fails while it is told of a failure is not told of that, too: it might go on so without end.
    static constinit thread_local bool tbTelling = false;
    if (!mpDbgManager || tbTelling) return;
    const struct OTelling
    {
        OTelling() { tbTelling = true; }
        ~OTelling() { tbTelling = false; }
    } telling;
    try
    {
        try
        {
            throw;
        }
        catch (OStructuredException* pEx)
        {
            LogGroup("ExceptionStructured", nullptr, nullptr, "ExceptionCode=0x%8x : Caught in %s", pEx->mulStructuredCode, pWhere);
        }
        catch (OStopException*)
        {
            LogGroup("ExceptionStop", nullptr, nullptr, "STOP : Caught in %s", pWhere);
        }
        catch (OAppException* pEx)
        {
            const CString sText = pEx->mText.ConvertToMultiByte();
            LogGroup("ExceptionApp", nullptr, nullptr, "%s : Caught in %s", static_cast<const char*>(sText), pWhere);
        }
        catch (CMemoryException*)
        {
            LogGroup("Exception", nullptr, nullptr, "CMemoryException : Caught in %s", pWhere);
        }
        catch (CException* pEx)
        {
            char acMessage[200] = {};
            pEx->GetErrorMessage(acMessage, sizeof acMessage);
            LogGroup("Exception", nullptr, nullptr, "CException : Caught in %s : %s : %s", pWhere,
                     pEx->GetRuntimeClass()->m_lpszClassName, acMessage);
        }
        catch (...)
        {
            LogGroup("ExceptionUnknown", nullptr, nullptr, "... : Caught in %s", pWhere);
        }
    }
    catch (...)
    {
        DropCaught(); // a log that cannot be written must not replace the failure that it was to tell of
    }
}
