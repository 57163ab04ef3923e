// Short ways to build format-neutral bookmark trees for tests of the rules. Every entry gets a
// distinct identity unless a test takes it away.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tree/bookmark_tree.h"

namespace orvane::test {

using Titles = std::vector<std::string>;

class TreeBuilder {
public:
    NodeId bookmark(std::string_view title, std::string_view url) {
        TreeNode node = entry(NodeKind::Bookmark, title);
        node.url = tree.keep(url);
        node.hasUrl = true;
        return tree.add(node);
    }
    NodeId folder(std::string_view title, std::initializer_list<NodeId> children) {
        TreeNode node = entry(NodeKind::Folder, title);
        node.hasChildList = node.namesChildren = true;
        const NodeId id = tree.add(node);
        tree.setChildren(id, std::vector<NodeId>(children));
        return id;
    }
    NodeId pinned(std::string_view title) { return tree.add(entry(NodeKind::Pinned, title)); }
    NodeId separator() {
        TreeNode node = entry(NodeKind::Separator, "");
        node.hasTitle = false;
        return tree.add(node);
    }
    NodeId hidden(NodeId id) {
        tree[id].hidden = true;
        return id;
    }
    NodeId untitled(NodeId id) {
        tree[id].hasTitle = false;
        return id;
    }

    // A folder's entries, in order.
    std::vector<NodeId> entries(NodeId folder) const {
        const std::span<const NodeId> children = tree.children(folder);
        return {children.begin(), children.end()};
    }

    // The titles of a folder's entries, in order, as the rules see them.
    Titles titlesIn(NodeId folder) const {
        Titles titles;
        for (const NodeId child : tree.children(folder))
            titles.emplace_back(tree[child].kind == NodeKind::Separator ? "---"
                                : tree[child].hasTitle                  ? std::string(tree.title(child))
                                                                        : "<none>");
        return titles;
    }

    BookmarkTree tree;

private:
    TreeNode entry(NodeKind kind, std::string_view title) {
        TreeNode node;
        node.kind = kind;
        node.title = tree.keep(title);
        node.hasTitle = true;
        node.identity = tree.keep("ID-" + std::to_string(tree.size()));
        node.hasIdentity = true;
        return node;
    }
};

}  // namespace orvane::test
