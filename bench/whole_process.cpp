// whole_process: runs one command and tells what the whole process cost, from its start to its
// exit: the start of the program or interpreter, loading its libraries and everything it does.
//
//   whole_process COMMAND [ARG...]
//
// Prints, one "name: value" line each as plist_peak_memory does: seconds (wall time from just
// before the command is started until it has exited, from the monotonic clock), cpu_seconds (its
// user and system time), peak_rss_kib (its peak RSS) and exit_status. The command's standard
// output goes to /dev/null, so that only these lines reach ours; its standard error stays.
// Exits with the command's status, 128 + the signal that ended it, or 127 when it could not be
// started.
//
// The kernel keeps the larger of the old and the new peak across exec, and a child starts out
// with its parent's, so the peak reported for a child is at least its parent's own. Hence a
// program this small (about 1 MB resident) rather than a Python wrapper, whose 10 to 14 MB would
// hide orvane-cli's peak on small files; and rather than GNU time, whose wall time comes in
// hundredths of a second only.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

extern char** environ;

namespace {

constexpr const char* kUsage =
    "usage: whole_process COMMAND [ARG...]\n"
    "Runs COMMAND (its standard output to /dev/null) and prints its wall seconds, CPU seconds,\n"
    "peak RSS and exit status, one \"name: value\" line each.\n";

double seconds(const timespec& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9; }
double seconds(const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; }

}  // namespace

int main(int argc, char** argv) {
    int first = 1;
    if (argc == 2 && (std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "--help") == 0)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (argc > 1 && std::strcmp(argv[1], "--") == 0) ++first;
    if (first >= argc || (first == 1 && argv[1][0] == '-')) {
        std::fputs(kUsage, stderr);
        return 64;
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    timespec start{}, end{};
    pid_t child = 0;
    clock_gettime(CLOCK_MONOTONIC, &start);
    const int spawned = posix_spawnp(&child, argv[first], &actions, nullptr, argv + first, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        std::fprintf(stderr, "whole_process: cannot run %s: %s\n", argv[first], std::strerror(spawned));
        return 127;
    }
    int status = 0;
    rusage usage{};
    while (wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            std::perror("whole_process: wait4");
            return 127;
        }
    }
    clock_gettime(CLOCK_MONOTONIC, &end);

    const int exitStatus = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    std::printf("seconds: %.6f\n", seconds(end) - seconds(start));
    std::printf("cpu_seconds: %.6f\n", seconds(usage.ru_utime) + seconds(usage.ru_stime));
    std::printf("peak_rss_kib: %ld\n", usage.ru_maxrss);
    std::printf("exit_status: %d\n", exitStatus);
    return exitStatus;
}
