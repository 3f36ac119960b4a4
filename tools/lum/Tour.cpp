// lum tour: the typical request, step by step, each with what really happens.
#include "OException.h"
#include "ODbgManager.h"
#include "OModelParams.h"
#include "OTorchParams.h"

#include "Commands.h"
#include "Console.h"
#include "MessageText.h"
#include "ParamShow.h"
#include "ParamValue.h"
#include "RegStore.h"
#include "Text.h"

#include <CLI/CLI.hpp>

namespace tool
{
static void Say(const std::string& sText) { Print("   " + sText); }

static void Shows(const std::string& sCall, const std::string& sResult) { Say(sCall + "  ->  " + Inked(Ink::Bold, sResult)); }

// Shows the library's log lines while it lives.
class TourLog : public ODbgManager
{
public:
    TourLog() { SetDbgManager(this); }
    ~TourLog() override { SetDbgManager(nullptr); }

    void Writeln(const char* pText, const char* pGroup, const char* pClassName, const char*, int) override
    {
        Say(Inked(Ink::Faint, Format("log  %s : %s : %s", pGroup, pClassName, pText)));
    }
    int IsEnabled(const char*, const char*, const char*) override { return 1; }
    void UpdateRegistry() override {}
};

// ---- the steps

static void FindFamily()
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

static void ShowTorch()
{
    if (PrintBlock(ParamBlocks()[0], ParamSet::Current)) PrintMark();
}

static void SetAndReadBack()
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

static void ShowDefault()
{
    OTorchParams torch(1, HKEY_LOCAL_MACHINE, "NoSuchBlock");
    Shows("OTorchParams(1, HKEY_LOCAL_MACHINE, \"NoSuchBlock\").GetRunPower()", NumberText(torch.GetRunPower()));
    Say("The key does not exist. A plain read is content with its default and raises nothing.");
}

static void ShowCodedFailure()
{
    Say("OModelParams(1, HKEY_LOCAL_MACHINE, \"NoSuchBlock\").GetModelName()");
    const TourLog log;
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
}

__attribute__((noinline, no_sanitize("undefined"))) static int Divide(volatile int& iNumber, volatile int& iBy) { return iNumber / iBy; }

static void ShowFault()
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

struct TourStep
{
    const char* pTitle;
    void (*pShow)();
};

static constexpr TourStep kSteps[] = {
    {"The instrument that is installed", FindFamily},
    {"Its torch, as a client reads it", ShowTorch},
    {"A value is set and read back", SetAndReadBack},
    {"A key that is missing", ShowDefault},
    {"A failure with a code, and the log lines it leaves on its way out", ShowCodedFailure},
    {"A hardware fault, as an exception", ShowFault},
};

static void Tour()
{
    CheckRegistry();
    Print("LumBase keeps an instrument's parameters and tells its programs what went wrong. A typical request, step by step:");
    int iNumber = 0;
    for (const TourStep& step : kSteps)
    {
        Print(Format("\n%d. ", ++iNumber) + Inked(Ink::Bold, step.pTitle));
        step.pShow();
    }
    Print("\nNext: lum params show, lum params set torch run PlasmaFlow 14.5, lum reg list HKLM/Software/Tarvek -r, lum --help");
}

void AddTourCommand(CLI::App& app)
{
    app.add_subcommand("tour", "Walk through a typical request; what it changes it puts back")->callback(Tour);
}
} // namespace tool
