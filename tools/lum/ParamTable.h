// The instrument's parameters as one table: where each stands, its default, and how the library's classes read and write it.
#pragma once

#include <span>
#include <string>

namespace tool
{
enum class ParamSet { Current, Default };

enum class ParamKind
{
    Number, // text with two decimals
    Flag,   // a 32-bit number
    Text,
};

struct ParamBlock
{
    const char* pWord;  // on the command line: "torch"
    const char* pTitle; // for people: "Torch ignition"
    const char* pKey;   // below the instrument's base path: "Ignition"
    bool bHasSets;      // the values stand below "Current" and "Default"
};

struct ParamRow
{
    const char* pBlock;
    const char* pPhase;    // on the command line: "run"; null when the value belongs to no phase
    const char* pPhaseKey; // "RunPhase"
    const char* pName;     // of the value, as it is stored
    ParamKind eKind;
    const char* pDefault;  // what a client gets when nothing is stored

    // Read: what the class's getter answers, in the form of pDefault. Library exceptions pass through.
    std::string (*pRead)(ParamSet eSet);
    // Write: through the class's setter, or the checked writes of ORegistry where the class has none; null: read-only.
    void (*pWrite)(ParamSet eSet, const std::string& sValue);

    // A getter whose answer is not the stored number itself; null when there is none.
    const char* pAnswerName;
    int (*pAnswer)();
};

inline constexpr const char* kpPhases[] = {"purge", "delay", "light", "run"};

std::span<const ParamBlock> ParamBlocks();
std::span<const ParamRow> ParamRows();

// "torch run PlasmaFlow"
std::string ParamTitle(const ParamRow& row);

// The key of a row's value below the base path: "Ignition\Current\RunPhase".
std::string ParamKey(const ParamRow& row, ParamSet eSet);

// A number with two decimals, or as many as it needs; the point is '.', whatever the locale.
std::string NumberText(double dValue);
} // namespace tool
