// The interfaces of compound files against a tree in memory: scripts of calls at random, in every mode. Linux only: Wine answers
// otherwise in places, each of which is told in IStorageTest.cpp and its neighbours.
#include "GoldenStorage.h"
#include "StorageCalls.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <random>

namespace
{
void RunAtRandom(const std::vector<BYTE>& file, unsigned uScripts)
{
    const TempFolder folder;
    StorageCalls calls(folder.Path());
    for (unsigned uSeed = 1; uSeed <= uScripts; ++uSeed)
    {
        std::mt19937 random(uSeed);
        BYTE aubScript[StorageCalls::kulMostSteps * StorageCalls::kulStepBytes];
        for (BYTE& ubByte : aubScript) ubByte = static_cast<BYTE>(random());
        const BYTE ubMode = static_cast<BYTE>(uSeed | (uSeed % 3 == 0 ? 0x80 : 0));
        ASSERT_EQ(calls.Run(file, ubMode, aubScript, sizeof aubScript), "") << uSeed;
    }
}

TEST(StorageCalls, ANewFileHoldsWhatWasPutIn) { RunAtRandom({}, 120); }

TEST(StorageCalls, FilesOfOthersHoldWhatWasPutIn)
{
    for (const char* pName : {"gsf.cfb", "wine.cfb", "small-sectors.cfb", "large-sectors.cfb"})
        RunAtRandom(GoldenStorage(pName), 20);
}
} // namespace
