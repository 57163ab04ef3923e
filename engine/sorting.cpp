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

}  // namespace

const TitleCollator& Orvane::collator() {
    if (!collator_) collator_ = std::make_unique<TitleCollator>();
    return *collator_;
}

plist::Value Orvane::sortedArrayFromBookmarkChildArray(const plist::Value& children) {
    const plist::Array* input = children.asArray();
    if (!input) return plist::Value::array();
    plist::Value sorted = plist::Value::array(input->size());
    if (input->size() < 2) {  // nothing to compare, so no collation keys to make
        sorted.asArray()->assign(input->items());
        return sorted;
    }
    // Kind first, then the title's collation key. Proxies always lead; with arrangeFoldersAtTop
    // the order of kinds is folder, bookmark, untyped. An untitled entry has the empty key and so
    // leads its kind, which keeps the order strict and weak.
    struct Entry {
        std::uint64_t head;  // the first eight bytes of the key
        std::uint32_t rank;
        std::uint32_t index;
        TitleCollator::KeyHead key;
        std::string_view title;
    };
    std::vector<Entry> entries;
    entries.reserve(input->size());
    for (std::size_t i = 0; i < input->size(); ++i) {
        const plist::Value& child = (*input)[i];
        const BookmarkNodeType type = typeFromBookmarkNode(child);
        std::uint32_t rank = type == BookmarkNodeTypeProxy ? 0 : 1;
        if (arrangeFoldersAtTop_ && rank != 0)
            rank = type == BookmarkNodeTypeList ? 1 : type == BookmarkNodeTypeLeaf ? 2 : 3;
        const plist::Value title = titleFromBookmarkNode(child);
        Entry e{0, rank, static_cast<std::uint32_t>(i), {}, title.asString()};
        if (title.isString()) e.key = collator().keyHead(e.title);
        e.head = e.key.bytes;
        entries.push_back(e);
    }
    auto byHead = [](const Entry& a, const Entry& b) { return a.rank != b.rank ? a.rank < b.rank : a.head < b.head; };
    std::stable_sort(entries.begin(), entries.end(), byHead);
    // Where heads tie, the rest of the keys decide, made only for those entries.
    for (auto first = entries.begin(); first != entries.end();) {
        auto last = std::find_if(first + 1, entries.end(), [&](const Entry& e) { return byHead(*first, e); });
        if (last - first > 1 && std::any_of(first, last, [](const Entry& e) { return !e.key.complete; })) {
            std::vector<std::pair<std::string, Entry>> run;
            run.reserve(static_cast<std::size_t>(last - first));
            for (auto it = first; it != last; ++it) run.emplace_back(collator().keyRest(it->title, it->key), *it);
            std::stable_sort(run.begin(), run.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
            for (std::size_t k = 0; k < run.size(); ++k) first[static_cast<std::ptrdiff_t>(k)] = run[k].second;
        }
        first = last;
    }
    plist::Array* out = sorted.asArray();
    bool moved = false;
    for (std::size_t k = 0; k < entries.size(); ++k) {
        out->append((*input)[entries[k].index]);
        moved = moved || entries[k].index != k;
    }
    if (report_ && moved) ++report_->foldersReordered;
    return sorted;
}

plist::Value Orvane::sortBookmarksInDictionary(const plist::Value& node) {
    if (isHidden(node)) return node;
    const plist::Array* children = childrenOf(node);
    if (!children) return node;
    plist::Value sortedChildren = plist::Value::array(children->size());
    for (const plist::Value& child : children->items())
        sortedChildren.asArray()->append(sortBookmarksInDictionary(child));
    // A folder titled "BookmarksBar" at any depth keeps its own order unless the bar is sorted.
    const plist::Value title = titleFromBookmarkNode(node);
    if (sortBookmarksBar_ || !title.isString() || title.asString() != keys::BookmarksBarTitle) {
        sortedChildren = sortedArrayFromBookmarkChildArray(sortedChildren);
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
    // A job sorts the file again when it changed meanwhile: the report tells of the last sort.
    if (report_) *report_ = {};
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
            const bool special = title.isString() && (title.asString() == keys::BookmarksBarTitle ||
                                                      title.asString() == keys::BookmarksMenuTitle);
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

    if (areBookmarksEqualInDictionary(rootLevelFolder, sortedRootLevel) &&
        areBookmarksEqualInDictionary(loadedBar, sortedBar) && areBookmarksEqualInDictionary(loadedMenu, sortedMenu))
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
