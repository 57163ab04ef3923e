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
        node.url = tree.keep(std::string(url));
        node.hasUrl = true;
        return tree.add(std::move(node));
    }
    NodeId folder(std::string_view title, std::initializer_list<NodeId> children) {
        TreeNode node = entry(NodeKind::Folder, title);
        node.children = children;
        node.hasChildList = node.namesChildren = true;
        return tree.add(std::move(node));
    }
    NodeId pinned(std::string_view title) { return tree.add(entry(NodeKind::Pinned, title)); }
    NodeId separator() {
        TreeNode node = entry(NodeKind::Separator, "");
        node.hasTitle = false;
        return tree.add(std::move(node));
    }
    NodeId hidden(NodeId id) {
        tree[id].hidden = true;
        return id;
    }
    NodeId untitled(NodeId id) {
        tree[id].hasTitle = false;
        return id;
    }

    // The titles of a folder's entries, in order, as the rules see them.
    Titles titlesIn(NodeId folder) const {
        Titles titles;
        for (const NodeId child : tree[folder].children)
            titles.emplace_back(tree[child].kind == NodeKind::Separator ? "---"
                                : tree[child].hasTitle                  ? std::string(tree[child].title)
                                                                        : "<none>");
        return titles;
    }

    BookmarkTree tree;

private:
    TreeNode entry(NodeKind kind, std::string_view title) {
        TreeNode node;
        node.kind = kind;
        node.title = tree.keep(std::string(title));
        node.hasTitle = true;
        node.identity = tree.keep("ID-" + std::to_string(tree.size()));
        node.hasIdentity = true;
        return node;
    }
};

}  // namespace orvane::test
