// What processes and threads see of each other's changes.
#include "RegistryKey.h"

#include "OtherProcess.h"

#include <atomic>
#include <cstring>
#include <sstream>
#include <thread>

namespace
{
std::vector<std::string> Words(const std::string& sOrder)
{
    std::vector<std::string> words;
    std::istringstream text(sOrder);
    for (std::string sWord; std::getline(text, sWord, '\t');) words.push_back(sWord);
    return words;
}

LSTATUS WriteNumber(HKEY hKey, const char* pName, DWORD ulNumber)
{
    return RegSetValueExA(hKey, pName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&ulNumber), sizeof ulNumber);
}

DWORD ReadNumber(HKEY hKey, const char* pName)
{
    DWORD ulNumber = 0, ulBytes = sizeof ulNumber;
    EXPECT_EQ(RegQueryValueExA(hKey, pName, nullptr, nullptr, reinterpret_cast<BYTE*>(&ulNumber), &ulBytes), ERROR_SUCCESS);
    return ulNumber;
}

// create PATH | delete PATH | set PATH NAME NUMBER | get PATH NAME | count PATH NAME FROM TO: the status, or the number.
std::string DoOrder(const std::string& sOrder)
{
    const std::vector<std::string> words = Words(sOrder);
    const std::string& sVerb = words.at(0);
    if (sVerb == "delete") return std::to_string(RegDeleteTreeA(HKEY_LOCAL_MACHINE, words.at(1).c_str()));

    OpenKey key;
    const LSTATUS lStatus = sVerb == "get" ? RegOpenKeyExA(HKEY_LOCAL_MACHINE, words.at(1).c_str(), 0, KEY_READ, key.Put())
                                           : RegCreateKeyExA(HKEY_LOCAL_MACHINE, words.at(1).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                                             nullptr, key.Put(), nullptr);
    if (lStatus != ERROR_SUCCESS || sVerb == "create") return std::to_string(lStatus);
    const char* pName = words.at(2).c_str();
    if (sVerb == "get") return std::to_string(ReadNumber(key, pName));
    if (sVerb == "set") return std::to_string(WriteNumber(key, pName, static_cast<DWORD>(std::stoul(words.at(3)))));
    for (DWORD i = static_cast<DWORD>(std::stoul(words.at(3))); i <= std::stoul(words.at(4)); ++i)
        if (LSTATUS lWritten = WriteNumber(key, pName, i)) return "failed " + std::to_string(lWritten);
    return "0";
}
const OtherRole kRole("registry", DoOrder);

class RegistryProcesses : public RegistryKey
{
protected:
    std::string Order(const char* pVerb, const char* pSub, const std::string& sRest = {}) const
    {
        return std::string(pVerb) + "\t" + msPath + (*pSub ? std::string("\\") + pSub : "") + (sRest.empty() ? "" : "\t" + sRest);
    }
};

TEST_F(RegistryProcesses, AnotherProcessSeesAChangeAtItsNextRead)
{
    OtherProcess other("registry");
    for (DWORD i = 1; i <= 50; ++i)
    {
        ASSERT_EQ(WriteNumber(mKey, "n", i), ERROR_SUCCESS);
        EXPECT_EQ(other.Ask(Order("get", "", "n")), std::to_string(i));
        ASSERT_EQ(other.Ask(Order("set", "", "n\t" + std::to_string(1000 + i))), "0");
        EXPECT_EQ(ReadNumber(mKey, "n"), 1000 + i);
    }
}

TEST_F(RegistryProcesses, KeysComeAndGoForEveryProcess)
{
    OtherProcess other("registry");
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(other.Ask(Order("create", "A\\B")), "0");
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey), std::vector<std::string>{"A"});

    const OpenKey key = Open(mKey, "A\\B");
    ASSERT_EQ(WriteNumber(key, "n", 1), ERROR_SUCCESS);
    ASSERT_EQ(other.Ask(Order("delete", "A")), "0");
    EXPECT_EQ(TryOpen(mKey, "A"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Get(key, "n").lStatus, ERROR_KEY_DELETED);
    ASSERT_EQ(other.Ask(Order("create", "A\\B")), "0");
    EXPECT_EQ(Get(key, "n").lStatus, ERROR_KEY_DELETED);
    EXPECT_EQ(TryOpen(mKey, "A\\B"), ERROR_SUCCESS);
    EXPECT_EQ(SubKeys(mKey), std::vector<std::string>{"A"});
}

TEST_F(RegistryProcesses, ANumberThatOnlyGrowsIsNeverSeenToShrink)
{
    OtherProcess other("registry");
    DWORD ulLast = 0;
    for (DWORD ulRound = 0; ulRound < 5; ++ulRound)
    {
        const DWORD ulFrom = ulRound * 1000 + 1, ulTo = ulFrom + 999;
        ASSERT_EQ(WriteNumber(mKey, "n", ulFrom), ERROR_SUCCESS);
        other.Tell(Order("count", "", "n\t" + std::to_string(ulFrom) + "\t" + std::to_string(ulTo)));
        std::atomic<bool> bEnded{false};
        std::thread reader(
            [&]
            {
                while (!bEnded)
                {
                    const DWORD ulNow = ReadNumber(mKey, "n");
                    EXPECT_GE(ulNow, ulLast);
                    ulLast = ulNow;
                }
            });
        EXPECT_EQ(other.Answer(), "0");
        EXPECT_EQ(ReadNumber(mKey, "n"), ulTo); // it was told: no later than now
        bEnded = true;
        reader.join();
    }
}

TEST_F(RegistryProcesses, TwoProcessesCanWriteOneKey)
{
    OtherProcess other("registry");
    other.Tell(Order("count", "", "theirs\t1\t500"));
    for (DWORD i = 1; i <= 500; ++i)
    {
        ASSERT_EQ(WriteNumber(mKey, "ours", i), ERROR_SUCCESS);
        ASSERT_EQ(ReadNumber(mKey, "ours"), i);
    }
    EXPECT_EQ(other.Answer(), "0");
    EXPECT_EQ(ReadNumber(mKey, "theirs"), 500u);
    EXPECT_EQ(ReadNumber(mKey, "ours"), 500u);
}

TEST_F(RegistryProcesses, ManyThreadsReadAndWriteAtOnce)
{
    constexpr DWORD kulSteps = 300;
    constexpr int kiWriters = 2, kiReaders = 3;
    std::atomic<int> iWriting{kiWriters};
    std::vector<std::thread> threads;
    const auto nameOf = [](int iWriter) { return "n" + std::to_string(iWriter); };
    for (int i = 0; i < kiWriters; ++i) ASSERT_EQ(WriteNumber(mKey, nameOf(i).c_str(), 0), ERROR_SUCCESS);

    for (int i = 0; i < kiWriters; ++i)
        threads.emplace_back(
            [&, i]
            {
                for (DWORD ulStep = 1; ulStep <= kulSteps; ++ulStep)
                {
                    EXPECT_EQ(WriteNumber(mKey, nameOf(i).c_str(), ulStep), ERROR_SUCCESS);
                    EXPECT_EQ(ReadNumber(mKey, nameOf(i).c_str()), ulStep); // a thread sees what it has just written
                    const std::string sSub = "Sub" + std::to_string(i);
                    const OpenKey sub = Create(mKey, sSub.c_str());
                    EXPECT_EQ(WriteNumber(sub, "step", ulStep), ERROR_SUCCESS);
                    if (ulStep % 10 != 0) continue;
                    EXPECT_EQ(RegDeleteKeyA(mKey, sSub.c_str()), ERROR_SUCCESS);
                }
                --iWriting;
            });
    for (int i = 0; i < kiReaders; ++i)
        threads.emplace_back(
            [&]
            {
                DWORD aulLast[kiWriters] = {};
                while (iWriting > 0)
                    for (int w = 0; w < kiWriters; ++w)
                    {
                        const OpenKey key = Open(HKEY_LOCAL_MACHINE, msPath.c_str(), KEY_READ);
                        const DWORD ulNow = ReadNumber(key, nameOf(w).c_str());
                        EXPECT_GE(ulNow, aulLast[w]);
                        aulLast[w] = ulNow;
                        OpenKey sub;
                        const LSTATUS lStatus = RegOpenKeyExA(key, ("Sub" + std::to_string(w)).c_str(), 0, KEY_READ, sub.Put());
                        EXPECT_TRUE(lStatus == ERROR_SUCCESS || lStatus == ERROR_FILE_NOT_FOUND) << lStatus;
                        DWORD ulKeys = 0;
                        EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &ulKeys, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                   nullptr, nullptr),
                                  ERROR_SUCCESS);
                        EXPECT_LE(ulKeys, static_cast<DWORD>(kiWriters));
                    }
            });
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < kiWriters; ++i) EXPECT_EQ(ReadNumber(mKey, nameOf(i).c_str()), kulSteps);
}
} // namespace
