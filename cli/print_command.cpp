// orvane-cli print: a bookmarks file as an outline a person can read.
#include <cstdio>
#include <string>
#include <vector>

#include "cli.h"
#include "plist/coerce.h"
#include "stores/safari/safari_keys.h"
#include "stores/safari/safari_nodes.h"

namespace orvane::cli {
namespace {

const char* kHelp =
    "usage: orvane-cli print FILE\n"
    "\n"
    "Shows the bookmarks file FILE (- for standard input) as an indented outline: folders end\n"
    "in '/', bookmarks show their address in <>, proxies and hidden folders are marked, and the\n"
    "Bookmarks Bar and Bookmarks Menu are named as such.\n"
    "\n"
    "Exit status: 0 done, 3 FILE is a property list but not a bookmarks file, 5 FILE unreadable\n"
    "or not a property list, 6 standard output cannot be written, 64 usage error.\n";

std::string stringAt(const plist::Value& node, std::string_view key) {
    const plist::Dictionary* d = node.asDictionary();
    const plist::Value* v = d ? d->find(key) : nullptr;
    return v && v->isString() ? std::string(v->asString()) : std::string();
}

struct Counts {
    std::size_t bookmarks = 0, folders = 0;
};

// The text of one line of the outline, without its indentation.
std::string describe(const plist::Value& node, bool atRoot, Counts& counts) {
    plist::Value titleValue = safari::titleOf(node);
    std::string title = titleValue.isString() ? printable(titleValue.asString()) : std::string();
    const plist::Dictionary* d = node.asDictionary();
    const plist::Value* hidden = d ? d->find(safari::keys::ShouldOmitFromUI) : nullptr;
    switch (safari::kindOf(node)) {
    case NodeKind::Bookmark: {
        ++counts.bookmarks;
        std::string url = printable(stringAt(node, safari::keys::URLString));
        return (title.empty() ? "(untitled)" : title) + "  <" + url + ">";
    }
    case NodeKind::Folder: {
        ++counts.folders;
        std::string name = title.empty() ? "(untitled folder)" : title;
        if (atRoot && title == safari::keys::BookmarksBarTitle) name = "Bookmarks Bar";
        if (atRoot && title == safari::keys::BookmarksMenuTitle) name = "Bookmarks Menu";
        return name + "/" + (hidden && hidden->asBool() ? "  (hidden)" : "");
    }
    case NodeKind::Pinned: return (title.empty() ? "(untitled)" : title) + "  (proxy)";
    default: break;
    }
    if (!node.isDictionary()) return std::string("(not a bookmark: a ") + plist::typeName(node.type()) + ")";
    return (title.empty() ? "(untitled)" : title) + "  (unknown kind \"" +
           printable(stringAt(node, safari::keys::WebBookmarkType)) + "\")";
}

}  // namespace

int runPrint(const Args& args) {
    std::string_view input;
    bool haveInput = false, optionsEnded = false;
    for (std::string_view a : args) {
        const bool option = !optionsEnded && a.size() > 1 && a[0] == '-';
        if (option && a == "--") {
            optionsEnded = true;
            continue;
        }
        if (option && (a == "-h" || a == "--help")) {
            std::fputs(kHelp, stdout);
            return ExitOk;
        }
        if (option) {
            printError("print: unknown option '" + std::string(a) + "'; see 'orvane-cli print --help'");
            return ExitUsage;
        }
        if (haveInput) {
            printError("print: only one FILE may be given; see 'orvane-cli print --help'");
            return ExitUsage;
        }
        input = a;
        haveInput = true;
    }
    if (!haveInput) {
        printError("print: no FILE given; see 'orvane-cli print --help'");
        return ExitUsage;
    }
    plist::ReadResult read = loadPropertyList(input);
    if (!read) return ExitUnreadable;

    const plist::Value& root = read.value;
    if (!safari::isBookmarksFileRoot(root)) {
        printError(std::string(input) + ": not a bookmarks file (its root is not a dictionary with WebBookmarkType \"" +
                   std::string(safari::keys::TypeList) + "\")");
        return ExitNotBookmarks;
    }

    const plist::Value* version = root.asDictionary()->find(safari::keys::WebBookmarkFileVersion);
    std::printf("%s: %s property list, bookmarks file version %lld\n",
                input == "-" ? "standard input" : std::string(input).c_str(), plist::formatName(read.format),
                version ? integerValue(*version) : 0LL);

    // Depth-first without recursion; children are pushed in reverse so they print in order.
    struct Item {
        const plist::Value* node;
        int depth;
    };
    std::vector<Item> pending;
    auto pushChildren = [&](const plist::Value& node, int depth) {
        const plist::Dictionary* d = node.asDictionary();
        const plist::Value* children = d ? d->find(safari::keys::Children) : nullptr;
        if (!children || !children->isArray()) return;
        const auto& items = children->asArray()->items();
        for (auto it = items.rbegin(); it != items.rend(); ++it) pending.push_back({&*it, depth});
    };
    Counts counts;
    pushChildren(root, 0);
    std::string line;
    while (!pending.empty()) {
        Item item = pending.back();
        pending.pop_back();
        line.assign(static_cast<std::size_t>(2 * item.depth), ' ');
        line += describe(*item.node, item.depth == 0, counts);
        std::puts(line.c_str());
        if (safari::kindOf(*item.node) == NodeKind::Folder) pushChildren(*item.node, item.depth + 1);
    }
    std::printf("%zu bookmark%s in %zu folder%s\n", counts.bookmarks, counts.bookmarks == 1 ? "" : "s", counts.folders,
                counts.folders == 1 ? "" : "s");
    return ExitOk;
}

}  // namespace orvane::cli
