#include "StorageList.h"

#include "Json.h"
#include "StorageFile.h"
#include "Text.h"

#include <ctime>
#include <optional>
#include <utility>

namespace tool
{
// ---- sizes and times

static std::string Grouped(ULONGLONG ullNumber)
{
    std::string sText = std::to_string(ullNumber);
    for (size_t uAt = sText.size(); uAt > 3;) sText.insert(uAt -= 3, ",");
    return sText;
}

// Seconds since 1970; none for a time that nobody noted, or that is before.
static std::optional<long long> Seconds(const FILETIME& time)
{
    constexpr long long kllTo1970 = 11'644'473'600;
    const long long llSeconds =
        static_cast<long long>(static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime) / 10'000'000;
    if (llSeconds < kllTo1970) return std::nullopt;
    return llSeconds - kllTo1970;
}

static std::string LocalTime(const FILETIME& time)
{
    std::tm local{};
    char acText[32] = "";
    if (const auto llSeconds = Seconds(time); llSeconds && LumLocalTime(*llSeconds, &local))
        std::strftime(acText, sizeof acText, "%Y-%m-%d %H:%M", &local);
    return acText;
}

static void AddTime(Json& json, const char* pName, const FILETIME& time)
{
    const auto llSeconds = Seconds(time);
    if (!llSeconds) return;
    const std::time_t moment = *llSeconds;
    char acText[32] = "";
    if (const std::tm* const pUtc = std::gmtime(&moment)) std::strftime(acText, sizeof acText, "%Y-%m-%dT%H:%M:%SZ", pUtc);
    json.Text(pName, acText);
}

static std::string ClassText(const CLSID& clsid)
{
    if (IsEqualGUID(clsid, CLSID{})) return {};
    return Format("{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", static_cast<unsigned>(clsid.Data1), clsid.Data2,
                  clsid.Data3, clsid.Data4[0], clsid.Data4[1], clsid.Data4[2], clsid.Data4[3], clsid.Data4[4], clsid.Data4[5],
                  clsid.Data4[6], clsid.Data4[7]);
}

// ---- lines

static constexpr const char* kpColumns = "%15s  %-16s  %*s";

static void PrintElement(const StorageElement& element, const std::string& sName, size_t uDepth)
{
    std::string sLine = Format(kpColumns, element.bStorage ? "" : Grouped(element.ullBytes).c_str(),
                               LocalTime(element.modified).c_str(), static_cast<int>(2 * uDepth), "");
    sLine += !element.bStorage ? sName : Inked(Ink::Bold, sName) + (element.sName.empty() ? "" : "/");
    if (const std::string sClass = ClassText(element.clsid); !sClass.empty()) sLine += "  " + Inked(Ink::Faint, sClass);
    Print(sLine);
}

static void AddElement(Json& json, const StorageElement& element, const StoragePath& path)
{
    json.BeginObject().Text("path", Utf8(StorageName(path))).Text("name", Utf8(element.sName));
    json.Text("type", element.bStorage ? "storage" : "stream");
    if (!element.bStorage) json.Raw("size", std::to_string(element.ullBytes));
    AddTime(json, "created", element.created);
    AddTime(json, "modified", element.modified);
    if (const std::string sClass = ClassText(element.clsid); !sClass.empty()) json.Text("class", sClass);
    json.End();
}

// ---- the walk

class StorageLister
{
public:
    StorageLister(StorageFile& file, Json* pJson) : mFile(file), mpJson(pJson) {}

    void Show(const StorageElement& element, const StoragePath& path, size_t uDepth)
    {
        if (mpJson) return AddElement(*mpJson, element, path);
        PrintTitle();
        PrintElement(element, StorageName(element.sName), uDepth);
    }

    void ShowFile(const StorageElement& root, const std::string& sName)
    {
        PrintTitle();
        PrintElement(root, sName, 0);
    }

    void Walk(IStorage* pStorage, const StoragePath& path, size_t uDepth)
    {
        for (const StorageElement& element : mFile.ElementsOf(pStorage, path))
        {
            StoragePath below = path;
            below.push_back(element.sName);
            Show(element, below, uDepth);
            if (element.bStorage) Walk(mFile.OpenStorage(pStorage, below), below, uDepth + 1);
        }
    }

private:
    // Before the first line, so that a path that leads nowhere gives none.
    void PrintTitle()
    {
        if (!std::exchange(mbTitled, true)) Print(Inked(Ink::Faint, Format(kpColumns, "Size", "Modified", 0, "") + "Name"));
    }

    StorageFile& mFile;
    Json* const mpJson;
    bool mbTitled = false;
};

template <class Interface>
static StorageElement Described(Interface* pObject, const std::u16string& sName, bool bStorage, const std::string& sShown)
{
    STATSTG stat{};
    const HRESULT hResult = pObject->Stat(&stat, STATFLAG_NONAME);
    if (FAILED(hResult)) throw StorageFailure("reading " + sShown, hResult);
    return {sName, bStorage, bStorage ? 0 : stat.cbSize.QuadPart, stat.ctime, stat.mtime, stat.clsid, stat.grfStateBits};
}

// What the path leads to: a line for it, and all that is in it.
static void ListBelow(StorageFile& file, const StoragePath& path, StorageLister& lister)
{
    IStorage* const pParent = file.GoTo(StoragePath(path.begin(), path.end() - 1));
    if (file.Find(pParent, path) == StorageFile::Kind::Stream)
        return lister.Show(Described<IStream>(file.OpenStream(path), path.back(), false, file.Shown(path)), path, 0);
    IStorage* const pStorage = file.GoTo(path);
    lister.Show(Described(pStorage, path.back(), true, file.Shown(path)), path, 0);
    lister.Walk(pStorage, path, 1);
}

void ListStorage(const std::string& sFile, const StoragePath& path, bool bJson)
{
    StorageFile file(sFile, StorageFile::For::Reading);
    const ULONG ulSectorBytes = SectorBytesOf(sFile);
    const StorageElement root = Described(file.Root(), u"", true, file.Shown({}));
    Json json;
    StorageLister lister(file, bJson ? &json : nullptr);
    if (bJson)
    {
        json.BeginObject().Text("file", Utf8(sFile)).Raw("sectorSize", std::to_string(ulSectorBytes));
        if (const std::string sClass = ClassText(root.clsid); !sClass.empty()) json.Text("class", sClass);
        json.BeginArray("elements");
    }
    else if (path.empty())
        lister.ShowFile(root, Format("%s (sectors of %u bytes)", Visible(sFile).c_str(), static_cast<unsigned>(ulSectorBytes)));
    if (path.empty())
        lister.Walk(file.Root(), path, 1);
    else
        ListBelow(file, path, lister);
    if (bJson) Print(json.End().End().Document());
}
} // namespace tool
