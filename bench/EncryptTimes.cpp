// Encrypts, decrypts, signs and verifies a file and prints how long each takes. Plain on purpose: the same program is built for
// Linux and for Windows, so that the two can be set side by side.
#include "OEncrypt.h"

#include "TestEnvironment.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

static bool MakeFile(const std::string& sPath, long lMegabytes)
{
    std::FILE* pFile = std::fopen(sPath.c_str(), "wb");
    if (!pFile) return false;
    const std::vector<char> piece(1 << 20, 'x');
    bool bDone = true;
    for (long i = 0; i < lMegabytes; ++i) bDone &= std::fwrite(piece.data(), 1, piece.size(), pFile) == piece.size();
    return std::fclose(pFile) == 0 && bDone;
}

static bool MakePair()
{
    HCRYPTPROV hProvider = 0;
    HCRYPTKEY hPair = 0;
    if (!CryptAcquireContextA(&hProvider, nullptr, "Microsoft Base Cryptographic Provider v1.0", PROV_RSA_FULL, 0)) return false;
    const bool bDone = CryptGenKey(hProvider, AT_SIGNATURE, 1024 << 16, &hPair);
    if (bDone) CryptDestroyKey(hPair);
    CryptReleaseContext(hProvider, 0);
    return bDone;
}

// Prints the best of five.
template <class Work>
static bool Measure(const char* pWhat, OEncrypt& crypt, long lMegabytes, Work work)
{
    LARGE_INTEGER start, stop, frequency;
    QueryPerformanceFrequency(&frequency);
    double fBest = 1e9;
    for (int i = 0; i < 6; ++i) // the first touches files and memory
    {
        QueryPerformanceCounter(&start);
        if (work() != 0 || crypt.GetError() != 0) return false;
        QueryPerformanceCounter(&stop);
        const double fSeconds = static_cast<double>(stop.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
        if (i > 0 && fSeconds < fBest) fBest = fSeconds;
    }
    std::printf("%s: %.0f ms for %ld MiB\n", pWhat, fBest * 1e3, lMegabytes);
    return true;
}

int main(int argc, char** argv)
{
    UseThrowAwayState(argv);
    const long lMegabytes = argc > 1 ? std::atol(argv[1]) : 256;
    const std::string sName = "lum-times-" + std::to_string(GetCurrentProcessId());
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / sName;
    std::filesystem::create_directory(folder);
    const std::string sPlain = (folder / "plain").string(), sCipher = (folder / "cipher").string();
    const std::string sSignature = (folder / "signature").string();

    OEncrypt maker, crypt; // a pair is seen by who comes after it was made: the first one makes the place for it
    const char *const pPlain = sPlain.c_str(), *const pCipher = sCipher.c_str(), *const pSignature = sSignature.c_str();
    const bool bDone =
        MakeFile(sPlain, lMegabytes) && maker.Init() == 1 && MakePair() && crypt.Init() == 1 &&
        Measure("EncryptFileA", crypt, lMegabytes, [&] { return crypt.EncryptFileA(pPlain, pCipher, "secret"); }) &&
        Measure("DecryptFileA", crypt, lMegabytes, [&] { return crypt.DecryptFileA(pPlain, pCipher, "secret"); }) &&
        Measure("SignFile", crypt, lMegabytes, [&] { return crypt.SignFile(pPlain, pSignature, nullptr); }) &&
        Measure("VerifyFile", crypt, lMegabytes, [&] { return crypt.VerifyFile(pPlain, pSignature, nullptr); });
    std::filesystem::remove_all(folder);
    if (!bDone) std::fprintf(stderr, "it failed with %u\n", static_cast<unsigned>(crypt.GetError()));
    return bDone ? 0 : 3;
}
