// Bookmarks as the sort sees them, whatever file they came from: a tree of folders, bookmarks and
// a few other kinds of entry. A store makes the tree from its file and saves it back; validation,
// sorting and the change test work on the tree alone, so every format follows the same rules.
//
// The tree is compact, because a file of a million bookmarks makes a million nodes and the whole
// job is meant to stay within twice the file's size: a node is 40 bytes, its texts are 8-byte
// references into the store's own bytes (the file as read) or into texts the tree keeps, and the
// entries of every folder lie in one shared list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
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

// A text of the tree: BookmarkTree::text() gives it back.
struct TextRef {
    std::uint32_t at = 0;
    std::uint32_t size = 0;
};

struct TreeNode {
    // --- As the store read it ---
    TextRef title;     // when hasTitle
    TextRef url;       // when hasUrl
    TextRef identity;  // when hasIdentity: what the change test compares
    // The entries, as BookmarkTree::children() gives them.
    std::uint32_t firstChild = 0;
    std::uint32_t childCount = 0;
    std::uint32_t record = 0;  // the store's own handle for the entry
    NodeKind kind = NodeKind::Other;
    bool hidden : 1 = false;  // never sorted inside, never moved; its contents are still cleaned
    bool hasTitle : 1 = false;
    bool hasUrl : 1 = false;
    bool hasIdentity : 1 = false;
    bool hasChildList : 1 = false;   // children() holds the entry's contents (possibly none)
    bool namesChildren : 1 = false;  // the file names contents for the entry, as a list or as anything else
    // False where a new title is stored somewhere its title is not read from (a Safari entry with
    // both a "Title" and a URI dictionary): the sort goes on seeing the old one.
    bool newTitleIsRead : 1 = true;

    // --- What the rules did (the new title and the order before the sort are kept by the tree,
    // which only a few entries need) ---
    bool titleChanged : 1 = false;
    bool childrenChanged : 1 = false;  // entries were removed or put in a new order
    bool reordered : 1 = false;        // the sort moved entries
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
    BookmarkTree() = default;
    BookmarkTree(BookmarkTree&&) noexcept = default;
    BookmarkTree& operator=(BookmarkTree&&) noexcept = default;

    NodeId add(const TreeNode& node) {
        nodes_.push_back(node);
        return static_cast<NodeId>(nodes_.size() - 1);
    }
    TreeNode& operator[](NodeId id) { return nodes_[id]; }
    const TreeNode& operator[](NodeId id) const { return nodes_[id]; }
    std::size_t size() const { return nodes_.size(); }
    // Room for `nodes` nodes and `entries` entries of folders. Most of the room may never be
    // touched, and then costs no memory.
    void reserve(std::size_t nodes, std::size_t entries = 0);

    // --- Texts ---
    // The bytes the store read, which its texts mostly lie in: those are referred to, not copied.
    // The bytes must outlive the tree, and are given before any text.
    void setSource(std::string_view bytes);
    // A reference to `text`: where it lies, when it lies in the source, else to a copy the tree
    // keeps for as long as it lives.
    TextRef refer(std::string_view text);
    // A copy of `text`, kept for as long as the tree lives.
    TextRef keep(std::string_view text);
    std::string_view text(TextRef ref) const {
        if (!(ref.at & kKept)) return {source_ + ref.at, ref.size};
        const std::uint32_t at = ref.at & ~kKept;
        return {chunks_[at >> kChunkBits] + (at & kChunkMask), ref.size};
    }
    std::string_view title(NodeId id) const { return text(nodes_[id].title); }
    std::string_view url(NodeId id) const { return text(nodes_[id].url); }
    std::string_view identity(NodeId id) const { return text(nodes_[id].identity); }
    // Whether the tree has had to keep more text than it can refer to (2 GiB): such a tree is
    // too large to sort, and its store says so.
    bool tooLarge() const { return tooLarge_; }

    // --- Entries of folders ---
    std::span<NodeId> children(NodeId id) { return {childIds_.data() + nodes_[id].firstChild, nodes_[id].childCount}; }
    std::span<const NodeId> children(NodeId id) const {
        return {childIds_.data() + nodes_[id].firstChild, nodes_[id].childCount};
    }
    // Gives the node room for `n` entries, none there yet; appendChild() fills it in order. The
    // entries of other nodes may move meanwhile: spans taken earlier are stale.
    void reserveChildren(NodeId id, std::size_t n);
    void appendChild(NodeId parent, NodeId child) {
        TreeNode& node = nodes_[parent];
        childIds_[node.firstChild + node.childCount++] = child;
    }
    void setChildren(NodeId id, std::span<const NodeId> entries);
    // Keeps the first `n` entries.
    void truncateChildren(NodeId id, std::size_t n) { nodes_[id].childCount = static_cast<std::uint32_t>(n); }

    // --- What the rules did ---
    // Gives the entry a new title; where the store reads titles back from the same place, the
    // rules see it from now on.
    void setTitle(NodeId id, TextRef title);
    // The title setTitle() gave last, when titleChanged.
    std::string_view newTitle(NodeId id) const {
        const auto it = newTitles_.find(id);
        return it == newTitles_.end() ? std::string_view() : text(it->second);
    }

    // Marks the entry reordered, its entries having been in `before`.
    void setReordered(NodeId id, std::vector<NodeId> before);
    // The order before the sort when it moved the entries, else the order now.
    std::span<const NodeId> childrenBeforeSort(NodeId id) const {
        const auto it = ordersBeforeSort_.find(id);
        return it == ordersBeforeSort_.end() ? children(id) : std::span<const NodeId>(it->second);
    }

    std::vector<Region> regions;
    TreeRules rules;

private:
    static constexpr std::uint32_t kKept = 0x8000'0000u;  // the reference is to a kept text
    static constexpr unsigned kChunkBits = 16;           // kept texts are copied into 64 KiB chunks
    static constexpr std::uint32_t kChunkMask = (1u << kChunkBits) - 1;

    std::vector<TreeNode> nodes_;
    std::vector<NodeId> childIds_;
    const char* source_ = nullptr;
    std::size_t sourceSize_ = 0;
    // Kept texts: chunks_[i] is where the kept texts at (i << kChunkBits) lie; a text longer than
    // a chunk has a block of its own, which several entries point into.
    std::vector<std::unique_ptr<char[]>> blocks_;
    std::vector<char*> chunks_;
    std::uint32_t chunkUsed_ = 1u << kChunkBits;  // of the last chunk: full, until one is made
    bool tooLarge_ = false;
    std::unordered_map<NodeId, TextRef> newTitles_;
    std::unordered_map<NodeId, std::vector<NodeId>> ordersBeforeSort_;
};

}  // namespace orvane
