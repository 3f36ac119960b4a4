#include "CryptWork.h"

#include "OEncrypt.h"

#include "Console.h"
#include "FileBytes.h"
#include "Text.h"
#include "UserKeys.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <thread>

namespace tool
{
// ---- what the library says

// The library's object, whose message boxes are taken down instead of shown.
class QuietEncrypt
{
public:
    QuietEncrypt()
    {
        gsCaption.clear();
        LumSetMessageHook(
            [](const char*, const char* pCaption)
            {
                if (gsCaption.empty()) gsCaption = pCaption;
                return IDOK;
            });
        if (!mCrypt.Init()) throw Failure("opening your keys");
    }
    ~QuietEncrypt() { LumSetMessageHook(nullptr); }
    QuietEncrypt(const QuietEncrypt&) = delete;
    QuietEncrypt& operator=(const QuietEncrypt&) = delete;

    OEncrypt* operator->() { return &mCrypt; }
    // Many results say that all went well when it did not.
    bool HasFailed(int iResult) const { return iResult != 0 || mCrypt.GetError() != 0 || !gsCaption.empty(); }
    // A key was looked for where none is. Whatever else goes wrong there has a reason of its own.
    bool FoundNoKey() const
    {
        static constexpr const char* kpKeySteps[] = {"Error reading file header", "CryptImportKey Error",
                                                     "Error Out of memory or improperly formatted source file!"};
        static constexpr DWORD kaulNoKey[] = {ERROR_HANDLE_EOF,
                                              ERROR_OUTOFMEMORY, // no memory for a key as long as the file says
                                              ERROR_INVALID_PARAMETER,
                                              static_cast<DWORD>(NTE_BAD_DATA),
                                              static_cast<DWORD>(NTE_BAD_TYPE),
                                              static_cast<DWORD>(NTE_BAD_ALGID)};
        return std::ranges::find(kpKeySteps, gsCaption) != std::end(kpKeySteps) &&
               std::ranges::find(kaulNoKey, mCrypt.GetError()) != std::end(kaulNoKey);
    }
    Stop Failure(const std::string& sWhat) const
    {
        return Stop(kFailure,
                    Format("%s failed: %s [%s]", sWhat.c_str(), CryptReason(mCrypt.GetError()).c_str(), gsCaption.c_str()));
    }

private:
    static inline std::string gsCaption; // of the first
    OEncrypt mCrypt;
};

// ---- long work

// Shows how far it is by the size that a growing file has, as the library tells nobody.
class GrowingFile
{
public:
    GrowingFile(const std::string& sWhat, const std::string& sPath, ULONGLONG ullSize)
    {
        constexpr ULONGLONG kullLong = 100'000'000; // bytes from which on it takes long enough
        if (ullSize < kullLong || !LumIsTerminal(stderr)) return;
        mThread = std::jthread(
            [=](const std::stop_token& stop)
            {
                for (Progress progress(sWhat, ullSize); !stop.stop_requested();
                     std::this_thread::sleep_for(std::chrono::milliseconds(50)))
                    progress.At(static_cast<size_t>(std::min(ullSize, SizeNow(sPath))));
            });
    }

private:
    static ULONGLONG SizeNow(const std::string& sPath)
    {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        if (!GetFileAttributesExA(sPath.c_str(), GetFileExInfoStandard, &data)) return 0;
        return static_cast<ULONGLONG>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
    }

    std::jthread mThread;
};

// ---- the work

static void RefuseOneFile(const std::string& sFirst, const std::string& sSecond)
{
    if (AreOneFile(sFirst, sSecond)) throw Stop(kFailure, sFirst + " and " + sSecond + " are one file: nothing was changed");
}

void CryptFile(CryptWay eWay, const std::string& sSource, const std::string& sDestination, const Secret* pPassword)
{
    const bool bEncrypt = eWay == CryptWay::Encrypt;
    const std::string sWhat = (bEncrypt ? "encrypting " : "decrypting ") + Visible(sSource);
    const ULONGLONG ullSize = SizeOfFile(sSource);
    RefuseOneFile(sSource, sDestination);

    QuietEncrypt crypt;
    NewFile destination(sDestination);
    const char* pTyped = pPassword ? pPassword->View().data() : nullptr;
    {
        const GrowingFile progress(sWhat, destination.Path(), ullSize);
        const int iResult = bEncrypt ? crypt->EncryptFileA(sSource.c_str(), destination.Path().c_str(), pTyped)
                                     : crypt->DecryptFileA(sSource.c_str(), destination.Path().c_str(), pTyped);
        if (!bEncrypt && !pPassword && crypt.FoundNoKey())
            throw Stop(kFailure,
                       sWhat + " failed: it does not begin with a key for your exchange pair (a password needs --password)");
        if (crypt.HasFailed(iResult)) throw crypt.Failure(sWhat);
    }
    destination.PutInPlace();
}

void SignFileTo(const std::string& sSource, const std::string& sSignature)
{
    SizeOfFile(sSource);
    RefuseOneFile(sSource, sSignature);
    QuietEncrypt crypt;
    NewFile signature(sSignature);
    const int iResult = crypt->SignFile(sSource.c_str(), signature.Path().c_str(), nullptr);
    if (crypt.HasFailed(iResult)) throw crypt.Failure("signing " + sSource);
    signature.PutInPlace();
}

bool SignatureMatches(const std::string& sSource, const std::string& sSignature)
{
    constexpr int kiNoMatch = 4;
    SizeOfFile(sSource);
    SizeOfFile(sSignature);
    QuietEncrypt crypt;
    const int iResult = crypt->VerifyFile(sSource.c_str(), sSignature.c_str(), nullptr);
    if (iResult == kiNoMatch) return false;
    if (crypt.HasFailed(iResult)) throw crypt.Failure("verifying " + sSource);
    return true;
}
} // namespace tool
