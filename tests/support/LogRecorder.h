// A log manager that keeps what reaches it. Installed for as long as it lives.
#pragma once

#include "ODbgManager.h"

#include <string>
#include <utility>
#include <vector>

class LogRecorder : public ODbgManager
{
public:
    using Lines = std::vector<std::string>;

    LogRecorder() { SetDbgManager(this); }
    ~LogRecorder() override { SetDbgManager(nullptr); }

    void Writeln(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int) override
    {
        const std::string sText = pText;
        if (std::string(pGroup) == "Error") mErrors.push_back(std::string(pClassName) + " | " + pItem + " | " + sText);
        else if (const std::size_t uAt = sText.find("Caught in "); uAt != std::string::npos) mPlaces.push_back(sText.substr(uAt));
        else mOthers.push_back(std::string(pGroup) + " | " + pClassName + " | " + pItem + " | " + sText);
    }
    int IsEnabled(const char*, const char*, const char*) override { return 1; }
    void UpdateRegistry() override {}

    // What came since the last question. Errors: "class | item | text" of the group "Error". Places: "Caught in ..." of the call
    // frames, from the inside outwards. Others: "group | class | item | text".
    Lines Errors() { return std::exchange(mErrors, {}); }
    Lines Places() { return std::exchange(mPlaces, {}); }
    Lines Others() { return std::exchange(mOthers, {}); }

private:
    Lines mErrors;
    Lines mPlaces;
    Lines mOthers;
};
