#include "tree/bookmark_tree.h"

#include <algorithm>
#include <cstring>


namespace orvane {

static_assert(sizeof(TreeNode) <= 40, "a node is meant to stay small: a million of them are made");

void BookmarkTree::reserve(std::size_t nodes, std::size_t entries) {
    // In small pages: a room made generously is then in memory only as far as it is used.
    nodes_.reserve(nodes);
    childIds_.reserve(entries);
}

void BookmarkTree::setSource(std::string_view bytes) {
    source_ = bytes.data();
    // Only the first 2 GiB can be referred to; texts beyond are kept as copies.
    sourceSize_ = std::min<std::size_t>(bytes.size(), kKept);
}

TextRef BookmarkTree::refer(std::string_view text) {
    const auto at = reinterpret_cast<std::uintptr_t>(text.data()), start = reinterpret_cast<std::uintptr_t>(source_);
    if (source_ && at >= start && text.size() <= sourceSize_ && at - start <= sourceSize_ - text.size())
        return {static_cast<std::uint32_t>(at - start), static_cast<std::uint32_t>(text.size())};
    return keep(text);
}

TextRef BookmarkTree::keep(std::string_view text) {
    constexpr std::size_t kChunk = std::size_t{1} << kChunkBits;
    constexpr std::size_t kMaxChunks = kKept >> kChunkBits;
    if (text.empty()) return {};
    if (text.size() > kChunk - chunkUsed_) {
        // A new chunk, or for a long text a block of several.
        const std::size_t spanned = std::max<std::size_t>(1, (text.size() + kChunk - 1) / kChunk);
        if (chunks_.size() + spanned > kMaxChunks) {
            tooLarge_ = true;
            return {};
        }
        blocks_.push_back(std::make_unique_for_overwrite<char[]>(spanned * kChunk));
        for (std::size_t i = 0; i < spanned; ++i) chunks_.push_back(blocks_.back().get() + i * kChunk);
        // A block is full after its long text; a new chunk begins empty.
        chunkUsed_ = spanned > 1 ? static_cast<std::uint32_t>(kChunk) : 0;
        const auto first = static_cast<std::uint32_t>((chunks_.size() - spanned) << kChunkBits);
        std::memcpy(blocks_.back().get(), text.data(), text.size());
        if (spanned == 1) chunkUsed_ = static_cast<std::uint32_t>(text.size());
        return {kKept | first, static_cast<std::uint32_t>(text.size())};
    }
    const auto at = static_cast<std::uint32_t>(((chunks_.size() - 1) << kChunkBits) + chunkUsed_);
    std::memcpy(chunks_.back() + chunkUsed_, text.data(), text.size());
    chunkUsed_ += static_cast<std::uint32_t>(text.size());
    return {kKept | at, static_cast<std::uint32_t>(text.size())};
}

void BookmarkTree::reserveChildren(NodeId id, std::size_t n) {
    TreeNode& node = nodes_[id];
    node.firstChild = static_cast<std::uint32_t>(childIds_.size());
    node.childCount = 0;
    childIds_.resize(childIds_.size() + n);
}

void BookmarkTree::setChildren(NodeId id, std::span<const NodeId> entries) {
    reserveChildren(id, entries.size());
    for (const NodeId child : entries) appendChild(id, child);
}

void BookmarkTree::setReordered(NodeId id, std::vector<NodeId> before) {
    nodes_[id].reordered = nodes_[id].childrenChanged = true;
    ordersBeforeSort_[id] = std::move(before);
}

void BookmarkTree::setTitle(NodeId id, TextRef title) {
    TreeNode& node = nodes_[id];
    node.titleChanged = true;
    newTitles_[id] = title;
    if (node.newTitleIsRead) {
        node.title = title;
        node.hasTitle = true;
    }
}

}  // namespace orvane
