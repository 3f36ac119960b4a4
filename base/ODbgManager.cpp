#include "ODbgManager.h"

#include "CaughtException.h"
#include "LogManagerCodes.h"
#include "LogNesting.h"
#include "OLogFile.h"
#include "ONameList.h"

#include <utility>

constinit thread_local const OBusyInLog* OBusyInLog::tpInnermost = nullptr;

static constexpr const char* kpTerminated = "*********************** Application Terminated ****************************";

void ODbgManager::DbgManagerInit()
{
    SetGroup("Dbg");
    SetErrorBase(13000);
    mulEnabled = 1;
    mulDefaultEnable = 1;
    mulUpdateRegistry = 0;
    mllStartCounter = 0;
    mllFrequency = 1;
    mpNameLists.reset();
    mpLogFile.reset();
    mpErrorFile.reset();
}

void ODbgManager::Init(int iUpdateRegistry, CString sLogPath)
try
{
    const CString sFolder = LogFolder(sLogPath);
    CreateDirectoryA(sFolder, nullptr); // it may exist, and if there is none, the files say so
    mulUpdateRegistry = static_cast<ULONG>(iUpdateRegistry);
    SYSTEMTIME now{};
    GetLocalTime(&now);

    auto pLogFile = std::make_shared<OLogFile>(sLogPath, OPEN_ALWAYS);
    CString sBanner;
    sBanner.Format("*********************** Application Started [%u:%u:%u  %u:%u] ***********************", now.wYear, now.wMonth,
                   now.wDay, now.wHour, now.wMinute);
    auto pErrorFile = std::make_shared<OLogFile>(sFolder + "\\Error.Log", CREATE_ALWAYS);
    for (OLogFile* pFile : {pLogFile.get(), pErrorFile.get()})
        if (!pFile->AppendText(sBanner, 0)) pFile->AddLost(1);

    LARGE_INTEGER counter{}, frequency{};
    if (!QueryPerformanceCounter(&counter) || !QueryPerformanceFrequency(&frequency)) Raise(kulNotThere);
    mllStartCounter = counter.QuadPart;
    mllFrequency = frequency.QuadPart;
    mpLogFile = std::move(pLogFile);
    mpErrorFile = std::move(pErrorFile);
}
catch (...) { LogCaught("ODbgManager::Init"); throw; }

ODbgManager::~ODbgManager()
{
    // What fails from here on must not be logged through what is left of this object.
    ODbgManager* const pInstalled = mpDbgManager;
    if (pInstalled == this) mpDbgManager = nullptr;
    try
    {
        mpNameLists.reset();
        Terminate(mpLogFile);
        Terminate(mpErrorFile);
        DbgManagerInit();
    }
    catch (...) { LogCaught("ODbgManager::~ODbgManager"); DropCaught(); }
    mpDbgManager = pInstalled;
}

// Ends a file, unless a copy of the manager still writes to it.
void ODbgManager::Terminate(std::shared_ptr<OLogFile>& pFile)
{
    if (pFile && pFile.use_count() == 1) pFile->AppendText(kpTerminated, -1);
    pFile.reset();
}
