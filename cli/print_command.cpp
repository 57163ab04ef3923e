// orvane-cli print: a bookmarks file as an outline a person can read, or as JSON for scripts.
// Both come from one walk of the file, so they always show the same entries.
#include <cstdio>
#include <string>
#include <vector>

#include <algorithm>
#include <memory>
#include <optional>

#include "cli.h"
#include "files/atomic_file.h"
#include "support/error_codes.h"
#include "json_writer.h"
#include "plist/coerce.h"
#include "stores/bookmark_store.h"
#include "stores/safari/safari_keys.h"
#include "stores/safari/safari_nodes.h"

namespace orvane::cli {
namespace {

const char* kHelp =
    "usage: orvane-cli print [--json] FILE | --browser ID[:PROFILE]\n"
    "\n"
    "Shows the bookmarks file FILE (- for standard input) as an indented outline: folders end\n"
    "in '/', bookmarks show their address in <>, proxies and hidden folders are marked, and the\n"
    "Bookmarks Bar and Bookmarks Menu are named as such. FILE is Safari's Bookmarks.plist (any\n"
    "property list), a Chromium-family browser's Bookmarks file or a Firefox-family browser's\n"
    "places.sqlite.\n"
    "\n"
    "Options:\n"
    "  --json         print the same tree as JSON, for scripts: every entry with its kind\n"
    "                 (folder, bookmark, pinned, separator, other), title, address and entries\n"
    "  --browser ID[:PROFILE]\n"
    "                 show that browser profile's bookmarks (see 'orvane-cli browsers')\n"
    "  -h, --help     show this help\n"
    "\n"
    "Exit status: 0 done, 3 FILE is a property list but not a bookmarks file, 5 FILE unreadable\n"
    "or not a property list, 6 standard output cannot be written, 64 usage error.\n";

// One entry of the outline, as the file has it.
struct Entry {
    int depth = 0;
    NodeKind kind = NodeKind::Other;
    std::optional<std::string_view> title;  // none when the entry has no title at all
    std::optional<std::string_view> url;
    std::string_view label;  // what people call a special folder ("Bookmarks Bar"), shown for its title
    bool hidden = false;
    bool region = false;      // a part of a browser profile rather than an entry of its own
    bool container = false;   // entries one deeper follow, inside it
    std::string other;        // for an entry of no known kind: what it is instead
    bool notAnEntry = false;  // Safari: an element of a folder that is not even a dictionary
};

struct Header {
    std::string_view input;  // as given; "-" for standard input
    std::string_view format, browser;
    std::string description;  // the outline's first line, after the file's name
};

class Outline {
public:
    virtual ~Outline() = default;
    virtual void begin(const Header& header) = 0;
    virtual void entry(const Entry& entry) = 0;
    virtual void end() = 0;
};

// The indented outline, one line per entry, and the counts at its end.
class TextOutline final : public Outline {
public:
    void begin(const Header& header) override {
        safari_ = header.format == "safari";
        std::printf("%s: %s\n", header.input == "-" ? "standard input" : std::string(header.input).c_str(),
                    header.description.c_str());
    }

    void entry(const Entry& e) override {
        const std::string title = e.title ? printable(*e.title) : std::string();
        const std::string named = title.empty() ? "(untitled)" : title;
        line_.assign(static_cast<std::size_t>(2 * e.depth), ' ');
        switch (e.kind) {
        case NodeKind::Folder:
            line_ += (!e.label.empty() ? std::string(e.label) : title.empty() ? "(untitled folder)" : title) + "/";
            if (e.hidden && safari_) line_ += "  (hidden)";
            if (!e.region) ++folders_;
            break;
        case NodeKind::Bookmark:
            line_ += named + "  <" + (e.url ? printable(*e.url) : std::string()) + ">";
            ++bookmarks_;
            break;
        case NodeKind::Pinned: line_ += named + (safari_ ? "  (proxy)" : "  (query)"); break;
        case NodeKind::Separator: line_ += "----"; break;
        case NodeKind::Other: line_ += e.notAnEntry ? "(" + e.other + ")" : named + "  (" + e.other + ")"; break;
        }
        std::puts(line_.c_str());
    }

    void end() override {
        std::printf("%zu bookmark%s in %zu folder%s\n", bookmarks_, bookmarks_ == 1 ? "" : "s", folders_,
                    folders_ == 1 ? "" : "s");
    }

private:
    bool safari_ = false;
    std::string line_;
    std::size_t bookmarks_ = 0, folders_ = 0;
};

// The same tree as nested JSON objects.
class JsonOutline final : public Outline {
public:
    void begin(const Header& header) override {
        json_.beginObject();
        json_.key("file").string(header.input);
        json_.key("format").string(header.format);
        json_.key("browser").string(header.browser);
        json_.key("children").beginArray();
    }

    void entry(const Entry& e) override {
        closeFoldersDeeperThan(e.depth);
        static const char* const kinds[] = {"other", "bookmark", "folder", "pinned", "separator"};
        json_.beginObject();
        json_.key("kind").string(kinds[static_cast<int>(e.kind)]);
        if (!e.label.empty()) json_.key("label").string(e.label);
        if (e.kind != NodeKind::Separator) {
            json_.key("title");
            e.title ? json_.string(*e.title) : json_.null();
        }
        if (e.kind == NodeKind::Bookmark) {
            json_.key("url");
            e.url ? json_.string(*e.url) : json_.null();
        }
        if (e.hidden) json_.key("hidden").boolean(true);
        if (e.kind == NodeKind::Other) json_.key("note").string(e.other);
        if (e.container) {
            json_.key("children").beginArray();
            ++open_;
        } else {
            json_.endObject();
        }
    }

    void end() override {
        closeFoldersDeeperThan(0);
        json_.endArray();
        json_.endObject();
    }

private:
    void closeFoldersDeeperThan(int depth) {
        for (; open_ > depth; --open_) {
            json_.endArray();
            json_.endObject();
        }
    }

    JsonWriter json_{stdout};
    int open_ = 0;
};

std::optional<std::string_view> stringAt(const plist::Value& node, std::string_view key) {
    const plist::Dictionary* d = node.asDictionary();
    const plist::Value* v = d ? d->find(key) : nullptr;
    return v && v->isString() ? std::optional(v->asString()) : std::nullopt;
}

// A browser profile's bookmarks, region by region, from the tree its store reads.
int printBrowserProfile(std::string_view input, BookmarksFormat format, Outline& outline) {
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
    const std::string browser(store->browserName());
    outline.begin(
        {input, format == BookmarksFormat::Firefox ? "firefox" : "chromium", browser, browser + " bookmarks file"});
    std::vector<std::pair<NodeId, int>> pending;
    for (auto region = tree.regions.rbegin(); region != tree.regions.rend(); ++region)
        pending.emplace_back(region->root, 0);
    while (!pending.empty()) {
        const NodeId id = pending.back().first;
        const int depth = pending.back().second;
        pending.pop_back();
        const TreeNode& node = tree[id];
        Entry e;
        e.depth = depth;
        e.kind = depth == 0 ? NodeKind::Folder : node.kind;
        if (node.hasTitle) e.title = tree.title(id);
        if (node.hasUrl) e.url = tree.url(id);
        e.hidden = node.hidden;
        if (depth == 0) {
            e.label = std::find_if(tree.regions.begin(), tree.regions.end(), [&](const Region& r) {
                          return r.root == id;
                      })->label;
            e.region = true;
        }
        const std::span<const NodeId> children = tree.children(id);
        e.container = e.kind == NodeKind::Folder || !children.empty();
        if (e.kind == NodeKind::Other) e.other = "unknown kind";
        outline.entry(e);
        for (auto child = children.rbegin(); child != children.rend(); ++child) pending.emplace_back(*child, depth + 1);
    }
    outline.end();
    return ExitOk;
}

// Safari's property list, walked as it is, so that any bookmarks file shows, even one the sort refuses.
int printSafariFile(std::string_view input, Outline& outline) {
    plist::ReadResult read = loadPropertyList(input);
    if (!read) return ExitUnreadable;

    const plist::Value& root = read.value;
    if (!safari::isBookmarksFileRoot(root)) {
        printError(std::string(input) + ": not a bookmarks file (its root is not a dictionary with WebBookmarkType \"" +
                   std::string(safari::keys::TypeList) + "\")");
        return ExitNotBookmarks;
    }

    const plist::Value* version = root.asDictionary()->find(safari::keys::WebBookmarkFileVersion);
    outline.begin({input, "safari", "Safari",
                   std::string(plist::formatName(read.format)) + " property list, bookmarks file version " +
                       std::to_string(version ? integerValue(*version) : 0LL)});

    // Depth-first without recursion; children are pushed in reverse so they come in order.
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
    pushChildren(root, 0);
    while (!pending.empty()) {
        const Item item = pending.back();
        pending.pop_back();
        const plist::Value& node = *item.node;
        const plist::Value title = safari::titleOf(node);  // keeps the title's text alive for the entry
        Entry e;
        e.depth = item.depth;
        e.kind = safari::kindOf(node);
        if (title.isString()) e.title = title.asString();
        if (e.kind == NodeKind::Bookmark) e.url = stringAt(node, safari::keys::URLString);
        if (e.kind == NodeKind::Folder) {
            const plist::Value* hidden = node.asDictionary()->find(safari::keys::ShouldOmitFromUI);
            e.hidden = hidden && hidden->asBool();
            e.container = true;
            if (e.depth == 0 && e.title == safari::keys::BookmarksBarTitle) e.label = "Bookmarks Bar";
            if (e.depth == 0 && e.title == safari::keys::BookmarksMenuTitle) e.label = "Bookmarks Menu";
        }
        e.notAnEntry = !node.isDictionary();
        if (e.kind == NodeKind::Other)
            e.other = e.notAnEntry ? std::string("not a bookmark: a ") + plist::typeName(node.type())
                                   : "unknown kind \"" +
                                         printable(stringAt(node, safari::keys::WebBookmarkType).value_or("")) + "\"";
        outline.entry(e);
        if (e.kind == NodeKind::Folder) pushChildren(node, item.depth + 1);
    }
    outline.end();
    return ExitOk;
}

}  // namespace

int runPrint(const Args& args) {
    std::string_view input;
    std::string profileFile;
    bool haveInput = false, optionsEnded = false, json = false;
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
        if (option && a == "--json") {
            json = true;
            continue;
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
    TextOutline text;
    JsonOutline jsonOutline;
    Outline& outline = json ? static_cast<Outline&>(jsonOutline) : text;
    // Every format but Safari's is read through its store; Safari's property lists are shown as
    // they are, since print also takes property lists the store would refuse.
    const BookmarksFormat format = input == "-" ? BookmarksFormat::Safari : detectFormat(std::string(input));
    if (format != BookmarksFormat::Safari && format != BookmarksFormat::Unknown)
        return printBrowserProfile(input, format, outline);
    return printSafariFile(input, outline);
}

}  // namespace orvane::cli
