// The one main of every test program.
#include "OtherProcess.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    UseThrowAwayState(argv);
    if (RunsInRole(argc, argv)) return 0;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
