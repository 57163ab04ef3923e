#include "login_item.h"

#include <QCoreApplication>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "desktop_entry.h"
#include "files/atomic_file.h"
#include "files/paths.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

// Our entries are named "orvane-login-item-0001-orvane-helper.desktop": the number is one more
// than the highest of ours already there, so an entry sorts after every entry added before it
// and a removal finds the oldest first; the program's name is for whoever looks in the folder;
// the prefix keeps our names apart from the system's autostart entries, which a user's entry of
// the same name would override. Four digits keep the file-name order; the list is full at 9999.
constexpr std::string_view kEntryPrefix = "orvane-login-item-";
constexpr int kLastNumber = 9999;

fs::path autostartFolder() {
    // The base directory specification tells programs to ignore a relative XDG_CONFIG_HOME.
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/') return fs::path(xdg) / "autostart";
    return expandTilde("~/.config") / "autostart";
}

// Missing folders are made private, as the base directory specification asks.
bool makeFolder(const fs::path& folder) {
    struct stat st;
    if (::stat(folder.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
    if (folder.has_relative_path() && !makeFolder(folder.parent_path())) return false;
    return ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

// The list: every desktop entry of the folder, in the byte order of the file names.
std::vector<fs::path> entryFiles(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        if (it->path().extension() == ".desktop") files.push_back(it->path());
    std::sort(files.begin(), files.end());
    return files;
}

// The absolute path of the program that the entry starts, when that program exists.
std::optional<std::string> resolvedProgram(const fs::path& file) {
    std::vector<std::uint8_t> bytes;
    if (!readWholeFile(file, bytes).ok()) return std::nullopt;
    const DesktopEntryKeys keys = desktopEntryKeys({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    if (const auto hidden = keys.find("Hidden"); hidden != keys.end() && isTrueValue(hidden->second))
        return std::nullopt;
    const auto exec = keys.find("Exec");
    if (exec == keys.end()) return std::nullopt;
    std::string program = execProgram(exec->second);
    struct stat st;
    if (!program.starts_with('/') || ::stat(program.c_str(), &st) != 0) return std::nullopt;
    return program;
}

std::optional<fs::path> newEntryFile(const fs::path& folder, const std::string& program) {
    int last = 0;
    for (const fs::path& file : entryFiles(folder)) {
        const std::string name = file.filename().string();
        int number = 0;
        if (name.starts_with(kEntryPrefix))
            std::from_chars(name.data() + kEntryPrefix.size(), name.data() + name.size(), number);
        last = std::max(last, number);
    }
    if (last >= kLastNumber) return std::nullopt;
    std::string stem = fs::path(program).filename().string();
    for (char& c : stem)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_' && c != '.') c = '_';
    std::string number = std::to_string(last + 1);
    number.insert(0, 4 - number.size(), '0');
    return folder / (std::string(kEntryPrefix) + number + "-" + stem + ".desktop");
}

std::string entryText(const std::string& program, bool hidden) {
    const std::string name = fs::path(program).filename().string();
    return "[Desktop Entry]\nType=Application\nName=" + escapedValue(name.empty() ? program : name) +
           "\nExec=" + execValue(program) + "\nX-Orvane-Hidden=" + (hidden ? "true" : "false") + "\n";
}

std::string localPath(const QString& path) { return QFile::encodeName(path).toStdString(); }

}  // namespace

bool LoginItem::addLoginItemWithPath(const QString& path, bool hidden) {
    // A relative path could never resolve.
    const std::string program = localPath(path);
    if (!program.starts_with('/')) return false;
    const fs::path folder = autostartFolder();
    if (!makeFolder(folder)) return false;
    const std::optional<fs::path> file = newEntryFile(folder, program);
    if (!file) return false;
    const std::string text = entryText(program, hidden);
    return writeFileAtomically(*file,
                               [&](plist::Sink& sink) {
                                   sink.write(text);
                                   return std::string();
                               })
        .ok();
}

bool LoginItem::isLoginItemWithPath(const QString& path, bool remove) {
    const std::string prefix = localPath(path);
    for (const fs::path& file : entryFiles(autostartFolder())) {
        const std::optional<std::string> program = resolvedProgram(file);
        if (!program || !program->starts_with(prefix)) continue;
        // Found is found, whether or not the file could be removed.
        if (remove) ::unlink(file.c_str());
        return true;
    }
    return false;
}

bool LoginItem::addLoginItem() { return addLoginItemWithPath(QCoreApplication::applicationFilePath(), false); }

bool LoginItem::isLoginItem() { return isLoginItemWithPath(QCoreApplication::applicationFilePath(), false); }

bool LoginItem::removeLoginItem() { return isLoginItemWithPath(QCoreApplication::applicationFilePath(), true); }

bool LoginItem::removeLoginItemWithPath(const QString& path) { return isLoginItemWithPath(path, true); }

bool LoginItem::toggleLoginItemAsHidden(bool hidden) {
    if (!isLoginItem()) return addLoginItemWithPath(QCoreApplication::applicationFilePath(), hidden);
    return removeLoginItem();
}

}  // namespace orvane
