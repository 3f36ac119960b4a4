// lum crypt: files encrypted, decrypted, signed and verified.
#include "Commands.h"
#include "CryptWork.h"
#include "Json.h"
#include "Text.h"
#include "UserKeys.h"
#include "Verb.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <optional>

namespace tool
{
struct CryptWords
{
    std::string sSource, sTarget;
    PasswordWords password;
    bool bAsk = false, bJson = false;
};

// ---- encrypt, decrypt

static void Crypt(CryptWay eWay, const CryptWords& words)
{
    std::optional<Secret> password;
    if (words.bAsk || words.password.IsGiven())
        password.emplace(words.password.Read(eWay == CryptWay::Encrypt ? PasswordWords::Kind::New : PasswordWords::Kind::Known));
    CryptFile(eWay, words.sSource, words.sTarget, password ? &*password : nullptr);
}

static void Encrypt(const CryptWords& words) { Crypt(CryptWay::Encrypt, words); }
static void Decrypt(const CryptWords& words) { Crypt(CryptWay::Decrypt, words); }

// ---- sign, verify

static std::string SignatureOf(const CryptWords& words) { return words.sTarget.empty() ? words.sSource + ".sig" : words.sTarget; }

static void Sign(const CryptWords& words) { SignFileTo(words.sSource, SignatureOf(words)); }

static void Verify(const CryptWords& words)
{
    const bool bMatches = SignatureMatches(words.sSource, SignatureOf(words));
    if (words.bJson)
    {
        Json json;
        json.BeginObject()
            .Text("file", Utf8(words.sSource))
            .Text("signature", Utf8(SignatureOf(words)))
            .Flag("matches", bMatches)
            .End();
        Print(json.Document());
    }
    else
        Print(Visible(words.sSource) + ": " +
              Inked(bMatches ? Ink::Green : Ink::Red, bMatches ? "signature matches" : "signature does not match"));
    if (!bMatches) throw Stop(kAnswerIsNo, "");
}

// ---- algorithms

struct AlgorithmClass
{
    ALG_ID uClass;
    const char* pName;
};
static constexpr AlgorithmClass kClasses[] = {{ALG_CLASS_HASH, "hash"},
                                              {ALG_CLASS_SIGNATURE, "signature"},
                                              {ALG_CLASS_DATA_ENCRYPT, "encryption"},
                                              {ALG_CLASS_KEY_EXCHANGE, "exchange"}};

static const char* ClassName(ALG_ID uAlgorithm)
{
    for (const AlgorithmClass& row : kClasses)
        if (row.uClass == GET_ALG_CLASS(uAlgorithm)) return row.pName;
    return "other";
}

static void ShowAlgorithms(const CryptWords& words)
{
    HCRYPTPROV hProvider = 0;
    if (!CryptAcquireContextA(&hProvider, nullptr, MS_DEF_PROV_A, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT))
        throw CryptFailure("opening the system's cryptography", GetLastError());
    Json json;
    json.BeginArray();
    if (!words.bJson) Print(Inked(Ink::Bold, Format("%-16s %-12s %6s  %s", "Algorithm", "Kind", "Bits", "Number")));
    PROV_ENUMALGS record{};
    for (DWORD ulFlags = CRYPT_FIRST, ulBytes = sizeof record;
         CryptGetProvParam(hProvider, PP_ENUMALGS, reinterpret_cast<BYTE*>(&record), &ulBytes, ulFlags);
         ulFlags = 0, ulBytes = sizeof record)
    {
        const std::string sName(record.szName, std::find(record.szName, std::end(record.szName), 0));
        if (words.bJson)
            json.BeginObject()
                .Text("name", Utf8(sName))
                .Text("kind", ClassName(record.aiAlgid))
                .Raw("bits", std::to_string(record.dwBitLen))
                .Text("number", Format("0x%04X", record.aiAlgid))
                .End();
        else
            Print(Format("%-16s %-12s %6u  0x%04X", sName.c_str(), ClassName(record.aiAlgid),
                         static_cast<unsigned>(record.dwBitLen), record.aiAlgid));
    }
    const DWORD ulError = GetLastError();
    CryptReleaseContext(hProvider, 0);
    if (ulError != ERROR_NO_MORE_ITEMS) throw CryptFailure("listing the algorithms", ulError);
    json.End();
    if (words.bJson) Print(json.Document());
}

// ---- the words

static CLI::App* AddCryptVerb(CLI::App* pCrypt, CryptWords& words, const char* pName, const char* pHelp,
                              void (*pDo)(const CryptWords&))
{
    CLI::App* pVerb = AddVerb(pCrypt, words, pName, pHelp, pDo);
    pVerb->add_option("SRC", words.sSource, "the file to read")->required();
    pVerb->add_option("DST", words.sTarget, "the file to write or replace, once it is complete")->required();
    CLI::Option* pAsk = pVerb->add_flag("--password", words.bAsk, "with a password, which is asked for");
    words.password.AddFile(pVerb)->excludes(pAsk);
    return pVerb;
}

static CLI::App* AddSignVerb(CLI::App* pCrypt, CryptWords& words, const char* pName, const char* pHelp,
                             void (*pDo)(const CryptWords&))
{
    CLI::App* pVerb = AddVerb(pCrypt, words, pName, pHelp, pDo);
    pVerb->add_option("SRC", words.sSource, "the file")->required();
    pVerb->add_option("SIG", words.sTarget, "its signature; SRC.sig unless named");
    return pVerb;
}

void AddCryptCommands(CLI::App& app)
{
    static CryptWords words;
    CLI::App* pCrypt = app.add_subcommand("crypt", "Encrypt, decrypt, sign and verify files");
    pCrypt->require_subcommand(1);
    pCrypt->footer(
        "THIS IS WEAK: keys have 40 bits, whatever the password, and signatures are made over MD5. It keeps a file from a\n"
        "passing glance and tells whether it was damaged or carelessly edited; whoever wants to read or forge it can, within\n"
        "hours. It is there for the suite's files, on both systems (docs/format_crypt.md). Secrets need another tool.");

    AddCryptVerb(pCrypt, words, "encrypt", "Encrypt a file: with a password, or for your own exchange pair (lum crypt keys)",
                 Encrypt);
    AddCryptVerb(pCrypt, words, "decrypt", "Decrypt one; with another password than it was made with, what comes out is garbage",
                 Decrypt);
    AddSignVerb(pCrypt, words, "sign", "Sign a file with your signature pair (lum crypt keys)", Sign);
    AddSignVerb(pCrypt, words, "verify", "Tell whether a file is as it was when you signed it; exit status 1 when it is not",
                Verify)
        ->add_flag("--json", words.bJson, "as JSON");
    AddCryptKeysVerbs(pCrypt);
    AddVerb(pCrypt, words, "algorithms", "Show what the system's cryptography can do", ShowAlgorithms)
        ->add_flag("--json", words.bJson, "as JSON");
}
} // namespace tool
