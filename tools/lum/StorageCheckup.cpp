#include "StorageCheckup.h"

#include "FileBytes.h"
#include "Json.h"
#include "Patience.h"
#include "PlatformPrivate.h"
#include "StorageFile.h"
#include "Text.h"

#include <algorithm>
#include <optional>

namespace tool
{
namespace
{
struct Damage
{
    std::string sWhere, sWhat; // UTF-8
};

class Checkup
{
public:
    explicit Checkup(const std::string& sFile) : msWhat("checking " + Visible(sFile)) {}

    static void Tell(void* pContext, const char* pWhere, const char* pWhat)
    {
        static_cast<Checkup*>(pContext)->mDamage.push_back({pWhere, pWhat});
    }
    static void At(void* pContext, ULONGLONG ullDone, ULONGLONG ullBytes)
    {
        constexpr ULONGLONG kullLong = 100'000'000; // bytes from which on it takes long enough
        auto& self = *static_cast<Checkup*>(pContext);
        if (ullBytes < kullLong) return;
        if (!self.mProgress) self.mProgress.emplace(self.msWhat, static_cast<size_t>(ullBytes));
        self.mProgress->At(static_cast<size_t>(ullDone));
    }

    HRESULT Run(const std::string& sFile)
    {
        const auto sWide = Wide(sFile);
        if (!sWide) return HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION);
        const HRESULT hResult = LumCheckStorage(WideName(*sWide), Tell, At, this);
        mProgress.reset();
        return hResult;
    }

    const std::vector<Damage>& Found() const { return mDamage; }
    void Add(const Damage& damage) { mDamage.push_back(damage); }

private:
    const std::string msWhat;
    std::vector<Damage> mDamage;
    std::optional<Progress> mProgress;
};

std::string ForPeople(const std::string& sUtf8) { return Visible(Narrow(WideOfUtf8(sUtf8).value_or(u"?"))); }
} // namespace

static bool MaySayDamage(HRESULT hResult)
{
    static constexpr HRESULT kahDamage[] = {STG_E_DOCFILECORRUPT, STG_E_INVALIDHEADER, STG_E_READFAULT, STG_E_FILEALREADYEXISTS};
    return std::ranges::find(kahDamage, hResult) != std::end(kahDamage);
}

// Opens every storage, which the other commands do too: throws Stop where they would not go deeper.
static void GoDown(StorageFile& file, IStorage* pStorage, const StoragePath& path)
{
    for (const StorageElement& element : file.ElementsOf(pStorage, path))
    {
        if (!element.bStorage) continue;
        StoragePath below = path;
        below.push_back(element.sName);
        GoDown(file, file.OpenStorage(pStorage, below), below);
    }
}

// Damage that keeps the file from being opened is damage as well; what is no compound file at all cannot be checked.
static ExitStatus CheckOne(const std::string& sFile, Json* pJson)
{
    Checkup checkup(sFile);
    SizeOfFile(sFile); // refuses what is no file
    HRESULT hResult = S_OK;
    WaitWhile([&] { return SaysInUse(hResult = checkup.Run(sFile)); });
    if (FAILED(hResult))
    {
        if (!MaySayDamage(hResult) || !SectorBytesOf(sFile)) throw StorageFailure("checking " + Visible(sFile), hResult);
        checkup.Add({"file", Format("cannot be opened (0x%08X)", static_cast<unsigned>(hResult))});
    }

    const bool bSound = checkup.Found().empty();
    if (bSound)
    {
        StorageFile file(sFile, StorageFile::For::Reading);
        GoDown(file, file.Root(), {});
    }
    if (pJson)
        pJson->BeginObject().Text("file", Utf8(sFile)).Text("result", bSound ? "sound" : "damaged").BeginArray("damage");
    else if (bSound)
        Print(Visible(sFile) + ": " + Inked(Ink::Green, "sound"));
    for (const Damage& damage : checkup.Found())
    {
        if (pJson)
            pJson->BeginObject().Text("where", damage.sWhere).Text("what", damage.sWhat).End();
        else
            Print(Visible(sFile) + ": " + Inked(Ink::Red, ForPeople(damage.sWhere)) + ": " + ForPeople(damage.sWhat));
    }
    if (pJson) pJson->End().End();
    return bSound ? kDone : kAnswerIsNo;
}

void CheckStorages(const std::vector<std::string>& files, bool bJson)
{
    Json json;
    ExitStatus eWorst = kDone;
    json.BeginArray();
    for (const std::string& sFile : files)
    {
        try
        {
            eWorst = std::max(eWorst, CheckOne(sFile, bJson ? &json : nullptr));
        }
        catch (const Stop& stop)
        {
            json.BeginObject().Text("file", Utf8(sFile)).Text("result", "failed").Text("error", Utf8(stop.what())).End();
            Note(stop.what());
            eWorst = kFailure;
        }
    }
    json.End();
    if (bJson) Print(json.Document());
    if (eWorst != kDone) throw Stop(eWorst, ""); // all has been said
}
} // namespace tool
