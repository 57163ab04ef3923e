// The programs that the desktop session starts when the user logs in. The list is the XDG
// autostart folder, "$XDG_CONFIG_HOME/autostart" (by default "~/.config/autostart"): one desktop
// entry file per item, in file-name order. An item resolves to the absolute path of the program
// its Exec line names, and does not resolve when that program is gone. Whether the program
// should start hidden is the key "X-Orvane-Hidden"; the XDG key "Hidden" means the entry is
// deleted, and such entries are skipped.
//
// Each operation answers only whether it succeeded, never why not: the callers log.
#pragma once

#include <QString>

namespace orvane {

class LoginItem {
public:
    LoginItem() = delete;

    // Adds an entry for `path`, an absolute path, at the end of the list, even when the path
    // already has one; true when the entry was written.
    static bool addLoginItemWithPath(const QString& path, bool hidden);
    // Looks for the first item whose resolved path begins with `path` (case-sensitive, so a
    // longer program name in the same folder matches as well) and, when `remove` is set,
    // removes it; true when an item was found.
    static bool isLoginItemWithPath(const QString& path, bool remove);
    // The same for the running program, QCoreApplication::applicationFilePath().
    static bool addLoginItem();
    static bool isLoginItem();
    static bool removeLoginItem();
    static bool removeLoginItemWithPath(const QString& path);
    // Adds the running program with the given flag when it is not an item; otherwise removes it.
    static bool toggleLoginItemAsHidden(bool hidden);
};

}  // namespace orvane
