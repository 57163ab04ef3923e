#include "tree/validation.h"

#include <string>
#include <vector>

#include "plist/utf.h"
#include "support/log.h"
#include "support/translation.h"
#include "tree/string_set.h"

namespace orvane {
namespace {

// Blanks that make an address empty: spaces, tabs and the other Unicode space separators. Line
// breaks are not among them.
bool isTrimmedBlank(std::uint32_t cp) {
    return cp == ' ' || cp == '\t' || cp == 0xA0 || cp == 0x1680 || (cp >= 0x2000 && cp <= 0x200A) || cp == 0x202F ||
           cp == 0x205F || cp == 0x3000;
}

bool isBlank(std::string_view s) {
    std::size_t pos = 0;
    std::uint32_t cp;
    while (pos < s.size()) {
        if (!plist::utf::nextCodePoint(s, pos, cp) || !isTrimmedBlank(cp)) return false;
    }
    return true;
}

// A short text form of an entry for the log.
std::string describe(const BookmarkTree& tree, NodeId id) {
    std::string out = "{";
    if (tree[id].hasTitle) out.append("title = ").append(tree.title(id));
    if (tree[id].hasUrl) out.append(out.size() > 1 ? "; " : "").append("url = ").append(tree.url(id));
    return out + "}";
}

class RegionCleaner {
public:
    RegionCleaner(BookmarkTree& tree, const SortOptions& options, SortReport* report, std::size_t bookmarks)
        : tree_(tree), options_(options), report_(report), urls_(options.removeDuplicates ? bookmarks : 0) {}

    // True when the caller should remove the entry; a folder first cleans its own entries, all
    // the way down, before its answer is known.
    bool isFaulty(NodeId id);

private:
    // A folder whose entries are being walked, from the last to the first.
    struct Frame {
        NodeId folder;
        std::size_t next;  // entries still to visit: those before this index
        StringSet titles;
        std::vector<bool> faulty;
        std::vector<std::uint32_t> urlHashes;  // of the entries' addresses, when duplicates go
    };

    // Anything but a folder with entries; `urlHash` is its address's, when duplicates go.
    bool isFaultyEntry(NodeId id, std::uint32_t urlHash);
    bool startFolder(NodeId id);      // false when it is faulty without a look inside
    bool finishFolder(Frame& frame);  // removes the faulty entries; true when none is left
    void judged(Frame& frame, std::size_t index, bool faulty);
    void validateTitle(NodeId id, StringSet& titles);
    void count(std::size_t SortReport::*what) {
        if (report_) ++(report_->*what);
    }

    BookmarkTree& tree_;
    const SortOptions& options_;
    SortReport* report_;
    StringTable urls_;  // the region's addresses, numbered by their bookmarks
    std::vector<Frame> stack_;
    TextRef untitled_;
    bool untitledKept_ = false;
};

bool RegionCleaner::isFaultyEntry(NodeId id, std::uint32_t urlHash) {
    const TreeNode& node = tree_[id];
    if (node.kind != NodeKind::Bookmark) return false;
    if (!node.hasUrl || isBlank(tree_.url(id))) {
        count(&SortReport::brokenBookmarksRemoved);
        return true;
    }
    if (options_.removeDuplicates && !urls_.insert(id, tree_.url(id), urlHash, [&](NodeId n) { return tree_.url(n); })) {
        count(&SortReport::duplicatesRemoved);
        return true;
    }
    return false;
}

bool RegionCleaner::startFolder(NodeId id) {
    const TreeNode& node = tree_[id];
    if (!node.hasChildList || node.childCount == 0) {
        count(&SortReport::emptyFoldersRemoved);
        return false;
    }
    stack_.push_back({id, node.childCount, StringSet(node.childCount), std::vector<bool>(node.childCount), {}});
    if (options_.removeDuplicates) {
        std::vector<std::uint32_t>& hashes = stack_.back().urlHashes;
        hashes.resize(node.childCount);
        const std::span<const NodeId> children = tree_.children(id);
        for (std::size_t i = 0; i < children.size(); ++i)
            if (tree_[children[i]].kind == NodeKind::Bookmark && tree_[children[i]].hasUrl) {
                hashes[i] = StringTable::hashOf(tree_.url(children[i]));
                urls_.prefetch(hashes[i]);
            }
    }
    return true;
}

bool RegionCleaner::finishFolder(Frame& frame) {
    const std::span<NodeId> children = tree_.children(frame.folder);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < children.size(); ++i)
        if (!frame.faulty[i]) children[kept++] = children[i];
    if (kept != children.size()) {
        tree_.truncateChildren(frame.folder, kept);
        tree_[frame.folder].childrenChanged = true;
    }
    if (kept != 0) return false;
    count(&SortReport::emptyFoldersRemoved);
    return true;
}

void RegionCleaner::judged(Frame& frame, std::size_t index, bool faulty) {
    if (faulty)
        frame.faulty[index] = true;
    else
        validateTitle(tree_.children(frame.folder)[index], frame.titles);
}

bool RegionCleaner::isFaulty(NodeId id) {
    if (tree_[id].kind != NodeKind::Folder)
        return isFaultyEntry(id, tree_[id].hasUrl ? StringTable::hashOf(tree_.url(id)) : 0);
    if (!startFolder(id)) return true;
    // Depth first without recursion: how deep folders nest is up to the file.
    const std::size_t base = stack_.size() - 1;
    for (;;) {
        Frame& frame = stack_.back();
        if (frame.next == 0) {
            const bool faulty = finishFolder(frame);
            stack_.pop_back();
            if (stack_.size() == base) return faulty;
            Frame& parent = stack_.back();
            judged(parent, parent.next, faulty);
            continue;
        }
        const std::size_t index = --frame.next;
        const NodeId child = tree_.children(frame.folder)[index];
        if (tree_[child].kind != NodeKind::Folder) {
            judged(frame, index, isFaultyEntry(child, frame.urlHashes.empty() ? 0 : frame.urlHashes[index]));
        } else if (!startFolder(child)) {
            judged(stack_.back(), index, true);
        }
        // else: the child's frame is on top now, and its answer comes when it is finished.
    }
}

void RegionCleaner::validateTitle(NodeId id, StringSet& titles) {
    const TreeNode& node = tree_[id];
    if (node.kind == NodeKind::Separator) return;
    if (!node.hasTitle) {
        // Untitled: the address, or "No Name"; not entered into the set, so it renames nobody.
        if (!node.hasUrl && !untitledKept_) {
            untitled_ = tree_.keep(untitledName());
            untitledKept_ = true;
        }
        const TextRef name = node.hasUrl ? node.url : untitled_;
        if (report_) report_->renames.push_back({"", std::string(tree_.text(name))});
        tree_.setTitle(id, name);
        return;
    }
    if (!options_.renameSamenamed) return;
    const std::string_view title = tree_.title(id);
    if (tree_.rules.keepsEmptyTitles && title.empty()) return;
    if (titles.insert(title)) {
        // Written back as it is, which moves it where new titles go when it was read elsewhere.
        if (!node.newTitleIsRead) tree_.setTitle(id, node.title);
        return;
    }
    // Each candidate is built on the one before, not on the title: "News", "News 2", "News 2 3".
    std::string candidate(title);
    std::uint64_t n = 2;
    do {
        candidate += ' ';
        candidate += std::to_string(n);
        ++n;
    } while (titles.contains(candidate));
    if (n <= 1) {  // the counter wrapped around: the name may not be unique after all
        candidate += " 1";
        logLine("-[Orvane validateBookmarkNodeTitle:useDuplicateTitleLookupSet:]",
                "WARNING: assigning a possibly non-unique title \u201C" + candidate +
                    "\u201D for bookmark node: " + describe(tree_, id));
    }
    const TextRef kept = tree_.keep(candidate);
    titles.insert(tree_.text(kept));
    if (report_) report_->renames.push_back({std::string(title), candidate});
    tree_.setTitle(id, kept);
}

// Bookmarks under `root`, to size the region's set of addresses.
std::size_t bookmarksUnder(const BookmarkTree& tree, NodeId root) {
    std::size_t count = 0;
    std::vector<NodeId> pending{root};
    while (!pending.empty()) {
        const NodeId id = pending.back();
        pending.pop_back();
        if (tree[id].kind == NodeKind::Bookmark) ++count;
        if (tree[id].kind == NodeKind::Folder) {
            const std::span<const NodeId> children = tree.children(id);
            pending.insert(pending.end(), children.begin(), children.end());
        }
    }
    return count;
}

}  // namespace

std::string untitledName() { return localizedString("No Name"); }

void validateRegion(BookmarkTree& tree, NodeId root, const SortOptions& options, SortReport* report) {
    RegionCleaner cleaner(tree, options, report, bookmarksUnder(tree, root));
    // The region's root stays, whatever the answer, so it is not counted as removed.
    if (cleaner.isFaulty(root) && report && tree[root].kind == NodeKind::Folder) --report->emptyFoldersRemoved;
}

}  // namespace orvane
