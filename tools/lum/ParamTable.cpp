#include "ParamTable.h"

#include "OModelParams.h"
#include "ORegistry.h"
#include "OSequencerParams.h"
#include "OSimParams.h"
#include "OTorchParams.h"

#include "Console.h"

#include <charconv>
#include <cstdlib>

namespace tool
{
// ---- through the library's classes

static OTorchParams Torch(ParamSet eSet)
{
    OTorchParams torch(1);
    if (eSet == ParamSet::Default) torch.SetDefault();
    return torch;
}

template <auto pGet> std::string ReadTorch(ParamSet eSet) { return NumberText((Torch(eSet).*pGet)()); }

template <auto pSet> void WriteTorch(ParamSet eSet, const std::string& sValue) { (Torch(eSet).*pSet)(std::strtod(sValue.c_str(), nullptr)); }

template <class TBlock, auto pGet> std::string ReadText(ParamSet) { return static_cast<const char*>((TBlock(1).*pGet)()); }

template <class TBlock, auto pGet> std::string ReadNumber(ParamSet) { return NumberText((TBlock(1).*pGet)()); }

template <class TBlock, auto pGet> std::string ReadFlag(ParamSet) { return std::to_string(static_cast<ULONG>((TBlock(1).*pGet)())); }

template <class TBlock, auto pGet> int Answer() { return (TBlock(1).*pGet)(); }

template <class TBlock, auto pSet> void WriteNumber(ParamSet, const std::string& sValue)
{
    (TBlock(1).*pSet)(std::strtod(sValue.c_str(), nullptr));
}

// ---- through ORegistry, where a class has no setter, or a getter that does not give the stored number

static constexpr char kacModel[] = "Model";
static constexpr char kacSimulator[] = "Simulator";

template <const char* pKey, const char* pName> std::string ReadStoredFlag(ParamSet)
{
    return std::to_string(ORegistry(HKEY_LOCAL_MACHINE, pKey, ORegistry::OPEN_ONLY).QueryDwordValue(pName, 0));
}

template <const char* pKey, const char* pName> void WriteStoredFlag(ParamSet, const std::string& sValue)
{
    ULONG ulValue = 0;
    std::from_chars(sValue.data(), sValue.data() + sValue.size(), ulValue);
    ORegistry(HKEY_LOCAL_MACHINE, pKey, ORegistry::OPEN_ONLY).SetDwordValue(pName, ulValue);
}

template <const char* pKey, const char* pName> void WriteStoredText(ParamSet, const std::string& sValue)
{
    ORegistry(HKEY_LOCAL_MACHINE, pKey, ORegistry::OPEN_ONLY).SetStringValue(pName, sValue.c_str());
}

static constexpr char kacModelName[] = "ModelName";
static constexpr char kacRadial[] = "Radial";
static constexpr char kacVacuumFitted[] = "VacuumFitted";
static constexpr char kacWaterCooledRf[] = "WaterCooledRf";
static constexpr char kacSimModeOn[] = "SimModeOn";
static constexpr char kacAcceleration[] = "Acceleration";

// ---- the table

static constexpr ParamBlock kBlocks[] = {
    {"torch", "Torch ignition", "Ignition", true},
    {"model", "Instrument model", kacModel, false},
    {"simulator", "Simulator", kacSimulator, false},
    {"sequencer", "Measurement sequencer", "Sequencer", false},
};

#define TORCH_ROW(phase, key, name, def, get, set) \
    {"torch", phase, key, name, ParamKind::Number, def, &ReadTorch<&OTorchParams::get>, set, nullptr, nullptr}
#define TORCH_SET(set) &WriteTorch<&OTorchParams::set>

static constexpr ParamRow kRows[] = {
    TORCH_ROW("purge", "PurgePhase", "AuxiliaryFlow", "2.25", GetPurgeAuxFlow, TORCH_SET(SetPurgeAuxFlow)),
    TORCH_ROW("purge", "PurgePhase", "PlasmaFlow", "22.50", GetPurgePlasmaFlow, TORCH_SET(SetPurgePlasmaFlow)),
    TORCH_ROW("purge", "PurgePhase", "NebulizerFlow", "5.00", GetPurgeNebulizerFlow, TORCH_SET(SetPurgeNebulizerFlow)),
    TORCH_ROW("purge", "PurgePhase", "Power", "0.00", GetPurgePower, TORCH_SET(SetPurgePower)),
    TORCH_ROW("purge", "PurgePhase", "Time", "15.00", GetPurgeDuration, TORCH_SET(SetPurgeDuration)),
    TORCH_ROW("purge", "PurgePhase", "Pump", "20.00", GetPurgePumpRate, nullptr),
    TORCH_ROW("delay", "DelayPhase", "AuxiliaryFlow", "2.25", GetDelayAuxFlow, TORCH_SET(SetDelayAuxFlow)),
    TORCH_ROW("delay", "DelayPhase", "PlasmaFlow", "22.50", GetDelayPlasmaFlow, TORCH_SET(SetDelayPlasmaFlow)),
    TORCH_ROW("delay", "DelayPhase", "NebulizerFlow", "0.00", GetDelayNebulizerFlow, TORCH_SET(SetDelayNebulizerFlow)),
    TORCH_ROW("delay", "DelayPhase", "Power", "0.00", GetDelayPower, TORCH_SET(SetDelayPower)),
    TORCH_ROW("delay", "DelayPhase", "Time", "5.00", GetDelayDuration, TORCH_SET(SetDelayDuration)),
    TORCH_ROW("delay", "DelayPhase", "Pump", "0.00", GetDelayPumpRate, nullptr),
    TORCH_ROW("light", "LightPhase", "AuxiliaryFlow", "1.50", GetLightAuxFlow, TORCH_SET(SetLightAuxFlow)),
    TORCH_ROW("light", "LightPhase", "PlasmaFlow", "1.50", GetLightPlasmaFlow, TORCH_SET(SetLightPlasmaFlow)),
    TORCH_ROW("light", "LightPhase", "NebulizerFlow", "0.00", GetLightNebulizerFlow, TORCH_SET(SetLightNebulizerFlow)),
    TORCH_ROW("light", "LightPhase", "Power", "2.00", GetLightPower, TORCH_SET(SetLightPower)),
    TORCH_ROW("light", "LightPhase", "Time", "3.00", GetLightDuration, TORCH_SET(SetLightDuration)),
    TORCH_ROW("light", "LightPhase", "Pump", "0.00", GetLightPumpRate, nullptr),
    TORCH_ROW("run", "RunPhase", "AuxiliaryFlow", "1.50", GetRunAuxFlow, TORCH_SET(SetRunAuxFlow)),
    TORCH_ROW("run", "RunPhase", "PlasmaFlow", "15.00", GetRunPlasmaFlow, TORCH_SET(SetRunPlasmaFlow)),
    TORCH_ROW("run", "RunPhase", "NebulizerFlow", "5.00", GetRunNebulizerFlow, TORCH_SET(SetRunNebulizerFlow)),
    TORCH_ROW("run", "RunPhase", "Power", "1.20", GetRunPower, TORCH_SET(SetRunPower)),
    TORCH_ROW("run", "RunPhase", "Time", "3.00", GetRunDuration, TORCH_SET(SetRunDuration)),
    TORCH_ROW("run", "RunPhase", "Pump", "10.00", GetRunPumpRate, nullptr), // its setter writes nothing
    TORCH_ROW(nullptr, nullptr, "FilamentWarmUpTime", "30.00", GetFilamentWarmUpTime, TORCH_SET(SetFilamentWarmUpTime)),

    {"model", nullptr, nullptr, kacModelName, ParamKind::Text, "DefaultModelName",
     &ReadText<OModelParams, &OModelParams::GetModelName>, &WriteStoredText<kacModel, kacModelName>, nullptr, nullptr},
    {"model", nullptr, nullptr, kacRadial, ParamKind::Flag, "0", &ReadFlag<OModelParams, &OModelParams::IsRadial>,
     &WriteStoredFlag<kacModel, kacRadial>, "IsAxial", &Answer<OModelParams, &OModelParams::IsAxial>},
    {"model", nullptr, nullptr, kacVacuumFitted, ParamKind::Flag, "0", &ReadStoredFlag<kacModel, kacVacuumFitted>,
     &WriteStoredFlag<kacModel, kacVacuumFitted>, "IsVacuumOptionFitted", &Answer<OModelParams, &OModelParams::IsVacuumOptionFitted>},
    {"model", nullptr, nullptr, kacWaterCooledRf, ParamKind::Flag, "0", &ReadStoredFlag<kacModel, kacWaterCooledRf>,
     &WriteStoredFlag<kacModel, kacWaterCooledRf>, "IsWaterCooledRf", &Answer<OModelParams, &OModelParams::IsWaterCooledRf>},

    {"simulator", nullptr, nullptr, kacSimModeOn, ParamKind::Flag, "1", &ReadFlag<OSimParams, &OSimParams::IsSimMode>,
     &WriteStoredFlag<kacSimulator, kacSimModeOn>, nullptr, nullptr},
    {"simulator", nullptr, nullptr, kacAcceleration, ParamKind::Number, "1.00", &ReadNumber<OSimParams, &OSimParams::GetAccelFactor>,
     &WriteStoredText<kacSimulator, kacAcceleration>, nullptr, nullptr},

    {"sequencer", nullptr, nullptr, "MinTimePercentage", ParamKind::Number, "80.00",
     &ReadNumber<OSequencerParamsWs, &OSequencerParamsWs::GetMinTimePercentage>,
     &WriteNumber<OSequencerParamsWs, &OSequencerParamsWs::SetMinTimePercentage>, nullptr, nullptr},
    {"sequencer", nullptr, nullptr, "SeedTime", ParamKind::Number, "0.10",
     &ReadNumber<OSequencerParamsWs, &OSequencerParamsWs::GetSeedTime>,
     &WriteNumber<OSequencerParamsWs, &OSequencerParamsWs::SetSeedTime>, nullptr, nullptr},
};

#undef TORCH_ROW
#undef TORCH_SET

std::span<const ParamBlock> ParamBlocks() { return kBlocks; }
std::span<const ParamRow> ParamRows() { return kRows; }

std::string ParamTitle(const ParamRow& row)
{
    std::string sTitle = row.pBlock;
    if (row.pPhase) sTitle.append(1, ' ').append(row.pPhase);
    return sTitle.append(1, ' ').append(row.pName);
}

std::string ParamKey(const ParamRow& row, ParamSet eSet)
{
    for (const ParamBlock& block : kBlocks)
    {
        if (std::string_view(block.pWord) != row.pBlock) continue;
        std::string sKey = block.pKey;
        if (block.bHasSets) sKey += eSet == ParamSet::Current ? "\\Current" : "\\Default";
        if (row.pPhaseKey) sKey.append(1, '\\').append(row.pPhaseKey);
        return sKey;
    }
    return {};
}

std::string NumberText(double dValue)
{
    const std::string sTwo = Format("%.2f", dValue);
    if (std::strtod(sTwo.c_str(), nullptr) == dValue) return sTwo;
    char aText[64];
    const auto result = std::to_chars(aText, aText + sizeof aText, dValue);
    return std::string(aText, result.ptr);
}
} // namespace tool
