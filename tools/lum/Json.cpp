#include "Json.h"

#include <cstdio>

namespace tool
{
Json& Json::Begin(std::string_view sName, char cOpen)
{
    Place(sName);
    msText += cOpen;
    msClosers += cOpen == '{' ? '}' : ']';
    mbEmpty = true;
    return *this;
}

Json& Json::End()
{
    const char cCloser = msClosers.back();
    msClosers.pop_back();
    if (!mbEmpty) Break();
    msText += cCloser;
    mbEmpty = false;
    return *this;
}

Json& Json::Text(std::string_view sName, std::string_view sUtf8)
{
    Place(sName);
    Quote(sUtf8);
    return *this;
}

Json& Json::Raw(std::string_view sName, std::string_view sLiteral)
{
    Place(sName);
    msText += sLiteral;
    return *this;
}

void Json::Break()
{
    if (meShape == Shape::Indented) msText.append(1, '\n').append(msClosers.size() * 2, ' ');
}

void Json::Place(std::string_view sName)
{
    if (msClosers.empty()) return; // the document itself
    if (!mbEmpty) msText += meShape == Shape::OneLine ? ", " : ",";
    mbEmpty = false;
    Break();
    if (msClosers.back() == ']') return;
    Quote(sName);
    msText += ": ";
}

void Json::Quote(std::string_view sUtf8)
{
    msText += '"';
    for (char c : sUtf8)
    {
        if (c == '"' || c == '\\') msText += '\\';
        if (static_cast<unsigned char>(c) >= 0x20)
        {
            msText += c;
            continue;
        }
        char aCode[8];
        std::snprintf(aCode, sizeof aCode, "\\u%04x", static_cast<unsigned>(c));
        msText += aCode;
    }
    msText += '"';
}
} // namespace tool
