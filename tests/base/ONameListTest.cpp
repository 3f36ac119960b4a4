// The log's switches: the tree in memory, and in the registry.
#include "ONameList.h"

#include "LogRecorder.h"
#include "Raises.h"
#include "RegistryBranch.h"

#include <atomic>
#include <thread>

namespace
{
class ONameListTree : public testing::Test
{
protected:
    void Add(int iEnabled, const char* pGroup, const char* pClassName, const char* pItem)
    {
        list.Add(iEnabled, pGroup, pClassName, pItem);
    }

    ONameList list{HKEY_LOCAL_MACHINE, "Debug"};
};

class ONameListKeys : public RegistryBranch
{
protected:
    ONameList list{HKEY_LOCAL_MACHINE, "Debug"};
};

// The names and switches of a tree, in order.
std::string Shown(ONameList& list)
{
    std::string sText;
    for (int i = 0; i < list.GetCount(); ++i)
    {
        const ONameEntry& entry = *list.GetAt(i);
        sText += (i ? " " : "") + std::string(entry.mpName) + "=" + std::to_string(entry.mulEnabled);
        if (entry.mpChild) sText += "(" + Shown(*entry.mpChild) + ")";
    }
    return sText;
}
} // namespace

// In memory -----------------------------------------------------------------------------------------------------------------

TEST_F(ONameListTree, HasTheGroupAndErrorBaseOfItsOwn)
{
    EXPECT_EQ(list.GetErrorBase(), 17500u);
    LogRecorder log;
    list.Log("text");
    EXPECT_EQ(log.Others(), LogRecorder::Lines{"Dbg | ONameList | Item | text"});
}

TEST_F(ONameListTree, AddMakesEveryLevelWithTheSameSwitch)
{
    Add(0, "Comms", "OSerial", "Item");
    EXPECT_EQ(Shown(list), "Comms=0(OSerial=0(Item=0))");
    Add(1, "Comms", "OSerial", "Read");
    Add(1, "Comms", "OTcp", "Item");
    Add(0, "Lamp", nullptr, nullptr);
    Add(1, "Pump", "OPump", nullptr);
    EXPECT_EQ(Shown(list), "Comms=0(OSerial=0(Item=0 Read=1) OTcp=1(Item=1)) Lamp=0 Pump=1(OPump=1)");
}

TEST_F(ONameListTree, FindIsExact)
{
    EXPECT_EQ(list.Find("Comms"), nullptr);
    Add(1, "Comms", nullptr, nullptr);
    Add(0, "comms", nullptr, nullptr);
    ASSERT_NE(list.Find("Comms"), nullptr);
    EXPECT_EQ(list.Find("Comms")->mulEnabled, 1u);
    EXPECT_EQ(list.Find("comms")->mulEnabled, 0u);
    for (const char* pName : {"COMMS", "Comm", "Commss", "", " Comms"}) EXPECT_EQ(list.Find(pName), nullptr) << pName;
    EXPECT_EQ(list.Find(nullptr), nullptr);
}

TEST_F(ONameListTree, TakesNamesOfEveryLength)
{
    for (int i = 0; i <= 40; ++i) list.AddEntry(std::string(static_cast<std::size_t>(i), 'n').c_str(), nullptr, static_cast<ULONG>(i));
    for (int i = 0; i <= 40; ++i)
    {
        const ONameEntry* pEntry = list.Find(std::string(static_cast<std::size_t>(i), 'n').c_str());
        ASSERT_NE(pEntry, nullptr) << i;
        EXPECT_EQ(pEntry->mulEnabled, static_cast<ULONG>(i));
    }
    EXPECT_EQ(list.Find(std::string(41, 'n').c_str()), nullptr);
}

TEST_F(ONameListTree, ContainsPathsAndTheirBeginnings)
{
    Add(0, "Comms", "OSerial", "Item");
    EXPECT_EQ(list.Contains("Comms", "OSerial", "Item"), 1);
    EXPECT_EQ(list.Contains("Comms", "OSerial", nullptr), 1);
    EXPECT_EQ(list.Contains("Comms", nullptr, nullptr), 1);
    EXPECT_EQ(list.Contains("Comms", "OSerial", "Read"), 0);
    EXPECT_EQ(list.Contains("Comms", "OTcp", "Item"), 0);
    EXPECT_EQ(list.Contains("Lamp", nullptr, nullptr), 0);
    EXPECT_EQ(list.Contains("comms", "OSerial", "Item"), 0);
}

TEST_F(ONameListTree, AnEnabledLevelDecidesForAllBelow)
{
    Add(0, "Comms", "OSerial", "Item");
    EXPECT_EQ(list.IsEnabled("Comms", "OSerial", "Item"), 0);
    list.Find("Comms")->mpChild->Find("OSerial")->mpChild->Find("Item")->mulEnabled = 1;
    EXPECT_EQ(list.IsEnabled("Comms", "OSerial", "Item"), 1);

    Add(0, "Comms", "OTcp", "Item");
    list.Find("Comms")->mpChild->Find("OTcp")->mulEnabled = 1;
    EXPECT_EQ(list.IsEnabled("Comms", "OTcp", "Item"), 1);

    Add(0, "Lamp", "OLamp", "Item");
    list.Find("Lamp")->mulEnabled = 5;
    EXPECT_EQ(list.IsEnabled("Lamp", "OLamp", "Item"), 1);
    EXPECT_EQ(list.IsEnabled("Lamp", "never", "seen"), 1); // not looked for any further
}

TEST_F(ONameListTree, AnItemsSwitchIsHandedOutAsItIs)
{
    Add(0, "Comms", "OSerial", "Item");
    list.Find("Comms")->mpChild->Find("OSerial")->mpChild->Find("Item")->mulEnabled = 7;
    EXPECT_EQ(list.IsEnabled("Comms", "OSerial", "Item"), 7);
}

TEST_F(ONameListTree, RaisesFourWhereALevelIsMissing)
{
    Add(0, "Leaf", nullptr, nullptr);
    Add(0, "Comms", "Leaf", nullptr);
    Add(0, "Comms", "OSerial", "Item");
    EXPECT_RAISES(list.IsEnabled("Lamp", "OSerial", "Item"), 17504);
    EXPECT_RAISES(list.IsEnabled("Leaf", "X", "Item"), 17504);
    EXPECT_RAISES(list.IsEnabled("Comms", "X", "Item"), 17504);
    EXPECT_RAISES(list.IsEnabled("Comms", "Leaf", "Item"), 17504);
    EXPECT_RAISES(list.IsEnabled("Comms", "OSerial", "X"), 17504);
    EXPECT_RAISES(list.Contains("Leaf", "X", "Item"), 17504);
    EXPECT_RAISES(list.Contains("Comms", "Leaf", "Item"), 17504);
    EXPECT_RAISES(list.Add(1, "Leaf", "X", "Item"), 17504);
    EXPECT_RAISES(list.Add(1, "Comms", "Leaf", "Item"), 17504);
    EXPECT_RAISES(list.Learn(1, "Leaf", "X", "Item"), 17504);
    EXPECT_RAISES(list.Add(1, nullptr, "X", "Item"), 17504);
    EXPECT_RAISES(list.Add(1, "New", nullptr, "Item"), 17504);
    EXPECT_RAISES(list.AddEntry(nullptr, nullptr, 1), 17504);
    EXPECT_EQ(Shown(list), "Leaf=0 Comms=0(Leaf=0 OSerial=0(Item=0))");
}

TEST_F(ONameListTree, LearningFailsAsAskingAndAddingDo)
{
    Add(0, "Leaf", nullptr, nullptr);
    Add(0, "Comms", "Leaf", nullptr);
    LogRecorder log;
    EXPECT_RAISES(list.Learn(1, "Leaf", "X", "Item"), 17504);
    EXPECT_EQ(log.Places(), LogRecorder::Lines{"Caught in ONameList::Contains"});
    EXPECT_RAISES(list.Learn(1, "Comms", "Leaf", "Item"), 17504);
    EXPECT_EQ(log.Places(), (LogRecorder::Lines{"Caught in ONameList::Contains", "Caught in ONameList::Contains"}));
    EXPECT_RAISES(list.Learn(1, nullptr, "X", "Item"), 17504);
    EXPECT_EQ(log.Places(), LogRecorder::Lines{"Caught in ONameList::Add"});
}

TEST_F(ONameListTree, RaisesTwoForWhatExists)
{
    Add(0, "Comms", "OSerial", "Item");
    EXPECT_RAISES(list.Add(1, "Comms", "OSerial", "Item"), 17502);
    EXPECT_RAISES(list.Add(1, "Comms", "OSerial", nullptr), 17502);
    EXPECT_RAISES(list.Add(1, "Comms", nullptr, nullptr), 17502);
    EXPECT_RAISES(list.AddEntry("Comms", nullptr, 1), 17502);
    EXPECT_EQ(Shown(list), "Comms=0(OSerial=0(Item=0))");
}

TEST_F(ONameListTree, RaisesFourForASlotThatIsEmpty)
{
    EXPECT_RAISES(list.GetAt(0), 17504);
    Add(0, "Comms", nullptr, nullptr);
    EXPECT_STREQ(list.GetAt(0)->mpName, "Comms");
    EXPECT_RAISES(list.GetAt(1), 17504);
    EXPECT_RAISES(list.GetAt(-1), 17504);
}

TEST_F(ONameListTree, ItsFailuresAreLoggedOnTheWayOut)
{
    LogRecorder log;
    EXPECT_RAISES(list.IsEnabled("Lamp", "C", "I"), 17504);
    EXPECT_RAISES(list.GetAt(0), 17504);
    Add(0, "Leaf", nullptr, nullptr);
    EXPECT_RAISES(list.Add(0, "Leaf", nullptr, nullptr), 17502);
    EXPECT_RAISES(list.AddEntry("Leaf", nullptr, 1), 17502);
    EXPECT_RAISES(list.Contains("Leaf", "C", "I"), 17504);
    EXPECT_EQ(log.Places(), (LogRecorder::Lines{"Caught in ONameList::IsEnabled", "Caught in ONameList::GetAt", "Caught in ONameList::Add",
                                                "Caught in ONameList::AddEntry", "Caught in ONameList::Contains"}));
}

TEST_F(ONameListTree, RaisesWithoutHoldingWhatOthersWaitFor)
{
    struct OAskedWhileItRaises : ONameList
    {
        using ONameList::ONameList;
        void Raise(ULONG ulCode) override
        {
            int iCount = 0;
            std::thread([&] { iCount = GetCount(); }).join();
            iCounted += iCount;
            ONameList::Raise(ulCode);
        }
        int iCounted = 0;
    } asked(HKEY_LOCAL_MACHINE, "Debug");
    asked.Add(0, "Leaf", nullptr, nullptr);
    EXPECT_RAISES(asked.Add(0, "Leaf", nullptr, nullptr), 17502);
    EXPECT_RAISES(asked.Add(0, "Leaf", "C", "I"), 17504);
    EXPECT_RAISES(asked.AddEntry("Leaf", nullptr, 0), 17502);
    EXPECT_RAISES(asked.Learn(0, "Leaf", "C", "I"), 17504);
    EXPECT_RAISES(asked.Learn(0, nullptr, "C", "I"), 17504);
    EXPECT_EQ(asked.iCounted, 5);
}

TEST_F(ONameListTree, OwnsTheListsBelow)
{
    auto* pChild = new ONameList(HKEY_LOCAL_MACHINE, "Debug\\Comms");
    pChild->AddEntry("OSerial", nullptr, 1);
    list.AddEntry("Comms", pChild, 0);
    EXPECT_EQ(list.Find("Comms")->mpChild, pChild);
    list.DeleteList();
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(list.Find("Comms"), nullptr);
    Add(1, "Comms", nullptr, nullptr);
    EXPECT_EQ(Shown(list), "Comms=1");
}

TEST_F(ONameListTree, KeepsTheOrderOfTenThousandAndFindsEach)
{
    constexpr int kiNames = 10'000;
    for (int i = 0; i < kiNames; ++i) list.AddEntry(("Name" + std::to_string(i)).c_str(), nullptr, static_cast<ULONG>(i));
    ASSERT_EQ(list.GetCount(), kiNames);
    for (int i = 0; i < kiNames; ++i)
    {
        const std::string sName = "Name" + std::to_string(i);
        ASSERT_EQ(list.GetAt(i)->mpName, sName);
        ASSERT_EQ(list.Find(sName.c_str()), list.GetAt(i));
    }
    EXPECT_EQ(list.Find("Name10000"), nullptr);
}

TEST_F(ONameListTree, LearnsACombinationOnceAndAnswersForItThen)
{
    EXPECT_EQ(list.Learn(0, "Comms", "OSerial", "Item"), 0);
    EXPECT_EQ(list.Learn(1, "Comms", "OSerial", "Item"), 0);
    EXPECT_EQ(list.Learn(1, "Comms", "OSerial", "Read"), 1);
    EXPECT_EQ(list.Learn(0, "Comms", "OSerial", "Read"), 1);
    EXPECT_EQ(Shown(list), "Comms=0(OSerial=0(Item=0 Read=1))");

    list.Find("Comms")->mulEnabled = 1;
    EXPECT_EQ(list.Learn(0, "Comms", "OSerial", "Write"), 0); // at first what it was added with
    EXPECT_EQ(list.Learn(0, "Comms", "OSerial", "Write"), 1); // from then on what the group says
}

TEST_F(ONameListTree, SeveralThreadsLearnAndLookUpAtOnce)
{
    constexpr int kiThreads = 4, kiNames = 500;
    std::atomic<int> iWrong{0};
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < kiThreads; ++iThread)
    {
        threads.emplace_back([&, iThread]
        {
            for (int i = 0; i < kiNames; ++i)
            {
                // Each meets every name, each beginning elsewhere.
                const int iName = (i + iThread * kiNames / kiThreads) % kiNames;
                const std::string sClass = "C" + std::to_string(iName % 25), sItem = "I" + std::to_string(iName / 25);
                iWrong += list.Learn(1, "Group", sClass.c_str(), sItem.c_str()) != 1;
                iWrong += list.Contains("Group", sClass.c_str(), sItem.c_str()) != 1;
                iWrong += list.GetAt(0)->mpChild->GetCount() > 25;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iWrong, 0);
    EXPECT_EQ(list.GetCount(), 1);
    ONameList& classes = *list.GetAt(0)->mpChild;
    EXPECT_EQ(classes.GetCount(), 25);
    for (int i = 0; i < classes.GetCount(); ++i) EXPECT_EQ(classes.GetAt(i)->mpChild->GetCount(), kiNames / 25);
}

// In the registry -------------------------------------------------------------------------------------------------------------

TEST_F(ONameListKeys, LoadsTheTreeOfTheKey)
{
    StoreNumber("Debug", "Enabled", 0);
    StoreNumber("Debug\\Comms", "Enabled", 1);
    StoreNumber("Debug\\Comms\\OSerial", "Enabled", 0);
    StoreNumber("Debug\\Comms\\OSerial\\Item", "Enabled", 0);
    StoreNumber("Debug\\Lamp", "Enabled", 3);
    list.AddEntry("Before", nullptr, 1);
    list.LoadFromRegistry();
    EXPECT_EQ(Shown(list), "Comms=1(OSerial=0(Item=0)) Lamp=3");
    EXPECT_EQ(list.IsEnabled("Comms", "OSerial", "Item"), 1);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(ONameListKeys, AMissingSwitchCountsAsOneAndIsStored)
{
    MakeKey("Debug\\Comms\\OSerial");
    list.LoadFromRegistry();
    EXPECT_EQ(Shown(list), "Comms=1(OSerial=1)");
    EXPECT_EQ(StoredNumber("Debug\\Comms", "Enabled"), 1u);
    EXPECT_EQ(StoredNumber("Debug\\Comms\\OSerial", "Enabled"), 1u);
}

TEST_F(ONameListKeys, AKeyWithoutSubkeysHasNoListBelow)
{
    StoreNumber("Debug\\Comms", "Enabled", 0);
    list.LoadFromRegistry();
    EXPECT_EQ(list.Find("Comms")->mpChild, nullptr);
    EXPECT_RAISES(list.IsEnabled("Comms", "X", "Item"), 17504);
}

TEST_F(ONameListKeys, LoadsTreesDeeperThanAPath)
{
    MakeKey("Debug\\A\\B\\C\\D\\E\\F");
    list.LoadFromRegistry();
    EXPECT_EQ(Shown(list), "A=1(B=1(C=1(D=1(E=1(F=1)))))");
    EXPECT_EQ(list.Learn(0, "A", "B", "C"), 1);
}

TEST_F(ONameListKeys, RaisesTheRegistrysCodeWhenTheKeyIsMissing)
{
    list.AddEntry("Before", nullptr, 1);
    EXPECT_RAISES(list.LoadFromRegistry(), 19004);
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(log.Places(), (Lines{"Caught in ORegistry::GetNumSubKeys", "Caught in ONameList::LoadFromRegistry"}));
    EXPECT_FALSE(HasKey("Debug"));
}

TEST_F(ONameListKeys, RaisesTheRegistrysCodeForASwitchThatIsNoNumber)
{
    StoreText("Debug\\Comms", "Enabled", "0");
    EXPECT_RAISES(list.LoadFromRegistry(), 19008);
    StoreText("Debug", "Enabled", "1");
    EXPECT_RAISES(list.GetEnabled(1), 19008);
    EXPECT_EQ(StoredText("Debug", "Enabled"), "1");
}

TEST_F(ONameListKeys, ReadsTheSwitchesOfItsOwnKey)
{
    StoreNumber("Debug", "Enabled", 0);
    StoreNumber("Debug", "DefaultEnable", 2);
    StoreNumber("Debug", "EnableErrorsOnly", 0);
    EXPECT_EQ(list.GetEnabled(1), 0u);
    EXPECT_EQ(list.GetDefaultEnable(1), 2u);
    EXPECT_EQ(list.GetErrorsOnly(1), 0u);
}

TEST_F(ONameListKeys, AnswersAndStoresTheDefaultOfASwitchThatIsMissing)
{
    EXPECT_EQ(list.GetEnabled(5), 5u);
    EXPECT_FALSE(HasKey("Debug"));
    MakeKey("Debug");
    EXPECT_EQ(list.GetErrorsOnly(1), 1u);
    EXPECT_EQ(list.GetDefaultEnable(0), 0u);
    EXPECT_EQ(StoredNumber("Debug", "EnableErrorsOnly"), 1u);
    EXPECT_EQ(StoredNumber("Debug", "DefaultEnable"), 0u);
}

TEST_F(ONameListKeys, SavesEveryEntryAndMakesItsKey)
{
    list.Add(0, "Comms", "OSerial", "Item");
    list.Add(4, "Lamp", nullptr, nullptr);
    list.SaveToRegistry();
    for (const char* pKey : {"Debug\\Comms", "Debug\\Comms\\OSerial", "Debug\\Comms\\OSerial\\Item"})
        EXPECT_EQ(StoredNumber(pKey, "Enabled"), 0u) << pKey;
    EXPECT_EQ(StoredNumber("Debug\\Lamp", "Enabled"), 4u);
    EXPECT_FALSE(StoredNumber("Debug", "Enabled"));

    ONameList other(HKEY_LOCAL_MACHINE, "Debug");
    other.LoadFromRegistry();
    EXPECT_EQ(Shown(other), "Comms=0(OSerial=0(Item=0)) Lamp=4");
}

TEST_F(ONameListKeys, SavingLeavesWhatTheRegistryHasBesides)
{
    StoreNumber("Debug\\Old", "Enabled", 0);
    StoreText("Debug", "Note", "kept");
    list.Add(1, "New", nullptr, nullptr);
    list.SaveToRegistry();
    EXPECT_TRUE(HasKey("Debug\\Old"));
    EXPECT_EQ(StoredText("Debug", "Note"), "kept");
}

TEST_F(ONameListKeys, ResettingLeavesTheThreeSwitchesAlone)
{
    StoreNumber("Debug", "Enabled", 0);
    StoreNumber("Debug", "EnableErrorsOnly", 0);
    StoreText("Debug", "Note", "gone");
    MakeKey("Debug\\Comms\\OSerial\\Item");
    MakeKey("DebugBesides");
    list.ResetKey();
    EXPECT_EQ(StoredNumber("Debug", "Enabled"), 0u);
    EXPECT_EQ(StoredNumber("Debug", "DefaultEnable"), 1u);
    EXPECT_EQ(StoredNumber("Debug", "EnableErrorsOnly"), 0u);
    EXPECT_FALSE(StoredText("Debug", "Note"));
    EXPECT_FALSE(HasKey("Debug\\Comms"));
    EXPECT_TRUE(HasKey("DebugBesides"));
}

TEST_F(ONameListKeys, ResettingMakesAKeyThatIsMissing)
{
    list.ResetKey();
    for (const char* pSwitch : {"Enabled", "DefaultEnable", "EnableErrorsOnly"}) EXPECT_EQ(StoredNumber("Debug", pSwitch), 1u);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(ONameListKeys, TakesNamesOfOddCharacters)
{
    const char* const kNames[] = {"a b", " begin", "end ", "50%s%n", "a/b", ".", "..", "*", "Gr\xC3\xBC\xC3\x9F", "\"quoted\"", "a=b;c", "[x]"};
    for (const char* pName : kNames) list.Add(0, pName, "OClass<int, std::pair<A, B>>", pName);
    list.SaveToRegistry();
    ONameList other(HKEY_LOCAL_MACHINE, "Debug");
    other.LoadFromRegistry();
    EXPECT_EQ(other.GetCount(), static_cast<int>(std::size(kNames)));
    for (const char* pName : kNames) EXPECT_EQ(other.Contains(pName, "OClass<int, std::pair<A, B>>", pName), 1) << pName;
}

TEST_F(ONameListKeys, ABackslashInANameLeadsFurtherDownInTheRegistry)
{
    list.Add(0, "A\\B", "C", "D");
    list.Add(1, "A", "X", "Y");
    EXPECT_EQ(list.IsEnabled("A\\B", "C", "D"), 0);
    list.SaveToRegistry();
    EXPECT_EQ(StoredNumber("Debug\\A\\B\\C\\D", "Enabled"), 0u);
    EXPECT_EQ(StoredNumber("Debug\\A\\X\\Y", "Enabled"), 1u);
    ONameList other(HKEY_LOCAL_MACHINE, "Debug");
    other.LoadFromRegistry();
    EXPECT_EQ(other.Contains("A", "B", "C"), 1);
    EXPECT_EQ(other.Contains("A\\B", "C", "D"), 0);
}

// Their paths are those of the keys above them, whose switches are other ones.
TEST_F(ONameListKeys, NamesThatAreNoKeysAreNotSaved)
{
    StoreNumber("Debug", "Enabled", 1);
    list.Add(1, "Comms", "OSerial", "Item");
    for (const char* pName : {"", "\\", "\\Comms", "Comms\\"}) list.Add(0, pName, "C", "I");
    list.Add(0, "Comms", "OSerial", "");
    list.SaveToRegistry();
    EXPECT_EQ(StoredNumber("Debug", "Enabled"), 1u);
    EXPECT_EQ(StoredNumber("Debug\\Comms", "Enabled"), 1u);
    EXPECT_EQ(StoredNumber("Debug\\Comms\\OSerial", "Enabled"), 1u);
    EXPECT_FALSE(HasKey("Debug\\C"));
    EXPECT_FALSE(HasKey("Debug\\Comms\\C"));
}

TEST_F(ONameListKeys, AnEntryThatCannotBeSavedKeepsNoneOfTheOthersBack)
{
    list.Add(1, "First", "C", "I");
    list.Add(1, std::string(300, 'n').c_str(), "C", "I"); // longer than a key's name can be
    list.Add(1, std::string(400, 'n').c_str(), "C", "I");
    list.Add(1, "Last", "C", "I");
    EXPECT_RAISES(list.SaveToRegistry(), 19004);
    EXPECT_TRUE(HasKey("Debug\\First\\C\\I"));
    EXPECT_TRUE(HasKey("Debug\\Last\\C\\I"));
}

TEST_F(ONameListKeys, SavesAndLoadsTenThousandCombinations)
{
    for (int i = 0; i < 10'000; ++i)
    {
        list.Add(i % 2, ("G" + std::to_string(i / 1000)).c_str(), ("C" + std::to_string(i / 100 % 10)).c_str(),
                 ("I" + std::to_string(i % 100)).c_str());
    }
    list.SaveToRegistry();
    ONameList other(HKEY_LOCAL_MACHINE, "Debug");
    other.LoadFromRegistry();
    EXPECT_EQ(other.GetCount(), 10);
    int iWrong = 0;
    for (int i = 0; i < 10'000; ++i)
    {
        const ONameEntry* pGroup = other.Find(("G" + std::to_string(i / 1000)).c_str());
        const ONameEntry* pClass = pGroup->mpChild->Find(("C" + std::to_string(i / 100 % 10)).c_str());
        const ONameEntry* pItem = pClass->mpChild->Find(("I" + std::to_string(i % 100)).c_str());
        iWrong += !pItem || pItem->mulEnabled != static_cast<ULONG>(i % 2);
    }
    EXPECT_EQ(iWrong, 0);
}
