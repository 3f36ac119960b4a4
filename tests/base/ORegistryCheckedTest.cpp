// Registry keys: checked queries and writes, and names with a path in front.
#include "RegistryBranch.h"

#include "OBuffer.h"
#include "Raises.h"

#include <set>
#include <thread>

namespace
{
const std::string ksNotOpen = "Object is not initialised: mhKey=NULL";

class ORegistryChecked : public RegistryBranch
{
protected:
    ORegistryChecked()
    {
        MakeKey("Key");
        reg.OpenKey("Key", ORegistry::OPEN_ONLY);
    }

    // The same key, but the handle is closed.
    ORegistry Stale()
    {
        ORegistry other(HKEY_LOCAL_MACHINE, "Key", ORegistry::OPEN_ONLY);
        ORegistry copy(other);
        return copy;
    }

    ORegistry reg;
    OBuffer buffer;
    CString sText = "untouched";
};

std::string Contents(OBuffer& buffer)
{
    return buffer.Length() ? std::string(static_cast<const char*>(buffer.AsPointer()), buffer.Length()) : "";
}

constexpr DWORD kdwUnusual = 0x2A; // a type that no name is given to
} // namespace

// Binary values --------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryChecked, QueriesBytes)
{
    Store("Key", "Bytes", REG_BINARY, std::string("a\0b", 3));
    EXPECT_EQ(reg.QueryBinaryValue("Bytes", buffer), 1);
    EXPECT_EQ(Contents(buffer), std::string("a\0b", 3));
}

TEST_F(ORegistryChecked, LeavesTheBufferAloneWhenThereAreNoBytes)
{
    buffer.Set(4, "lamp");
    EXPECT_EQ(reg.QueryBinaryValue("Missing", buffer), 0);
    EXPECT_EQ(Contents(buffer), "lamp");
    EXPECT_EQ(Stored("Key", "Missing"), std::nullopt);
}

TEST_F(ORegistryChecked, GivesAnEmptyBufferForNoBytesOfAnyType)
{
    Store("Key", "Empty", REG_BINARY, "");
    Store("Key", "EmptyText", REG_SZ, "");
    buffer.Set(4, "lamp");
    EXPECT_EQ(reg.QueryBinaryValue("Empty", buffer), 1);
    EXPECT_EQ(buffer.Length(), 0u);
    buffer.Set(4, "lamp");
    EXPECT_EQ(reg.QueryBinaryValue("EmptyText", buffer), 1);
    EXPECT_EQ(buffer.Length(), 0u);
}

TEST_F(ORegistryChecked, QueryBinaryValueRaisesEightForAnotherType)
{
    StoreNumber("Key", "Number", 5);
    EXPECT_RAISES(reg.QueryBinaryValue("Number", buffer), 19008);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryBinaryValue | Invalid data type: dwType=4"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::QueryBinaryValue"});
    Store("Key", "Unusual", kdwUnusual, "x");
    EXPECT_RAISES(reg.QueryBinaryValue("Unusual", buffer), 19008);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryBinaryValue | Invalid data type: dwType=2a"});
}

// Numbers --------------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryChecked, QueriesNumbers)
{
    StoreNumber("Key", "Number", 0xFFFFFFFE);
    EXPECT_EQ(reg.QueryDwordValue("Number", 7), 0xFFFFFFFEu);
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(ORegistryChecked, StoresTheDefaultOfAMissingNumber)
{
    EXPECT_EQ(reg.QueryDwordValue("Radial", 1), 1u);
    EXPECT_EQ(Stored("Key", "Radial"), (StoredValue{REG_DWORD, std::string("\1\0\0\0", 4)}));
    EXPECT_EQ(reg.QueryDwordValue("Radial", 5), 1u);
}

TEST_F(ORegistryChecked, QueryDwordValueRaisesEightForAnotherTypeOrSize)
{
    StoreText("Key", "Text", "1");
    EXPECT_RAISES(reg.QueryDwordValue("Text", 7), 19008);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | Invalid data type: dwType=1"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::QueryDwordValue"});

    Store("Key", "Short", REG_DWORD, "ab");
    EXPECT_RAISES(reg.QueryDwordValue("Short", 7), 19008);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | Invalid DataSize: dwDataSize=2, expected [4]"});
}

TEST_F(ORegistryChecked, QueryDwordValueRaisesSevenForMoreThanFourBytes)
{
    StoreText("Key", "Text", "a long text");
    EXPECT_RAISES(reg.QueryDwordValue("Text", 7), 19007);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | RegQueryValueEx failed: lRetval=234; lpValueName='Text'"});
    EXPECT_EQ(StoredText("Key", "Text"), "a long text");
}

TEST_F(ORegistryChecked, SetsNumbers)
{
    reg.SetDwordValue("Number", 5);
    EXPECT_EQ(StoredNumber("Key", "Number"), 5u);
}

// Texts ----------------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryChecked, QueriesTextOfAnyLength)
{
    StoreText("Key", "Text", std::string(5000, 'x'));
    EXPECT_EQ(reg.QueryStringValue("Text", "default", sText), 1);
    EXPECT_EQ(sText.GetLength(), 5000);
}

TEST_F(ORegistryChecked, QueriesTextThatWasStoredWithoutItsEnd)
{
    Store("Key", "Text", REG_SZ, "lamp");
    EXPECT_EQ(reg.QueryStringValue("Text", nullptr, sText), 1);
    EXPECT_EQ(sText, "lamp");
}

TEST_F(ORegistryChecked, GivesEmptyTextForNoBytesAndForTheTerminatorAlone)
{
    Store("Key", "NoBytes", REG_SZ, "");
    EXPECT_EQ(reg.QueryStringValue("NoBytes", "default", sText), 1);
    EXPECT_EQ(sText, "");
    sText = "untouched";
    Store("Key", "Terminator", REG_SZ, std::string(1, '\0'));
    EXPECT_EQ(reg.QueryStringValue("Terminator", "default", sText), 1);
    EXPECT_EQ(sText, "");
}

TEST_F(ORegistryChecked, StoresTheDefaultOfAMissingText)
{
    EXPECT_EQ(reg.QueryStringValue("Text", "default", sText), 0);
    EXPECT_EQ(sText, "default");
    EXPECT_EQ(Stored("Key", "Text"), (StoredValue{REG_SZ, std::string("default\0", 8)}));
}

TEST_F(ORegistryChecked, StoresNothingForAMissingTextWithoutADefault)
{
    EXPECT_EQ(reg.QueryStringValue("Text", nullptr, sText), 0);
    EXPECT_EQ(sText, "untouched");
    EXPECT_EQ(Stored("Key", "Text"), std::nullopt);
}

TEST_F(ORegistryChecked, QueryStringValueRaisesEightForAnotherType)
{
    StoreNumber("Key", "Number", 5);
    EXPECT_RAISES(reg.QueryStringValue("Number", "default", sText), 19008);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryStringValue | Invalid data type: dwType=4"});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::QueryStringValue"});
    EXPECT_EQ(sText, "untouched");
}

TEST_F(ORegistryChecked, SetsTexts)
{
    reg.SetStringValue("Text", "lamp");
    EXPECT_EQ(Stored("Key", "Text"), (StoredValue{REG_SZ, std::string("lamp\0", 5)}));
}

TEST_F(ORegistryChecked, RefusesANullTextWithoutALine)
{
    EXPECT_RAISES(reg.SetStringValue("Text", nullptr), 19006);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{"Caught in ORegistry::SetStringValue"});
}

// Failing calls --------------------------------------------------------------------------------------------------------------

TEST_F(ORegistryChecked, RaisesFourWhileNoKeyIsOpen)
{
    reg.CloseKey();
    EXPECT_RAISES(reg.QueryBinaryValue("A", buffer), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryBinaryValue | " + ksNotOpen});
    EXPECT_RAISES(reg.QueryDwordValue("A", 1), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | " + ksNotOpen});
    EXPECT_RAISES(reg.QueryStringValue("A", "default", sText), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryStringValue | " + ksNotOpen});
    EXPECT_RAISES(reg.SetDwordValue("A", 1), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | SetDwordValue | " + ksNotOpen});
    EXPECT_RAISES(reg.SetStringValue("A", "text"), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | SetStringValue | " + ksNotOpen});
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::QueryBinaryValue", "Caught in ORegistry::QueryDwordValue",
                                   "Caught in ORegistry::QueryStringValue", "Caught in ORegistry::SetDwordValue",
                                   "Caught in ORegistry::SetStringValue"}));
}

TEST_F(ORegistryChecked, RaisesSevenWhenAQueryFails)
{
    ORegistry stale = Stale();
    const std::string sFailed = " | RegQueryValueEx failed: lRetval=6; lpValueName='A'";
    EXPECT_RAISES(stale.QueryBinaryValue("A", buffer), 19007);
    EXPECT_RAISES(stale.QueryDwordValue("A", 1), 19007);
    EXPECT_RAISES(stale.QueryStringValue("A", "default", sText), 19007);
    EXPECT_EQ(log.Errors(), (Lines{"ORegistry | QueryBinaryValue" + sFailed, "ORegistry | QueryDwordValue" + sFailed,
                                   "ORegistry | QueryStringValue" + sFailed}));
}

TEST_F(ORegistryChecked, RaisesSevenWhenItMayNotRead)
{
    StoreNumber("Key", "A", 5);
    reg.InitAccess(KEY_SET_VALUE);
    reg.OpenKey("Key", ORegistry::OPEN_ONLY);
    EXPECT_RAISES(reg.QueryDwordValue("A", 1), 19007);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | QueryDwordValue | RegQueryValueEx failed: lRetval=5; lpValueName='A'"});
}

TEST_F(ORegistryChecked, RaisesWhenItsKeyWasDeletedMeanwhile)
{
    StoreNumber("Key", "A", 5);
    ASSERT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, Path("Key").c_str()), ERROR_SUCCESS);
    EXPECT_RAISES(reg.QueryDwordValue("A", 1), 19007);
    EXPECT_RAISES(reg.QueryStringValue("A", "text", sText), 19007);
    EXPECT_RAISES(reg.QueryBinaryValue("A", buffer), 19007);
    EXPECT_RAISES(reg.SetDwordValue("A", 1), 19005);
    EXPECT_RAISES(reg.GetNumSubKeys(), 19010);
    const std::string sQuery = " | RegQueryValueEx failed: lRetval=1018; lpValueName='A'";
    EXPECT_EQ(log.Errors(), (Lines{"ORegistry | QueryDwordValue" + sQuery, "ORegistry | QueryStringValue" + sQuery,
                                   "ORegistry | QueryBinaryValue" + sQuery,
                                   "ORegistry | SetDwordValue | RegSetValueEx failed: lRetval=1018; lpValueName='A'",
                                   "ORegistry | GetNumSubKeys | RegQueryInfoKey failed: lRetval=1018"}));
    EXPECT_EQ(reg.ReadInteger("A", 7), 7);
    reg.WriteInteger("A", 8);
    EXPECT_FALSE(HasKey("Key"));
    EXPECT_EQ(sText, "untouched");

    reg.SetDwordValue("Sub\\B", 9); // opened by its path: made again
    EXPECT_EQ(StoredNumber("Key\\Sub", "B"), 9u);
    EXPECT_NO_THROW(reg.CloseKey());
}

TEST_F(ORegistryChecked, KeepsNamesUpToTheGreatestLength)
{
    const std::string sLongest(16383, 'n');
    reg.SetDwordValue(sLongest.c_str(), 5);
    EXPECT_EQ(reg.QueryDwordValue(sLongest.c_str(), 7), 5u);
    EXPECT_RAISES(reg.SetDwordValue((std::string(256, 'k') + "\\B").c_str(), 5), 19004); // no such key can be made
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | SetDwordValue | " + ksNotOpen});
    EXPECT_EQ(reg.GetNumSubKeys(), 0u);
}

TEST_F(ORegistryChecked, EndsTextAtAZeroInside)
{
    Store("Key", "Text", REG_SZ, std::string("la\0mp\0", 6));
    EXPECT_EQ(reg.QueryStringValue("Text", nullptr, sText), 1);
    EXPECT_EQ(sText, "la");
    EXPECT_EQ(reg.ReadString("Text", sText, "default"), "la");
}

TEST_F(ORegistryChecked, RaisesFiveWhenItMayNotWrite)
{
    reg.InitAccess(KEY_READ);
    reg.OpenKey("Key", ORegistry::OPEN_ONLY);
    EXPECT_RAISES(reg.SetDwordValue("A", 1), 19005);
    EXPECT_RAISES(reg.SetStringValue("A", "text"), 19005);
    const std::string sFailed = " | RegSetValueEx failed: lRetval=5; lpValueName='A'";
    EXPECT_EQ(log.Errors(), (Lines{"ORegistry | SetDwordValue" + sFailed, "ORegistry | SetStringValue" + sFailed}));
    EXPECT_EQ(Stored("Key", "A"), std::nullopt);
}

TEST_F(ORegistryChecked, WritesMissingValuesThroughAKeyOfItsOwn)
{
    // The clone has full access, whatever this object was opened with.
    reg.InitAccess(KEY_READ);
    reg.OpenKey("Key", ORegistry::OPEN_ONLY);
    EXPECT_EQ(reg.QueryDwordValue("Number", 5), 5u);
    EXPECT_EQ(reg.QueryStringValue("Text", "lamp", sText), 0);
    EXPECT_EQ(StoredNumber("Key", "Number"), 5u);
    EXPECT_EQ(StoredText("Key", "Text"), "lamp");
}

TEST_F(ORegistryChecked, StaysWithinWhatWasReadWhileAnotherThreadChangesTheSize)
{
    // Between the question for the size and the reading of the data the value may change: any outcome but a wrong text.
    const std::string texts[] = {"lamp", std::string(300, 'x')};
    StoreText("Key", "Text", texts[0]);
    const std::jthread writer([&](std::stop_token stop)
    {
        for (int i = 0; !stop.stop_requested(); ++i) StoreText("Key", "Text", texts[i % 2]);
    });
    const std::set<std::string> expected{
        "ORegistry | QueryStringValue | RegQueryValueEx failed: lRetval=234; lpValueName='Text'",
        "ORegistry | QueryStringValue | Invalid DataSize: dwDataSizeRead=5, expected [301]",
    };
    for (int i = 0; i < 1000; ++i)
    {
        const std::optional<ULONG> code = RaisedCode([&] { reg.QueryStringValue("Text", nullptr, sText); });
        if (!code)
        {
            EXPECT_TRUE(sText == texts[0].c_str() || sText == texts[1].c_str()) << static_cast<const char*>(sText);
            continue;
        }
        ASSERT_EQ(*code, 19007u);
        const Lines errors = log.Errors();
        ASSERT_EQ(errors.size(), 1u);
        ASSERT_TRUE(expected.contains(errors[0])) << errors[0];
    }
}

// Names with a path ----------------------------------------------------------------------------------------------------------

TEST_F(ORegistryChecked, MakesThePathInFrontOfAName)
{
    reg.SetDwordValue("A\\B\\C", 5);
    EXPECT_EQ(StoredNumber("Key\\A\\B", "C"), 5u);
    reg.SetStringValue("A\\Text", "lamp");
    EXPECT_EQ(StoredText("Key\\A", "Text"), "lamp");
    EXPECT_EQ(reg.GetPath(), "Key");
}

TEST_F(ORegistryChecked, QueriesBelowThePathInFrontOfAName)
{
    StoreNumber("Key\\A\\B", "Number", 5);
    StoreText("Key\\A", "Text", "lamp");
    Store("Key\\A", "Bytes", REG_BINARY, "xyz");
    EXPECT_EQ(reg.QueryDwordValue("A\\B\\Number", 7), 5u);
    EXPECT_EQ(reg.QueryStringValue("A\\Text", "default", sText), 1);
    EXPECT_EQ(sText, "lamp");
    EXPECT_EQ(reg.QueryBinaryValue("A\\Bytes", buffer), 1);
    EXPECT_EQ(Contents(buffer), "xyz");
}

TEST_F(ORegistryChecked, MakesThePathEvenWhenTheValueIsMissing)
{
    EXPECT_EQ(reg.QueryBinaryValue("New\\Bytes", buffer), 0);
    EXPECT_TRUE(HasKey("Key\\New"));
    EXPECT_EQ(reg.QueryDwordValue("Newer\\Number", 7), 7u);
    EXPECT_TRUE(HasKey("Key\\Newer"));
    // A key that had to be made does not know its path: the default is written where the base path alone leads.
    EXPECT_EQ(Stored("Key\\Newer", "Number"), std::nullopt);
    EXPECT_EQ(StoredNumber("", "Number"), 7u);
    EXPECT_EQ(reg.QueryStringValue("Newest\\Text", "lamp", sText), 0);
    EXPECT_EQ(Stored("Key\\Newest", "Text"), std::nullopt);
    EXPECT_EQ(StoredText("", "Text"), "lamp");

    EXPECT_EQ(reg.QueryDwordValue("Newer\\Number", 8), 8u); // now that it is there
    EXPECT_EQ(StoredNumber("Key\\Newer", "Number"), 8u);
}

TEST_F(ORegistryChecked, TakesAnEmptyNameOrPathAroundTheBackslash)
{
    reg.SetDwordValue("Sub\\", 5);
    EXPECT_EQ(StoredNumber("Key\\Sub", ""), 5u);
    reg.SetDwordValue("\\AB", 6);
    EXPECT_EQ(StoredNumber("Key", "AB"), 6u);
    reg.SetDwordValue("Sub\\\\Value", 7); // the doubled backslash goes with the rest of the full path
    EXPECT_EQ(StoredNumber("Key\\Sub", "Value"), 7u);
    EXPECT_EQ(reg.QueryDwordValue("Sub\\", 1), 5u);
}

TEST_F(ORegistryChecked, TakesNamesBelowThreeCharactersAsTheyAre)
{
    reg.SetDwordValue("A\\", 5);
    EXPECT_EQ(StoredNumber("Key", "A\\"), 5u);
    EXPECT_FALSE(HasKey("Key\\A"));
    reg.SetDwordValue("", 6);
    EXPECT_EQ(StoredNumber("Key", ""), 6u);
    reg.SetDwordValue("A\\B", 7);
    EXPECT_EQ(StoredNumber("Key\\A", "B"), 7u);
}

TEST_F(ORegistryChecked, RefusesANullName)
{
    EXPECT_RAISES(reg.SetDwordValue(nullptr, 5), 19004);
    EXPECT_EQ(log.Errors(), Lines{"ORegistry | GetPathName | Object is not initialised: lpValueName=NULL"});
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::GetPathName", "Caught in ORegistry::SetDwordValue"}));
    EXPECT_RAISES(reg.SetStringValue(nullptr, "x"), 19004);
    EXPECT_RAISES(reg.QueryBinaryValue(nullptr, buffer), 19004);
    EXPECT_RAISES(reg.QueryDwordValue(nullptr, 5), 19004);
    EXPECT_RAISES(reg.QueryStringValue(nullptr, "x", sText), 19004);
}

TEST_F(ORegistryChecked, RaisesOnceMoreForEachLevelOnTheWayOut)
{
    StoreText("Key\\A", "Text", "1");
    EXPECT_RAISES(reg.QueryDwordValue("A\\Text", 7), 19008);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::QueryDwordValue", "Caught in ORegistry::QueryDwordValue"}));
}
