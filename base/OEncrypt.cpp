// The key container, and how failures are told.
#include "OEncrypt.h"

#include "KeepLastError.h"

static constexpr ULONG kulOutOfMemory = 14;
static constexpr const char* kpProvider = "Microsoft Base Cryptographic Provider v1.0";

static BOOL Acquire(HCRYPTPROV* phProvider, DWORD ulFlags)
{
    return CryptAcquireContextA(phProvider, nullptr, kpProvider, PROV_RSA_FULL, ulFlags);
}

OEncrypt::OEncrypt() {} // the last word stays as it is

OEncrypt::OEncrypt(const OEncrypt& source) { *this = source; }

OEncrypt& OEncrypt::operator=(const OEncrypt& source)
{
    if (this == &source) return *this;
    const OKeepLastError keep;
    if (source.mulInitialised) CryptContextAddRef(source.mhProvider, nullptr, 0); // each of the two releases it
    Release();
    mulInitialised = source.mulInitialised;
    mhProvider = source.mhProvider;
    mulError = source.mulError;
    mulSpare = source.mulSpare;
    return *this;
}

OEncrypt::~OEncrypt()
{
    const OKeepLastError keep;
    Release();
}

void OEncrypt::Release()
{
    if (mulInitialised) CryptReleaseContext(mhProvider, 0);
    mulInitialised = 0;
    mhProvider = 0;
}

int OEncrypt::Init(const char*, const char*, ULONG, ULONG)
{
    Release();
    mulError = 0;
    if (!Acquire(&mhProvider, 0) && !Acquire(&mhProvider, CRYPT_NEWKEYSET))
    {
        Failed("Error Creating key container", 0);
        mhProvider = 0;
        return 0;
    }
    mulInitialised = 1;
    return 1;
}

int OEncrypt::RemoveUser()
{
    HCRYPTPROV hNone = 0;
    return Acquire(&hNone, CRYPT_DELETEKEYSET) ? 0 : Failed("Error deleting key set", 3);
}

int OEncrypt::Failed(const char* pTitle, int iResult)
{
    if (::GetLastError() == NO_ERROR) SetLastError(ERROR_GEN_FAILURE); // a stream may fail by itself, and would not be told of
    mulError = ::GetLastError();
    ReportCryptoError(1, 0, pTitle);
    return iResult;
}

int OEncrypt::OutOfMemory(const char* pTitle, int iResult)
{
    mulError = kulOutOfMemory;
    ReportCryptoError(0, kulOutOfMemory, pTitle);
    return iResult;
}
