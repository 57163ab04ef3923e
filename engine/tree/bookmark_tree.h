// Bookmarks as the sort sees them, whatever file they came from: a tree of folders, bookmarks and
// a few other kinds of entry. A store makes the tree from its file and saves it back; validation,
// sorting and the change test work on the tree alone, so every format follows the same rules.
//
// Texts are views: a store points them into what it read and keeps that alive until it has
// saved; texts the rules make (new titles) are kept by the tree itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orvane {

enum class NodeKind : std::uint8_t {
    Other,      // a kind the sort does not know: ordered after every known kind
    Bookmark,   // has an address; removed when the address is missing or blank
    Folder,     // removed when it is or becomes empty
    Pinned,     // always first in its folder: Safari's proxies, Firefox's saved queries
    Separator,  // stays where it is; the entries between two separators are sorted apart
};

using NodeId = std::uint32_t;

struct TreeNode {
    // --- As the store read it ---
    std::string_view title;     // when hasTitle
    std::string_view url;       // when hasUrl
    std::string_view identity;  // when hasIdentity: what the change test compares
    std::vector<NodeId> children;
    std::uint32_t record = 0;  // the store's own handle for the entry
    NodeKind kind = NodeKind::Other;
    bool hidden = false;  // never sorted inside, never moved; its contents are still cleaned
    bool hasTitle = false;
    bool hasUrl = false;
    bool hasIdentity = false;
    bool hasChildList = false;   // `children` holds the entry's contents (possibly none)
    bool namesChildren = false;  // the file names contents for the entry, as a list or as anything else
    // False where a new title is stored somewhere its title is not read from (a Safari entry with
    // both a "Title" and a URI dictionary): the sort goes on seeing the old one.
    bool newTitleIsRead = true;

    // --- What the rules did (the new title and the order before the sort are kept by the tree,
    // which only a few entries need) ---
    bool titleChanged = false;
    bool childrenChanged = false;  // entries were removed or put in a new order
    bool reordered = false;        // the sort moved entries
};

// A part of the tree cleaned and sorted on its own, with its own set of addresses for finding
// duplicates.
struct Region {
    Region(NodeId root, bool isBookmarksBar = false, std::string_view label = {})
        : root(root), isBookmarksBar(isBookmarksBar), label(label) {}
    NodeId root;
    bool isBookmarksBar;     // its own entries keep their order unless the bar is sorted too
    std::string_view label;  // what people call it: "Bookmarks Bar", "Other Bookmarks", ...
};

// What differs between formats in how the rules apply.
struct TreeRules {
    // A folder of this title keeps the order of its own entries, wherever it is, as the bar does
    // (Safari's files: "BookmarksBar"). Empty: only the bar region's root.
    std::string_view barTitle;
    // Browsers let people blank a title on purpose (an icon alone in the bar): such a title is
    // never renamed.
    bool keepsEmptyTitles = false;
};

class BookmarkTree {
public:
    NodeId add(TreeNode node) {
        nodes_.push_back(std::move(node));
        return static_cast<NodeId>(nodes_.size() - 1);
    }
    TreeNode& operator[](NodeId id) { return nodes_[id]; }
    const TreeNode& operator[](NodeId id) const { return nodes_[id]; }
    std::size_t size() const { return nodes_.size(); }
    // Room for `n` nodes, in large pages where the system gives them.
    void reserve(std::size_t n);

    // Keeps a text for as long as the tree lives and answers a view of it.
    std::string_view keep(std::string text) { return texts_.emplace_back(std::move(text)); }

    // Gives the entry a new title; where the store reads titles back from the same place, the
    // rules see it from now on.
    void setTitle(NodeId id, std::string_view title);
    // The title setTitle() gave last, when titleChanged.
    std::string_view newTitle(NodeId id) const {
        const auto it = newTitles_.find(id);
        return it == newTitles_.end() ? std::string_view() : it->second;
    }

    // Marks the entry reordered, its entries having been in `before`.
    void setReordered(NodeId id, std::vector<NodeId> before);
    // The order before the sort when it moved the entries, else the order now.
    const std::vector<NodeId>& childrenBeforeSort(NodeId id) const {
        const auto it = ordersBeforeSort_.find(id);
        return it == ordersBeforeSort_.end() ? nodes_[id].children : it->second;
    }

    std::vector<Region> regions;
    TreeRules rules;

private:
    std::vector<TreeNode> nodes_;
    std::deque<std::string> texts_;
    std::unordered_map<NodeId, std::string_view> newTitles_;
    std::unordered_map<NodeId, std::vector<NodeId>> ordersBeforeSort_;
};

}  // namespace orvane
