// Who the library is to work for: the stored record is read, and the account logged on.
#include "OSecurity.h"

#include "CSecureFile.h"
#include "CaughtException.h"
#include "LoginPositions.h"
#include "ORegistry.h"
#include "SecurityState.h"

#include <memory>

namespace
{
constexpr const char* kpFileCaption = "Security configuration error";

// What a record was on the disk. Nothing of it stays in memory.
class OProtectedRecord
{
public:
    OProtectedRecord() : mpUnits(std::make_unique<unsigned short[]>(kulLoginUnits)) {}
    ~OProtectedRecord() { SecureZeroMemory(mpUnits.get(), kulBytes); }

    void Read(CFile& file) { file.Read(mpUnits.get(), kulBytes); } // what is missing in the file is zeros
    void Decipher(LOGINDATA& data) { OEncrypt::DecryptLoginData(&data, mpUnits.get(), kulLoginUnits); }

private:
    static constexpr UINT kulBytes = kulLoginUnits * sizeof(unsigned short);
    const std::unique_ptr<unsigned short[]> mpUnits;
};

CString RecordPath()
{
    ORegistry reg;
    reg.InitAccess(KEY_READ);
    reg.SetRoot(HKEY_LOCAL_MACHINE);
    reg.OpenKey("Run", ORegistry::OPEN_ONLY);
    CString sPath;
    reg.ReadString("RunDir", sPath, "");
    sPath += "\\security\\user.dat";
    return sPath;
}

// Nonzero: an account is configured. Only the first call in a process reads.
ULONG ReadLoginRecord(OSecurityState& state)
{
    if (state.bLoginTaken) return state.login.ulFlag;
    state.bLoginTaken = true;
    try
    {
        CSecureFile file;
        if (!file.Open(RecordPath(), 0, nullptr))
        {
            LumMessageBox("Missing 'user.dat' file", kpFileCaption);
            return state.login.ulFlag;
        }
        OProtectedRecord record;
        record.Read(file);
        file.Close();
        record.Decipher(state.login);
    }
    catch (...)
    {
        DropCaught();
        LumMessageBox("Exception", kpFileCaption);
    }
    return state.login.ulFlag;
}

// A factory that threw is not called again, not even to release it.
int LogOn(OSecurityState& state)
{
    constexpr DWORD kulContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER;
    void* pMade = nullptr;
    if (FAILED(CoCreateInstance(kSecurityFactoryClass, nullptr, kulContext, kSecurityFactoryInterface, &pMade))) return 0;
    auto* pFactory = static_cast<OSecurityFactory*>(pMade);

    LOGINDATA& login = state.login;
    OSecurityObject* pObject = nullptr;
    const HRESULT hResult = pFactory->LogOn(AsWide(login.awcText1), AsWide(login.awcText2), AsWide(login.awcText3), &pObject);
    pFactory->Release();
    if (FAILED(hResult)) return 0; // the texts stay, for another try
    state.pObject = pObject;
    if (pObject) SecureZeroMemory(&login, offsetof(LOGINDATA, ulFlag));
    return 1;
}
} // namespace

int InitLumSecurityWithNoImpersonateUser()
{
    const OSecurityLock lock;
    OSecurityState& state = SecurityState();
    if (!state.version.IsWinNT() || state.pObject) return 1;
    try
    {
        return ReadLoginRecord(state) ? LogOn(state) : 1;
    }
    catch (...) { DropCaught(); }
    return 0;
}

int InitLumSecurity(ULONG)
{
    const OSecurityLock lock;
    try
    {
        if (!InitLumSecurityWithNoImpersonateUser()) return 0;
        OSecurityObject* pObject = SecurityState().pObject;
        if (!pObject) return 1;
        LumTellThreadEnd();
        return SUCCEEDED(pObject->Impersonate());
    }
    catch (...) { DropCaught(); }
    return 0;
}

int ReportSecurityError(const char* pCaption)
{
    const DWORD ulError = GetLastError();
    const OSecurityLock lock;
    char* pText = nullptr;
    constexpr DWORD kulFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    const DWORD ulChars = FormatMessageA(kulFlags, nullptr, ulError, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                         reinterpret_cast<char*>(&pText), 0, nullptr);
    LumMessageBox(ulChars ? pText : "", pCaption);
    LocalFree(pText);
    return ulChars != 0;
}
