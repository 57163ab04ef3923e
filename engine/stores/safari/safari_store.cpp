#include "stores/safari/safari_store.h"

#include <sys/stat.h>

#include <future>

#include "support/error_codes.h"
#include "stores/initial_backup.h"
#include "stores/safari/bookmarks_plist.h"
#include "stores/safari/safari_edit.h"
#include "stores/safari/safari_keys.h"
#include "stores/safari/safari_nodes.h"
#include "support/uuid.h"

namespace orvane::safari {
namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kNoRecord = UINT32_MAX;
// How long a file that does not parse is watched for a save that is still being written.
constexpr std::chrono::milliseconds kUnfinishedSaveWait{100};

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

// A file as the tree was made of it: its root, the node of each tree node by its record, the
// root's entries that are not sorted, and the two special folders.
template <class Nodes>
struct SafariStore::Read {
    using Node = typename Nodes::Node;

    Read() = default;
    explicit Read(Nodes nodes) : nodes(std::move(nodes)) {}

    Nodes nodes;
    Node root = Nodes::none();
    std::vector<Node> records;
    std::vector<Node> kept;
    Node bar = Nodes::none(), menu = Nodes::none();
    NodeId rootLevel = 0;  // the folder made for the root's sortable entries

    NodeId addSubtree(BookmarkTree& tree, const Node& top);
    StoreResult buildTree(BookmarkTree& tree, const fs::path& file);
    std::vector<Node> sortedEntries(const BookmarkTree& tree) const {
        std::vector<Node> sorted;
        for (const NodeId id : tree.children(rootLevel)) sorted.push_back(records[tree[id].record]);
        return rootEntries(nodes, kept, sorted, bar, menu);
    }
};

template <class Nodes>
NodeId SafariStore::Read<Nodes>::addSubtree(BookmarkTree& tree, const Node& top) {
    // Depth first without recursion: each node is made, then its children, which are linked to
    // it as they are made.
    struct Pending {
        Node node;
        NodeId parent;
    };
    std::vector<Pending> pending{{top, kNoRecord}};
    NodeId first = 0;
    while (!pending.empty()) {
        const Pending item = std::move(pending.back());
        pending.pop_back();
        const Node& value = item.node;
        TreeNode node;
        node.record = static_cast<std::uint32_t>(records.size());
        records.push_back(value);
        node.kind = kindOf(nodes, value);
        node.hidden = isHidden(nodes, value);
        const Node title = titleOf(nodes, value);
        node.hasTitle = Nodes::exists(title) && nodes.isString(title);
        if (node.hasTitle) node.title = nodes.text(tree, title);
        node.newTitleIsRead = newTitleIsRead(nodes, value);
        const Node url = nodes.find(value, keys::URLString);
        node.hasUrl = Nodes::exists(url) && nodes.isString(url);
        if (node.hasUrl) node.url = nodes.text(tree, url);
        const Node identity = nodes.find(value, keys::WebBookmarkUUID);
        node.hasIdentity = Nodes::exists(identity) && nodes.isString(identity);
        if (node.hasIdentity) node.identity = nodes.text(tree, identity);
        const Node children = nodes.find(value, keys::Children);
        node.namesChildren = Nodes::exists(children);
        node.hasChildList = node.namesChildren && nodes.isArray(children);
        const NodeId id = tree.add(node);
        if (item.parent == kNoRecord)
            first = id;
        else
            tree.appendChild(item.parent, id);
        if (node.hasChildList) {
            const std::size_t n = nodes.count(children);
            tree.reserveChildren(id, n);
            for (std::size_t i = n; i-- > 0;) pending.push_back({nodes.element(children, i), id});
        }
    }
    return first;
}

template <class Nodes>
StoreResult SafariStore::Read<Nodes>::buildTree(BookmarkTree& tree, const fs::path& file) {
    tree.rules.barTitle = keys::BookmarksBarTitle;
    const Node children = nodes.find(root, keys::Children);
    // A root without entries has nothing to sort.
    if (!Nodes::exists(children) || !nodes.isArray(children) || nodes.count(children) == 0) return {};
    bar = childTitled(nodes, root, keys::BookmarksBarTitle);
    menu = childTitled(nodes, root, keys::BookmarksMenuTitle);
    // Without both special folders the tree cannot be put back together; nothing is touched.
    if (!Nodes::exists(bar) || !Nodes::exists(menu))
        return StoreResult::failed(kOVUnsupportedBookmarksFile,
                                   file.string() + " has no Bookmarks Bar or no Bookmarks Menu");

    TreeNode level;
    level.record = kNoRecord;
    level.kind = NodeKind::Folder;
    level.hasTitle = level.hasIdentity = level.hasChildList = level.namesChildren = true;
    rootLevel = tree.add(level);
    tree.reserveChildren(rootLevel, nodes.count(children));
    for (std::size_t i = 0; i < nodes.count(children); ++i) {
        const Node entry = nodes.element(children, i);
        if (!isSortableAtRoot(nodes, entry)) {
            kept.push_back(entry);
            continue;
        }
        const NodeId id = addSubtree(tree, entry);
        tree.appendChild(rootLevel, id);
    }
    tree.regions.push_back({rootLevel, false, "Top Level"});
    tree.regions.push_back({addSubtree(tree, bar), true, "Bookmarks Bar"});
    tree.regions.push_back({addSubtree(tree, menu), false, "Bookmarks Menu"});
    return {};
}

SafariStore::SafariStore(fs::path file, const fs::path& givenPath, bool copyThrough)
    : file_(std::move(file)),
      lock_((givenPath.has_parent_path() ? givenPath.parent_path() : fs::path(".")) / "lock"),
      copyThrough_(copyThrough) {}

SafariStore::~SafariStore() { dropIndex(); }

void SafariStore::dropIndex() {
    if (!indexing_.valid()) return;
    stopIndexing_ = true;
    indexing_.wait();
    indexing_ = {};
}

bool SafariStore::takeIndex(plist::ScalarIndex& index) {
    if (indexing_.valid()) {
        distinct_ = indexing_.get();
        index = std::move(index_);
        index_ = plist::ScalarIndex();
        return distinct_;
    }
    // Given to an earlier write already (a test's): made again.
    const std::atomic<bool> never = false;
    return distinct_ && index.build(document_, never);
}

FileHolder SafariStore::holder() {
    struct stat st;
    if (::stat(lock_.c_str(), &st) != 0) return {};
    return {FileHolder::Writing, "Safari", lock_};
}

StoreResult SafariStore::load(BookmarkTree& tree) {
    dropIndex();
    valueRead_.reset();
    placeRead_.reset();
    if (IoError error = readSnapshot(file_, snapshot_); !error.ok())
        return StoreResult::failed(OVErrorCannotRead, error.message);
    // Bytes read while another program wrote them may be half of each version.
    if (!snapshot_.settled) return StoreResult::changed();

    if (copyThrough_ && document_.open(snapshot_.bytes)) {
        // Whether the file's scalars are all distinct matters only for writing: it is found out
        // on the other core while the tree is made and sorted.
        distinct_ = false;
        stopIndexing_ = false;
        indexing_ = std::async(std::launch::async, [this] { return index_.build(document_, stopIndexing_); });
        auto inPlace = std::make_unique<Read<DocumentNodes>>(DocumentNodes(document_));
        inPlace->root = document_.root();
        if (!isBookmarksFileRoot(inPlace->nodes, inPlace->root))
            return StoreResult::failed(OVErrorNotBookmarksFile,
                                       file_.string() + ": not a bookmarks file (its root is not a folder)");
        if (!hasKnownVersion(inPlace->nodes, inPlace->root))
            return StoreResult::failed(OVErrorUnknownVersion, file_.string() + ": a bookmarks file of a newer version");
        // Room for every node at once: a vector that grows holds the old nodes and the new at
        // once. Most of the room is never touched, and costs no memory.
        tree.reserve(document_.containerCount() + 64, document_.containerCount() + 64);
        tree.setSource({reinterpret_cast<const char*>(snapshot_.bytes.data()), snapshot_.bytes.size()});
        placeRead_ = std::move(inPlace);
        return placeRead_->buildTree(tree, file_);
    }

    plist::ReadResult read = readBookmarksPlist(snapshot_.bytes);
    // Bytes that do not parse may be another program's save caught half-way, about to go on.
    if (!read && changesWithin(file_, snapshot_.identity, kUnfinishedSaveWait)) return StoreResult::changed();
    // The bytes are not kept: a backup reads the file again and checks that it is the same file.
    FileBytes().swap(snapshot_.bytes);
    if (StoreResult checked = checkBookmarksPlist(file_, read); !checked.done()) return checked;
    valueRead_ = std::make_unique<Read<ValueNodes>>();
    valueRead_->root = std::move(read.value);
    return valueRead_->buildTree(tree, file_);
}

bool SafariStore::unchangedSinceLoad() { return identityOf(file_) == snapshot_.identity; }

StoreResult SafariStore::writeInitialBackup(const fs::path& backup, bool& made) {
    return writeFirstBackup(backup, made, [&] { return copyIfStill(file_, snapshot_.identity, backup); });
}

namespace {

// Writes the tree of a file read into values: the changes are made to the values, in place.
std::string writeValues(const SafariStore::Read<ValueNodes>& read, const BookmarkTree& tree,
                        const std::optional<std::string>& identity, plist::Sink& sink) {
    for (NodeId id = 0; id < tree.size(); ++id) {
        const TreeNode& node = tree[id];
        if (node.record == kNoRecord) continue;
        const plist::Value& value = read.records[node.record];
        if (node.titleChanged) setTitle(value, plist::Value::string(tree.newTitle(id)));
        if (node.childrenChanged) {
            plist::Value list = plist::Value::array(node.childCount);
            for (const NodeId child : tree.children(id)) list.asArray()->append(read.records[tree[child].record]);
            value.asDictionary()->set(keys::Children, std::move(list));
        }
    }
    // The root's other keys keep their values and their places, so the file's layout stays.
    plist::Value root = tree.regions.empty() ? read.root : plist::shallowCopy(read.root);
    if (!tree.regions.empty()) {
        plist::Value children = plist::Value::array();
        for (const plist::Value& entry : read.sortedEntries(tree)) children.asArray()->append(entry);
        root.asDictionary()->set(keys::Children, std::move(children));
    }
    if (identity) root.asDictionary()->set(keys::WebBookmarkUUID, plist::Value::string(*identity));
    return plist::writeBinary(root, sink);
}

}  // namespace

std::unique_ptr<SafariEdit> SafariStore::editFor(const BookmarkTree& tree, const std::optional<std::string>& identity,
                                                 plist::ScalarIndex& index) {
    if (!placeRead_) return nullptr;
    const Read<DocumentNodes>& read = *placeRead_;
    std::optional<std::vector<plist::ObjectId>> rootList;
    if (!tree.regions.empty()) rootList = read.sortedEntries(tree);
    std::vector<plist::ObjectId> entries = rootList.value_or(std::vector<plist::ObjectId>());
    std::sort(entries.begin(), entries.end());
    // A folder that takes the place of its namesake is in the root twice, and written twice, and
    // equal scalars are written once: copying can do neither, so these rare files are written
    // from values.
    if (std::adjacent_find(entries.begin(), entries.end()) != entries.end() || !takeIndex(index)) return nullptr;
    return std::make_unique<SafariEdit>(document_, tree, read.records, std::move(rootList), identity);
}

std::string SafariStore::writeSorted(const BookmarkTree& tree, std::optional<std::string> identity, plist::Sink& sink) {
    plist::ScalarIndex index;
    if (const std::unique_ptr<SafariEdit> edit = editFor(tree, identity, index))
        return plist::writeEdited(document_, std::move(index), *edit, sink);
    return writeThroughValues(tree, identity, sink);
}

std::string SafariStore::writeThroughValues(const BookmarkTree& tree, const std::optional<std::string>& identity,
                                            plist::Sink& sink) {
    if (!placeRead_) return writeValues(*valueRead_, tree, identity, sink);
    const Read<DocumentNodes>& read = *placeRead_;
    const std::vector<plist::Value> values = document_.valuesByObject(plist::readBinary(snapshot_.bytes).value);
    const auto valueOf = [&](plist::ObjectId object) {
        return object == plist::kNoObject ? plist::Value() : values[object];
    };
    Read<ValueNodes> asValues;
    asValues.root = valueOf(read.root);
    for (const plist::ObjectId object : read.records) asValues.records.push_back(valueOf(object));
    for (const plist::ObjectId object : read.kept) asValues.kept.push_back(valueOf(object));
    asValues.bar = valueOf(read.bar);
    asValues.menu = valueOf(read.menu);
    asValues.rootLevel = read.rootLevel;
    return writeValues(asValues, tree, identity, sink);
}

plist::Value SafariStore::sortedRoot(const BookmarkTree& tree) {
    plist::StringSink sink;
    writeSorted(tree, std::nullopt, sink);
    const std::vector<std::uint8_t> bytes(sink.out.begin(), sink.out.end());
    return plist::readBinary(bytes).value;
}

StoreResult SafariStore::save(BookmarkTree& tree, const ReplaceHooks& hooks) {
    WriteOptions options;
    options.onlyIfStill = snapshot_.identity;
    options.hooks = hooks;
    const std::optional<std::string> identity = stringWithUUID();
    plist::ScalarIndex index;
    const std::unique_ptr<SafariEdit> edit = editFor(tree, identity, index);
    // The edit holds all that writing it takes: the tree goes, and its memory serves the writer.
    if (edit) tree = BookmarkTree();
    const IoError written = writeBookmarksPlist(
        file_,
        [&](plist::Sink& sink) {
            return edit ? plist::writeEdited(document_, std::move(index), *edit, sink)
                        : writeThroughValues(tree, identity, sink);
        },
        options);
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

StoreResult SafariStore::restoreBackup(const fs::path& backup) { return moveBackupInPlace(file_, backup); }

}  // namespace orvane::safari
