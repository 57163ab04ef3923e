// orvane-cli: the command-line front end of the bookmark engine.
#include <cstdio>
#include <string_view>

#include "cli.h"

namespace {
const char* kUsage =
    "usage: orvane-cli COMMAND [OPTIONS] ...\n"
    "\n"
    "Commands:\n"
    "  sort [OPTIONS] [FILE]\n"
    "                 sort a bookmarks file (default ~/Library/Safari/Bookmarks.plist),\n"
    "                 keeping a one-time backup; --dry-run shows what would change\n"
    "  restore [--backup PATH] [FILE]\n"
    "                 put the initial backup back in place of the bookmarks file\n"
    "  convert [--format binary|xml] [-o OUTPUT] FILE\n"
    "                 convert a property list (binary, XML or OpenStep) to binary or XML\n"
    "  print [--json] FILE\n"
    "                 show a bookmarks file as an indented outline, or as JSON\n"
    "  browsers       list every browser profile found, with its bookmarks file\n"
    "\n"
    "FILE is Safari's Bookmarks.plist, a Chromium-family Bookmarks file or a Firefox-family\n"
    "places.sqlite, told by its contents; sort, restore and print also take --browser ID[:PROFILE]\n"
    "in its place (see 'orvane-cli browsers').\n"
    "\n"
    "Options:\n"
    "  -h, --help     show this help\n"
    "  --version      show the program's name and version\n"
    "\n"
    "Run 'orvane-cli COMMAND --help' for a command's options.\n"
    "\n"
    "Exit status: the command's (see its --help); 0 for --help and --version, 64 usage error.\n";
}

namespace {
int dispatch(std::string_view command, const orvane::cli::Args& args) {
    using namespace orvane::cli;
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(kUsage, stdout);
        return ExitOk;
    }
    if (command == "--version") {
        std::puts("orvane-cli " ORVANE_VERSION);
        return ExitOk;
    }
    if (command == "sort") return runSort(args);
    if (command == "restore") return runRestore(args);
    if (command == "browsers") return runBrowsers(args);
    if (command == "convert") return runConvert(args);
    if (command == "print") return runPrint(args);
    printError("unknown command '" + std::string(command) + "'; try 'orvane-cli --help'");
    return ExitUsage;
}
}  // namespace

int main(int argc, char** argv) {
    using namespace orvane::cli;
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return ExitUsage;
    }
    return finishStandardOutput(dispatch(argv[1], Args(argv + 2, argv + argc)));
}
