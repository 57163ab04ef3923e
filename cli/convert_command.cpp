// orvane-cli convert: any property list in, binary or XML out.
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli.h"
#include "files/atomic_file.h"

namespace orvane::cli {
namespace {

const char* kHelp =
    "usage: orvane-cli convert [--format binary|xml] [-o OUTPUT] FILE\n"
    "\n"
    "Reads a property list in binary, XML or OpenStep format from FILE (- for standard input)\n"
    "and writes it in the given format (default: binary) to OUTPUT, or to standard output when\n"
    "OUTPUT is - or missing. An existing OUTPUT is replaced only by a complete file.\n"
    "\n"
    "Options:\n"
    "  -f, --format binary|xml   output format (default binary)\n"
    "  -o, --output OUTPUT       output file (default: standard output)\n"
    "  -h, --help                show this help\n"
    "\n"
    "Exit status: 0 done, 5 FILE unreadable or not a property list, 6 OUTPUT (or standard\n"
    "output) not written, 64 usage error.\n";

}  // namespace

int runConvert(const Args& args) {
    std::string_view format = "binary", output = "-", input;
    bool haveInput = false, optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string_view a = args[i];
        const bool option = !optionsEnded && a.size() > 1 && a[0] == '-';
        if (option && a == "--") {
            optionsEnded = true;
        } else if (option && (a == "-h" || a == "--help")) {
            std::fputs(kHelp, stdout);
            return ExitOk;
        } else if (option && (a == "-f" || a == "--format" || a == "-o" || a == "--output")) {
            if (i + 1 == args.size()) {
                printError("convert: " + std::string(a) + " needs a value; see 'orvane-cli convert --help'");
                return ExitUsage;
            }
            (a == "-f" || a == "--format" ? format : output) = args[++i];
        } else if (option && a.starts_with("--format=")) {
            format = a.substr(9);
        } else if (option && a.starts_with("--output=")) {
            output = a.substr(9);
        } else if (option) {
            printError("convert: unknown option '" + std::string(a) + "'; see 'orvane-cli convert --help'");
            return ExitUsage;
        } else if (haveInput) {
            printError("convert: only one FILE may be given; see 'orvane-cli convert --help'");
            return ExitUsage;
        } else {
            input = a;
            haveInput = true;
        }
    }
    if (format != "binary" && format != "xml") {
        printError("convert: unknown format '" + std::string(format) + "'; use binary or xml");
        return ExitUsage;
    }
    if (!haveInput) {
        printError("convert: no FILE given; see 'orvane-cli convert --help'");
        return ExitUsage;
    }
    const bool toStdout = output == "-";
    if (toStdout && format == "binary" && ::isatty(STDOUT_FILENO)) {
        printError(
            "convert: refusing to write a binary property list to a terminal; use -o OUTPUT, a pipe, or --format xml");
        return ExitUsage;
    }

    plist::ReadResult read = loadPropertyList(input);
    if (!read) return ExitUnreadable;

    auto produce = [&](plist::Sink& sink) {
        return format == "xml" ? plist::writeXml(read.value, sink) : plist::writeBinary(read.value, sink);
    };
    if (toStdout) {
        DescriptorSink sink(STDOUT_FILENO);
        std::string failure = produce(sink);
        if (sink.failed()) failure = std::strerror(sink.errnum());
        if (!failure.empty()) {
            printError("cannot write standard output: " + failure);
            return ExitUnwritable;
        }
        return ExitOk;
    }
    if (IoError io = writeFileAtomically(std::string(output), produce); !io.ok()) {
        printError(io.errnum ? io.message : "cannot write " + std::string(output) + ": " + io.message);
        return ExitUnwritable;
    }
    return ExitOk;
}

}  // namespace orvane::cli
