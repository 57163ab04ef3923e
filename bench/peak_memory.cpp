// plist_peak_memory: runs one job on a bookmarks file and tells how long it took and how much
// memory it needed compared with the file's size.
//
//   plist_peak_memory FILE OUT            read FILE and write it back in binary to OUT
//   plist_peak_memory --sort FILE WORK    copy FILE to WORK, then sort WORK in place
//   plist_peak_memory --phases FILE WORK  the same sort, step by step, timing each step
//
// Read and write: the input bytes are freed before writing, so the peak is the larger of
// "bytes + tree" while reading and "tree + writer tables + output buffer" while writing.
//
// Sort: the whole job a user waits for (load, validate, sort, change test, atomic write), with
// folders first, duplicates removed, same-named entries renamed and no backup. The copy to WORK
// is made before the clock and the memory baseline start, so it is not counted; WORK must not
// be FILE, since the job rewrites it.
//
// Phases: the steps the sort job takes, called one by one through the engine's public calls
// (read the bytes, parse, check the root, validate + sort + change test, write, free), each with
// its wall and CPU time, the RSS after it and the peak RSS during it. The job's own waiting
// logic (lock item, date probes) is left out, which costs a few system calls at most.
//
// Times cover the job only, not the start of the process; cpu_seconds is the user and system
// time of the same span, which a busy machine distorts less. The process's peak RSS includes its
// baseline (program, libraries, ICU's data as far as it is touched). Output is one "name: value"
// line each, for scripts.
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "files/atomic_file.h"
#include "job/messages.h"
#include "job/sort_job.h"
#include "plist/codec.h"
#include "stores/safari/safari_store.h"
#include "tree/sorting.h"
#include "tree/title_collator.h"

namespace {

namespace fs = std::filesystem;

// A "Vm...:" line of /proc/self/status, in KiB; -1 when there is none.
long statusKiB(const char* field) {
    std::ifstream status("/proc/self/status");
    const std::string prefix = std::string(field) + ":";
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, prefix.size(), prefix) == 0) return std::stol(line.substr(prefix.size()));
    return -1;
}

long maxRssKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;  // KiB on Linux
}

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Sets the peak RSS back to the current RSS, so that the next step's own peak can be read. Not
// every kernel allows it; false then.
bool resetPeakRss() {
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.flush();
    return static_cast<bool>(clear);
}

struct Span {
    std::chrono::steady_clock::time_point wall = std::chrono::steady_clock::now();
    double cpu = cpuSeconds();
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - wall).count(); }
    double cpuSecondsSince() const { return cpuSeconds() - cpu; }
};

void report(std::size_t fileBytes, const Span& job, long baselineKiB, long peakKiB) {
    const double seconds = job.seconds();
    const double cpu = job.cpuSecondsSince();
    const double size = fileBytes > 0 ? static_cast<double>(fileBytes) : 1.0;
    std::printf("file_bytes: %zu\n", fileBytes);
    std::printf("seconds: %.6f\n", seconds);
    std::printf("cpu_seconds: %.6f\n", cpu);
    std::printf("baseline_rss_kib: %ld\n", baselineKiB);
    std::printf("peak_rss_kib: %ld\n", peakKiB);
    std::printf("vm_hwm_kib: %ld\n", statusKiB("VmHWM"));
    std::printf("peak_minus_baseline_per_file_size: %.3f\n",
                static_cast<double>(peakKiB - baselineKiB) * 1024.0 / size);
    std::printf("peak_per_file_size: %.3f\n", static_cast<double>(peakKiB) * 1024.0 / size);
}

int readAndWrite(const char* in, const char* out) {
    const long baselineKiB = statusKiB("VmRSS");
    const Span job;

    std::vector<std::uint8_t> bytes;
    if (auto error = orvane::readWholeFile(in, bytes); !error.ok()) {
        std::fprintf(stderr, "%s\n", error.message.c_str());
        return 1;
    }
    const std::size_t fileBytes = bytes.size();
    orvane::plist::ReadResult read = orvane::plist::readPropertyList(bytes);
    if (!read) {
        std::fprintf(stderr, "%s: %s\n", in, read.status.description().c_str());
        return 1;
    }
    std::vector<std::uint8_t>().swap(bytes);
    auto written = orvane::writeFileAtomically(
        out, [&](orvane::plist::Sink& sink) { return orvane::plist::writeBinary(read.value, sink); });
    if (!written.ok()) {
        std::fprintf(stderr, "%s\n", written.message.c_str());
        return 1;
    }
    report(fileBytes, job, baselineKiB, maxRssKiB());
    return 0;
}

// The copy the job will rewrite. Both names are compared as files, so that a second name for
// FILE (a link, "./FILE") cannot make the job overwrite its own input.
bool makeWorkCopy(const fs::path& file, const fs::path& work, std::size_t& fileBytes) {
    std::error_code ec;
    if (fs::equivalent(file, work, ec)) {
        std::fprintf(stderr, "the work copy must not be the file itself: %s\n", work.c_str());
        return false;
    }
    if (auto error = orvane::copyFileAtomically(file, work); !error.ok()) {
        std::fprintf(stderr, "%s\n", error.message.c_str());
        return false;
    }
    fileBytes = static_cast<std::size_t>(fs::file_size(work, ec));
    return !ec;
}

int sortJob(const fs::path& file, const fs::path& work) {
    std::size_t fileBytes = 0;
    if (!makeWorkCopy(file, work, fileBytes)) return 1;

    const long baselineKiB = statusKiB("VmRSS");
    const Span job;
    const orvane::JobResult result = orvane::sortBookmarks({work, std::nullopt, orvane::SortOptions{}});
    const long peakKiB = maxRssKiB();
    if (result.code != orvane::OVErrorSuccess) {
        std::fprintf(stderr, "the sort job failed with code %u: %s\n", result.code,
                     orvane::messageForUser(result.code, work.string()).c_str());
        return 1;
    }
    report(fileBytes, job, baselineKiB, peakKiB);
    std::printf("rewritten: %s\n", result.written ? "yes" : "no");
    if (!result.written) std::fprintf(stderr, "the sort job wrote nothing: %s was already in order\n", file.c_str());
    return 0;
}

class Phases {
public:
    explicit Phases(bool peaksPerPhase) : perPhase_(peaksPerPhase) {}
    void start() {
        if (perPhase_) resetPeakRss();
        span_ = Span();
    }
    void end(const char* name) {
        const double seconds = span_.seconds(), cpu = span_.cpuSecondsSince();
        const long peak = maxRssKiB();
        peakKiB_ = std::max(peakKiB_, peak);
        std::printf("phase %-22s seconds: %.6f cpu_seconds: %.6f rss_after_kib: %ld peak_rss_kib: %ld\n", name, seconds,
                    cpu, statusKiB("VmRSS"), peak);
    }
    long peakKiB() const { return std::max(peakKiB_, maxRssKiB()); }

private:
    bool perPhase_;
    Span span_;
    long peakKiB_ = 0;
};

int sortPhases(const fs::path& file, const fs::path& work) {
    std::size_t fileBytes = 0;
    if (!makeWorkCopy(file, work, fileBytes)) return 1;

    const bool perPhase = resetPeakRss();
    std::printf("per_phase_peaks: %s\n", perPhase ? "yes" : "no (each peak_rss_kib is the peak so far)");
    Phases phases(perPhase);
    const long baselineKiB = statusKiB("VmRSS");
    const Span job;
    {
        orvane::safari::SafariStore store(work, work);
        orvane::BookmarkTree tree;
        phases.start();
        if (const orvane::StoreResult loaded = store.load(tree); !loaded.done()) {
            std::fprintf(stderr, "%s: %s\n", work.c_str(), loaded.reason.c_str());
            return 1;
        }
        phases.end("read_parse_tree");

        phases.start();
        const bool changed = orvane::sortTree(tree, orvane::SortOptions{}, orvane::TitleCollator());
        phases.end("validate_sort_compare");
        if (!changed) {
            std::fprintf(stderr, "%s: already in order\n", file.c_str());
            return 1;
        }

        phases.start();
        if (const orvane::StoreResult saved = store.save(tree, orvane::ReplaceHooks{}); !saved.done()) {
            std::fprintf(stderr, "cannot write %s: %s\n", work.c_str(), saved.reason.c_str());
            return 1;
        }
        phases.end("write");

        phases.start();
    }
    phases.end("free");
    report(fileBytes, job, baselineKiB, phases.peakKiB());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view mode = argc == 4 ? argv[1] : "";
    if (argc == 3) return readAndWrite(argv[1], argv[2]);
    if (mode == "--sort") return sortJob(argv[2], argv[3]);
    if (mode == "--phases") return sortPhases(argv[2], argv[3]);
    std::fprintf(stderr, "usage: %s FILE OUT | --sort FILE WORK | --phases FILE WORK\n", argv[0]);
    return 2;
}
