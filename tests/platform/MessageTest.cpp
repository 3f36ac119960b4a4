// Message boxes that the program shows itself.
#include "Platform.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
std::string gsShown;

int Show(const char* pText, const char* pCaption)
{
    gsShown += std::string(pCaption) + ": " + pText + "\n";
    return IDCANCEL;
}
} // namespace

TEST(Message, GoesToTheHookAndReturnsItsAnswer)
{
    gsShown.clear();
    LumSetMessageHook(Show);
    EXPECT_EQ(LumMessageBox("the lamp is out", "ERROR"), IDCANCEL);
    EXPECT_EQ(LumMessageBox("two\nlines", "Note"), IDCANCEL);
    LumSetMessageHook(nullptr);
    EXPECT_EQ(gsShown, "ERROR: the lamp is out\nNote: two\nlines\n");
}
