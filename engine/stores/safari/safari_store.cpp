#include "stores/safari/safari_store.h"

#include <sys/stat.h>

#include "files/replace_item.h"
#include "job/error_codes.h"
#include "stores/initial_backup.h"
#include "stores/safari/bookmarks_plist.h"
#include "stores/safari/safari_keys.h"
#include "stores/safari/safari_nodes.h"
#include "support/uuid.h"

namespace orvane::safari {
namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kNoRecord = UINT32_MAX;
// How long a file that does not parse is watched for a save that is still being written.
constexpr std::chrono::milliseconds kUnfinishedSaveWait{100};

const plist::Value* lookup(const plist::Value& node, std::string_view key) {
    const plist::Dictionary* dict = node.asDictionary();
    return dict ? dict->find(key) : nullptr;
}

std::string_view stringAt(const plist::Value& node, std::string_view key, bool& found) {
    const plist::Value* value = lookup(node, key);
    found = value && value->isString();
    return found ? value->asString() : std::string_view();
}

// Which of the root's entries the sort puts in order: bookmarks, and folders that are neither
// hidden nor one of the two special folders.
bool isSortableAtRoot(const plist::Value& entry) {
    switch (kindOf(entry)) {
    case NodeKind::Bookmark: return true;
    case NodeKind::Folder: {
        const plist::Value title = titleOf(entry);
        const bool special = title.isString() && (title.asString() == keys::BookmarksBarTitle ||
                                                  title.asString() == keys::BookmarksMenuTitle);
        return !isHidden(entry) && !special;
    }
    default: return false;
    }
}

// A property list the sort could read back: what load() checks, for a backup.
StoreResult checkBookmarksPlist(const fs::path& path, const plist::ReadResult& read) {
    if (!read) return StoreResult::failed(OVErrorCannotRead, readFailure(path.string(), read));
    if (!isBookmarksFileRoot(read.value))
        return StoreResult::failed(OVErrorNotBookmarksFile,
                                   path.string() + ": not a bookmarks file (its root is not a folder)");
    if (!hasKnownVersion(read.value))
        return StoreResult::failed(OVErrorUnknownVersion, path.string() + ": a bookmarks file of a newer version");
    return {};
}

}  // namespace

SafariStore::SafariStore(fs::path file, const fs::path& givenPath)
    : file_(std::move(file)), lock_((givenPath.has_parent_path() ? givenPath.parent_path() : fs::path(".")) / "lock") {}

FileHolder SafariStore::holder() {
    struct stat st;
    if (::stat(lock_.c_str(), &st) != 0) return {};
    return {FileHolder::Writing, "Safari", lock_};
}

NodeId SafariStore::addSubtree(BookmarkTree& tree, const plist::Value& top) {
    // Depth first without recursion: each node is made, then its children, which are linked to
    // it as they are made.
    struct Pending {
        const plist::Value* node;
        NodeId parent;
    };
    std::vector<Pending> pending{{&top, kNoRecord}};
    NodeId first = 0;
    while (!pending.empty()) {
        const Pending item = pending.back();
        pending.pop_back();
        const plist::Value& value = *item.node;
        TreeNode node;
        node.record = static_cast<std::uint32_t>(records_.size());
        records_.push_back(value);
        node.kind = kindOf(value);
        node.hidden = isHidden(value);
        const plist::Value title = titleOf(value);
        node.hasTitle = title.isString();
        node.title = title.asString();
        node.newTitleIsRead = newTitleIsRead(value);
        node.url = stringAt(value, keys::URLString, node.hasUrl);
        node.identity = stringAt(value, keys::WebBookmarkUUID, node.hasIdentity);
        const plist::Value* children = lookup(value, keys::Children);
        node.namesChildren = children != nullptr;
        node.hasChildList = children && children->isArray();
        const NodeId id = tree.add(std::move(node));
        if (item.parent == kNoRecord)
            first = id;
        else
            tree[item.parent].children.push_back(id);
        if (children && children->isArray()) {
            const auto& items = children->asArray()->items();
            tree[id].children.reserve(items.size());
            for (auto it = items.rbegin(); it != items.rend(); ++it) pending.push_back({&*it, id});
        }
    }
    return first;
}

StoreResult SafariStore::buildTree(BookmarkTree& tree) {
    tree.rules.barTitle = keys::BookmarksBarTitle;
    const plist::Value* children = lookup(root_, keys::Children);
    // A root without entries has nothing to sort.
    if (!children || !children->isArray() || children->asArray()->empty()) return {};
    bar_ = childTitled(root_, keys::BookmarksBarTitle);
    menu_ = childTitled(root_, keys::BookmarksMenuTitle);
    // Without both special folders the tree cannot be put back together; nothing is touched.
    if (bar_.isNull() || menu_.isNull())
        return StoreResult::failed(kOVUnsupportedBookmarksFile,
                                   file_.string() + " has no Bookmarks Bar or no Bookmarks Menu");

    TreeNode rootLevel;
    rootLevel.record = kNoRecord;
    rootLevel.kind = NodeKind::Folder;
    rootLevel.hasTitle = rootLevel.hasIdentity = rootLevel.hasChildList = rootLevel.namesChildren = true;
    rootLevel.title = rootLevel.identity = "";
    rootLevel_ = tree.add(std::move(rootLevel));
    for (const plist::Value& entry : children->asArray()->items()) {
        if (!isSortableAtRoot(entry)) {
            kept_.push_back(entry);
            continue;
        }
        const NodeId id = addSubtree(tree, entry);
        tree[rootLevel_].children.push_back(id);
    }
    tree.regions.push_back({rootLevel_, false, "Top Level"});
    tree.regions.push_back({addSubtree(tree, bar_), true, "Bookmarks Bar"});
    tree.regions.push_back({addSubtree(tree, menu_), false, "Bookmarks Menu"});
    return {};
}

StoreResult SafariStore::load(BookmarkTree& tree) {
    records_.clear();
    kept_.clear();
    root_ = bar_ = menu_ = plist::Value();
    if (IoError error = readSnapshot(file_, snapshot_); !error.ok())
        return StoreResult::failed(OVErrorCannotRead, error.message);
    plist::ReadResult read = readBookmarksPlist(snapshot_.bytes);
    // Bytes read while another program wrote them may be half of each version.
    if (!snapshot_.settled) return StoreResult::changed();
    // Bytes that do not parse may be another program's save caught half-way, about to go on.
    if (!read && changesWithin(file_, snapshot_.identity, kUnfinishedSaveWait)) return StoreResult::changed();
    // The bytes are not kept: a backup reads the file again and checks that it is the same file.
    std::vector<std::uint8_t>().swap(snapshot_.bytes);
    if (StoreResult checked = checkBookmarksPlist(file_, read); !checked.done()) return checked;
    root_ = std::move(read.value);
    return buildTree(tree);
}

bool SafariStore::unchangedSinceLoad() { return identityOf(file_) == snapshot_.identity; }

StoreResult SafariStore::writeInitialBackup(const fs::path& backup, bool& made) {
    return writeFirstBackup(backup, made, [&] { return copyIfStill(file_, snapshot_.identity, backup); });
}

plist::Value SafariStore::sortedRoot(const BookmarkTree& tree) {
    for (NodeId id = 0; id < tree.size(); ++id) {
        const TreeNode& node = tree[id];
        if (node.record == kNoRecord) continue;
        const plist::Value& value = records_[node.record];
        if (node.titleChanged) setTitle(value, plist::Value::string(node.newTitle));
        if (node.childrenChanged) {
            plist::Value list = plist::Value::array(node.children.size());
            for (const NodeId child : node.children) list.asArray()->append(records_[tree[child].record]);
            value.asDictionary()->set(keys::Children, std::move(list));
        }
    }
    if (tree.regions.empty()) return root_;

    // The kept entries first, in their order, then the sorted root-level ones; the root's other
    // keys keep their values and their places, so the file's layout stays.
    plist::Value root = plist::shallowCopy(root_);
    plist::Value children = plist::Value::array();
    plist::Array* list = children.asArray();
    const std::vector<NodeId>& sorted = tree[rootLevel_].children;
    list->reserve(kept_.size() + sorted.size());
    for (const plist::Value& entry : kept_) list->append(entry);
    for (const NodeId id : sorted) list->append(records_[tree[id].record]);

    // The special folders take the places of the entries of their titles ("Title" alone), each
    // met before both are placed; one not met is appended.
    bool barPlaced = false, menuPlaced = false;
    for (std::size_t i = 0; i < list->size() && !(barPlaced && menuPlaced); ++i) {
        const plist::Value* title = lookup((*list)[i], keys::Title);
        if (!title || !title->isString()) continue;
        if (title->asString() == keys::BookmarksBarTitle) {
            list->items()[i] = bar_;
            barPlaced = true;
        } else if (title->asString() == keys::BookmarksMenuTitle) {
            list->items()[i] = menu_;
            menuPlaced = true;
        }
    }
    if (!barPlaced) list->append(bar_);
    if (!menuPlaced) list->append(menu_);
    root.asDictionary()->set(keys::Children, std::move(children));
    return root;
}

StoreResult SafariStore::save(BookmarkTree& tree, const ReplaceHooks& hooks) {
    const plist::Value root = sortedRoot(tree);
    root.asDictionary()->set(keys::WebBookmarkUUID, plist::Value::string(stringWithUUID()));
    WriteOptions options;
    options.onlyIfStill = snapshot_.identity;
    options.hooks = hooks;
    const IoError written = writeBookmarksPlist(file_, root, options);
    if (written.targetChanged) return StoreResult::changed();
    if (!written.ok()) return StoreResult::failed(OVErrorCannotWrite, written.message);
    return {};
}

StoreResult SafariStore::checkBackup(const fs::path& backup) {
    FileSnapshot snapshot;
    if (IoError error = readSnapshot(backup, snapshot); !error.ok())
        return StoreResult::failed(OVErrorCannotRead, error.message);
    return checkBookmarksPlist(backup, readBookmarksPlist(snapshot.bytes));
}

StoreResult SafariStore::restoreBackup(const fs::path& backup) {
    ReplaceOperations system;
    std::string reason;
    if (!replaceItemAtPath(file_, backup, system, &reason)) return StoreResult::failed(OVErrorCannotWrite, reason);
    return {};
}

}  // namespace orvane::safari
