#include "tree/bookmark_tree.h"

#include "plist/huge_pages.h"

namespace orvane {

void BookmarkTree::reserve(std::size_t n) {
    nodes_.reserve(n);
    plist::adviseHugePages(nodes_.data(), nodes_.capacity() * sizeof(TreeNode));
}

void BookmarkTree::setReordered(NodeId id, std::vector<NodeId> before) {
    nodes_[id].reordered = nodes_[id].childrenChanged = true;
    ordersBeforeSort_[id] = std::move(before);
}

void BookmarkTree::setTitle(NodeId id, std::string_view title) {
    TreeNode& node = nodes_[id];
    node.titleChanged = true;
    newTitles_[id] = title;
    if (node.newTitleIsRead) {
        node.title = title;
        node.hasTitle = true;
    }
}

}  // namespace orvane
