#include "LoginRecord.h"

#include "LoginPositions.h"

#include "Console.h"
#include "FileBytes.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace tool
{
static constexpr size_t kuBytes = kulLoginUnits * sizeof(unsigned short);

using LoginUnits = std::array<unsigned short, kulLoginUnits>;

static void TakeUnits(const Secret& bytes, LoginUnits& units) { std::memcpy(units.data(), bytes.View().data(), kuBytes); }

// Letters at random stand where no position is; what else stands there was not written by the library.
static size_t CountBadFillers(const LoginUnits& units)
{
    std::array<bool, kulLoginUnits> abTaken{};
    for (const LONG lPosition : kalLoginPositions) abTaken[static_cast<size_t>(lPosition)] = true;
    size_t uBad = 0;
    for (size_t i = 0; i < units.size(); ++i) uBad += !abTaken[i] && (units[i] < 'A' || units[i] > 'z');
    return uBad;
}

static bool IsClosed(const unsigned short (&awcText)[kulLoginText]) { return std::ranges::find(awcText, 0) != std::end(awcText); }

std::string LoginRecordTrouble(const Secret& bytes)
{
    if (bytes.Size() > kuBytes) return "is longer than the " + std::to_string(kuBytes) + " bytes of a login record";
    if (bytes.Size() < kuBytes)
        return "has " + std::to_string(bytes.Size()) + " bytes, a login record has " + std::to_string(kuBytes);

    Wiped<LoginUnits> units;
    TakeUnits(bytes, units);
    const unsigned short uwFlag = units[static_cast<size_t>(kalLoginPositions[kulLoginPositions - 1])];
    if (uwFlag != kuwLoginTrue && uwFlag != kuwLoginFalse)
        return Format("is no login record: its marker is 0x%04X, neither 0x%04X nor 0x%04X", uwFlag, kuwLoginTrue, kuwLoginFalse);
    if (const size_t uBad = CountBadFillers(units))
        return "is damaged: " + std::to_string(uBad) + " of its filler characters are none";

    Login login;
    GatherLogin(bytes, login);
    if (!IsClosed(login.awcText1) || !IsClosed(login.awcText2) || !IsClosed(login.awcText3))
        return "is damaged: one of its texts has no end";
    return {};
}

Secret ReadLoginRecord(const std::string& sPath) { return ReadSecretFile(sPath, kuBytes); }

void GatherLogin(const Secret& bytes, Login& login)
{
    Wiped<LoginUnits> units;
    TakeUnits(bytes, units);
    OEncrypt::DecryptLoginData(&login, units.data(), kulLoginUnits);
}

void WriteLoginRecord(const std::string& sPath, Login& login)
{
    Wiped<LoginUnits> units;
    OEncrypt::EncryptLoginData(&login, units.data(), kulLoginUnits);
    ReplaceFileBytes(sPath, {reinterpret_cast<const char*>(units.data()), kuBytes}, Readers::OwnerAlone);
}
} // namespace tool
