#include "tree/sorting.h"

#include <algorithm>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tree/title_collator.h"
#include "tree/validation.h"

namespace orvane {
namespace {

// Kind first, then the title's collation key. Pinned entries always lead; with foldersAtTop the
// order of kinds is folder, bookmark, other. An untitled entry has the empty key and so leads its
// kind, which keeps the order strict and weak.
std::uint32_t rankOf(NodeKind kind, bool foldersAtTop) {
    if (kind == NodeKind::Pinned) return 0;
    if (!foldersAtTop) return 1;
    return kind == NodeKind::Folder ? 1 : kind == NodeKind::Bookmark ? 2 : 3;
}

class FolderSorter {
public:
    FolderSorter(const BookmarkTree& tree, const TitleCollator& collator, bool foldersAtTop)
        : tree_(tree), collator_(collator), foldersAtTop_(foldersAtTop) {}

    // Sorts one run of entries (no separator among them) in place.
    void sort(std::span<NodeId> run);

private:
    struct Entry {
        std::uint64_t head;  // the first eight bytes of the key
        std::uint32_t rank;
        NodeId id;
        TitleCollator::KeyHead key;
        std::string_view title;
    };
    static bool byHead(const Entry& a, const Entry& b) { return a.rank != b.rank ? a.rank < b.rank : a.head < b.head; }

    const BookmarkTree& tree_;
    const TitleCollator& collator_;
    bool foldersAtTop_;
    std::vector<Entry> entries_;
};

void FolderSorter::sort(std::span<NodeId> run) {
    if (run.size() < 2) return;  // nothing to compare, so no collation keys to make
    entries_.clear();
    entries_.reserve(run.size());
    for (const NodeId id : run) {
        const TreeNode& node = tree_[id];
        Entry e{0, rankOf(node.kind, foldersAtTop_), id, {}, node.hasTitle ? tree_.title(id) : std::string_view()};
        if (node.hasTitle) e.key = collator_.keyHead(e.title);
        e.head = e.key.bytes;
        entries_.push_back(e);
    }
    std::stable_sort(entries_.begin(), entries_.end(), byHead);
    // Where heads tie, the rest of the keys decide, made only for those entries.
    for (auto first = entries_.begin(); first != entries_.end();) {
        auto last = std::find_if(first + 1, entries_.end(), [&](const Entry& e) { return byHead(*first, e); });
        if (last - first > 1 && std::any_of(first, last, [](const Entry& e) { return !e.key.complete; })) {
            std::vector<std::pair<std::string, Entry>> tied;
            tied.reserve(static_cast<std::size_t>(last - first));
            for (auto it = first; it != last; ++it) tied.emplace_back(collator_.keyRest(it->title, it->key), *it);
            std::stable_sort(tied.begin(), tied.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
            for (std::size_t k = 0; k < tied.size(); ++k) first[static_cast<std::ptrdiff_t>(k)] = tied[k].second;
        }
        first = last;
    }
    for (std::size_t k = 0; k < run.size(); ++k) run[k] = entries_[k].id;
}

bool keepsOwnOrder(const BookmarkTree& tree, const Region& region, NodeId id, const SortOptions& options) {
    if (options.sortBookmarksBar) return false;
    if (region.isBookmarksBar && id == region.root) return true;
    return !tree.rules.barTitle.empty() && tree[id].hasTitle && tree.title(id) == tree.rules.barTitle;
}

// A folder the sort moved entries in, with the order they had.
struct Moved {
    NodeId folder;
    std::vector<NodeId> before;
};

// Sorts each run between separators in place; adds the folder to `moved` when anything moved.
// Touches only the folder's own entries, so that folders may be sorted on several threads.
void sortFolder(BookmarkTree& tree, NodeId id, FolderSorter& sorter, std::vector<Moved>& moved) {
    const std::span<NodeId> children = tree.children(id);
    if (children.size() < 2) return;
    std::vector<NodeId> before(children.begin(), children.end());
    std::size_t start = 0;
    for (std::size_t i = 0; i <= children.size(); ++i) {
        if (i < children.size() && tree[children[i]].kind != NodeKind::Separator) continue;
        sorter.sort(children.subspan(start, i - start));
        start = i + 1;
    }
    if (!std::equal(before.begin(), before.end(), children.begin())) moved.push_back({id, std::move(before)});
}

void noteMoved(BookmarkTree& tree, std::vector<Moved>& moved, SortReport* report) {
    for (Moved& m : moved) tree.setReordered(m.folder, std::move(m.before));
    if (report) report->foldersReordered += moved.size();
}

// Calls `visit` with every folder of the region the sort puts in order, deepest first.
template <class Visit>
void forEachFolderToSort(const BookmarkTree& tree, const Region& region, const SortOptions& options, Visit visit) {
    // Each folder is pushed once to be opened, then again to be visited once everything inside it
    // is; no recursion.
    std::vector<std::pair<NodeId, bool>> pending{{region.root, false}};
    while (!pending.empty()) {
        const auto [id, opened] = pending.back();
        pending.pop_back();
        const TreeNode& node = tree[id];
        if (node.hidden || !node.hasChildList) continue;
        if (!opened) {
            pending.emplace_back(id, true);
            for (const NodeId child : tree.children(id)) pending.emplace_back(child, false);
            continue;
        }
        if (!keepsOwnOrder(tree, region, id, options)) visit(id);
    }
}

}  // namespace

void sortRegion(BookmarkTree& tree, const Region& region, const SortOptions& options, const TitleCollator& collator,
                SortReport* report) {
    FolderSorter sorter(tree, collator, options.foldersAtTop);
    std::vector<Moved> moved;
    forEachFolderToSort(tree, region, options, [&](NodeId id) { sortFolder(tree, id, sorter, moved); });
    noteMoved(tree, moved, report);
}

bool isSameOrder(const BookmarkTree& tree, NodeId before, NodeId after) {
    std::vector<std::pair<NodeId, NodeId>> pending{{before, after}};
    while (!pending.empty()) {
        const auto [a, b] = pending.back();
        pending.pop_back();
        const TreeNode& x = tree[a];
        const TreeNode& y = tree[b];
        if (!x.hasIdentity || !y.hasIdentity || tree.identity(a) != tree.identity(b)) return false;
        if (x.hidden && y.hidden) continue;
        if (!x.namesChildren && !y.namesChildren) continue;
        if (!x.namesChildren || !y.namesChildren) return false;
        const std::span<const NodeId> old = x.hasChildList ? tree.childrenBeforeSort(a) : std::span<const NodeId>();
        const std::span<const NodeId> now = y.hasChildList ? tree.children(b) : std::span<const NodeId>();
        if (old.size() != now.size()) return false;
        for (std::size_t i = old.size(); i-- > 0;) pending.emplace_back(old[i], now[i]);
    }
    return true;
}

bool sortTree(BookmarkTree& tree, const SortOptions& options, const TitleCollator& collator, SortReport* report) {
    if (report) *report = {};
    // Every region is cleaned before any is sorted: the keys are made for the titles as they end.
    for (const Region& region : tree.regions) validateRegion(tree, region.root, options, report);
    // Folders are sorted each on its own, and making the titles' collation keys is most of it: a
    // large tree's folders are shared out between two threads by the entries they hold.
    std::vector<NodeId> folders;
    std::size_t entries = 0;
    for (const Region& region : tree.regions)
        forEachFolderToSort(tree, region, options, [&](NodeId id) {
            folders.push_back(id);
            entries += tree[id].childCount;
        });
    std::size_t split = folders.size();
    // Below a few thousand entries a thread costs more than it saves.
    if (entries >= 4096) {
        std::size_t counted = 0;
        for (split = 0; split < folders.size() && 2 * counted < entries; ++split) counted += tree[folders[split]].childCount;
    }
    auto sortFolders = [&](const TitleCollator& c, std::size_t from, std::size_t to, std::vector<Moved>& moved) {
        FolderSorter sorter(tree, c, options.foldersAtTop);
        for (std::size_t i = from; i < to; ++i) sortFolder(tree, folders[i], sorter, moved);
    };
    std::vector<Moved> moved, movedThere;
    std::thread other;
    // A collator is not shared between threads: the other one sorts with a copy.
    if (split < folders.size())
        other = std::thread([&, copy = TitleCollator(collator)] { sortFolders(copy, split, folders.size(), movedThere); });
    sortFolders(collator, 0, split, moved);
    if (other.joinable()) other.join();
    noteMoved(tree, moved, report);
    noteMoved(tree, movedThere, report);
    const bool changed = !std::all_of(tree.regions.begin(), tree.regions.end(), [&](const Region& region) {
        return isSameOrder(tree, region.root, region.root);
    });
    if (report) report->wouldWrite = changed;
    return changed;
}

}  // namespace orvane
