#include "ODbgManagerCore.h"

#include "CTime.h"
#include "CaughtException.h"
#include "LogManagerCodes.h"
#include "LogNesting.h"
#include "OLogFile.h"
#include "ONameList.h"
#include "ORegistry.h"

#include <charconv>
#include <cstring>

namespace
{
constexpr const char* kpListName = "Debug";
constexpr std::size_t kulUsualLine = 2048; // longer ones take memory from the heap
constexpr std::size_t kulSecondsRoom = 32;

char* Put(char* pOut, const char* pText, std::size_t ulLength)
{
    std::memcpy(pOut, pText, ulLength);
    return pOut + ulLength;
}

// What stands behind an error line.
CString TimeOfError() { return CTime::GetCurrentTime().Format(" . Error Occurred at %d-%b-%y %I:%M:%S %p"); }

// A text that something is wrong with, maybe its very address.
struct OSuspect
{
    explicit OSuspect(const char* pText) : ullAddress(reinterpret_cast<ULONGLONG>(pText))
    {
        if (!pText) return;
        try
        {
            sText = pText;
            iLength = sText.GetLength();
        }
        catch (...)
        {
            DropCaught();
            sText = "(unreadable)";
        }
    }
    const char* Text() const { return sText; }

    ULONGLONG ullAddress;
    CString sText = "(null)";
    int iLength = 0;
};
} // namespace

void ODbgManagerCore::Init(int iUpdateRegistry, CString sLogPath)
try
{
    // On a machine where nothing has ever been logged there is no key yet.
    ORegistry(HKEY_LOCAL_MACHINE, kpListName, ORegistry::OPEN_OR_CREATE);
    auto pNameLists = std::make_shared<ONameList>(HKEY_LOCAL_MACHINE, kpListName);
    pNameLists->LoadFromRegistry();
    mulDefaultEnable = pNameLists->GetDefaultEnable(1);
    mulEnabled = pNameLists->GetEnabled(1);
    mulErrorsOnly = pNameLists->GetErrorsOnly(1);
    mpNameLists = std::move(pNameLists);
    ODbgManager::Init(iUpdateRegistry, sLogPath);
}
catch (...) { LogCaught("ODbgManagerCore::Init"); throw; }

// A last chance to tell of lines that the files did not take.
ODbgManagerCore::~ODbgManagerCore()
{
    const OBusyInLog busy(Log());
    try
    {
        if (mpLogFile) TellOfLostLines(Elapsed());
        if (mpErrorFile) TellOfLostErrors(TimeOfError(), Elapsed());
    }
    catch (...) { DropCaught(); }
}

int ODbgManagerCore::IsEnabled(const char* pGroup, const char* pClassName, const char* pItem)
try
{
    if (!mulEnabled) return 0;
    if (!mpNameLists) Raise(kulNotThere);
    return mpNameLists->Learn(static_cast<int>(mulDefaultEnable), pGroup, pClassName, pItem) && mulEnabled;
}
catch (...) { LogCaught("ODbgManagerCore::IsEnabled"); throw; }

void ODbgManagerCore::UpdateRegistry()
try
{
    if (!mpNameLists || !mulUpdateRegistry) return;
    mpNameLists->ResetKey();
    mpNameLists->SaveToRegistry();
}
catch (...) { LogCaught("ODbgManagerCore::UpdateRegistry"); throw; }

// Lines -------------------------------------------------------------------------------------------------------------------

ODbgManagerCore::OMoment ODbgManagerCore::Elapsed()
{
    LARGE_INTEGER now{};
    if (!QueryPerformanceCounter(&now)) Raise(kulNotThere);
    const LONGLONG llSteps = now.QuadPart - mllStartCounter;
    const auto iMilliseconds = static_cast<int>((llSteps % mllFrequency * 1000 + mllFrequency / 2) / mllFrequency);
    return {llSteps / mllFrequency + iMilliseconds / 1000, iMilliseconds % 1000};
}

// As "%12.3lf" prints them.
char* ODbgManagerCore::PutSeconds(char* pOut, const OMoment& now)
{
    constexpr int kiWhole = 8; // of 12: a point and three digits stand behind them
    char acDigits[24];
    const auto iDigits = static_cast<int>(std::to_chars(acDigits, acDigits + sizeof acDigits, now.llSecond).ptr - acDigits);
    for (int i = iDigits; i < kiWhole; ++i) *pOut++ = ' ';
    pOut = Put(pOut, acDigits, static_cast<std::size_t>(iDigits));
    *pOut++ = '.';
    *pOut++ = static_cast<char>('0' + now.iMillisecond / 100);
    *pOut++ = static_cast<char>('0' + now.iMillisecond / 10 % 10);
    *pOut++ = static_cast<char>('0' + now.iMillisecond % 10);
    return pOut;
}

void ODbgManagerCore::Writeln(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iCheck)
{
    const OBusyInLog busy(Log());
    if (busy.IsNested()) return;
    try
    {
        bool bDone = false;
        try
        {
            bDone = WriteLine(pText, pGroup, pClassName, pItem, iCheck);
        }
        catch (...)
        {
            DropCaught();
        }
        if (!bDone && !WriteDiagnostics(pText, pGroup, pClassName, pItem)) mpLogFile->AddLost(1);
    }
    catch (...) { LogCaught("ODbgManagerCore::Writeln"); throw; }
}

// False: the file did not take the line. True also for one that was not to be written, or is lost like others before it.
bool ODbgManagerCore::WriteLine(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iCheck)
{
    if (!mpLogFile) Raise(kulNotThere);
    for (const char* pName : {pGroup, pClassName, pItem})
        if (!pName || !*pName) Raise(kulEmptyName);
    if (!pText) Raise(kulEmptyName);
    const OMoment now = Elapsed();
    if (!mulErrorsOnly && iCheck && !IsEnabled(pGroup, pClassName, pItem)) return true;

    const char* const kParts[] = {pGroup, pClassName, pItem, pText};
    std::size_t aulLengths[std::size(kParts)];
    std::size_t ulRoom = kulSecondsRoom;
    for (std::size_t i = 0; i < std::size(kParts); ++i) ulRoom += 3 + (aulLengths[i] = std::strlen(kParts[i]));
    char acUsual[kulUsualLine];
    const std::unique_ptr<char[]> pLong(ulRoom > sizeof acUsual ? new char[ulRoom] : nullptr);
    char* const pLine = pLong ? pLong.get() : acUsual;

    char* pEnd = PutSeconds(pLine, now);
    for (std::size_t i = 0; i < std::size(kParts); ++i) pEnd = Put(Put(pEnd, " : ", 3), kParts[i], aulLengths[i]);
    char* const pLineEnd = pEnd;
    pEnd = Put(pEnd, "\r\n", 2);

    if (!TellOfLostLines(now)) return true;
    if (!mpLogFile->Append(pLine, static_cast<ULONG>(pEnd - pLine), now.llSecond)) return false;
    Put(pLineEnd, "\n", 2);
    OutputDebugStringA(pLine);
    return true;
}

// Once the file takes lines again. False: it does not yet, and the next line is lost as well.
bool ODbgManagerCore::TellOfLostLines(const OMoment& now)
{
    const ULONG ulLost = mpLogFile->TakeLost();
    if (ulLost == 0) return true;
    char acSeconds[kulSecondsRoom];
    *PutSeconds(acSeconds, now) = 0;
    CString sNotice;
    sNotice.Format("%s : Error : ODbgManagerCore : Writeln : %u lines lost: the file did not take them", acSeconds, ulLost);
    if (mpLogFile->AppendText(sNotice, now.llSecond)) return true;
    mpLogFile->AddLost(ulLost + 1);
    return false;
}

// What the line would have been made of, for a line that could not be made or written. False: the file does not take it.
bool ODbgManagerCore::WriteDiagnostics(const char* pText, const char* pGroup, const char* pClassName, const char* pItem)
{
    if (!mpLogFile) Raise(kulNotThere);
    const OSuspect group(pGroup), className(pClassName), item(pItem), text(pText);
    CString asLines[4];
    asLines[0].Format("ODbgManager::Writeln : pName1=%I64x : pName2=%I64x : pName3=%I64x", group.ullAddress, className.ullAddress,
                      item.ullAddress);
    asLines[1].Format("ODbgManager::Writeln : Len1=%x : Len2=%x : Len3=%x", group.iLength, className.iLength, item.iLength);
    asLines[2].Format("ODbgManager::Writeln : Str1=%s : Str2=%s : Str3=%s", group.Text(), className.Text(), item.Text());
    asLines[3].Format("ODbgManager::Writeln : Length=%d : pText=%s", text.iLength, text.Text());
    const LONGLONG llSecond = Elapsed().llSecond;
    for (const CString& sLine : asLines)
        if (!mpLogFile->AppendText(sLine, llSecond)) return false;
    return true;
}

bool ODbgManagerCore::TellOfLostErrors(const CString& sSuffix, const OMoment& now)
{
    const ULONG ulLost = mpErrorFile->TakeLost();
    if (ulLost == 0) return true;
    CString sNotice;
    sNotice.Format("%u lines lost: the file did not take them", ulLost);
    if (mpErrorFile->AppendText(sNotice + sSuffix, now.llSecond)) return true;
    mpErrorFile->AddLost(ulLost + 1);
    return false;
}

void ODbgManagerCore::WriteErrorLine(const char* pText)
{
    const OBusyInLog busy(ErrorLog());
    if (busy.IsNested()) return;
    try
    {
        if (!mpErrorFile) Raise(kulNotThere);
        const CString sSuffix = TimeOfError();
        const OMoment now = Elapsed();
        if (!TellOfLostErrors(sSuffix, now)) return;
        if (!mpErrorFile->AppendText(pText + sSuffix, now.llSecond)) mpErrorFile->AddLost(1);
    }
    catch (...) { LogCaught("ODbgManagerCore::WriteErrorLine"); throw; }
}
