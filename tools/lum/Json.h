// Writes one JSON document in UTF-8: indented, or on one line.
#pragma once

#include <string>
#include <string_view>

namespace tool
{
class Json
{
public:
    enum class Shape { Indented, OneLine };
    explicit Json(Shape eShape = Shape::Indented) : meShape(eShape) {}

    // Each takes the member's name inside an object and an empty name inside an array.
    Json& BeginObject(std::string_view sName = {}) { return Begin(sName, '{'); }
    Json& BeginArray(std::string_view sName = {}) { return Begin(sName, '['); }
    Json& End();
    Json& Text(std::string_view sName, std::string_view sUtf8);
    Json& Raw(std::string_view sName, std::string_view sLiteral); // a number, true, false, null
    Json& Flag(std::string_view sName, bool b) { return Raw(sName, b ? "true" : "false"); }

    const std::string& Document() const { return msText; }

private:
    Json& Begin(std::string_view sName, char cOpen);
    void Place(std::string_view sName); // comma, line, indentation, name
    void Quote(std::string_view sUtf8);
    void Break();

    const Shape meShape;
    std::string msText;
    std::string msClosers; // of what is open, the innermost last
    bool mbEmpty = true;   // nothing stands yet in the innermost
};
} // namespace tool
