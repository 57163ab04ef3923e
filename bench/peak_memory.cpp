// plist_peak_memory FILE OUT: reads a property list and writes it back in binary, the way the
// tool does its job, then tells how much memory that took compared with the file's size.
//
// The input bytes are freed before writing, so the peak is the larger of "bytes + tree" while
// reading and "tree + writer tables + output buffer" while writing. The time covers reading,
// parsing and the atomic write (flush and rename included), not the start of the process nor
// freeing the tree at the end; cpu_seconds is the user and system time spent on the same span,
// which a busy machine distorts less. Output is one "name: value" line each, for scripts.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "atomic_file.h"
#include "plist/codec.h"

namespace {

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
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s FILE OUT\n", argv[0]);
        return 2;
    }
    const long baselineKiB = statusKiB("VmRSS");
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = cpuSeconds();

    std::vector<std::uint8_t> bytes;
    if (auto error = orvane::readWholeFile(argv[1], bytes); !error.ok()) {
        std::fprintf(stderr, "%s\n", error.message.c_str());
        return 1;
    }
    const std::size_t fileBytes = bytes.size();
    orvane::plist::ReadResult read = orvane::plist::readPropertyList(bytes);
    if (!read) {
        std::fprintf(stderr, "%s: %s\n", argv[1], read.status.description().c_str());
        return 1;
    }
    std::vector<std::uint8_t>().swap(bytes);
    auto written = orvane::writeFileAtomically(
        argv[2], [&](orvane::plist::Sink& sink) { return orvane::plist::writeBinary(read.value, sink); });
    if (!written.ok()) {
        std::fprintf(stderr, "%s\n", written.message.c_str());
        return 1;
    }

    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double cpu = cpuSeconds() - cpuStart;
    const long peakKiB = maxRssKiB();
    const long hwmKiB = statusKiB("VmHWM");
    const double size = fileBytes > 0 ? static_cast<double>(fileBytes) : 1.0;
    std::printf("file_bytes: %zu\n", fileBytes);
    std::printf("seconds: %.6f\n", seconds);
    std::printf("cpu_seconds: %.6f\n", cpu);
    std::printf("baseline_rss_kib: %ld\n", baselineKiB);
    std::printf("peak_rss_kib: %ld\n", peakKiB);
    std::printf("vm_hwm_kib: %ld\n", hwmKiB);
    std::printf("peak_minus_baseline_per_file_size: %.3f\n", static_cast<double>(peakKiB - baselineKiB) * 1024.0 / size);
    std::printf("peak_per_file_size: %.3f\n", static_cast<double>(peakKiB) * 1024.0 / size);
    return 0;
}
