// Speed of reading and writing a large bookmarks file, in binary and in XML.
//
// The file holds 100,000 bookmarks. The first run makes it with bench/make_bookmarks.py (seed 1)
// as bookmarks-100000.plist in the build's bench folder; later runs reuse it. To measure another
// file instead, name it in the environment: ORVANE_BENCH_FILE=/path/to/Bookmarks.plist.
// BM_ReadWriteFile writes its copy to the build's bench folder, as <file name>.copy.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "atomic_file.h"
#include "plist/codec.h"

namespace {

namespace fs = std::filesystem;
using orvane::plist::Value;

constexpr int kBookmarks = 100000;

struct Inputs {
    fs::path file;
    std::vector<std::uint8_t> binary;
    std::vector<std::uint8_t> xml;  // the same tree in XML; empty when it could not be written
    Value tree;
};

Inputs& inputs() {
    static Inputs in;
    return in;
}

std::string shellQuoted(const std::string& s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Runs the generator into a temporary name first, so an interrupted run leaves no partial file
// that later runs would take for the real one.
bool generate(const fs::path& file) {
    const fs::path partial = file.string() + ".partial";
    const std::string command = shellQuoted(ORVANE_BENCH_PYTHON3) + " " + shellQuoted(ORVANE_BENCH_GENERATOR) + " " +
                                std::to_string(kBookmarks) + " " + shellQuoted(partial.string()) + " --seed 1";
    std::fprintf(stderr, "making %s (%d bookmarks)...\n", file.c_str(), kBookmarks);
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        return false;
    }
    std::error_code ec;
    fs::rename(partial, file, ec);
    return !ec;
}

bool prepare() {
    Inputs& in = inputs();
    if (const char* named = std::getenv("ORVANE_BENCH_FILE"); named && *named) {
        in.file = named;
    } else {
        in.file = fs::path(ORVANE_BENCH_DATA_DIR) / ("bookmarks-" + std::to_string(kBookmarks) + ".plist");
        if (!fs::exists(in.file) && !generate(in.file)) return false;
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
    std::fprintf(stderr, "%s: %zu bytes binary, %zu bytes XML\n", in.file.c_str(), in.binary.size(), in.xml.size());
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

BENCHMARK(BM_ReadBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadWriteFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReadXml)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteXml)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (!prepare()) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
