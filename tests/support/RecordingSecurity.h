// A security object of the tests' own, in the place of the one that another module provides. Installed while it lives.
#pragma once

#include "SecurityState.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

class RecordingSecurity final : public OWithoutAutomation<OSecurityObject>
{
public:
    RecordingSecurity() { SecurityState().pObject = this; }
    ~RecordingSecurity() { SecurityState().pObject = nullptr; }
    RecordingSecurity(const RecordingSecurity&) = delete;
    RecordingSecurity& operator=(const RecordingSecurity&) = delete;

    HRESULT WINAPI QueryInterface(REFIID, void**) override { return Note("QueryInterface", E_NOINTERFACE); }
    ULONG WINAPI AddRef() override { return static_cast<ULONG>(Note("AddRef", 1)); }
    ULONG WINAPI Release() override { return static_cast<ULONG>(Note("Release", 1)); }
    HRESULT WINAPI Impersonate() override
    {
        Note("impersonate", hResult);
        if (onImpersonate) onImpersonate();
        return hResult;
    }
    HRESULT WINAPI Revert() override
    {
        Note("revert", hResult);
        if (onRevert) onRevert();
        return hResult;
    }
    HRESULT WINAPI ThreadDetach() override { return Note("detach", S_OK); }

    std::vector<std::string> Calls() { return std::exchange(mCalls, {}); }

    HRESULT hResult = S_OK; // what the two steps answer
    std::function<void()> onImpersonate;
    std::function<void()> onRevert;

private:
    HRESULT Note(const char* pCall, HRESULT hAnswer)
    {
        mCalls.push_back(pCall);
        return hAnswer;
    }

    std::vector<std::string> mCalls;
};
