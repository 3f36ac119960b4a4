// lum reg, as a user runs it.
#include "LumProgram.h"

namespace
{
class LumReg : public LumProgram
{
};

struct TypedValue
{
    const char* pType;
    std::vector<std::string> words;
    const char* pShown;    // by get
    const char* pTypeName; // by list
};

const TypedValue kTypedValues[] = {
    {"string", {"a text with \"quotes\" and \\"}, "a text with \"quotes\" and \\", "REG_SZ"},
    {"string", {""}, "", "REG_SZ"},
    {"expand", {"%PATH%"}, "%PATH%", "REG_EXPAND_SZ"},
    {"dword", {"4294967295"}, "4294967295", "REG_DWORD"},
    {"dword", {"0x1F"}, "31", "REG_DWORD"},
    {"qword", {"18446744073709551615"}, "18446744073709551615", "REG_QWORD"},
    {"binary", {"01,ff", "A0"}, "01 ff a0", "REG_BINARY"},
    {"multi", {"one", "two"}, "one\ntwo", "REG_MULTI_SZ"},
};

TEST_F(LumReg, GetPrintsWhatSetWroteForEveryType)
{
    for (const TypedValue& value : kTypedValues)
    {
        std::vector<std::string> words{"reg", "set", Key(), "v", "--type", value.pType, "--"};
        words.insert(words.end(), value.words.begin(), value.words.end());
        EXPECT_EQ(LumOutput(words), "");
        EXPECT_EQ(LumOutput({"reg", "get", Key(), "v"}), std::string(value.pShown) + "\n");
        EXPECT_NE(LumOutput({"reg", "list", Key()}).find(value.pTypeName), std::string::npos);
    }
}

TEST_F(LumReg, AnEmptyNameIsTheDefaultValue)
{
    LumOutput({"reg", "set", Key(), "", "the default"});
    EXPECT_EQ(LumOutput({"reg", "get", Key()}), "the default\n");
    EXPECT_EQ(LumOutput({"reg", "get", Key(), ""}), "the default\n");
}

TEST_F(LumReg, SlashesSeparateAsBackslashesDo)
{
    LumOutput({"reg", "set", "hklm/Software/LumBaseTests/Lum/Sub", "v", "1"});
    EXPECT_EQ(LumOutput({"reg", "get", Key("Sub"), "v"}), "1\n");
}

TEST_F(LumReg, ListShowsValuesAndSubkeys)
{
    LumOutput({"reg", "set", Key(), "n", "10", "-t", "dword"});
    LumOutput({"reg", "set", Key("Sub\\Deep"), "v", "1"});
    EXPECT_EQ(LumOutput({"reg", "list", Key()}),
              "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\n  n  REG_DWORD  10 (0xa)\n  Sub\\\n");
    EXPECT_EQ(LumOutput({"reg", "list", Key(), "--recursive"}),
              "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\n  n  REG_DWORD  10 (0xa)\n\n"
              "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\\Sub\n\n"
              "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\\Sub\\Deep\n  v  REG_SZ  1\n");
}

TEST_F(LumReg, ListAlignsTypesAndData)
{
    LumOutput({"reg", "set", Key(), "n", "1", "-t", "dword"});
    LumOutput({"reg", "set", Key(), "several", "one", "two", "-t", "multi"});
    EXPECT_EQ(LumOutput({"reg", "list", Key()}), "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\n"
                                                 "  n        REG_DWORD     1 (0x1)\n"
                                                 "  several  REG_MULTI_SZ  one\n"
                                                 "                         two\n");
}

TEST_F(LumReg, ListSpellsControlCharactersOutAndGetPrintsThemAsStored)
{
    LumOutput({"reg", "set", Key(), "v", "a\nb\x1b[31m"});
    EXPECT_EQ(LumOutput({"reg", "list", Key()}), "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\n  v  REG_SZ  a\\nb\\x1b[31m\n");
    EXPECT_EQ(LumOutput({"reg", "get", Key(), "v"}), "a\nb\x1b[31m\n");
}

TEST_F(LumReg, JsonHoldsTheSameData)
{
    LumOutput({"reg", "set", Key(), "m", "a", "b\"c", "-t", "multi"});
    LumOutput({"reg", "set", Key(), "n", "10", "-t", "dword"});
    EXPECT_EQ(LumOutput({"reg", "get", Key(), "m", "--json"}),
              "{\n  \"key\": \"HKEY_LOCAL_MACHINE\\\\Software\\\\LumBaseTests\\\\Lum\",\n  \"name\": \"m\",\n"
              "  \"type\": \"REG_MULTI_SZ\",\n  \"data\": [\n    \"a\",\n    \"b\\\"c\"\n  ]\n}\n");
    const std::string sList = LumOutput({"reg", "list", Key(), "--json"});
    EXPECT_NE(sList.find("\"data\": 10\n"), std::string::npos) << sList;
    EXPECT_NE(sList.find("\"subkeys\": []"), std::string::npos) << sList;
}

TEST_F(LumReg, WhatIsMissingIsTheAnswerNo)
{
    ExpectRefusal({"reg", "get", Key(), "v"}, 1, "there is no key HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum");
    ExpectRefusal({"reg", "list", Key()}, 1, "there is no key");
    ExpectRefusal({"reg", "list", Key(), "-r"}, 1, "there is no key");
    ExpectRefusal({"reg", "list", Key(), "-r", "--json"}, 1, "there is no key");
    ExpectRefusal({"reg", "delete", Key()}, 1, "there is no key");
    ExpectRefusal({"reg", "export", Key(), File("out.reg")}, 1, "there is no key");
    EXPECT_FALSE(std::filesystem::exists(File("out.reg")));
    LumOutput({"reg", "set", Key(), "a", "1"});
    ExpectRefusal({"reg", "get", Key(), "v"}, 1, "has no value v");
    ExpectRefusal({"reg", "delete", Key(), "v"}, 1, "has no value v");
}

TEST_F(LumReg, WrongWordsAreUsageErrorsAndChangeNothing)
{
    ExpectRefusal({"reg"}, 2, "subcommand");
    ExpectRefusal({"reg", "frobnicate", "x"}, 2, "no command 'frobnicate': it is one of list, get, set, delete, import, export");
    ExpectRefusal({"reg", "get"}, 2, "KEY is required");
    ExpectRefusal({"reg", "get", "Software\\x", "v"}, 2, "no root key has the name 'Software'");
    ExpectRefusal({"reg", "set", Key(), "v", "4294967296", "-t", "dword"}, 2, "is no number of 32 bits");
    ExpectRefusal({"reg", "set", Key(), "v", "12x", "-t", "dword"}, 2, "is no number of 32 bits");
    ExpectRefusal({"reg", "set", Key(), "v", "123", "-t", "binary"}, 2, "half a byte");
    ExpectRefusal({"reg", "set", Key(), "v", "zz", "-t", "binary"}, 2, "is no byte");
    ExpectRefusal({"reg", "set", Key(), "v", "a", "b"}, 2, "takes one VALUE");
    ExpectRefusal({"reg", "set", Key(), "v", "a", "-t", "colour"}, 2, "--type");
    ExpectRefusal({"reg", "set", "HKLM", "v", "a"}, 2, "root key");
    ExpectRefusal({"reg", "set", Key(), std::string(16384, 'n'), "a"}, 2, "has 16384 characters, the longest possible is 16383");
    ExpectRefusal({"reg", "set", Key(std::string(256, 'k')), "v", "a"}, 2, "has 256 characters, the longest possible is 255");
    ExpectRefusal({"reg", "delete", "HKLM", "--recursive"}, 2, "root key");
    ExpectRefusal({"reg", "get", Key()}, 1, "there is no key");
}

TEST_F(LumReg, DeleteTakesAValueOrAKeyAndSubkeysOnlyWhenAsked)
{
    LumOutput({"reg", "set", Key("Sub"), "a", "1"});
    LumOutput({"reg", "set", Key("Sub"), "b", "2"});
    LumOutput({"reg", "delete", Key("Sub"), "a"});
    ExpectRefusal({"reg", "get", Key("Sub"), "a"}, 1, "no value a");
    EXPECT_EQ(LumOutput({"reg", "get", Key("Sub"), "b"}), "2\n");

    ExpectRefusal({"reg", "delete", Key()}, 3, "--recursive");
    EXPECT_EQ(LumOutput({"reg", "get", Key("Sub"), "b"}), "2\n");
    LumOutput({"reg", "delete", Key(), "--recursive"});
    ExpectRefusal({"reg", "list", Key()}, 1, "there is no key");
}

// ---- import and export

TEST_F(LumReg, WhatIsExportedAndImportedAgainIsTheSameToTheByte)
{
    LumOutput({"reg", "set", Key(), "", "default"});
    LumOutput({"reg", "set", Key(), "multi", "one", "two", "-t", "multi"});
    LumOutput({"reg", "set", Key("Sub"), "number", "10", "-t", "dword"});
    LumOutput({"reg", "set", Key("Sub\\Deep"), "bytes", std::string(200, 'a'), "-t", "binary"});
    for (const char* pVersion : {"", "--version4"})
    {
        std::vector<std::string> words{"reg", "export", Key(), File("first.reg")};
        if (*pVersion) words.push_back(pVersion);
        LumOutput(words);
        LumOutput({"reg", "delete", Key(), "-r"});
        LumOutput({"reg", "import", File("first.reg")});
        words[3] = File("second.reg");
        LumOutput(words);
        const std::string sFirst = FileText(File("first.reg"));
        EXPECT_TRUE(sFirst.starts_with(*pVersion ? "REGEDIT4\r\n" : "\xFF\xFEW")) << sFirst.substr(0, 20);
        EXPECT_GT(sFirst.size(), 500u);
        ExpectSameFiles(File("second.reg"), File("first.reg"));
    }
}

TEST_F(LumReg, ImportDoesWhatEveryLineSays)
{
    LumOutput({"reg", "set", Key(), "gone", "1"});
    LumOutput({"reg", "set", Key(), "stays", "1"});
    LumOutput({"reg", "set", Key("Old\\Deep"), "v", "1"});
    WriteFileText(File("in.reg"), "REGEDIT4\r\n\r\n[" + Key() + "]\r\n\"gone\"=-\r\n\"new\"=dword:00000010\r\n\"never was\"=-\r\n"
                                  "[-" + Key("Old") + "]\r\n[-" + Key("Never was") + "]\r\n[" + Key("New") + "]\r\n@=\"x\"\r\n");
    LumOutput({"reg", "import", File("in.reg")});
    EXPECT_EQ(LumOutput({"reg", "list", Key(), "-r"}),
              "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\n  new    REG_DWORD  16 (0x10)\n  stays  REG_SZ     1\n\n"
              "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\\New\n  (default)  REG_SZ  x\n");
}

TEST_F(LumReg, AnImportWithABadLineNamesItAndChangesNothing)
{
    LumOutput({"reg", "set", Key(), "v", "old"});
    WriteFileText(File("bad.reg"), "REGEDIT4\r\n\r\n[" + Key() + "]\r\n\"v\"=\"new\"\r\n[" + Key("New") + "]\r\n\"w\"=dwrd:1\r\n");
    ExpectRefusal({"reg", "import", File("bad.reg")}, 3, "bad.reg, line 6: found 'dwrd:1', expected");
    EXPECT_EQ(LumOutput({"reg", "list", Key(), "-r"}), "HKEY_LOCAL_MACHINE\\Software\\LumBaseTests\\Lum\n  v  REG_SZ  old\n");
}

TEST_F(LumReg, AFileThatCannotBeReadIsAFailureWithTheSystemsReason)
{
    ExpectRefusal({"reg", "import", File("none.reg")}, 3, "(2)");
    ExpectRefusal({"reg", "import", File("")}, 3, "failed: ");
}

TEST_F(LumReg, AnExportThatFailsLeavesNoFileAndNoHalfOfOne)
{
    LumOutput({"reg", "set", Key(), "v", "1"});
    ExpectRefusal({"reg", "export", Key(), File("none/out.reg")}, 3, "(3)");

    std::filesystem::create_directory(File("out.reg"));
    ExpectRefusal({"reg", "export", Key(), File("out.reg")}, 3, "failed: ");
    EXPECT_TRUE(std::filesystem::is_directory(File("out.reg")));
    ExpectNothingUnfinished();
}

TEST_F(LumReg, AnExportReplacesAnEarlierOne)
{
    LumOutput({"reg", "set", Key(), "v", "1"});
    WriteFileText(File("out.reg"), std::string(100000, 'x'));
    LumOutput({"reg", "export", Key(), File("out.reg")});
    EXPECT_LT(FileText(File("out.reg")).size(), 1000u);
    ExpectNothingUnfinished();
}

TEST_F(LumReg, NamesOfTheGreatestLengthPassThroughAFile)
{
    const std::string sName(16383, 'n'), sLevel(255, 'k');
    WriteFileText(File("in.reg"), "REGEDIT4\r\n[" + Key(sLevel) + "]\r\n\"" + sName + "\"=\"long\"\r\n");
    LumOutput({"reg", "import", File("in.reg")});
    LumOutput({"reg", "export", Key(sLevel), File("out.reg"), "--version4"});
    EXPECT_NE(FileText(File("out.reg")).find("\"" + sName + "\"=\"long\"\r\n"), std::string::npos);
}

TEST_F(LumReg, TheExampleInstrumentIsExportedAsItWasWritten)
{
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Tarvek");
    LumOutput({"reg", "import", LUM_EXAMPLES "/cedar.reg"});
    LumOutput({"reg", "export", "HKLM\\Software\\Tarvek", File("out.reg")});
    ExpectSameFiles(File("out.reg"), LUM_EXAMPLES "/cedar.reg");
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Tarvek");
}

// ---- lum itself

TEST_F(LumReg, HelpAndVersionAreAnswers)
{
    EXPECT_NE(LumOutput({"--help"}).find("params"), std::string::npos);
    EXPECT_NE(LumOutput({"reg", "import", "--help"}).find("FILE"), std::string::npos);
    EXPECT_TRUE(LumOutput({"--version"}).starts_with("lum "));
    ExpectRefusal({}, 2, "subcommand");
    ExpectRefusal({"frobnicate"}, 2, "no command 'frobnicate': it is one of tour, reg, params, message");
}
} // namespace
