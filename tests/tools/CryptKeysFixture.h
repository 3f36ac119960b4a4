// lum with no key pairs at first, and none afterwards.
#pragma once

#include "LumProgram.h"
#include "Wine.h"

#include <cstdlib>

class LumKeys : public LumProgram
{
protected:
    void SetUp() override
    {
        // The tests' state is thrown away, and so are Wine's folders. Elsewhere the pairs are somebody's.
        mbOwn = RunsUnderWine() || std::getenv("LUMBASE_TEST_STATE");
        if (mbOwn)
            Lum({"crypt", "keys", "remove", "--yes"});
        else if (Lum({"crypt", "keys", "show"}).iStatus == 0)
            GTEST_SKIP() << "this user has key pairs, which are not for tests";
        else
            mbOwn = true;
    }
    void TearDown() override
    {
        if (mbOwn) Lum({"crypt", "keys", "remove", "--yes"});
    }

    // Of 1,024 bits: more is too much for an exchange pair of Wine's.
    static std::string MakePairs() { return LumOutput({"crypt", "keys", "create", "--bits", "1024"}); }

private:
    bool mbOwn = false;
};
