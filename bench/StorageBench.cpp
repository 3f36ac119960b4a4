// Compound files beside another library that writes and reads them, and beside plain files with the same bytes. Nobody waits for
// the disk but where it says so. Processor time, but where the disk is waited for.
#include "LargeFile.h"
#include "StorageWork.h"

#include <gsf/gsf.h>

#include <fcntl.h>
#include <unistd.h>

namespace
{
constexpr ULONG kulPieces = 4096; // 256 MiB
constexpr std::size_t kulLarge = std::size_t{kulPieces} * kulPiece;

std::vector<BYTE>& Piece()
{
    static std::vector<BYTE> piece(kulPiece, 'x');
    return piece;
}

void MustBe(bool bDone, const char* pWhat)
{
    if (!bDone) Give(pWhat);
}

// A plain file that is closed when it goes.
class PlainFile
{
public:
    PlainFile(const std::string& sPath, int iFlags) : mFd(open(sPath.c_str(), iFlags, 0600)) { MustBe(mFd >= 0, sPath.c_str()); }
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;
    ~PlainFile() { close(mFd); }
    void Write(const void* pFrom, std::size_t ul) { MustBe(write(mFd, pFrom, ul) == static_cast<ssize_t>(ul), "write"); }
    void Read(void* pTo, std::size_t ul) { MustBe(read(mFd, pTo, ul) == static_cast<ssize_t>(ul), "read"); }
    void Flush() { MustBe(fdatasync(mFd) == 0, "fdatasync"); }

private:
    const int mFd;
};

// What the other library makes: objects that are counted.
template <class Object>
struct GsfDrop
{
    void operator()(Object* pObject) const { g_object_unref(pObject); }
};
template <class Object>
using Gsf = std::unique_ptr<Object, GsfDrop<Object>>;

Gsf<GsfOutfile> GsfCreate(const std::string& sPath)
{
    Gsf<GsfOutput> sink(gsf_output_stdio_new(sPath.c_str(), nullptr));
    MustBe(sink != nullptr, "gsf_output_stdio_new");
    return Gsf<GsfOutfile>(gsf_outfile_msole_new(sink.get()));
}

Gsf<GsfInfile> GsfOpen(const std::string& sPath)
{
    Gsf<GsfInput> source(gsf_input_stdio_new(sPath.c_str(), nullptr));
    MustBe(source != nullptr, "gsf_input_stdio_new");
    Gsf<GsfInfile> file(gsf_infile_msole_new(source.get(), nullptr));
    MustBe(file != nullptr, "gsf_infile_msole_new");
    return file;
}

void GsfWrite(GsfOutput* pStream, ULONG ulTimes, std::size_t ulBytes)
{
    for (ULONG ul = 0; ul < ulTimes; ++ul) MustBe(gsf_output_write(pStream, ulBytes, Piece().data()), "gsf_output_write");
    MustBe(gsf_output_close(pStream), "gsf_output_close");
}

void GsfRead(GsfInput* pStream, ULONG ulTimes, std::size_t ulBytes)
{
    MustBe(pStream != nullptr, "gsf_infile_child_by_name");
    for (ULONG ul = 0; ul < ulTimes; ++ul) MustBe(gsf_input_read(pStream, ulBytes, Piece().data()) != nullptr, "gsf_input_read");
}

Gsf<GsfOutput> NewChild(const Gsf<GsfOutfile>& parent, const std::string& sName, bool bStorage)
{
    return Gsf<GsfOutput>(gsf_outfile_new_child(parent.get(), sName.c_str(), bStorage));
}

Gsf<GsfInput> Child(const Gsf<GsfInfile>& parent, const std::string& sName)
{
    return Gsf<GsfInput>(gsf_infile_child_by_name(parent.get(), sName.c_str()));
}

// One stream of 256 MiB in pieces of 64 KiB.
void LargeWritten(benchmark::State& state)
{
    const std::string sPath = InState("large");
    MeasurePasses(state, kulLarge, [&] { WriteLarge(sPath, Piece(), kulPieces); });
}
void LargeWrittenByGsf(benchmark::State& state)
{
    const std::string sPath = InState("large.gsf");
    MeasurePasses(state, kulLarge, [&] {
        const Gsf<GsfOutfile> root = GsfCreate(sPath);
        GsfWrite(NewChild(root, "Large", false).get(), kulPieces, kulPiece);
        MustBe(gsf_output_close(GSF_OUTPUT(root.get())), "gsf_output_close");
    });
}
void LargeWrittenToAPlainFile(benchmark::State& state)
{
    const std::string sPath = InState("large.plain");
    MeasurePasses(state, kulLarge, [&] {
        PlainFile file(sPath, O_WRONLY | O_CREAT | O_TRUNC);
        for (ULONG ul = 0; ul < kulPieces; ++ul) file.Write(Piece().data(), kulPiece);
    });
}
void LargeRead(benchmark::State& state)
{
    const std::string sPath = InState("large");
    WriteLarge(sPath, Piece(), kulPieces);
    MeasurePasses(state, kulLarge, [&] { ReadLarge(sPath, Piece(), kulPieces); });
}
void LargeReadByGsf(benchmark::State& state)
{
    const std::string sPath = InState("large");
    WriteLarge(sPath, Piece(), kulPieces);
    MeasurePasses(state, kulLarge, [&] { GsfRead(Child(GsfOpen(sPath), "Large").get(), kulPieces, kulPiece); });
}
void LargeReadFromAPlainFile(benchmark::State& state)
{
    const std::string sPath = InState("large");
    WriteLarge(sPath, Piece(), kulPieces);
    MeasurePasses(state, kulLarge, [&] {
        PlainFile file(sPath, O_RDONLY);
        for (ULONG ul = 0; ul < kulPieces; ++ul) file.Read(Piece().data(), kulPiece);
    });
}

// 10,000 streams of 1000 bytes in 100 storages.
constexpr std::size_t kulMany = std::size_t{kiStorages} * kiStreamsEach * kulStreamBytes;

void ManyCreated(benchmark::State& state, DWORD ulMode)
{
    const std::string sPath = InState("many");
    MeasurePasses(state, kulMany, [&] { CreateMany(sPath, ulMode, Piece()); });
}
void ManyCreatedByGsf(benchmark::State& state)
{
    const std::string sPath = InState("many.gsf");
    MeasurePasses(state, kulMany, [&] {
        const Gsf<GsfOutfile> root = GsfCreate(sPath);
        for (int i = 0; i < kiStorages; ++i)
        {
            const Gsf<GsfOutfile> storage(GSF_OUTFILE(NewChild(root, StorageName(i), true).release()));
            for (int j = 0; j < kiStreamsEach; ++j) GsfWrite(NewChild(storage, StreamName(j), false).get(), 1, kulStreamBytes);
            MustBe(gsf_output_close(GSF_OUTPUT(storage.get())), "gsf_output_close");
        }
        MustBe(gsf_output_close(GSF_OUTPUT(root.get())), "gsf_output_close");
    });
}
void ManyWrittenToAPlainFile(benchmark::State& state)
{
    const std::string sPath = InState("many.plain");
    MeasurePasses(state, kulMany, [&] {
        PlainFile file(sPath, O_WRONLY | O_CREAT | O_TRUNC);
        for (int i = 0; i < kiStorages * kiStreamsEach; ++i) file.Write(Piece().data(), kulStreamBytes);
    });
}
void ManyRead(benchmark::State& state)
{
    const std::string sPath = InState("many");
    CreateMany(sPath, STGM_TRANSACTED, Piece());
    MeasurePasses(state, kulMany, [&] { ReadMany(sPath, Piece()); });
}
void ManyReadByGsf(benchmark::State& state)
{
    const std::string sPath = InState("many");
    CreateMany(sPath, STGM_TRANSACTED, Piece());
    MeasurePasses(state, kulMany, [&] {
        const Gsf<GsfInfile> root = GsfOpen(sPath);
        for (int i = 0; i < kiStorages; ++i)
        {
            const Gsf<GsfInfile> storage(GSF_INFILE(Child(root, StorageName(i)).release()));
            for (int j = 0; j < kiStreamsEach; ++j) GsfRead(Child(storage, StreamName(j)).get(), 1, kulStreamBytes);
        }
    });
}
void ManyReadFromAPlainFile(benchmark::State& state)
{
    const std::string sPath = InState("many.plain");
    PlainFile file(sPath, O_RDWR | O_CREAT | O_TRUNC);
    for (int i = 0; i < kiStorages * kiStreamsEach; ++i) file.Write(Piece().data(), kulStreamBytes);
    MeasurePasses(state, kulMany, [&] {
        PlainFile again(sPath, O_RDONLY);
        for (int i = 0; i < kiStorages * kiStreamsEach; ++i) again.Read(Piece().data(), kulStreamBytes);
    });
}

// 100 bytes appended to one of the many streams, or to the small one of a file of so many megabytes; with the time of the disk.
void Appended(benchmark::State& state, DWORD ulCommit)
{
    const std::string sPath = InState("append");
    if (state.range(0)) MakeFile(sPath, static_cast<ULONG>(state.range(0)));
    else CreateMany(sPath, STGM_DIRECT, Piece());
    for (auto _ : state) AppendToOne(sPath, STGM_TRANSACTED, Piece(), ulCommit);
}
void AppendedToAPlainFile(benchmark::State& state)
{
    const std::string sPath = InState("append.plain");
    for (auto _ : state)
    {
        PlainFile file(sPath, O_WRONLY | O_CREAT | O_APPEND);
        file.Write(Piece().data(), kulAppended);
        file.Flush();
    }
}

// A file of 1 GB: a small stream, and 100 bytes of the large one, wherever they are. The argument is in thousandths of it.
void SmallReadFromAnOpenedLargeFile(benchmark::State& state)
{
    const std::string sPath = InState("gigabyte");
    MakeFile(sPath, 1000);
    for (auto _ : state) ReadSmall(sPath, Piece());
}
void SeekAndRead(benchmark::State& state)
{
    const std::string sPath = InState("gigabyte");
    MakeFile(sPath, 1000);
    HeldStorage root;
    HeldStream stream;
    OpenRoot(sPath, kulReadAlone, root);
    Must(root->OpenStream(Widen("Large").c_str(), nullptr, kulReadAlone, 0, stream.Out()), "OpenStream");
    const LONGLONG llAt = LONGLONG{1000} * 1024 * state.range(0);
    for (auto _ : state)
    {
        SeekTo(stream, llAt, STREAM_SEEK_SET);
        ReadIt(stream, Piece().data(), kulAppended);
        SeekTo(stream, 0, STREAM_SEEK_SET);
        ReadIt(stream, Piece().data(), kulAppended);
    }
}

BENCHMARK(LargeWritten)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LargeWrittenByGsf)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LargeWrittenToAPlainFile)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LargeRead)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LargeReadByGsf)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LargeReadFromAPlainFile)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ManyCreated, Transacted, STGM_TRANSACTED)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ManyCreated, Direct, STGM_DIRECT)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ManyCreatedByGsf)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ManyWrittenToAPlainFile)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ManyRead)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ManyReadByGsf)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ManyReadFromAPlainFile)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Appended, AndFlushed, STGC_DEFAULT)->Arg(0)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(Appended, AndNotFlushed, STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE)
    ->Arg(0)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(AppendedToAPlainFile)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(SmallReadFromAnOpenedLargeFile)->Unit(benchmark::kMicrosecond);
BENCHMARK(SeekAndRead)->Arg(0)->Arg(1)->Arg(500)->Arg(999)->Unit(benchmark::kNanosecond);
} // namespace
