// The table of parameters against the registry: every row reads and writes the value whose name it carries.
#include "Console.h"
#include "ORegistry.h"
#include "ParamTable.h"
#include "ParamValue.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
using namespace tool;

class ParamTable : public testing::Test
{
protected:
    ParamTable()
    {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, kpBranch);
        ORegistry::SetBasePath(msBase.data());
        for (const ParamRow& row : ParamRows())
            for (ParamSet eSet : {ParamSet::Current, ParamSet::Default}) MakeKey(ParamKey(row, eSet));
    }
    ~ParamTable() override
    {
        ORegistry::SetBasePath(msNone.data());
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, kpBranch);
    }

    void Store(const std::string& sKey, const char* pName, const std::string& sText)
    {
        ORegistry(HKEY_LOCAL_MACHINE, sKey.c_str(), ORegistry::OPEN_ONLY).SetStringValue(pName, sText.c_str());
    }
    void Store(const std::string& sKey, const char* pName, ULONG ulNumber)
    {
        ORegistry(HKEY_LOCAL_MACHINE, sKey.c_str(), ORegistry::OPEN_ONLY).SetDwordValue(pName, ulNumber);
    }
    std::string Stored(const std::string& sKey, const char* pName)
    {
        CString sText;
        return static_cast<const char*>(
            ORegistry(HKEY_LOCAL_MACHINE, sKey.c_str(), ORegistry::OPEN_ONLY).ReadString(pName, sText, "(none)"));
    }

private:
    static constexpr const char* kpBranch = "Software\\LumBaseTests\\ParamTable";

    void MakeKey(const std::string& sKey)
    {
        HKEY hKey = nullptr;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, (msBase + sKey).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &hKey, nullptr);
        RegCloseKey(hKey);
    }

    std::string msBase = std::string(kpBranch) + "\\";
    std::string msNone;
};

TEST_F(ParamTable, EveryRowGivesItsDefaultWhenNothingIsStored)
{
    for (const ParamRow& row : ParamRows())
    {
        const ParamValue value = ReadParam(row, ParamSet::Current);
        EXPECT_EQ(value.sText, row.pDefault) << ParamTitle(row);
        EXPECT_FALSE(value.bStored) << ParamTitle(row);
        EXPECT_EQ(row.pRead(ParamSet::Default), row.pDefault) << ParamTitle(row);
    }
}

TEST_F(ParamTable, LookingAtAValueThatIsMissingDoesNotStoreIt)
{
    const ParamRow& row = FindParam({"model", "ModelName"});
    EXPECT_EQ(ReadParam(row, ParamSet::Current).sText, "DefaultModelName");
    EXPECT_EQ(Stored("Model", "ModelName"), "(none)");
}

TEST_F(ParamTable, EveryRowReadsTheValueOfItsNameAndKey)
{
    // A number of its own for each, so that two getters cannot be mistaken for one another.
    int iNumber = 0;
    for (const ParamRow& row : ParamRows())
    {
        for (ParamSet eSet : {ParamSet::Current, ParamSet::Default})
        {
            ++iNumber;
            const std::string sText = row.eKind == ParamKind::Number ? std::to_string(iNumber) + ".25" : std::to_string(iNumber);
            if (row.eKind == ParamKind::Flag) Store(ParamKey(row, eSet), row.pName, static_cast<ULONG>(iNumber));
            else Store(ParamKey(row, eSet), row.pName, sText);
            const ParamValue value = ReadParam(row, eSet);
            EXPECT_EQ(value.sText, sText) << ParamTitle(row);
            EXPECT_TRUE(value.bStored) << ParamTitle(row);
        }
    }
}

TEST_F(ParamTable, EveryRowThatCanBeSetWritesTheValueOfItsNameAndKey)
{
    int iNumber = 0;
    for (const ParamRow& row : ParamRows())
    {
        if (!row.pWrite) continue;
        const std::string sText = std::to_string(++iNumber) + (row.eKind == ParamKind::Number ? ".25" : "");
        WriteParam(row, ParamSet::Default, sText);
        EXPECT_EQ(ReadParam(row, ParamSet::Default).sText, sText) << ParamTitle(row);
        if (row.eKind == ParamKind::Flag) continue;
        EXPECT_EQ(Stored(ParamKey(row, ParamSet::Default), row.pName), sText);
    }
    EXPECT_EQ(iNumber, 29); // 33 values, 4 pump rates among them
}

TEST_F(ParamTable, OnlyThePumpRatesAreReadOnly)
{
    for (const ParamRow& row : ParamRows()) EXPECT_EQ(row.pWrite == nullptr, std::string(row.pName) == "Pump") << ParamTitle(row);
}

TEST_F(ParamTable, ANumberHasTwoDecimalsOrAsManyAsItNeeds)
{
    EXPECT_EQ(NumberText(14.5), "14.50");
    EXPECT_EQ(NumberText(0), "0.00");
    EXPECT_EQ(NumberText(-1.25), "-1.25");
    EXPECT_EQ(NumberText(0.125), "0.125");
}

TEST_F(ParamTable, TheOptionsAnswerTheInverseOfTheirNumber)
{
    Store("Model", "VacuumFitted", 1);
    const ParamValue value = ReadParam(FindParam({"model", "VacuumFitted"}), ParamSet::Current);
    EXPECT_EQ(value.sText, "1");
    EXPECT_EQ(value.sAnswer, "IsVacuumOptionFitted = 0");
}

TEST_F(ParamTable, AValueOfTheWrongTypeIsShownAsTheErrorAClientGets)
{
    Store("Model", "Radial", "1");
    const ParamValue value = ReadParam(FindParam({"model", "Radial"}), ParamSet::Current);
    EXPECT_EQ(value.ulError, 19008u);

    // A plain read takes text alone, and is content with its default.
    Store(ParamKey(FindParam({"torch", "run", "Power"}), ParamSet::Current), "Power", 7);
    const ParamValue power = ReadParam(FindParam({"torch", "run", "Power"}), ParamSet::Current);
    EXPECT_EQ(power.sText, "1.20");
    EXPECT_FALSE(power.bStored);
}
} // namespace
