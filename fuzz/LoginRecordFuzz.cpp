// The reader of login records, given any file's bytes in the buffer that the library keeps for them: it reads each unit from one
// place of it, and what it read protects and reveals again as the same record. The judge of such files: what it finds whole is, and
// stays so.
#include "LoginRecord.h"
#include "LoginPositions.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{
constexpr ULONG kulUnits = 10000;
using Buffer = std::unique_ptr<unsigned short[]>; // of exactly that size, so that a read beyond it is seen

void Require(bool b)
{
    if (!b) std::abort();
}

LOGINDATA Revealed(const Buffer& buffer)
{
    LOGINDATA data;
    Require(OEncrypt::DecryptLoginData(&data, buffer.get(), kulUnits) == 1);
    Require(data.ulFlag <= 1);
    return data;
}

int Differences(const LOGINDATA& a, const LOGINDATA& b)
{
    int iCount = a.ulFlag != b.ulFlag;
    for (int i = 0; i < 256; ++i)
        iCount += (a.awcText1[i] != b.awcText1[i]) + (a.awcText2[i] != b.awcText2[i]) + (a.awcText3[i] != b.awcText3[i]);
    return iCount;
}

tool::Secret Bytes(const void* pBytes, std::size_t uSize)
{
    tool::Secret bytes(uSize);
    std::memcpy(bytes.Data(), pBytes, uSize);
    bytes.Resize(uSize);
    return bytes;
}

void Judge(const std::uint8_t* pData, std::size_t uSize)
{
    constexpr std::size_t kuBytes = kulUnits * sizeof(unsigned short);
    const std::string sTrouble = tool::LoginRecordTrouble(Bytes(pData, uSize));
    Require(sTrouble.find('\n') == sTrouble.npos);
    if (!sTrouble.empty()) return;
    Require(uSize == kuBytes);
    tool::Login login;
    tool::GatherLogin(Bytes(pData, uSize), login);
    for (const auto& text : {login.awcText1, login.awcText2, login.awcText3}) Require(std::find(text, text + 256, 0) != text + 256);

    const Buffer again = std::make_unique<unsigned short[]>(kulUnits);
    OEncrypt::EncryptLoginData(&login, again.get(), kulUnits);
    Require(tool::LoginRecordTrouble(Bytes(again.get(), kuBytes)).empty());
    again[kalLoginPositions[768]] ^= 0x8000;
    Require(!tool::LoginRecordTrouble(Bytes(again.get(), kuBytes)).empty());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    Judge(pData, uSize);
    Buffer buffer = std::make_unique<unsigned short[]>(kulUnits);
    std::memcpy(buffer.get(), pData, std::min(uSize, kulUnits * sizeof(unsigned short)));
    LOGINDATA data = Revealed(buffer);

    Buffer again = std::make_unique<unsigned short[]>(kulUnits);
    OEncrypt::EncryptLoginData(&data, again.get(), kulUnits);
    const LOGINDATA back = Revealed(again);
    Require(std::memcmp(&back, &data, sizeof data) == 0);

    // A unit of the buffer is one unit of the record, or the flag, or none.
    const ULONG ulUnit = static_cast<ULONG>(uSize % kulUnits);
    again[ulUnit] ^= 1;
    const LOGINDATA changed = Revealed(again);
    Require(Differences(changed, data) <= 1);
    return 0;
}
