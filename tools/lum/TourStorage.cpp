// The tour's step of compound files.
#include "OComStorage.h"
#include "OComStream.h"

#include "Console.h"
#include "StorageList.h"
#include "Text.h"
#include "TourSteps.h"

namespace tool
{
class TourStorageFile
{
public:
    explicit TourStorageFile(const std::string& sPath) : msPath(sPath) {}
    ~TourStorageFile() { DeleteFileA(msPath.c_str()); }
    TourStorageFile(const TourStorageFile&) = delete;
    TourStorageFile& operator=(const TourStorageFile&) = delete;

private:
    const std::string msPath;
};

static const unsigned short* Name(const char16_t* pName) { return AsUnits(pName); }

void ShowStorageOfFile(const std::string& sFolder)
{
    constexpr ULONG kulNew = STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
                    kulElement = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
    const std::string sPath = sFolder + "Tour.cfb";
    const TourStorageFile file(sPath);
    const OString sWide(sPath.c_str());
    constexpr unsigned short kausCounts[] = {118, 124, 3071, 29'480, 3144, 121};
    {
        OComStorage root, runs, run;
        OComStream notes, spectrum;
        root.CreateRootStorage(sWide, kulNew | STGM_TRANSACTED);
        root.CreateSubStorage(Name(u"Runs"), runs, kulElement);
        runs.CreateSubStorage(Name(u"0001"), run, kulElement);
        run.CreateStream(Name(u"Spectrum"), spectrum, kulElement);
        spectrum.Write(kausCounts, sizeof kausCounts);
        root.CreateStream(Name(u"Notes"), notes, kulElement);
        notes.Write("argon, 14.5 l/min", 17);
        root.Commit();
    }
    Say("A compound file, Tour.cfb: a run with its spectrum, and notes. OComStorage::Commit() put all of it into the file at "
        "once.");
    Say("lum storage list Tour.cfb");
    ListStorage(sPath, {}, false);

    OComStorage root, runs, run;
    OComStream spectrum;
    unsigned short ausBack[6] = {};
    root.OpenRootStorage(sWide, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr);
    root.OpenSubStorage(Name(u"Runs"), runs, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr);
    runs.OpenSubStorage(Name(u"0001"), run, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr);
    run.OpenStream(Name(u"Spectrum"), spectrum, STGM_READ | STGM_SHARE_EXCLUSIVE);
    spectrum.Read(ausBack, sizeof ausBack);
    std::string sCounts;
    for (const unsigned short us : ausBack) sCounts += (sCounts.empty() ? "" : " ") + std::to_string(us);
    Shows("OComStream::Read of Runs/0001/Spectrum, " + std::to_string(spectrum.Size()) + " bytes", sCounts);
    Say("A program that is killed before it commits leaves the file as it was. lum storage reads, changes and checks such files.");
}
} // namespace tool
