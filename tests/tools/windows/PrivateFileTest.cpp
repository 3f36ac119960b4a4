// Who may read what lum writes for its user alone. On Windows alone: there, lists of access say so.
#include "LumProgram.h"
#include "Wine.h"

#include <aclapi.h>
#include <sddl.h>

namespace
{
class LumPrivateFile : public LumProgram
{
protected:
    // The list of a file, with what it says of inheritance.
    static std::string AccessTo(const std::string& sPath)
    {
        PSECURITY_DESCRIPTOR pDescriptor = nullptr;
        char* pText = nullptr;
        std::string sResult;
        if (GetNamedSecurityInfoA(sPath.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr,
                                  &pDescriptor) == 0 &&
            ConvertSecurityDescriptorToStringSecurityDescriptorA(pDescriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &pText,
                                                                 nullptr))
            sResult = pText;
        LocalFree(pText);
        LocalFree(pDescriptor);
        return sResult;
    }
};

TEST_F(LumPrivateFile, ALoginRecordIsNotForEverybody)
{
    WriteFileText(File("password"), "geheim");
    WriteFileText(File("user.dat"), "readable for everybody");
    LumOutput({"login", "protect", File("user.dat"), "--user", "meier", "--password-file", File("password")});
    // Wine keeps a file's list in its Unix mode, which knows the owner and everybody. It gives the others' part to every new file.
    const std::string sEverybody = ";;;WD)", sAccess = AccessTo(File("user.dat"));
    if (RunsUnderWine())
        EXPECT_NE(AccessTo(File("password")).find(sEverybody), std::string::npos);
    else
        EXPECT_EQ(sAccess, "D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)");
    EXPECT_NE(sAccess, "");
    EXPECT_EQ(sAccess.find(sEverybody), std::string::npos) << sAccess;
    EXPECT_EQ(FileText(File("user.dat")).size(), 20'000u); // for its owner it is
}

TEST_F(LumPrivateFile, AReplacedFileKeepsWhoMayReadIt)
{
    WriteFileText(File("password"), "geheim");
    const auto encrypted = [&](const char* pName)
    {
        LumOutput({"crypt", "encrypt", File("password"), File(pName), "--password-file", File("password")});
        EXPECT_EQ(FileText(File(pName)).size(), 6u);
        return AccessTo(File(pName));
    };
    LumOutput({"login", "protect", File("user.dat"), "--user", "meier", "--password-file", File("password")});
    const std::string sPrivate = AccessTo(File("user.dat")), sUsual = AccessTo(File("password"));
    EXPECT_NE(sPrivate, sUsual);
    EXPECT_EQ(encrypted("user.dat"), sPrivate);
    EXPECT_EQ(encrypted("new"), sUsual);
    EXPECT_EQ(encrypted("new"), sUsual);
}
} // namespace
