// lum without a standard input. On Windows alone: there, who starts a program may give it none.
#include "LumProgram.h"

using LumClosedInput = LumProgram;

TEST_F(LumClosedInput, IsAFailureAndNothingIsPut)
{
    ExpectRefusal({"storage", "put", File("new.cfb"), "Notes"}, 3, "reading the standard input failed");
    EXPECT_FALSE(std::filesystem::exists(File("new.cfb")));
    ExpectNothingUnfinished();
}
