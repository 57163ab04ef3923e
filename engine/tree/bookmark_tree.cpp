#include "tree/bookmark_tree.h"

namespace orvane {

void BookmarkTree::setTitle(NodeId id, std::string_view title) {
    TreeNode& node = nodes_[id];
    node.titleChanged = true;
    node.newTitle = title;
    if (node.newTitleIsRead) {
        node.title = title;
        node.hasTitle = true;
    }
}

}  // namespace orvane
