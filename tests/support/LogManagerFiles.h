// A log manager of a test's own: its switches in the test's branch of the registry, its files in a folder that goes afterwards.
#pragma once

#include "FileHandle.h"
#include "ODbgManagerCore.h"
#include "RegistryBranch.h"
#include "TempFolder.h"

#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

// Whose clock can be set forward.
class OSteppedManager : public ODbgManagerCore
{
public:
    void GoForward(double fSeconds) { mllStartCounter -= static_cast<LONGLONG>(fSeconds * static_cast<double>(mllFrequency)); }
};

class LogManagerFiles : public RegistryBranch
{
protected:
    LogManagerFiles() { log.SetDbgManager(nullptr); }
    ~LogManagerFiles() override { log.SetDbgManager(nullptr); }

    // Starts the manager with these switches, and installs it.
    void Start(DWORD dwErrorsOnly = 0, DWORD dwEnabled = 1, DWORD dwDefaultEnable = 1, int iUpdateRegistry = 0)
    {
        StoreNumber("Debug", "Enabled", dwEnabled);
        StoreNumber("Debug", "DefaultEnable", dwDefaultEnable);
        StoreNumber("Debug", "EnableErrorsOnly", dwErrorsOnly);
        manager.emplace();
        manager->Init(iUpdateRegistry, msLog.c_str());
        log.SetDbgManager(&*manager);
    }
    void Stop()
    {
        log.SetDbgManager(nullptr);
        manager.reset();
    }

    // The lines of a file, each checked for its end.
    static Lines LinesOf(const std::string& sPath)
    {
        Lines lines;
        std::istringstream text(ReadText(sPath));
        for (std::string sLine; std::getline(text, sLine);)
        {
            EXPECT_TRUE((sLine.empty() || sLine.back() == '\r') && !text.eof()) << sLine; // a blanked byte has room for LF alone
            if (!sLine.empty()) sLine.pop_back();
            lines.push_back(sLine);
        }
        return lines;
    }
    // The same without the banners, and without the seconds, whose layout is checked.
    static Lines Bare(const std::string& sPath)
    {
        Lines lines;
        for (const std::string& sLine : LinesOf(sPath))
        {
            if (sLine.starts_with("****")) continue;
            static const std::regex kSeconds(" {0,7}\\d{1,8}\\.\\d{3} : "); // of 15 characters: long texts are not for regex
            const bool bTimed = std::regex_match(sLine.substr(0, 15), kSeconds) && sLine[8] == '.';
            lines.push_back(bTimed ? sLine.substr(15) : sLine);
        }
        return lines;
    }
    Lines Logged() const { return Bare(msLog); }
    Lines ErrorLines() const { return Bare(msErrors); }

    TempFolder mFolder;
    const std::string msLog = mFolder / "App.log", msErrors = mFolder / "Error.Log";
    std::optional<OSteppedManager> manager;
    OBase object;
};

constexpr const char* kpStartedPattern =
    "\\*{23} Application Started \\[\\d{4}:\\d{1,2}:\\d{1,2}  \\d{1,2}:\\d{1,2}\\] \\*{23}";
constexpr const char* kpTerminatedBanner = "*********************** Application Terminated ****************************";
