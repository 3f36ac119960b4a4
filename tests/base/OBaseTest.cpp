// Error codes and their texts, the ways to log, and the call frame.
#include "CException.h"
#include "OBase.h"
#include "ODbgManager.h"
#include "OException.h"
#include "Printers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
// Keeps what reaches the manager, and answers as a test wants it to.
class ORecordingManager : public ODbgManager
{
public:
    ORecordingManager() { SetDbgManager(this); }
    ~ORecordingManager() override { SetDbgManager(nullptr); }

    void Writeln(const char* pText, const char* pGroup, const char* pClassName, const char* pItem, int iCheck) override
    {
        lines.push_back(std::string(pGroup) + "|" + pClassName + "|" + pItem + "|" + pText + "|" + std::to_string(iCheck));
        if (pThrown) throw pThrown;
    }
    int IsEnabled(const char*, const char*, const char*) override
    {
        ++iAsked;
        return bAllows;
    }
    void UpdateRegistry() override {}
    void WriteErrorLine(const char* pText) override { errorLines.emplace_back(pText); }

    std::vector<std::string> lines;
    std::vector<std::string> errorLines;
    int iAsked = 0;
    bool bAllows = true;
    CException* pThrown = nullptr;
};

std::vector<std::string>* gpNotices = nullptr;

class OBaseLog : public testing::Test
{
protected:
    OBaseLog()
    {
        gpNotices = &notices;
        LumSetMessageHook([](const char* pText, const char* pCaption)
        {
            gpNotices->push_back(std::string(pCaption) + ": " + pText);
            return 1;
        });
    }
    ~OBaseLog() override { LumSetMessageHook(nullptr); }

    using Lines = std::vector<std::string>;

    ORecordingManager manager;
    std::vector<std::string> notices;
    OBase object;
};

template <class Thrower>
OAppException Caught(Thrower thrower)
{
    OAppException copy;
    try
    {
        thrower();
        ADD_FAILURE() << "nothing was raised";
    }
    catch (OAppException* pEx)
    {
        copy = *pEx;
        pEx->Delete();
    }
    return copy;
}

class OLampDriver : public OBase
{
public:
    using OBase::OBase;
};
} // namespace

// Raising -----------------------------------------------------------------------------------------------------------------

TEST(OBase, StartsWithoutAnErrorBase) { EXPECT_EQ(OBase().GetErrorBase(), 0u); }

TEST(OBase, RaisesCodesOfItsRange)
{
    OBase object;
    object.SetErrorBase(1000);
    const OAppException caught = Caught([&] { object.Raise(8); });
    EXPECT_EQ(caught.mulErrorBase, 1000u);
    EXPECT_EQ(caught.mulOffset, 8u);
    EXPECT_EQ(caught.mulErrorCode, 1008u);
    EXPECT_EQ(caught.miApiErrorCode, 0);
    EXPECT_EQ(caught.mText, u"Error Code not known : ErrorBase=1000 : Offset=8 : ErrorCode=1008 : ApiErrorCode=0");
}

TEST(OBase, RaisesWithTheTextOfTheResourceLibrary)
{
    OBase object;
    object.SetErrorBase(19000);
    OString sExpected;
    sExpected.Format(19004u, 19004u);
    ASSERT_FALSE(sExpected.IsEmpty());
    EXPECT_EQ(Caught([&] { object.Raise(4); }).mText, sExpected);
}

TEST_F(OBaseLog, CopiesGroupAndErrorBase)
{
    manager.mulErrorsOnly = 0;
    object.SetErrorBase(700);
    object.SetGroup("Lamp");
    OBase copy(object);
    EXPECT_EQ(copy.GetErrorBase(), 700u);
    copy.Log("text");
    EXPECT_EQ(manager.lines, Lines{"Lamp|OBase|Item|text|0"});
}

TEST(OBase, RaisesAbsoluteCodesWithoutABase)
{
    OBase object;
    object.SetErrorBase(1000);
    const OAppException caught = Caught([&] { object.RaiseWithAbsCode(5); });
    EXPECT_EQ(caught.mulErrorBase, 0u);
    EXPECT_EQ(caught.mulOffset, 0u);
    EXPECT_EQ(caught.mulErrorCode, 5u);
    EXPECT_EQ(caught.mText, u"String Id <5> not found");

    OString sExpected;
    sExpected.Format(19004u, 19004u);
    EXPECT_EQ(Caught([&] { object.RaiseWithAbsCode(19004); }).mText, sExpected);
}

TEST(OBase, LoadsTextsIntoBuffers)
{
    OBase object;
    unsigned short auwText[300] = {};
    EXPECT_EQ(object.LoadStringA(19004, auwText, 300), 1u);
    OString sExpected;
    sExpected.LoadStringA(19004);
    EXPECT_EQ(OString(auwText), sExpected);

    EXPECT_EQ(object.LoadStringA(5, auwText, 300), 0u);
    EXPECT_EQ(OString(auwText), u"String Id <5> not found");
}

TEST(OBase, CopiesNoMoreUnitsThanTheBufferHas)
{
    OBase object;
    unsigned short auwText[8] = {0xAAAA, 0xAAAA, 0xAAAA, 0xAAAA, 0xAAAA, 0xAAAA, 0xAAAA, 0xAAAA};
    EXPECT_EQ(object.LoadStringA(19004, auwText, 4), 1u);
    EXPECT_NE(auwText[3], 0xAAAA);
    EXPECT_NE(auwText[3], 0);
    EXPECT_EQ(auwText[4], 0xAAAA);
    EXPECT_EQ(object.LoadStringA(5, auwText, 4), 0u);
    EXPECT_EQ(OString(auwText, 4), u"Stri");
    EXPECT_EQ(auwText[4], 0xAAAA);
}

TEST(OBase, BuildsErrorTexts)
{
    OBase object;
    OString sText;
    object.BuildErrorString(5, sText, AsUnits(u"not"), AsUnits(u"used"), nullptr);
    EXPECT_EQ(sText, u"String Id <5> not found");
}

// Logging -----------------------------------------------------------------------------------------------------------------

TEST(OBase, LogsNothingWithoutAManager)
{
    OBase object;
    object.LogGroup("Error", "Class", "Item", "%s", "text");
    object.Log("text");
    object.Writeln("text", "Group", "Class", "Item", 0);
}

TEST_F(OBaseLog, FillsInWhatIsMissing)
{
    manager.mulErrorsOnly = 0;
    OLampDriver lamp;
    lamp.SetGroup("Lamp");
    lamp.LogGroup("Comms", "OSerial", "Read", "%d bytes", 5);
    lamp.LogGroup(nullptr, "OSerial", nullptr, "a");
    lamp.LogClass("OSerial", "Write", "b");
    lamp.LogItem("Close", "c");
    lamp.Log("d");
    object.Log("e");
    EXPECT_EQ(manager.lines, (Lines{"Comms|OSerial|Read|5 bytes|0", "Lamp|OSerial|Item|a|0", "Lamp|OSerial|Write|b|0",
                                    manager.lines[3], manager.lines[4], "Group|OBase|Item|e|0"}));
    EXPECT_NE(manager.lines[3].find("OLampDriver|Close|c|0"), std::string::npos);
    EXPECT_NE(manager.lines[4].find("OLampDriver|Item|d|0"), std::string::npos);
    EXPECT_EQ(manager.iAsked, 6);
    EXPECT_TRUE(manager.errorLines.empty());
}

// A name that does not begin with a letter, as that of a class without a name of its own scope.
TEST_F(OBaseLog, CallsAClassWithoutAProperNameQuestionMarks)
{
    manager.mulErrorsOnly = 0;
    OLampDriver lamp; // of an unnamed namespace
    lamp.LogGroup("Comms", nullptr, "Item", "text");
    EXPECT_EQ(manager.lines, Lines{"Comms|????|Item|text|0"});
}

TEST_F(OBaseLog, CutsGroupNamesAtFifteenCharacters)
{
    manager.mulErrorsOnly = 0;
    object.SetGroup("ABCDEFGHIJKLMNOPQRST");
    object.Log("text");
    EXPECT_EQ(manager.lines, Lines{"ABCDEFGHIJKLMNO|OBase|Item|text|0"});
}

TEST_F(OBaseLog, AsksTheManagerAndDropsWhatItForbids)
{
    manager.mulErrorsOnly = 0;
    manager.bAllows = false;
    object.LogGroup("Error", "Class", "Item", "text");
    object.Log("text");
    EXPECT_TRUE(manager.lines.empty());
    EXPECT_EQ(manager.iAsked, 2);
}

TEST_F(OBaseLog, DropsEverythingWhenDisabled)
{
    manager.mulErrorsOnly = 0;
    manager.mulEnabled = 0;
    object.LogGroup("Error", "Class", "Item", "text");
    object.LogGroup("Exception", "Class", "Item", "text");
    object.Log("text");
    EXPECT_TRUE(manager.lines.empty());
    EXPECT_EQ(manager.iAsked, 0);
}

TEST_F(OBaseLog, WritesOnlyErrorLikeGroupsInErrorsOnlyModeWithoutAsking)
{
    manager.mulErrorsOnly = 1;
    manager.mulEnabled = 0; // not looked at in this mode
    manager.bAllows = false;
    for (const char* pGroup : {"Info", "Warning", "Error", "Debug", "ExceptionApp", "Exception", "error", "Warnings", "Excep"})
        object.LogGroup(pGroup, "C", "I", "text");
    object.LogGroup(nullptr, "C", "I", "text");
    EXPECT_EQ(manager.lines, (Lines{"Warning|C|I|text|0", "Error|C|I|text|0", "Debug|C|I|text|0", "ExceptionApp|C|I|text|0",
                                    "Exception|C|I|text|0"}));
    EXPECT_EQ(manager.errorLines, Lines{"text"});
    EXPECT_EQ(manager.iAsked, 0);
}

TEST_F(OBaseLog, TheOtherMembersForceFewerGroupsInErrorsOnlyMode)
{
    manager.mulErrorsOnly = 1;
    for (const char* pGroup : {"Info", "Warning", "Error", "Debug", "ExceptionApp"})
    {
        object.SetGroup(pGroup);
        object.LogClass("C", "I", "class");
        object.LogItem("I", "item");
        object.Log("log");
    }
    EXPECT_EQ(manager.lines, (Lines{"Warning|C|I|class|0", "Warning|OBase|I|item|0", "Warning|OBase|Item|log|0",
                                    "ExceptionApp|C|I|class|0", "ExceptionApp|OBase|I|item|0", "ExceptionApp|OBase|Item|log|0"}));
    EXPECT_TRUE(manager.errorLines.empty());
}

TEST_F(OBaseLog, ShowsANoticeInsteadOfALineThatIsTooLong)
{
    manager.mulErrorsOnly = 0;
    const std::string sFits(1023, 'x');
    const std::string sLong(1024, 'x');
    object.LogGroup("Info", "C", "I", "%s", sFits.c_str());
    EXPECT_EQ(manager.lines.size(), 1u);
    EXPECT_TRUE(notices.empty());

    object.LogGroup("Info", "C", "I", "%s", sLong.c_str());
    object.LogClass("C", "I", "%s", sLong.c_str());
    object.LogItem("I", "%s", sLong.c_str());
    object.Log("%s", sLong.c_str());
    EXPECT_EQ(manager.lines.size(), 1u);
    EXPECT_EQ(notices, (Lines{"ERROR: Error from OBase::LogGroup", "ERROR: Error from OBase::LogClass",
                              "ERROR: Error from OBase::LogItem", "ERROR: Error from OBase::LogGroup"}));
}

TEST_F(OBaseLog, LoggingKeepsTheLastError)
{
    manager.mulErrorsOnly = 0;
    SetLastError(1234);
    object.Log("text");
    EXPECT_EQ(GetLastError(), 1234u);
}

TEST_F(OBaseLog, HandsFinishedLinesOn)
{
    object.Writeln("text", "G", "C", "I", 7);
    EXPECT_EQ(manager.lines, Lines{"G|C|I|text|7"});
}

// The call frame ------------------------------------------------------------------------------------------------------------

TEST_F(OBaseLog, TheCallFrameNamesEveryKindOfException)
{
    manager.mulErrorsOnly = 1;
    const auto frame = [&](auto* pException)
    {
        try
        {
            try
            {
                throw pException;
            }
            catch (...)
            {
                object.LogCaught("OLamp::Ignite");
                throw;
            }
        }
        catch (CException* pCaught)
        {
            EXPECT_EQ(pCaught, pException);
            pCaught->Delete();
        }
    };
    frame(new OStructuredException(0xC0000005));
    frame(new OStopException(3));
    auto* pApp = new OAppException;
    pApp->mText = u"no gas";
    frame(pApp);
    frame(new CMemoryException);
    frame(new CException);

    EXPECT_EQ(manager.lines, (Lines{"ExceptionStructured|OBase|Item|ExceptionCode=0xc0000005 : Caught in OLamp::Ignite|0",
                                    "ExceptionStop|OBase|Item|STOP : Caught in OLamp::Ignite|0",
                                    "ExceptionApp|OBase|Item|no gas : Caught in OLamp::Ignite|0",
                                    "Exception|OBase|Item|CMemoryException : Caught in OLamp::Ignite|0",
                                    "Exception|OBase|Item|CException : Caught in OLamp::Ignite : CException : |0"}));
}

TEST_F(OBaseLog, TheCallFrameThrowsOnWhatItDoesNotKnow)
{
    manager.mulErrorsOnly = 1;
    const auto framed = [&]
    {
        try
        {
            throw 42;
        }
        catch (...)
        {
            object.LogCaught("OLamp::Ignite");
            throw;
        }
    };
    EXPECT_THROW(framed(), int);
    EXPECT_EQ(manager.lines, Lines{"ExceptionUnknown|OBase|Item|... : Caught in OLamp::Ignite|0"});
}

TEST_F(OBaseLog, ALogThatFailsDoesNotReplaceTheFailure)
{
    manager.mulErrorsOnly = 1;
    // Swallowed, and so freed.
    struct CFullDisk : CException
    {
        explicit CFullDisk(bool& bGone) : mbGone(bGone) {}
        ~CFullDisk() override { mbGone = true; }
        bool& mbGone;
    };
    bool bGone = false;
    manager.pThrown = new CFullDisk(bGone);
    object.SetErrorBase(1000);
    const OAppException caught = Caught([&]
    {
        try
        {
            object.Raise(8);
        }
        catch (...)
        {
            object.LogCaught("OLamp::Ignite");
            throw;
        }
    });
    EXPECT_EQ(caught.mulErrorCode, 1008u);
    EXPECT_EQ(manager.lines.size(), 1u);
    EXPECT_TRUE(bGone);
}
