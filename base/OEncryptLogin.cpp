// The login record, scattered and gathered.
#include "OEncrypt.h"

#include "DistinctPositions.h"
#include "LoginPositions.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace
{
constexpr int kiFirstFiller = 'A', kiFillers = 58; // up to 'z'

constexpr bool IsFiller(unsigned short uwUnit) { return uwUnit >= kiFirstFiller && uwUnit < kiFirstFiller + kiFillers; }
static_assert(kuwLoginTrue != kuwLoginFalse && !IsFiller(kuwLoginTrue) && !IsFiller(kuwLoginFalse));
static_assert(std::ranges::all_of(kalLoginPositions, [](LONG l) { return l >= 0 && l < static_cast<LONG>(kulLoginUnits); }));

// The texts in the order of the table.
using Text = unsigned short (LOGINDATA::*)[kulLoginText];
constexpr Text kTexts[] = {&LOGINDATA::awcText2, &LOGINDATA::awcText3, &LOGINDATA::awcText1};

// Calls work(unit of the record, unit of the buffer) for every character of the three texts.
template <class Work>
void ForEachUnit(LOGINDATA& data, unsigned short* pBuffer, Work work)
{
    const LONG* plPosition = kalLoginPositions;
    for (const Text pText : kTexts)
        for (unsigned short& uwUnit : data.*pText) work(uwUnit, pBuffer[*plPosition++]);
}
} // namespace

int OEncrypt::EncryptLoginData(LOGINDATA* pData, unsigned short* pBuffer, ULONG ulCount)
{
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    std::generate_n(pBuffer, ulCount, [] { return static_cast<unsigned short>(kiFirstFiller + std::rand() % kiFillers); });
    ForEachUnit(*pData, pBuffer, [](unsigned short uwRecord, unsigned short& uwBuffer) { uwBuffer = uwRecord; });
    pBuffer[kalLoginPositions[kulLoginPositions - 1]] = pData->ulFlag ? kuwLoginTrue : kuwLoginFalse;
    return 1;
}

int OEncrypt::DecryptLoginData(LOGINDATA* pData, unsigned short* pBuffer, ULONG)
{
    ForEachUnit(*pData, pBuffer, [](unsigned short& uwRecord, unsigned short uwBuffer) { uwRecord = uwBuffer; });
    pData->ulFlag = pBuffer[kalLoginPositions[kulLoginPositions - 1]] == kuwLoginTrue;
    return 1;
}

int OEncrypt::CheckOffsetArray() { return AreDistinct(kalLoginPositions); }
