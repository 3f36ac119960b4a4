// The texts of the resource library, as the library's own strings and errors show them.
#include "OBase.h"
#include "OException.h"
#include "OString.h"

#include "Printers.h"

#include "../../resources/Messages.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
OString Wide(std::string_view sAscii) { return OString(std::string(sAscii).c_str()); }

// What a person reads: the id in place of its conversion.
OString Shown(const OMessage& message)
{
    std::string sText(message.sText);
    sText.replace(sText.find("%u"), 2, std::to_string(message.ulId));
    return Wide(sText);
}

TEST(MessageText, ExistsForEveryCode)
{
    for (const OMessage& message : kMessages)
    {
        OString sText;
        EXPECT_NE(sText.LoadStringA(message.ulId), 0) << message.sName;
        EXPECT_EQ(sText, Wide(message.sText)) << message.sName;
    }
}

TEST(MessageText, FormatsWithItsIdAndIsNotTooLong)
{
    for (const OMessage& message : kMessages)
    {
        OString sText;
        sText.Format(message.ulId, message.ulId);
        EXPECT_EQ(sText, Shown(message)) << message.sName;
        EXPECT_LE(sText.GetLength(), static_cast<int>(kulMaxMessageChars)) << message.sName;
    }
}

TEST(MessageText, IsWhatARaisedErrorCarries)
{
    OBase object;
    for (const OMessage& message : kMessages)
    {
        object.SetErrorBase(message.ulId - message.ulId % 500); // every error base is a multiple of 500
        OString sCaught;
        try
        {
            object.Raise(message.ulId % 500);
        }
        catch (OAppException* pException)
        {
            sCaught = pException->mText;
            pException->Delete();
        }
        EXPECT_EQ(sCaught, Shown(message)) << message.sName;
    }
}

TEST(MessageText, IsMissingForTheNumbersBetween)
{
    for (unsigned int ulId : {0u, 1u, 5501u, 9004u, 12004u, 17503u, 19001u, 19002u, 19012u, 27500u, 27501u, 34000u, 34015u, 65535u})
    {
        OString sText;
        EXPECT_EQ(sText.LoadStringA(ulId), 0) << ulId;
        EXPECT_TRUE(sText.IsEmpty()) << ulId;
    }
}
} // namespace
