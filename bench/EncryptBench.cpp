// Files of 256 MiB in the page cache, encrypted, decrypted, signed and verified, beside OpenSSL's own RC4 and MD5 over the same
// files in a plain loop. Processor time.
#include "OEncrypt.h"

#include "LargeFile.h"

#include <benchmark/benchmark.h>

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr std::size_t kulFile = std::size_t{256} << 20;
constexpr const char* kpPassword = "secret";

const std::string& ThePlainFile()
{
    static const std::string sFile = MakeLargeFile("encrypt-bench.plain", kulFile);
    return sFile;
}

template <class Pass>
void Measure(benchmark::State& state, Pass pass)
{
    ThePlainFile();
    MeasurePasses(state, kulFile, pass);
}

void Check(bool bDone, const char* pWhat)
{
    if (bDone) return;
    std::fprintf(stderr, "%s failed\n", pWhat);
    std::exit(3);
}

OEncrypt& TheObject()
{
    static OEncrypt object = []
    {
        OEncrypt made;
        Check(made.Init() == 1, "Init");
        HCRYPTPROV hProvider = 0;
        HCRYPTKEY hPair = 0;
        Check(CryptAcquireContextA(&hProvider, nullptr, MS_DEF_PROV, PROV_RSA_FULL, 0), "CryptAcquireContext");
        Check(CryptGenKey(hProvider, AT_SIGNATURE, 0, &hPair), "CryptGenKey");
        CryptDestroyKey(hPair);
        CryptReleaseContext(hProvider, 0);
        return made;
    }();
    return object;
}

void FileEncrypt(benchmark::State& state)
{
    const std::string sTo = InState("encrypt-bench.cipher");
    Measure(state, [&] {
        TheObject().EncryptFileA(ThePlainFile().c_str(), sTo.c_str(), kpPassword);
        Check(TheObject().GetError() == 0, "EncryptFileA");
    });
}
BENCHMARK(FileEncrypt)->UseManualTime()->Unit(benchmark::kMillisecond);

void FileDecrypt(benchmark::State& state)
{
    const std::string sTo = InState("encrypt-bench.cipher");
    Measure(state, [&] {
        TheObject().DecryptFileA(ThePlainFile().c_str(), sTo.c_str(), kpPassword); // what is in it makes no difference
        Check(TheObject().GetError() == 0, "DecryptFileA");
    });
}
BENCHMARK(FileDecrypt)->UseManualTime()->Unit(benchmark::kMillisecond);

void FileSign(benchmark::State& state)
{
    const std::string sTo = InState("encrypt-bench.signature");
    Measure(state, [&] { Check(TheObject().SignFile(ThePlainFile().c_str(), sTo.c_str(), nullptr) == 0, "SignFile"); });
    Check(TheObject().GetError() == 0, "SignFile");
}
BENCHMARK(FileSign)->UseManualTime()->Unit(benchmark::kMillisecond);

void FileVerify(benchmark::State& state)
{
    const std::string sFrom = InState("encrypt-bench.signature");
    TheObject().SignFile(ThePlainFile().c_str(), sFrom.c_str(), nullptr);
    Measure(state, [&] { Check(TheObject().VerifyFile(ThePlainFile().c_str(), sFrom.c_str(), nullptr) == 0, "VerifyFile"); });
    Check(TheObject().GetError() == 0, "VerifyFile");
}
BENCHMARK(FileVerify)->UseManualTime()->Unit(benchmark::kMillisecond);

// The rivals' file, closed in the end.
class Descriptor
{
public:
    Descriptor(const std::string& sPath, int iFlags) : miFile(open(sPath.c_str(), iFlags | O_CLOEXEC, 0600))
    {
        if (miFile < 0) Give(sPath.c_str());
    }
    ~Descriptor() { close(miFile); }
    operator int() const { return miFile; }

private:
    int miFile;
};

void OpenSslRc4(benchmark::State& state)
{
    static OSSL_PROVIDER* const pLegacy = OSSL_PROVIDER_load(nullptr, "legacy");
    static OSSL_PROVIDER* const pDefault = OSSL_PROVIDER_load(nullptr, "default");
    Check(pLegacy && pDefault, "OSSL_PROVIDER_load");
    const auto ulPiece = static_cast<std::size_t>(state.range(0));
    std::vector<unsigned char> piece(ulPiece);
    unsigned char aubKey[16] = {};
    EVP_Digest(kpPassword, std::strlen(kpPassword), aubKey, nullptr, EVP_md5(), nullptr);
    std::memset(aubKey + 5, 0, 11);
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> pCipher(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    Measure(state, [&] {
        const Descriptor from(ThePlainFile(), O_RDONLY), to(InState("encrypt-bench.cipher"), O_WRONLY | O_CREAT | O_TRUNC);
        Check(EVP_EncryptInit_ex(pCipher.get(), EVP_rc4(), nullptr, aubKey, nullptr) == 1, "EVP_EncryptInit");
        for (ssize_t lBytes; (lBytes = read(from, piece.data(), ulPiece)) > 0;)
        {
            int iDone = 0;
            EVP_EncryptUpdate(pCipher.get(), piece.data(), &iDone, piece.data(), static_cast<int>(lBytes));
            Check(write(to, piece.data(), static_cast<std::size_t>(iDone)) == lBytes, "write");
        }
    });
}
BENCHMARK(OpenSslRc4)->ArgName("piece")->Arg(1 << 16)->Arg(1 << 18)->UseManualTime()->Unit(benchmark::kMillisecond);

void OpenSslMd5(benchmark::State& state)
{
    const auto ulPiece = static_cast<std::size_t>(state.range(0));
    std::vector<unsigned char> piece(ulPiece);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> pDigest(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    Measure(state, [&] {
        const Descriptor from(ThePlainFile(), O_RDONLY);
        unsigned char aubValue[16];
        EVP_DigestInit_ex(pDigest.get(), EVP_md5(), nullptr);
        for (ssize_t lBytes; (lBytes = read(from, piece.data(), ulPiece)) > 0;)
            EVP_DigestUpdate(pDigest.get(), piece.data(), static_cast<std::size_t>(lBytes));
        EVP_DigestFinal_ex(pDigest.get(), aubValue, nullptr);
        benchmark::DoNotOptimize(aubValue);
    });
}
BENCHMARK(OpenSslMd5)->ArgName("piece")->Arg(1 << 16)->Arg(1 << 18)->UseManualTime()->Unit(benchmark::kMillisecond);
} // namespace
