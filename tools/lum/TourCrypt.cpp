// The tour's step of encryption and signatures.
#include "OEncrypt.h"

#include "Console.h"
#include "FileBytes.h"
#include "TourSteps.h"
#include "UserKeys.h"

namespace tool
{
namespace
{
// Works with a container of its own in place of the user's, made for the tour and gone with it.
class TourEncrypt : public OEncrypt
{
public:
    TourEncrypt() : msContainer("LumBase tour " + std::to_string(GetCurrentProcessId()))
    {
        HCRYPTKEY hPair = 0;
        constexpr DWORD kulBits = 1024; // quickly made
        if (!Acquire(&mhProvider, CRYPT_NEWKEYSET)) throw CryptFailure("making keys for the tour", ::GetLastError());
        mulInitialised = 1;
        if (CryptGenKey(mhProvider, AT_SIGNATURE, kulBits << 16, &hPair))
            CryptDestroyKey(hPair);
        else
        {
            const DWORD ulError = ::GetLastError();
            Remove();
            throw CryptFailure("making keys for the tour", ulError);
        }
    }
    ~TourEncrypt() { Remove(); }
    TourEncrypt(const TourEncrypt&) = delete;
    TourEncrypt& operator=(const TourEncrypt&) = delete;

private:
    BOOL Acquire(HCRYPTPROV* phProvider, DWORD ulFlags) const
    {
        return CryptAcquireContextA(phProvider, msContainer.c_str(), MS_DEF_PROV_A, PROV_RSA_FULL, ulFlags);
    }
    void Remove()
    {
        CryptReleaseContext(mhProvider, 0);
        mulInitialised = 0;
        HCRYPTPROV hNone = 0;
        Acquire(&hNone, CRYPT_DELETEKEYSET);
    }

    const std::string msContainer;
};

class TourFile
{
public:
    explicit TourFile(const std::string& sPath) : msPath(sPath) {}
    ~TourFile() { DeleteFileA(msPath.c_str()); }
    TourFile(const TourFile&) = delete;
    TourFile& operator=(const TourFile&) = delete;
    const char* Path() const { return msPath.c_str(); }

private:
    const std::string msPath;
};

std::string Hex(const std::string& sBytes)
{
    std::string sText;
    for (const char c : sBytes) sText += Format(sText.empty() ? "%02x" : " %02x", static_cast<BYTE>(c));
    return sText;
}
} // namespace

void ShowCryptOfFile(const std::string& sFolder)
{
    TourEncrypt crypt;
    const TourFile plain(sFolder + "Tour.txt"), hidden(sFolder + "Tour.enc"), back(sFolder + "Tour.back"),
        signature(sFolder + "Tour.sig");
    ReplaceFileBytes(plain.Path(), "hello world");
    Say("A file, Tour.txt: hello world");
    crypt.EncryptFileA(plain.Path(), hidden.Path(), "secret");
    Shows("OEncrypt::EncryptFileA(\"Tour.txt\", \"Tour.enc\", \"secret\"), then Tour.enc", Hex(ReadFileBytes(hidden.Path())));
    crypt.DecryptFileA(hidden.Path(), back.Path(), "secret");
    Shows("DecryptFileA(\"Tour.enc\", \"Tour.back\", \"secret\"), then Tour.back", ReadFileBytes(back.Path()));
    Say("40 bits are all that the password gives: this keeps a file from a passing glance, and from nobody who wants to read it.");

    const int iSigned = crypt.SignFile(plain.Path(), signature.Path(), nullptr);
    Shows("SignFile(\"Tour.txt\", \"Tour.sig\", nullptr)",
          std::to_string(iSigned) + ", a signature of " + std::to_string(ReadFileBytes(signature.Path()).size()) + " bytes");
    Shows("VerifyFile(\"Tour.txt\", \"Tour.sig\", nullptr)",
          std::to_string(crypt.VerifyFile(plain.Path(), signature.Path(), nullptr)));
    ReplaceFileBytes(plain.Path(), "hello w0rld");
    Say("One byte of it is changed, the second o to a 0.");
    Shows("VerifyFile(\"Tour.txt\", \"Tour.sig\", nullptr)",
          std::to_string(crypt.VerifyFile(plain.Path(), signature.Path(), nullptr)));
    Say("4: the signature does not match. lum crypt verify reports it so, with exit status 1.");
    Say("The pair was made for the tour and is gone again. Yours, if you have one, was not touched: lum crypt keys makes it.");
}
} // namespace tool
