// The one main of every test program.
#include "TestEnvironment.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    UseThrowAwayState(argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
