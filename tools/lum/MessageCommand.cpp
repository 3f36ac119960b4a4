// lum message: the text of a code, from LumRes.dll.
#include "OBase.h"

#include "Commands.h"
#include "Console.h"
#include "Json.h"
#include "MessageText.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <vector>

namespace tool
{
std::optional<std::u16string> MessageText(unsigned int uId)
{
    constexpr ULONG kulUnits = 512; // a text has at most 256, its id included
    unsigned short aText[kulUnits] = {};
    OBase base;
    if (!base.LoadStringA(uId, aText, kulUnits - 1)) return std::nullopt;
    OString sText;
    base.BuildErrorString(uId, sText, nullptr, nullptr, nullptr);
    return std::u16string(reinterpret_cast<const char16_t*>(static_cast<const unsigned short*>(sText)),
                          static_cast<size_t>(sText.GetLength()));
}

static void CheckResourceLibrary()
{
    const HMODULE hModule = LoadLibraryA("LumRes.dll");
    if (!hModule)
    {
        const DWORD ulError = GetLastError();
        throw Stop(kFailure, "the message texts cannot be read: loading LumRes.dll failed: " + SystemText(ulError) +
                                 " (it belongs beside the program or the library)");
    }
    FreeLibrary(hModule);
}

struct MessageWords
{
    std::vector<unsigned int> ids;
    bool bJson = false;
};

static void ShowMessages(const MessageWords& words)
{
    CheckResourceLibrary();
    Json json;
    json.BeginArray();
    std::string sMissing;
    for (unsigned int uId : words.ids)
    {
        const auto sText = MessageText(uId);
        if (!sText) sMissing += (sMissing.empty() ? "" : ", ") + std::to_string(uId);
        if (words.bJson)
        {
            json.BeginObject().Raw("id", std::to_string(uId));
            if (sText) json.Text("text", Utf8(*sText));
            else json.Raw("text", "null");
            json.End();
        }
        else if (sText) Print(Narrow(*sText));
    }
    json.End();
    if (words.bJson) Print(json.Document());
    if (!sMissing.empty()) throw Stop(kAnswerIsNo, "LumRes.dll has no text for " + sMissing);
}

void AddMessageCommand(CLI::App& app)
{
    static MessageWords words;
    CLI::App* pMessage = app.add_subcommand("message", "Print the text that belongs to an error code");
    pMessage->add_option("ID", words.ids, "one code or several, such as 19004")->required();
    pMessage->add_flag("--json", words.bJson, "as JSON");
    pMessage->callback([] { ShowMessages(words); });
}
} // namespace tool
