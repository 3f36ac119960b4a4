// lum login: the protected record of the account that programs work as.
#include "Commands.h"
#include "Console.h"
#include "Json.h"
#include "LoginRecord.h"
#include "Text.h"
#include "Verb.h"

#include <CLI/CLI.hpp>

#include <iterator>

namespace tool
{
struct LoginWords
{
    std::string sFile, sUser, sDomain;
    PasswordWords password;
    bool bDisabled = false, bShowPassword = false, bJson = false;
};

static std::u16string_view UnitsOf(const unsigned short* pText)
{
    const auto* pUnits = reinterpret_cast<const char16_t*>(pText);
    return {pUnits, std::char_traits<char16_t>::length(pUnits)};
}

// ---- protect

template <size_t uUnits>
static void Fill(unsigned short (&awcText)[uUnits], const char* pText, const char* pWhat)
{
    if (MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, pText, -1, AsWide(awcText), static_cast<int>(uUnits))) return;
    if (GetLastError() == ERROR_INSUFFICIENT_BUFFER)
        throw Stop(kUsage,
                   Format("%s is too long: a login record has room for %d characters", pWhat, static_cast<int>(uUnits - 1)));
    throw Stop(kUsage, Format("%s is not valid text in the system's code page", pWhat));
}

static void Protect(const LoginWords& words)
{
    if (words.sUser.empty()) throw Stop(kUsage, "the user's name is empty");
    Login login;
    Fill(login.awcText1, words.sUser.c_str(), "the user's name");
    Fill(login.awcText2, words.sDomain.c_str(), "the domain's name");
    login.ulFlag = !words.bDisabled;
    {
        Secret password = words.password.Read(PasswordWords::Kind::New);
        Fill(login.awcText3, password.Data(), "the password");
    }
    WriteLoginRecord(words.sFile, login);
    Print(Visible(words.sFile) + ": login of " + Visible(words.sUser) + " written, for you alone to read");
}

// ---- reveal

static void RevealAsJson(const Login& login, bool bPassword)
{
    Json json;
    json.BeginObject().Text("user", Utf8(UnitsOf(login.awcText1))).Text("domain", Utf8(UnitsOf(login.awcText2)));
    if (bPassword) json.Text("password", Utf8(UnitsOf(login.awcText3)));
    json.Flag("enabled", login.ulFlag).End();
    Print(json.Document());
}

static void Reveal(const LoginWords& words)
{
    const Secret bytes = ReadLoginRecord(words.sFile);
    const std::string sTrouble = LoginRecordTrouble(bytes);
    if (!sTrouble.empty()) throw Stop(kFailure, words.sFile + " " + sTrouble);
    Login login;
    GatherLogin(bytes, login);
    if (words.bJson) return RevealAsJson(login, words.bShowPassword);

    const auto line = [](const char* pName, const std::string& sText) { Print(Format("%-10s", pName) + sText); };
    line("User", Visible(Narrow(UnitsOf(login.awcText1))));
    line("Domain", Visible(Narrow(UnitsOf(login.awcText2))));
    if (words.bShowPassword) line("Password", Visible(Narrow(UnitsOf(login.awcText3))));
    line("Enabled", login.ulFlag ? "yes" : "no");
}

// ---- check

static bool IsMissing(const std::string& sPath)
{
    if (GetFileAttributesA(sPath.c_str()) != INVALID_FILE_ATTRIBUTES) return false;
    const DWORD ulError = GetLastError();
    return ulError == ERROR_FILE_NOT_FOUND || ulError == ERROR_PATH_NOT_FOUND;
}

static void Check(const LoginWords& words)
{
    const std::string sTrouble = IsMissing(words.sFile) ? "does not exist" : LoginRecordTrouble(ReadLoginRecord(words.sFile));
    const bool bWhole = sTrouble.empty();
    if (words.bJson)
    {
        Json json;
        json.BeginObject().Text("file", Utf8(words.sFile)).Flag("whole", bWhole);
        if (!bWhole) json.Text("trouble", Utf8(sTrouble));
        json.End();
        Print(json.Document());
    }
    else
        Print(Visible(words.sFile) + ": " + Inked(bWhole ? Ink::Green : Ink::Red, bWhole ? "is a whole login record" : sTrouble));
    if (!bWhole) throw Stop(kAnswerIsNo, "");
}

// ---- the words

static CLI::App* AddRecordVerb(CLI::App* pLogin, LoginWords& words, const char* pName, const char* pHelp,
                               void (*pDo)(const LoginWords&))
{
    CLI::App* pVerb = AddVerb(pLogin, words, pName, pHelp, pDo);
    pVerb->add_option("FILE", words.sFile, "the record, such as security/user.dat of a run directory")->required();
    return pVerb;
}

void AddLoginCommands(CLI::App& app)
{
    static LoginWords words;
    CLI::App* pLogin = app.add_subcommand("login", "Write, show and check the record of the account that programs work as");
    pLogin->require_subcommand(1);
    pLogin->footer(
        "The record is scattered among random letters and not encrypted: it hides a password from a passing glance and from\n"
        "nobody else. What protects it is who may read the file, and that is its owner alone.");

    CLI::App* pProtect = AddRecordVerb(pLogin, words, "protect", "Write a record; the password is asked for", Protect);
    pProtect->add_option("--user,-u", words.sUser, "the account's name")->required();
    pProtect->add_option("--domain,-d", words.sDomain, "its domain; none on Linux");
    pProtect->add_flag("--disabled", words.bDisabled, "programs are not to work as this account for now");
    words.password.AddFile(pProtect);

    CLI::App* pReveal = AddRecordVerb(pLogin, words, "reveal", "Show a record's user, its domain, and whether it is enabled", Reveal);
    pReveal->add_flag("--show-password", words.bShowPassword, "the password too");
    pReveal->add_flag("--json", words.bJson, "as JSON");

    CLI::App* pCheck =
        AddRecordVerb(pLogin, words, "check", "Tell whether a file is a whole login record; exit status 1 when it is not", Check);
    pCheck->add_flag("--json", words.bJson, "as JSON");
}
} // namespace tool
