// orvane-cli print: a bookmarks file as an outline a person can read.
#include <cstdio>
#include <string>
#include <vector>

#include <algorithm>
#include <memory>

#include "cli.h"
#include "files/atomic_file.h"
#include "job/error_codes.h"
#include "plist/coerce.h"
#include "stores/bookmark_store.h"
#include "stores/safari/safari_keys.h"
#include "stores/safari/safari_nodes.h"

namespace orvane::cli {
namespace {

const char* kHelp =
    "usage: orvane-cli print FILE | --browser ID[:PROFILE]\n"
    "\n"
    "Shows the bookmarks file FILE (- for standard input) as an indented outline: folders end\n"
    "in '/', bookmarks show their address in <>, proxies and hidden folders are marked, and the\n"
    "Bookmarks Bar and Bookmarks Menu are named as such. FILE is Safari's Bookmarks.plist (any\n"
    "property list), a Chromium-family browser's Bookmarks file or a Firefox-family browser's\n"
    "places.sqlite.\n"
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

// A browser profile's bookmarks, region by region, from the tree its store reads.
int printBrowserProfile(std::string_view input) {
    const std::filesystem::path file = resolveLinks(std::string(input));
    StoreOptions options;
    options.ignoreSync = true;  // reading changes nothing
    options.readOnly = true;
    const std::unique_ptr<BookmarkStore> store = openStore(file, std::string(input), options);
    BookmarkTree tree;
    if (const StoreResult loaded = store->load(tree); !loaded.done()) {
        printError(loaded.status == StoreResult::Changed ? std::string(input) + ": changed while it was read"
                                                         : loaded.reason);
        return loaded.code == OVErrorNotBookmarksFile ? ExitNotBookmarks : ExitUnreadable;
    }
    std::printf("%s: %s bookmarks file\n", std::string(input).c_str(), std::string(store->browserName()).c_str());
    Counts counts;
    std::vector<std::pair<NodeId, int>> pending;
    for (auto region = tree.regions.rbegin(); region != tree.regions.rend(); ++region)
        pending.emplace_back(region->root, 0);
    std::string line;
    while (!pending.empty()) {
        const auto [id, depth] = pending.back();
        pending.pop_back();
        const TreeNode& node = tree[id];
        const std::string title = node.hasTitle ? printable(node.title) : std::string();
        line.assign(static_cast<std::size_t>(2 * depth), ' ');
        if (depth == 0) {
            const auto region =
                std::find_if(tree.regions.begin(), tree.regions.end(), [&](const Region& r) { return r.root == id; });
            line += std::string(region->label) + "/";
        } else if (node.kind == NodeKind::Folder) {
            line += (title.empty() ? "(untitled folder)" : title) + "/";
        } else if (node.kind == NodeKind::Bookmark) {
            line += (title.empty() ? "(untitled)" : title) + "  <" + printable(node.url) + ">";
        } else if (node.kind == NodeKind::Separator) {
            line += "----";
        } else {
            line += (title.empty() ? "(untitled)" : title) +
                    (node.kind == NodeKind::Pinned ? "  (query)" : "  (unknown kind)");
        }
        std::puts(line.c_str());
        if (node.kind == NodeKind::Bookmark) ++counts.bookmarks;
        if (node.kind == NodeKind::Folder && depth > 0) ++counts.folders;
        for (auto child = node.children.rbegin(); child != node.children.rend(); ++child)
            pending.emplace_back(*child, depth + 1);
    }
    std::printf("%zu bookmark%s in %zu folder%s\n", counts.bookmarks, counts.bookmarks == 1 ? "" : "s", counts.folders,
                counts.folders == 1 ? "" : "s");
    return ExitOk;
}

}  // namespace

int runPrint(const Args& args) {
    std::string_view input;
    std::string profileFile;
    bool haveInput = false, optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string_view a = args[i];
        const bool option = !optionsEnded && a.size() > 1 && a[0] == '-';
        if (option && a == "--") {
            optionsEnded = true;
            continue;
        }
        if (option && (a == "--browser" || a.starts_with("--browser="))) {
            const std::string_view value = a != "--browser" ? a.substr(10) : i + 1 < args.size() ? args[++i] : "";
            if (value.empty() || haveInput) {
                printError("print: give one FILE or --browser ID[:PROFILE]; see 'orvane-cli print --help'");
                return ExitUsage;
            }
            const std::optional<std::string> file = browserProfileFile("print", value);
            if (!file) return ExitUsage;
            profileFile = *file;
            input = profileFile;
            haveInput = true;
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
    if (const BookmarksFormat format = input == "-" ? BookmarksFormat::Safari : detectFormat(std::string(input));
        format == BookmarksFormat::Chromium || format == BookmarksFormat::Firefox)
        return printBrowserProfile(input);
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
