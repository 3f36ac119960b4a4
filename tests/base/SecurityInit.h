// An installation of a test's own with a stored login record, and the security server that it logs on to.
#pragma once

#include "OSecurity.h"

#include "ComObject.h"
#include "LoginPositions.h"
#include "MessageRecorder.h"
#include "RegistryBranch.h"
#include "SecurityState.h"
#include "TempFolder.h"

#include <fstream>
#include <functional>
#include <mutex>

using SecurityCalls = std::vector<std::string>;

inline std::string Narrow(const WCHAR* pText)
{
    std::string sText;
    for (; *pText; ++pText) sText += static_cast<char>(*pText);
    return sText;
}

// What a log-on gives out.
class ServedSecurity final : public OWithoutAutomation<OSecurityObject>
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppObject) override
    {
        *ppObject = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++lCount); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--lCount); }
    HRESULT STDMETHODCALLTYPE Impersonate() override { return Note("impersonate"); }
    HRESULT STDMETHODCALLTYPE Revert() override { return Note("revert"); }
    HRESULT STDMETHODCALLTYPE ThreadDetach() override
    {
        detached = GetCurrentThreadId();
        return Note("detach");
    }

    SecurityCalls Take()
    {
        std::lock_guard lock(mMutex);
        return std::exchange(mCalls, {});
    }

    std::atomic<LONG> lCount{0};
    std::atomic<HRESULT> hResult{S_OK};
    std::atomic<DWORD> detached{0};

private:
    HRESULT Note(const char* pCall)
    {
        std::lock_guard lock(mMutex);
        mCalls.push_back(pCall);
        return hResult;
    }

    std::mutex mMutex;
    SecurityCalls mCalls;
};

// The factory: who logged on, and what it is to do then.
class LogOnFactory final : public ComObject<OWithoutAutomation<OSecurityFactory>>
{
public:
    LogOnFactory() : ComObject({kSecurityFactoryInterface}) {}
    HRESULT STDMETHODCALLTYPE LogOn(const WCHAR* pUser, const WCHAR* pDomain, const WCHAR* pPassword,
                                    OSecurityObject** ppObject) override
    {
        logOns.push_back(Narrow(pUser) + " | " + Narrow(pDomain) + " | " + Narrow(pPassword));
        EXPECT_EQ(*ppObject, nullptr);
        if (onLogOn) onLogOn();
        if (FAILED(hResult)) return hResult;
        if (bGive) *ppObject = &served;
        served.lCount = bGive;
        return hResult;
    }
    SecurityCalls Take() { return std::exchange(logOns, {}); }

    ServedSecurity served;
    HRESULT hResult = S_OK;
    bool bGive = true;
    std::function<void()> onLogOn;

private:
    SecurityCalls logOns;
};

inline void Put(unsigned short* pTo, const char* pText)
{
    while (*pText) *pTo++ = static_cast<unsigned char>(*pText++);
}

// The bytes of a user.dat.
inline std::string Record(ULONG ulFlag = 1, const char* pPassword = "torch & lamp")
{
    LOGINDATA data{};
    Put(data.awcText1, "operator");
    Put(data.awcText2, "LAB");
    Put(data.awcText3, pPassword);
    data.ulFlag = ulFlag;
    std::vector<unsigned short> units(kulLoginUnits);
    OEncrypt::EncryptLoginData(&data, units.data(), kulLoginUnits);
    SecureZeroMemory(&data, sizeof data);
    return std::string(reinterpret_cast<const char*>(units.data()), 2 * kulLoginUnits);
}
inline const std::string ksLogOn = "operator | LAB | torch & lamp";

// An installation of the test's own, in a process whose security has never been initialised.
class SecurityInit : public RegistryBranch
{
protected:
    SecurityInit()
    {
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        EXPECT_EQ(CoRegisterClassObject(kSecurityFactoryClass, &factoryClass, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &mulCookie),
                  S_OK);
        StoreText("Run", "RunDir", folder.Path());
        Forget();
    }
    ~SecurityInit() override
    {
        Forget();
        SecurityState().version = mVersion;
        CoUninitialize();
    }

    static void Forget()
    {
        SecurityState().pObject = nullptr;
        SecurityState().login = LOGINDATA{};
        SecurityState().bLoginTaken = false;
    }
    void Withdraw() { EXPECT_EQ(CoRevokeClassObject(mulCookie), S_OK); }
    void Install(const std::string& sBytes)
    {
        std::filesystem::create_directory(folder / "security");
        std::ofstream(File(), std::ios::binary) << sBytes;
    }
    std::string File() const { return folder / "security" + "/user.dat"; }

    TempFolder folder;
    LogOnFactory factory;
    ComClass factoryClass{factory};
    MessageRecorder boxes;

private:
    const OOSVersion mVersion = SecurityState().version;
    DWORD mulCookie = 0;
};
