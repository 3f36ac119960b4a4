// The head of an encrypted file, given any bytes at all: it is a session key, of which a file can be made and read, or it is told
// in one message what is wrong. The seeds' pair is in the container, so that there are keys to be found.
#include "OEncrypt.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace
{
int giBoxes = 0;

void Require(bool b)
{
    if (!b) std::abort();
}

// With a container in memory.
class Reader : public OEncrypt
{
public:
    Reader()
    {
        LumSetMessageHook([](const char*, const char*) { return ++giBoxes; });
        std::ifstream file(LUM_FUZZ_PAIR, std::ios::binary);
        const std::string sPair{std::istreambuf_iterator<char>(file), {}};
        const auto* const pPair = reinterpret_cast<const BYTE*>(sPair.data());
        HCRYPTKEY hPair = 0;
        Require(CryptAcquireContextA(&mhProvider, nullptr, MS_DEF_PROV_A, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
        Require(CryptImportKey(mhProvider, pPair, static_cast<DWORD>(sPair.size()), 0, 0, &hPair) && CryptDestroyKey(hPair));
        mulInitialised = 1;
    }
};

void UseKey(HCRYPTKEY hKey)
{
    BYTE aubText[] = "hello world";
    DWORD ulBytes = sizeof aubText;
    Require(CryptEncrypt(hKey, 0, TRUE, 0, aubText, &ulBytes, sizeof aubText) && ulBytes == sizeof aubText);
    Require(CryptDecrypt(hKey, 0, TRUE, 0, aubText, &ulBytes) && ulBytes == sizeof aubText);
    Require(std::strcmp(reinterpret_cast<const char*>(aubText), "hello world") == 0);
    Require(CryptDestroyKey(hKey));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t ulBytes)
{
    static Reader reader;
    FILE* pFile = ulBytes ? fmemopen(const_cast<std::uint8_t*>(pBytes), ulBytes, "rb") : std::fopen("/dev/null", "rb");
    Require(pFile != nullptr);
    giBoxes = 0;
    const HCRYPTKEY hKey = reader.GetKeyBlobFromFile(pFile);
    const long lPosition = std::ftell(pFile);
    std::fclose(pFile);
    if (!hKey)
    {
        Require(giBoxes == 1 && reader.GetError() != 0);
        return 0;
    }
    Require(giBoxes == 0);
    DWORD ulBlob = 0;
    std::memcpy(&ulBlob, pBytes, sizeof ulBlob);
    Require(lPosition == static_cast<long>(sizeof ulBlob + ulBlob)); // what is behind it is the file's
    UseKey(hKey);
    return 0;
}
