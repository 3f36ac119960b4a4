// lum tour: the typical request, step by step, each with what really happens.
#include "OCRCFile.h"
#include "ODbgManagerCore.h"
#include "OException.h"
#include "OModelParams.h"
#include "OMutex.h"
#include "OTorchParams.h"

#include "Commands.h"
#include "Console.h"
#include "CrcFile.h"
#include "FileBytes.h"
#include "LibraryError.h"
#include "LogReader.h"
#include "LogSwitches.h"
#include "LogView.h"
#include "MessageText.h"
#include "ParamShow.h"
#include "ParamValue.h"
#include "RegStore.h"
#include "Text.h"
#include "TourSteps.h"

#include <CLI/CLI.hpp>

#include <utility>

namespace tool
{
void Say(const std::string& sText) { Print("   " + sText); }

void Shows(const std::string& sCall, const std::string& sResult) { Say(sCall + "  ->  " + Inked(Ink::Bold, sResult)); }

// A log as every program of an instrument keeps one, with its files below the state directory.
class TourLog
{
public:
    TourLog() : mbHadSwitches(ReadLogSwitches().bExist)
    {
        try
        {
            char acState[MAX_PATH], acFolder[MAX_PATH];
            if (!LumGetStateFolder(acState, sizeof acState)) throw Stop(kFailure, SystemText(GetLastError()));
            GetFullPathNameA((std::string(acState) + "/log/").c_str(), sizeof acFolder, acFolder, nullptr); // with the system's separators
            msFolder = acFolder;
            mManager.Init(0, File("Tour.log").c_str());
            mManager.SetDbgManager(&mManager);
            mbOpen = true;
        }
        catch (const Stop& stop)
        {
            msFailure = stop.what();
        }
        catch (CException*)
        {
            msFailure = LibraryErrorText();
        }
    }
    ~TourLog()
    {
        mManager.SetDbgManager(nullptr);
        if (mbHadSwitches) return;
        const RegKeyName key = LogSwitchKey(); // made by the log where there was none
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, AsWide(AsUnits(key.sPath.c_str())));
    }
    TourLog(const TourLog&) = delete;
    TourLog& operator=(const TourLog&) = delete;

    bool IsOpen() const { return mbOpen; }
    const std::string& Failure() const { return msFailure; }
    std::string File(const char* pName) const { return msFolder + pName; }
    ODbgManagerCore& Manager() { return mManager; }

private:
    const bool mbHadSwitches;
    bool mbOpen = false;
    std::string msFolder, msFailure;
    ODbgManagerCore mManager;
};

// ---- the steps

static void FindFamily(TourLog&)
{
    const std::string sBase = BasePath();
    if (sBase.empty())
    {
        Say("No instrument family is installed: HKLM\\Software\\Tarvek\\Lum\\General has no known InstrumentType.");
        Say("Every parameter then has its default. To install one: lum reg import examples/cedar.reg");
        return;
    }
    Say("HKLM\\Software\\Tarvek\\Lum\\General names the installed instrument, and with it the branch of its settings:");
    Say(Inked(Ink::Bold, "HKLM\\" + sBase));
}

static void ShowTorch(TourLog&)
{
    if (PrintBlock(ParamBlocks()[0], ParamSet::Current)) PrintMark();
}

static void SetAndReadBack(TourLog&)
{
    const ParamRow& row = FindParam({"torch", "run", "PlasmaFlow"});
    const KeptValue kept(row, ParamSet::Current); // puts the old value back, whatever happens
    OTorchParams torch(1);
    const double dNew = torch.GetRunPlasmaFlow() + 0.25;
    Shows("OTorchParams(1).GetRunPlasmaFlow()", NumberText(torch.GetRunPlasmaFlow()));
    torch.SetRunPlasmaFlow(dNew);
    Shows("SetRunPlasmaFlow(" + NumberText(dNew) + "), then GetRunPlasmaFlow()", NumberText(torch.GetRunPlasmaFlow()));
    Say(kept.HasKey() ? "The old value is put back." : "Its key is missing, and a setter never creates one: the default stays.");
}

static void ShowDefault(TourLog&)
{
    OTorchParams torch(1, HKEY_LOCAL_MACHINE, "NoSuchBlock");
    Shows("OTorchParams(1, HKEY_LOCAL_MACHINE, \"NoSuchBlock\").GetRunPower()", NumberText(torch.GetRunPower()));
    Say("The key does not exist. A plain read is content with its default and raises nothing.");
}

static void ShowCodedFailure(TourLog& log)
{
    // In this mode the error file is written as well.
    const ULONG ulErrorsOnly = std::exchange(log.Manager().mulErrorsOnly, 1);
    Say("OModelParams(1, HKEY_LOCAL_MACHINE, \"NoSuchBlock\").GetModelName()");
    try
    {
        OModelParams(1, HKEY_LOCAL_MACHINE, "NoSuchBlock").GetModelName();
        Say("No error was raised.");
    }
    catch (OAppException* pException)
    {
        Shows("OAppException*, error code", std::to_string(pException->mulErrorCode));
        Say("its text, from LumRes.dll: " + Inked(Ink::Bold, static_cast<const char*>(pException->mText.ConvertToMultiByte())));
        pException->Delete();
    }
    log.Manager().mulErrorsOnly = ulErrorsOnly;
}

__attribute__((noinline, no_sanitize("undefined"))) static int Divide(volatile int& iNumber, volatile int& iBy) { return iNumber / iBy; }

static void ShowFault(TourLog&)
{
    SetupSignal();
    volatile int iOne = 1, iZero = 0;
    try
    {
        Shows("1 / 0", std::to_string(Divide(iOne, iZero)));
    }
    catch (OIntDivZeroException* pException)
    {
        Shows("1 / 0, caught as OIntDivZeroException*", Format("code 0x%08X", static_cast<unsigned>(pException->mulStructuredCode)));
        const auto sText = MessageText(pException->mulErrorCode);
        if (sText) Say("the text of its error code: " + Inked(Ink::Bold, Narrow(*sText)));
        pException->Delete();
    }
}

static std::string Fate(ODbgManagerCore& manager)
try
{
    if (manager.mulErrorsOnly) return "dropped: errors-only mode is on (lum log disable --errors-only)";
    if (!manager.mulEnabled) return "dropped: logging as a whole is off (lum log enable --all)";
    return manager.IsEnabled("Utilities", "OMutex", "Item") ? "written" : "dropped: switched off (lum log enable Utilities)";
}
catch (OAppException*)
{
    return "dropped: " + LibraryErrorText();
}

static void ShowSwitch(TourLog& log)
{
    if (!log.IsOpen()) return Say("There is no log: " + log.Failure());
    OMutex mutex(1, nullptr, nullptr);
    mutex.Log("held by the tour");
    mutex.Unlock();
    Shows("OMutex::Log(\"held by the tour\"): group Utilities, class OMutex, item Item", Fate(log.Manager()));
    Say("lum log disable Utilities, and the next tour logs no such line. lum log switches shows all switches.");
}

static void ShowCrc(TourLog& log)
try
{
    if (!log.IsOpen()) return Say("There is no folder for a data file: " + log.Failure());
    const std::string sPath = log.File("Tour.dat");
    ReplaceFileBytes(sPath, "123456789");
    Say("A data file, Tour.dat: 123456789");
    Shows("OCRCFile().AppendCRC(\"Tour.dat\")", std::to_string(OCRCFile().AppendCRC(sPath.c_str())));
    std::string sBytes = ReadFileBytes(sPath);
    Say(Format("It ends in the CRC of these bytes now, low byte first: %02x %02x", static_cast<BYTE>(sBytes[sBytes.size() - 2]),
               static_cast<BYTE>(sBytes.back())));
    Shows("OCRCFile().CheckCRC(\"Tour.dat\")", std::to_string(OCRCFile().CheckCRC(sPath.c_str())));
    sBytes[4] = '6';
    ReplaceFileBytes(sPath, sBytes);
    Say("One byte of it is changed, the 5 to a 6.");
    Shows("OCRCFile().CheckCRC(\"Tour.dat\")", std::to_string(OCRCFile().CheckCRC(sPath.c_str())));
    Say("lum crc check reports it so, with exit status 1:");
    Say(CheckCrc(sPath).sText);
    DeleteFileA(sPath.c_str());
}
catch (const Stop& stop)
{
    Say("The data file cannot be made: " + std::string(stop.what()));
}

static void ShowCrypt(TourLog& log)
try
{
    if (!log.IsOpen()) return Say("There is no folder for a file: " + log.Failure());
    ShowCryptOfFile(log.File(""));
}
catch (const Stop& stop)
{
    Say("This cannot be shown: " + std::string(stop.what()));
}

static void ShowStorage(TourLog& log)
try
{
    if (!log.IsOpen()) return Say("There is no folder for a file: " + log.Failure());
    ShowStorageOfFile(log.File(""));
}
catch (const Stop& stop)
{
    Say("This cannot be shown: " + std::string(stop.what()));
}
catch (CException*)
{
    Say("This cannot be shown: " + LibraryErrorText());
}

static void ShowFile(const std::string& sPath)
{
    Say("lum log view " + sPath);
    LogReader reader(sPath);
    reader.GoToLastRun();
    LogView view({}, false);
    for (std::string_view sLines; reader.Next(sLines);) view.Lines(sLines);
}

static void ShowLog(TourLog& log)
{
    if (!log.IsOpen()) return Say("There is none: " + log.Failure());
    ShowFile(log.File("Tour.log"));
    Print({});
    Say("The error file has what was logged under Error in errors-only mode, and is emptied by every start:");
    ShowFile(log.File("Error.Log"));
}

struct TourStep
{
    const char* pTitle;
    void (*pShow)(TourLog& log);
};

static constexpr TourStep kSteps[] = {
    {"The instrument that is installed", FindFamily},
    {"Its torch, as a client reads it", ShowTorch},
    {"A value is set and read back", SetAndReadBack},
    {"A key that is missing", ShowDefault},
    {"A failure with a code", ShowCodedFailure},
    {"A hardware fault, as an exception", ShowFault},
    {"A data file, and whether it is still the one that was written", ShowCrc},
    {"A file, encrypted and signed", ShowCrypt},
    {"A compound file, written, listed and read back", ShowStorage},
    {"A line that operators switch on and off", ShowSwitch},
    {"The log that all of this left, and its error file", ShowLog},
};

static void Tour()
{
    CheckRegistry();
    Print("LumBase keeps an instrument's parameters and tells its programs what went wrong. A typical request, step by step:");
    TourLog log;
    int iNumber = 0;
    for (const TourStep& step : kSteps)
    {
        Print(Format("\n%d. ", ++iNumber) + Inked(Ink::Bold, step.pTitle));
        step.pShow(log);
    }
    Print("\nNext: lum params show, lum params set torch run PlasmaFlow 14.5, lum reg list HKLM/Software/Tarvek -r, lum log view --help");
}

void AddTourCommand(CLI::App& app)
{
    app.add_subcommand("tour", "Walk through a typical request; what it changes it puts back, and a log it leaves")->callback(Tour);
}
} // namespace tool
