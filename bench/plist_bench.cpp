// Speed of reading and writing a large bookmarks file, in binary and in XML, and of the whole
// sort job on it.
//
// The file holds 100,000 bookmarks, or as many as ORVANE_BENCH_BOOKMARKS says. The first run makes
// it with bench/make_bookmarks.py (seed 1) as bookmarks-<count>.plist in the build's bench
// folder; later runs reuse it. To measure another file instead, name it in the environment:
// ORVANE_BENCH_FILE=/path/to/Bookmarks.plist. BM_ReadWriteFile writes its copy to the build's
// bench folder, as <file name>.copy; the sort jobs work on <file name>.sort-job and
// <file name>.in-order there, never on the file itself.
#include <benchmark/benchmark.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "files/atomic_file.h"
#include "job/messages.h"
#include "job/sort_job.h"
#include "plist/codec.h"
#include "stores/safari/safari_nodes.h"

namespace {

namespace fs = std::filesystem;
using orvane::plist::Value;

constexpr long kDefaultBookmarks = 100000;

struct Inputs {
    fs::path file;
    std::vector<std::uint8_t> binary;
    std::vector<std::uint8_t> xml;  // the same tree in XML; empty when it could not be written
    Value tree;
    std::size_t bookmarks = 0;  // leaves in the tree, for the sort job's rate
};

Inputs& inputs() {
    static Inputs in;
    return in;
}

// Bookmarks under a node, in every folder however deep.
std::size_t bookmarksIn(const orvane::plist::Value& node) {
    if (orvane::safari::kindOf(node) == orvane::NodeKind::Bookmark) return 1;
    const orvane::plist::Dictionary* dict = node.asDictionary();
    const orvane::plist::Value* children = dict ? dict->find("Children") : nullptr;
    std::size_t count = 0;
    if (children && children->isArray())
        for (const orvane::plist::Value& child : children->asArray()->items()) count += bookmarksIn(child);
    return count;
}

std::string shellQuoted(const std::string& s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Runs the generator into a temporary name first, so an interrupted run leaves no partial file
// that later runs would take for the real one.
bool generate(const fs::path& file, long bookmarks) {
    const fs::path partial = file.string() + ".partial";
    const std::string command = shellQuoted(ORVANE_BENCH_PYTHON3) + " " + shellQuoted(ORVANE_BENCH_GENERATOR) + " " +
                                std::to_string(bookmarks) + " " + shellQuoted(partial.string()) + " --seed 1";
    std::fprintf(stderr, "making %s (%ld bookmarks)...\n", file.c_str(), bookmarks);
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        return false;
    }
    std::error_code ec;
    fs::rename(partial, file, ec);
    return !ec;
}

// The size of the generated file: ORVANE_BENCH_BOOKMARKS when it is a positive number; 0 when
// it is set to something else.
long bookmarkCount() {
    const char* wanted = std::getenv("ORVANE_BENCH_BOOKMARKS");
    if (!wanted || !*wanted) return kDefaultBookmarks;
    char* end = nullptr;
    const long count = std::strtol(wanted, &end, 10);
    return *end == '\0' && count > 0 ? count : 0;
}

bool prepare() {
    Inputs& in = inputs();
    if (const char* named = std::getenv("ORVANE_BENCH_FILE"); named && *named) {
        in.file = named;
    } else {
        const long count = bookmarkCount();
        if (count == 0) {
            std::fprintf(stderr, "ORVANE_BENCH_BOOKMARKS must be a positive number\n");
            return false;
        }
        in.file = fs::path(ORVANE_BENCH_DATA_DIR) / ("bookmarks-" + std::to_string(count) + ".plist");
        if (!fs::exists(in.file) && !generate(in.file, count)) return false;
    }
    if (auto error = orvane::readWholeFile(in.file, in.binary); !error.ok()) {
        std::fprintf(stderr, "%s\n", error.message.c_str());
        return false;
    }
    auto read = orvane::plist::readPropertyList(in.binary);
    if (!read) {
        std::fprintf(stderr, "%s: %s\n", in.file.c_str(), read.status.description().c_str());
        return false;
    }
    in.tree = std::move(read.value);
    in.bookmarks = bookmarksIn(in.tree);
    if (read.format != orvane::plist::Format::Binary) {
        // A file given in another format: measure binary on its binary form.
        orvane::plist::StringSink sink;
        if (std::string error = orvane::plist::writeBinary(in.tree, sink); !error.empty()) {
            std::fprintf(stderr, "cannot write %s in binary: %s\n", in.file.c_str(), error.c_str());
            return false;
        }
        in.binary.assign(sink.out.begin(), sink.out.end());
    }
    orvane::plist::StringSink xml;
    if (std::string error = orvane::plist::writeXml(in.tree, xml); error.empty())
        in.xml.assign(xml.out.begin(), xml.out.end());
    else
        std::fprintf(stderr, "cannot write the XML form, so the XML benchmarks are skipped: %s\n", error.c_str());
    std::fprintf(stderr, "%s: %zu bookmarks, %zu bytes binary, %zu bytes XML\n", in.file.c_str(), in.bookmarks,
                 in.binary.size(), in.xml.size());
    return true;
}

void reportSize(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
    state.counters["file_size"] = static_cast<double>(bytes);
}

// Parsing only: the tree is freed with the clock stopped.
template <orvane::plist::ReadResult (*Read)(std::span<const std::uint8_t>)>
void readBenchmark(benchmark::State& state, const std::vector<std::uint8_t>& bytes) {
    if (bytes.empty()) {
        state.SkipWithError("no input in this format");
        return;
    }
    for (auto _ : state) {
        orvane::plist::ReadResult result = Read(bytes);
        if (!result) {
            state.SkipWithError(result.status.description().c_str());
            break;
        }
        benchmark::DoNotOptimize(result.value);
        state.PauseTiming();
        result = {};
        state.ResumeTiming();
    }
    reportSize(state, bytes.size());
}

// Serialising only: the one sink keeps its capacity, so the string's growth is not measured.
template <std::string (*Write)(const Value&, orvane::plist::Sink&)>
void writeBenchmark(benchmark::State& state, bool available) {
    if (!available) {
        state.SkipWithError("no input in this format");
        return;
    }
    orvane::plist::StringSink sink;
    for (auto _ : state) {
        sink.out.clear();
        if (std::string error = Write(inputs().tree, sink); !error.empty()) {
            state.SkipWithError(error.c_str());
            break;
        }
        benchmark::DoNotOptimize(sink.out.data());
        benchmark::ClobberMemory();
    }
    reportSize(state, sink.out.size());
}

void BM_ReadBinary(benchmark::State& state) { readBenchmark<orvane::plist::readBinary>(state, inputs().binary); }
void BM_WriteBinary(benchmark::State& state) { writeBenchmark<orvane::plist::writeBinary>(state, true); }
void BM_ReadXml(benchmark::State& state) { readBenchmark<orvane::plist::readXml>(state, inputs().xml); }
void BM_WriteXml(benchmark::State& state) { writeBenchmark<orvane::plist::writeXml>(state, !inputs().xml.empty()); }

// The whole job a user waits for: file to tree to a new file, flushed and renamed into place,
// and the memory given back. This is the figure to hold against other tools.
void BM_ReadWriteFile(benchmark::State& state) {
    const fs::path& source = inputs().file;
    const fs::path copy = fs::path(ORVANE_BENCH_DATA_DIR) / (source.filename().string() + ".copy");
    std::uintmax_t size = 0;
    for (auto _ : state) {
        std::vector<std::uint8_t> bytes;
        if (auto error = orvane::readWholeFile(source, bytes); !error.ok()) {
            state.SkipWithError(error.message.c_str());
            break;
        }
        size = bytes.size();
        orvane::plist::ReadResult read = orvane::plist::readPropertyList(bytes);
        if (!read) {
            state.SkipWithError(read.status.description().c_str());
            break;
        }
        std::vector<std::uint8_t>().swap(bytes);
        auto written = orvane::writeFileAtomically(
            copy, [&](orvane::plist::Sink& sink) { return orvane::plist::writeBinary(read.value, sink); });
        if (!written.ok()) {
            state.SkipWithError(written.message.c_str());
            break;
        }
        benchmark::DoNotOptimize(read.value);
    }
    reportSize(state, static_cast<std::size_t>(size));
}

// --- The sort job -------------------------------------------------------------------------------

// The options of a full sort; no backup, so that every run does the same work.
std::uint32_t runSortJob(const fs::path& file) {
    return orvane::sortBookmarks({file, std::nullopt, orvane::SortOptions{}}).code;
}

// The job replaces the file by renaming a new one over it: a new inode number means it wrote.
ino_t inodeOf(const fs::path& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

fs::path workFile(const char* suffix) {
    return fs::path(ORVANE_BENCH_DATA_DIR) / (inputs().file.filename().string() + suffix);
}

bool copyInput(const fs::path& to, benchmark::State& state) {
    std::error_code ec;
    fs::copy_file(inputs().file, to, fs::copy_options::overwrite_existing, ec);
    if (ec) state.SkipWithError(("cannot copy the input to " + to.string() + ": " + ec.message()).c_str());
    return !ec;
}

// Sized by the file the job reads, which may be XML when ORVANE_BENCH_FILE names one.
void reportJob(benchmark::State& state) {
    std::error_code ec;
    const std::uintmax_t bytes = fs::file_size(inputs().file, ec);
    reportSize(state, ec ? 0 : static_cast<std::size_t>(bytes));
    state.counters["bookmarks"] = static_cast<double>(inputs().bookmarks);
    state.counters["bookmarks_per_second"] =
        benchmark::Counter(static_cast<double>(inputs().bookmarks), benchmark::Counter::kIsIterationInvariantRate);
}

// What a user waits for when the file needs sorting: load, validate, sort, change test and the
// atomic write, each run on a fresh unsorted copy (made with the clock stopped).
void BM_SortJob(benchmark::State& state) {
    const fs::path work = workFile(".sort-job");
    for (auto _ : state) {
        state.PauseTiming();
        if (!copyInput(work, state)) break;
        const ino_t before = inodeOf(work);
        state.ResumeTiming();
        const std::uint32_t code = runSortJob(work);
        state.PauseTiming();
        if (code != orvane::OVErrorSuccess) {
            state.SkipWithError(("the sort job failed: " + orvane::messageForUser(code, work.string())).c_str());
            break;
        }
        // An input already in order would measure the cheaper job below under this name.
        if (inodeOf(work) == before) {
            state.SkipWithError("the sort job wrote nothing: the input is already in order");
            break;
        }
        state.ResumeTiming();
    }
    reportJob(state);
}

// The job on a file that is already in order, as the automatic mode meets it after every change
// Safari makes: load, validate, sort and the change test, but no write.
void BM_SortJobInOrder(benchmark::State& state) {
    const fs::path work = workFile(".in-order");
    if (!copyInput(work, state)) return;
    if (const std::uint32_t code = runSortJob(work); code != orvane::OVErrorSuccess) {
        state.SkipWithError(("cannot sort the copy: " + orvane::messageForUser(code, work.string())).c_str());
        return;
    }
    const ino_t sorted = inodeOf(work);
    for (auto _ : state) {
        const std::uint32_t code = runSortJob(work);
        if (code != orvane::OVErrorSuccess) {
            state.SkipWithError(("the sort job failed: " + orvane::messageForUser(code, work.string())).c_str());
            break;
        }
        if (inodeOf(work) != sorted) {
            state.SkipWithError("a sorted file was written again: sorting is not stable across runs");
            break;
        }
    }
    reportJob(state);
}

BENCHMARK(BM_ReadBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadWriteFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReadXml)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteXml)->Unit(benchmark::kMillisecond);
// With --benchmark_repetitions=N the sort jobs also report their best run, the figure least
// disturbed by other work on a shared machine. In that row each counter is its own minimum too,
// so the rates there are the slowest run's: read the time.
double fastest(const std::vector<double>& runs) {
    return runs.empty() ? 0.0 : *std::min_element(runs.begin(), runs.end());
}
BENCHMARK(BM_SortJob)->Unit(benchmark::kMillisecond)->UseRealTime()->ComputeStatistics("min", fastest);
BENCHMARK(BM_SortJobInOrder)->Unit(benchmark::kMillisecond)->UseRealTime()->ComputeStatistics("min", fastest);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (!prepare()) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
