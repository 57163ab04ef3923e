// The three programs as a user or a package meets them: each answers --version (with no display
// for the Qt ones), the manual pages render cleanly and list exactly the options and exit codes
// that --help gives, and the shell completions offer those options, commands, values and files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "test_support.h"

namespace {
namespace fs = std::filesystem;
using orvane::test::run;
using Words = std::set<std::string>;

struct Program {
    std::string path, name;
};

const std::vector<Program>& programs() {
    static const std::vector<Program> all{
        {ORVANE_APP, "Orvane"}, {ORVANE_HELPER, "orvane-helper"}, {orvane::test::cliPath(), "orvane-cli"}};
    return all;
}

// No display of any kind, where a QApplication would abort; English texts.
const std::vector<std::string> kNoDisplay{"DISPLAY=", "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM=xcb", "LANGUAGE=en",
                                          "LC_ALL=C.UTF-8"};

const std::vector<std::string> kCommands{"sort", "restore", "print", "convert", "browsers"};

bool installed(const std::string& program) { return fs::exists("/usr/bin/" + program); }

// What a help text or a manual page says a program (or one of orvane-cli's commands) takes.
struct Interface {
    Words options;
    std::set<int> exitCodes;
};

// The options that begin a line of options: "-n, --dry-run  write nothing" gives -n and --dry-run,
// and "--backup PATH" gives --backup; an option's value (PATH, binary|xml) is passed over.
void addLeadingOptions(const std::string& line, Words& into) {
    std::istringstream words(line);
    std::string word;
    bool afterOption = false;
    while (words >> word) {
        if (word.ends_with(',')) word.pop_back();
        if (word.size() > 1 && word[0] == '-') {
            into.insert(word);
            afterOption = true;
            continue;
        }
        const bool value =
            afterOption && (word.find('|') != std::string::npos ||
                            std::none_of(word.begin(), word.end(), [](char c) { return std::islower(c); }));
        if (!value) return;
        afterOption = false;
    }
}

// The numbers that begin the clauses of "Exit status: 0 done, 5 FILE unreadable; 64 usage error".
void addExitCodes(std::string_view paragraph, std::set<int>& into) {
    static const std::regex code(R"([:;,]\s+(\d+)\s)");
    const std::string text(paragraph);
    for (auto m = std::sregex_iterator(text.begin(), text.end(), code); m != std::sregex_iterator(); ++m)
        into.insert(std::stoi((*m)[1]));
}

Interface fromHelp(const std::vector<std::string>& argv) {
    const auto r = run(argv, {}, kNoDisplay);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    Interface found;
    std::istringstream lines(r.out);
    bool inOptions = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "Options:") inOptions = true;
        if (line.empty()) inOptions = false;
        const std::size_t start = line.find_first_not_of(' ');
        if (inOptions && start != std::string::npos && line[start] == '-')
            addLeadingOptions(line.substr(start), found.options);
    }
    const std::size_t exitStatus = r.out.find("Exit status:");
    if (exitStatus != std::string::npos)
        addExitCodes(std::string_view(r.out).substr(exitStatus, r.out.find("\n\n", exitStatus) - exitStatus),
                     found.exitCodes);
    EXPECT_FALSE(found.options.empty() || found.exitCodes.empty()) << r.out;
    return found;
}

// A line of roff as plain text: a macro's arguments (quotes dropped; joined without spaces for
// the alternating-font macros such as .BR), hyphens as hyphens, font changes gone.
std::string roffText(const std::string& line) {
    std::string text = line;
    if (line.starts_with('.')) {
        const std::size_t space = line.find(' ');
        const std::string macro = line.substr(1, space - 1);
        const bool alternating = Words{"BR", "BI", "IB", "IR", "RB", "RI"}.contains(macro);
        std::vector<std::string> args;
        std::string arg;
        bool quoted = false;
        for (std::size_t i = space == std::string::npos ? line.size() : space + 1; i < line.size(); ++i) {
            const char c = line[i];
            if (c == '"') {
                quoted = !quoted;
            } else if (c == ' ' && !quoted) {
                if (!arg.empty()) args.push_back(arg);
                arg.clear();
            } else {
                arg += c;
            }
        }
        if (!arg.empty()) args.push_back(arg);
        text.clear();
        for (const std::string& a : args) text += (text.empty() || alternating ? "" : " ") + a;
    }
    text = std::regex_replace(text, std::regex(R"(\\f[BIRP])"), "");
    text = std::regex_replace(text, std::regex(R"(\\-)"), "-");
    return std::regex_replace(text, std::regex(R"(\\&)"), "");
}

// The options and exit codes a manual page lists: the tags of .TP items under OPTIONS, under each
// command of COMMANDS (".SS orvane-cli sort ..."), and under EXIT STATUS and its ".SS sort".
std::map<std::string, Interface> fromManPage(const fs::path& page) {
    std::map<std::string, Interface> found;
    std::ifstream in(page);
    std::string section, scope;
    bool tag = false;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(".SH ") || line.starts_with(".SS ")) {
            std::string title = roffText(line);
            if (line.starts_with(".SH ")) {
                section = title;
                scope.clear();
            } else {
                if (section == "COMMANDS")
                    title =
                        title.substr(title.find(' ') + 1, title.find(' ', title.find(' ') + 1) - title.find(' ') - 1);
                scope = title;
            }
        } else if (line == ".TP") {
            tag = true;
        } else if (tag) {
            tag = false;
            const std::string text = roffText(line);
            if (section == "OPTIONS" || section == "COMMANDS") addLeadingOptions(text, found[scope].options);
            if (section == "EXIT STATUS" && std::isdigit(static_cast<unsigned char>(text[0])))
                found[scope].exitCodes.insert(std::stoi(text));
        }
    }
    return found;
}

fs::path manPage(const std::string& name) { return fs::path(ORVANE_MAN_DIR) / (name + ".1"); }
fs::path completion(const std::string& name) {
    return fs::path(ORVANE_SOURCE_DIR) / "resources" / "completions" / name;
}

TEST(Programs, AnswerVersionInOneLineWithoutADisplay) {
    for (const Program& program : programs()) {
        SCOPED_TRACE(program.path);
        const auto r = run({program.path, "--version"}, {}, kNoDisplay);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.out, program.name + " " ORVANE_VERSION "\n");
        EXPECT_EQ(r.err, "");
    }
}

TEST(ManPages, RenderWithoutWarningsAndListWhatHelpGives) {
    for (const std::string name : {"orvane", "orvane-helper", "orvane-cli"}) {
        SCOPED_TRACE(name);
        const auto groff = run({"/usr/bin/groff", "-man", "-ww", "-z", "-Tutf8", manPage(name).string()});
        EXPECT_EQ(groff.exitCode, 0);
        EXPECT_EQ(groff.err, "");
        // The check a package's checker makes.
        if (installed("man")) {
            const auto man =
                run({"/usr/bin/man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", manPage(name).string()}, {},
                    {"MAN_KEEP_STDERR=1"});
            EXPECT_EQ(man.exitCode, 0);
            EXPECT_EQ(man.err, "");
        }
    }

    for (const std::string name : {"orvane", "orvane-helper"}) {
        SCOPED_TRACE(name);
        const auto page = fromManPage(manPage(name));
        const Interface help = fromHelp({name == "orvane" ? ORVANE_APP : ORVANE_HELPER, "--help"});
        ASSERT_EQ(page.size(), 1u);
        EXPECT_EQ(page.at("").options, help.options);
        EXPECT_EQ(page.at("").exitCodes, help.exitCodes);
    }

    const auto page = fromManPage(manPage("orvane-cli"));
    std::vector<std::string> scopes{""};
    scopes.insert(scopes.end(), kCommands.begin(), kCommands.end());
    EXPECT_EQ(page.size(), scopes.size());
    for (const std::string& command : scopes) {
        SCOPED_TRACE("orvane-cli " + command);
        std::vector<std::string> argv{orvane::test::cliPath(), "--help"};
        if (!command.empty()) argv.insert(argv.begin() + 1, command);
        const Interface help = fromHelp(argv);
        ASSERT_TRUE(page.contains(command));
        EXPECT_EQ(page.at(command).options, help.options);
        EXPECT_EQ(page.at(command).exitCodes, help.exitCodes);
    }
}

// What bash's completion of orvane-cli offers when the last of `words` is being completed.
Words bashCompletes(const std::vector<std::string>& words, const std::vector<std::string>& env = {}) {
    const std::string script = R"(source "$1" && shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
_orvane_cli
printf '%s\n' "${COMPREPLY[@]}")";
    std::vector<std::string> argv{"/bin/bash", "-c", script, "bash", completion("orvane-cli.bash").string()};
    argv.insert(argv.end(), words.begin(), words.end());
    const auto r = run(argv, {}, env);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    Words offered;
    std::istringstream lines(r.out);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty()) offered.insert(line);
    return offered;
}

// What fish offers for a command line, without the descriptions.
Words fishCompletes(const std::string& line) {
    const auto r = run({"/usr/bin/fish", "--no-config", "-c",
                        "source $argv[1] && complete -C$argv[2] | string replace -r '\\t.*' ''; true",
                        completion("orvane-cli.fish").string(), line});
    EXPECT_EQ(r.err, "");
    Words offered;
    std::istringstream lines(r.out);
    for (std::string word; std::getline(lines, word);) offered.insert(word);
    return offered;
}

// The options that zsh's completion gives one of orvane-cli's commands (its "sort)" branch).
Words zshOptions(const std::string& command) {
    const std::string text = orvane::test::readText(completion("_orvane-cli"));
    const std::size_t start = text.find("\n    " + command + ")\n"), end = text.find(";;", start);
    EXPECT_NE(start, std::string::npos) << command;
    const std::string branch = std::regex_replace(text.substr(start, end - start), std::regex(R"(\[[^\]]*\])"), "");
    Words options;
    static const std::regex option(R"((^|['({,])(--?[a-z][a-z-]*))");
    for (auto m = std::sregex_iterator(branch.begin(), branch.end(), option); m != std::sregex_iterator(); ++m)
        options.insert((*m)[2]);
    if (branch.find("$help") != std::string::npos) options.insert({"-h", "--help"});
    return options;
}

// What zsh's completion offers when a command line ends where the cursor is: a real interactive zsh
// on a pseudo-terminal, with the completion autoloaded as from a package, is asked once (a key
// bound to complete-word, then a line printed to say it is done), and every match added is noted.
// The program completed is the orvane-cli found first in PATH; the shell works in `folder`.
Words zshCompletes(const std::string& line, const fs::path& folder, const std::vector<std::string>& env) {
    const orvane::test::TempDir scratch;
    const std::string script = R"(cd -- "$4" && zmodload zsh/zpty || exit 1
zpty z zsh -f -i
zpty -w z "fpath=(${(q)1} \$fpath); autoload -Uz compinit; compinit -u -D"
zpty -w z "compadd() { local -a m; builtin compadd -O m \"\$@\"; print -rl -- \$m >> ${(q)3}; builtin compadd \"\$@\" }"
zpty -w z 'complete-and-tell() { zle complete-word; zle -I; print -r -- done-$((6 * 7)); }'
zpty -w z 'zle -N complete-and-tell; bindkey "^T" complete-and-tell'
zpty -wn z "$2"$'\C-t'
zpty -r z out '*done-42*' || exit 1
zpty -d z
[[ ! -e $3 ]] || cat -- $3)";
    const auto r =
        run({"/usr/bin/timeout", "30", "/usr/bin/zsh", "-f", "-c", script, "zsh",
             completion("_orvane-cli").parent_path().string(), line, (scratch / "matches").string(), folder.string()},
            {}, env);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    Words offered;
    std::istringstream lines(r.out);
    for (std::string word; std::getline(lines, word);)
        if (!word.empty()) offered.insert(word);
    return offered;
}

TEST(Completion, OffersEveryCommandsOptionsAsHelpGivesThem) {
    const bool fish = installed("fish");
    EXPECT_EQ(bashCompletes({"orvane-cli", "-"}), fromHelp({orvane::test::cliPath(), "--help"}).options);
    for (const std::string& command : kCommands) {
        SCOPED_TRACE(command);
        const Words help = fromHelp({orvane::test::cliPath(), command, "--help"}).options;
        EXPECT_EQ(bashCompletes({"orvane-cli", command, "-"}), help);
        EXPECT_EQ(zshOptions(command), help);
        if (fish) {
            EXPECT_EQ(fishCompletes("orvane-cli " + command + " -"), help);
        }
    }
    if (!fish) GTEST_SKIP() << "fish is not installed: its completion was not run";
}

TEST(Completion, BashCompletesCommandsValuesFilesAndBrowsers) {
    EXPECT_EQ(bashCompletes({"orvane-cli", "so"}), Words{"sort"});
    EXPECT_EQ(bashCompletes({"orvane-cli", ""}), (Words{"browsers", "convert", "help", "print", "restore", "sort"}));
    EXPECT_EQ(bashCompletes({"orvane-cli", "sort", "--no-f"}), Words{"--no-folders-at-top"});
    EXPECT_EQ(bashCompletes({"orvane-cli", "sort", "-n", "--j"}), Words{"--json"});
    EXPECT_EQ(bashCompletes({"orvane-cli", "convert", "--format", ""}), (Words{"binary", "xml"}));
    EXPECT_EQ(bashCompletes({"orvane-cli", "frobnicate", "-"}), Words{});

    orvane::test::TempDir dir;
    for (const std::string name : {"Bookmarks.plist", "Backup.plist", "other.txt", "-odd"})
        orvane::test::writeFile(dir / name, "");
    const std::string d = dir.path().string() + "/";
    EXPECT_EQ(bashCompletes({"orvane-cli", "sort", "--backup", d + "B"}),
              (Words{d + "Backup.plist", d + "Bookmarks.plist"}));
    EXPECT_EQ(bashCompletes({"orvane-cli", "print", "--json", d + "o"}), Words{d + "other.txt"});
    EXPECT_EQ(bashCompletes({"orvane-cli", "convert", "-o", d + "-"}), Words{d + "-odd"});

    // Browser ids for --browser come from the program's own list where it has one: a stand-in here
    // lists two ids starting "fi"; orvane-cli itself lists the profiles of the home folder.
    const fs::path lister = dir / "lister";
    orvane::test::writeFile(lister,
                            "#!/bin/sh\n[ \"$1\" = browsers ] || exit 64\n"
                            "printf 'chromium Chromium\\nfirefox Firefox\\nfirefox-esr:default Firefox ESR\\n'\n");
    fs::permissions(lister, fs::perms::owner_all);
    EXPECT_EQ(bashCompletes({lister.string(), "sort", "--browser", "fi"}), (Words{"firefox", "firefox-esr:default"}));
    const std::vector<std::string> home{"HOME=" + dir.path().string(), "XDG_CONFIG_HOME=" + (dir / "config").string()};
    EXPECT_EQ(bashCompletes({orvane::test::cliPath(), "sort", "--browser", ""}, home), Words{});
    fs::create_directories(dir / "config" / "chromium" / "Default");
    orvane::test::writeFile(dir / "config" / "chromium" / "Default" / "Bookmarks", R"({"roots": {}})");
    EXPECT_EQ(bashCompletes({orvane::test::cliPath(), "sort", "--browser", ""}, home), Words{"chromium"});

    if (!installed("fish")) GTEST_SKIP() << "fish is not installed: its completion was not run";
    EXPECT_EQ(fishCompletes("orvane-cli so"), Words{"sort"});
    EXPECT_EQ(fishCompletes("orvane-cli convert --format "), (Words{"binary", "xml"}));
    EXPECT_EQ(fishCompletes("orvane-cli print " + d + "o"), Words{d + "other.txt"});
}

TEST(Completion, ZshCompletesCommandsValuesAndBrowsers) {
    if (!installed("zsh")) GTEST_SKIP() << "zsh is not installed";
    orvane::test::TempDir dir;
    fs::create_directories(dir / "bin");
    fs::create_symlink(orvane::test::cliPath(), dir / "bin" / "orvane-cli");
    const std::vector<std::string> env{"PATH=" + (dir / "bin").string() + ":/usr/bin:/bin",
                                       "HOME=" + dir.path().string(), "XDG_CONFIG_HOME=" + (dir / "config").string()};
    EXPECT_EQ(zshCompletes("orvane-cli so", dir.path(), env), Words{"sort"});
    EXPECT_EQ(zshCompletes("orvane-cli sort --no-f", dir.path(), env), Words{"--no-folders-at-top"});
    EXPECT_EQ(zshCompletes("orvane-cli convert --format ", dir.path(), env), (Words{"binary", "xml"}));

    // Browser ids come from the program's own list: none without profiles, then the one made here.
    // A file named "browsers" in the working folder must not be mistaken for that list.
    orvane::test::writeFile(dir / "browsers", "not-a-browser\n");
    fs::create_directories(dir / "config" / "chromium" / "Default");
    EXPECT_EQ(zshCompletes("orvane-cli sort --browser ", dir.path(), env), Words{});
    orvane::test::writeFile(dir / "config" / "chromium" / "Default" / "Bookmarks", R"({"roots": {}})");
    EXPECT_EQ(zshCompletes("orvane-cli sort --browser ", dir.path(), env), Words{"chromium"});
    EXPECT_EQ(zshCompletes("orvane-cli print --browser c", dir.path(), env), Words{"chromium"});
}

TEST(Completion, ZshCompletionIsValidZsh) {
    if (!installed("zsh")) GTEST_SKIP() << "zsh is not installed";
    const auto r = run({"/usr/bin/zsh", "-n", completion("_orvane-cli").string()});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err, "");
}

}  // namespace
