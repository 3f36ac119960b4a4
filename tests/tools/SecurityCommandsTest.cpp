// lum security, as a user runs it.
#include "LumProgram.h"
#include "Wine.h"

namespace
{
class LumSecurity : public LumProgram
{
protected:
    ~LumSecurity() override { Lum({"security", "unregister"}); }

    static std::string Answer(const std::vector<std::string>& words, int iStatus)
    {
        const ProgramResult result = Lum(words);
        EXPECT_EQ(result.iStatus, iStatus) << result.sErr;
        return result.sOut;
    }
    static std::string Whole(const std::string& sPath)
    {
        char acPath[MAX_PATH] = "";
        GetFullPathNameA(sPath.c_str(), MAX_PATH, acPath, nullptr);
        return acPath;
    }

    const std::string msServer = Whole(LUM_TEST_SECURITY);
};
} // namespace

TEST_F(LumSecurity, RegistersAModuleTellsOfItAndTakesItBack)
{
    EXPECT_EQ(Answer({"security", "status"}, 1), "no security server is registered\n");
    EXPECT_EQ(LumOutput({"security", "register", msServer}), "registered " + msServer + "\n");
    EXPECT_EQ(LumOutput({"security", "status"}), "registered " + msServer + "\n");
    const std::string sJson = LumOutput({"security", "status", "--json"});
    EXPECT_NE(sJson.find("\"works\": true"), std::string::npos) << sJson;
    EXPECT_EQ(LumOutput({"security", "unregister"}), "no security server is registered any more\n");
    EXPECT_EQ(Answer({"security", "status"}, 1), "no security server is registered\n");
    ExpectRefusal({"security", "unregister"}, 1, "no security server is registered");
}

TEST_F(LumSecurity, WhatIsNoServerIsNotRegistered)
{
    ExpectRefusal({"security", "register", File("nothing.dll")}, 3, "is no security server: ");
    EXPECT_EQ(Answer({"security", "status"}, 1), "no security server is registered\n");

    LumOutput({"security", "register", msServer});
    WriteFileText(File("text.dll"), "not a module\n");
    ExpectRefusal({"security", "register", File("text.dll")}, 3, "is no security server: ");
    ExpectRefusal({"security", "register", Whole(LUM_TEST_LIBRARY)}, 3, "is no security server: ");
    EXPECT_EQ(LumOutput({"security", "status"}), "registered " + msServer + "\n"); // still
}

TEST_F(LumSecurity, AServerThatIsGoneIsTheAnswerNo)
{
    const std::string sCopy = Whole(File("server.dll"));
    std::filesystem::copy_file(msServer, sCopy);
    LumOutput({"security", "register", sCopy});
    std::filesystem::remove(sCopy);
    EXPECT_NE(Answer({"security", "status"}, 1).find("registered " + sCopy + ", which does not work: "), std::string::npos);
    const std::string sJson = Answer({"security", "status", "--json"}, 1);
    EXPECT_NE(sJson.find("\"registered\": true"), std::string::npos) << sJson;
    EXPECT_NE(sJson.find("\"works\": false"), std::string::npos) << sJson;
}

TEST_F(LumSecurity, TheModuleThatComesWithItNeedsNoName)
{
    if (std::string(LUM_TEST_SECURITY_NAME).empty()) ExpectRefusal({"security", "register"}, 2, "MODULE is missing");
    else EXPECT_NE(LumOutput({"security", "register"}).find(LUM_TEST_SECURITY_NAME), std::string::npos);
}
