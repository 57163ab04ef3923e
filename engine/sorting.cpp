// Sorting a loaded tree in three regions (the sortable root-level entries, the Bookmarks Bar and
// the Bookmarks Menu), and the test that tells whether the result differs from what was loaded.
#include <algorithm>
#include <string>
#include <vector>

#include "bookmark_keys.h"
#include "orvane.h"
#include "title_collator.h"

namespace orvane {
namespace {

const plist::Value* lookup(const plist::Value& node, std::string_view key) {
    const plist::Dictionary* dict = node.asDictionary();
    return dict ? dict->find(key) : nullptr;
}

bool isHidden(const plist::Value& node) {
    const plist::Value* hidden = lookup(node, keys::ShouldOmitFromUI);
    return hidden && boolValue(*hidden);
}

const plist::Value* uuidOf(const plist::Value& node) {
    const plist::Value* uuid = lookup(node, keys::WebBookmarkUUID);
    return uuid && uuid->isString() ? uuid : nullptr;
}

plist::Array* childrenOf(const plist::Value& node) {
    const plist::Value* children = lookup(node, keys::Children);
    return children ? children->asArray() : nullptr;
}

bool sameIdentities(std::span<const plist::Value> a, std::span<const plist::Value> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const plist::Value& x, const plist::Value& y) { return x.isSameObject(y); });
}

}  // namespace

const TitleCollator& Orvane::collator() {
    if (!collator_) collator_ = std::make_unique<TitleCollator>();
    return *collator_;
}

plist::Value Orvane::sortedArrayFromBookmarkChildArray(const plist::Value& children) {
    const plist::Array* input = children.asArray();
    plist::Value sorted = plist::Value::array();
    if (!input) return sorted;
    if (input->size() < 2) {  // nothing to compare, so no collation keys to make
        sorted.asArray()->assign(input->items());
        return sorted;
    }
    // Kind first, then the title's sort key. Proxies always lead; with arrangeFoldersAtTop the
    // order of kinds is folder, bookmark, untyped. An untitled entry has the empty key and so
    // leads its kind, which keeps the order strict and weak.
    struct Entry {
        int rank;
        std::string key;
        const plist::Value* node;
    };
    std::vector<Entry> entries;
    entries.reserve(input->size());
    for (const plist::Value& child : input->items()) {
        const BookmarkNodeType type = typeFromBookmarkNode(child);
        int rank = type == BookmarkNodeTypeProxy ? 0 : 1;
        if (arrangeFoldersAtTop_ && rank != 0) rank = type == BookmarkNodeTypeList ? 1 : type == BookmarkNodeTypeLeaf ? 2 : 3;
        const plist::Value title = titleFromBookmarkNode(child);
        entries.push_back({rank, title.isString() ? collator().sortKey(title.asString()) : std::string(), &child});
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        if (a.rank != b.rank) return a.rank < b.rank;
        return a.key < b.key;
    });
    plist::Array* out = sorted.asArray();
    out->reserve(entries.size());
    for (const Entry& e : entries) out->append(*e.node);
    return sorted;
}

plist::Value Orvane::sortBookmarksInDictionary(const plist::Value& node) {
    if (isHidden(node)) return node;
    const plist::Array* children = childrenOf(node);
    if (!children) return node;
    plist::Value sortedChildren = plist::Value::array();
    sortedChildren.asArray()->reserve(children->size());
    for (const plist::Value& child : children->items()) sortedChildren.asArray()->append(sortBookmarksInDictionary(child));
    // A folder titled "BookmarksBar" at any depth keeps its own order unless the bar is sorted.
    const plist::Value title = titleFromBookmarkNode(node);
    if (sortBookmarksBar_ || !title.isString() || title.asString() != keys::BookmarksBarTitle) {
        plist::Value reordered = sortedArrayFromBookmarkChildArray(sortedChildren);
        if (report_ && !sameIdentities(reordered.asArray()->items(), sortedChildren.asArray()->items())) ++report_->foldersReordered;
        sortedChildren = std::move(reordered);
    }
    plist::Value copy = plist::shallowCopy(node);
    copy.asDictionary()->set(keys::Children, std::move(sortedChildren));
    return copy;
}

bool Orvane::areBookmarksEqualInDictionary(const plist::Value& a, const plist::Value& b) const {
    const plist::Value* uuidA = uuidOf(a);
    const plist::Value* uuidB = uuidOf(b);
    if (!uuidA || !uuidB || uuidA->asString() != uuidB->asString()) return false;
    if (isHidden(a) && isHidden(b)) return true;
    const plist::Value* childrenA = lookup(a, keys::Children);
    const plist::Value* childrenB = lookup(b, keys::Children);
    if (!childrenA && !childrenB) return true;
    if (!childrenA || !childrenB) return false;
    const plist::Array* listA = childrenA->asArray();
    const plist::Array* listB = childrenB->asArray();
    const std::size_t countA = listA ? listA->size() : 0, countB = listB ? listB->size() : 0;
    if (countA != countB) return false;
    for (std::size_t i = 0; i < countA; ++i)
        if (!areBookmarksEqualInDictionary((*listA)[i], (*listB)[i])) return false;
    return true;
}

plist::Value Orvane::bookmarksDictionaryWithRootNode(const plist::Value& root, const plist::Value& bookmarksBar,
                                                     const plist::Value& bookmarksMenu, bool* ok) {
    if (ok) *ok = false;
    plist::Array* children = childrenOf(root);
    if (!children) return root;
    bool barPlaced = false, menuPlaced = false;
    for (std::size_t i = 0; i < children->size() && !(barPlaced && menuPlaced); ++i) {
        const plist::Value* title = lookup((*children)[i], keys::Title);
        if (!title || !title->isString()) continue;
        if (title->asString() == keys::BookmarksBarTitle) {
            children->items()[i] = bookmarksBar;
            barPlaced = true;
        } else if (title->asString() == keys::BookmarksMenuTitle) {
            children->items()[i] = bookmarksMenu;
            menuPlaced = true;
        }
    }
    // An absent folder cannot be appended: the file is not one the sort supports.
    if ((!barPlaced && bookmarksBar.isNull()) || (!menuPlaced && bookmarksMenu.isNull())) return root;
    if (!barPlaced) children->append(bookmarksBar);
    if (!menuPlaced) children->append(bookmarksMenu);
    if (ok) *ok = true;
    return root;
}

plist::Value Orvane::sortBookmarksWithRootDictionary(const plist::Value& root, bool& didSort) {
    didSort = false;
    const plist::Array* rootChildren = childrenOf(root);
    if (!rootChildren || rootChildren->empty()) return root;

    const plist::Value loadedBar = bookmarksBarDictionaryFromBookmarksFileRootNode(root);
    const plist::Value loadedMenu = bookmarksMenuDictionaryFromBookmarksFileRootNode(root);
    // Without both special folders the tree cannot be put back together; nothing is touched.
    if (loadedBar.isNull() || loadedMenu.isNull()) return {};

    plist::Value kept = plist::Value::array(), sortable = plist::Value::array();
    kept.asArray()->reserve(rootChildren->size());
    sortable.asArray()->reserve(rootChildren->size());
    for (const plist::Value& child : rootChildren->items()) {
        bool keep = true;
        switch (typeFromBookmarkNode(child)) {
        case BookmarkNodeTypeList: {
            const plist::Value title = titleFromBookmarkNode(child);
            const bool special = title.isString() && (title.asString() == keys::BookmarksBarTitle || title.asString() == keys::BookmarksMenuTitle);
            keep = isHidden(child) || special;
            break;
        }
        case BookmarkNodeTypeLeaf: keep = false; break;
        default: break;
        }
        (keep ? kept : sortable).asArray()->append(child);
    }

    plist::Value rootLevelFolder = plist::Value::dictionary();
    plist::Dictionary* folder = rootLevelFolder.asDictionary();
    folder->set(keys::Children, sortable);
    folder->set(keys::WebBookmarkType, plist::Value::string(keys::TypeList));
    folder->set(keys::Title, plist::Value::string(""));
    folder->set(keys::WebBookmarkUUID, plist::Value::string(""));

    // Each region is validated in place through a shallow copy that shares its children with the
    // loaded tree, so the removals and new titles show on both sides of the change test below.
    auto sortRegion = [this](const plist::Value& region) {
        const plist::Value copy = plist::shallowCopy(region);
        validateBookmarksInRootNode(copy);
        return sortBookmarksInDictionary(copy);
    };
    const plist::Value sortedRootLevel = sortRegion(rootLevelFolder);
    const plist::Value sortedBar = sortRegion(loadedBar);
    const plist::Value sortedMenu = sortRegion(loadedMenu);

    if (areBookmarksEqualInDictionary(rootLevelFolder, sortedRootLevel) && areBookmarksEqualInDictionary(loadedBar, sortedBar) &&
        areBookmarksEqualInDictionary(loadedMenu, sortedMenu))
        return root;

    // Kept entries first, in their order, then the sorted root-level entries.
    // The other keys keep their values and their places, so the file's layout stays.
    plist::Value newRoot = plist::shallowCopy(root);
    plist::Value newChildren = plist::Value::array();
    plist::Array* list = newChildren.asArray();
    const plist::Array* sortedRootChildren = childrenOf(sortedRootLevel);
    list->reserve(kept.asArray()->size() + (sortedRootChildren ? sortedRootChildren->size() : 0));
    for (const plist::Value& child : kept.asArray()->items()) list->append(child);
    if (sortedRootChildren)
        for (const plist::Value& child : sortedRootChildren->items()) list->append(child);
    newRoot.asDictionary()->set(keys::Children, std::move(newChildren));

    didSort = true;
    if (report_) report_->wouldWrite = true;
    return bookmarksDictionaryWithRootNode(newRoot, sortedBar, sortedMenu);
}

}  // namespace orvane
