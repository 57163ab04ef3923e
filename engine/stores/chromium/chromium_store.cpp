#include "stores/chromium/chromium_store.h"

#include <sys/stat.h>
#include <cstdio>
#include <future>

#include "support/error_codes.h"
#include "stores/chromium/chromium_browsers.h"
#include "stores/chromium/chromium_json.h"
#include "stores/chromium/profile_lock.h"
#include "stores/initial_backup.h"
#include "support/digest.h"

namespace orvane::chromium {
namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kNoRecord = UINT32_MAX;
constexpr std::chrono::milliseconds kUnfinishedSaveWait{100};
constexpr std::string_view kRoots[] = {"bookmark_bar", "other", "synced"};
constexpr std::string_view kRootLabels[] = {"Bookmarks Bar", "Other Bookmarks", "Mobile Bookmarks"};
constexpr char kStandIn[] = "0000000000000000000000000000000000000000000000000000000000000000";

std::string_view stringAt(const json::Document& d, json::ValueId object, std::string_view key, bool& found) {
    const json::ValueId* value = d.find(object, key);
    found = value && d.type(*value) == json::Type::String;
    return found ? d.text(*value) : std::string_view();
}

std::string_view stringAt(const json::Document& d, json::ValueId object, std::string_view key) {
    bool found = false;
    return stringAt(d, object, key, found);
}

}  // namespace

ChromiumStore::ChromiumStore(fs::path file, const StoreOptions& options)
    : file_(std::move(file)), options_(options), browser_(browserOwning(file_).value_or(browsers().front()).name) {}

FileHolder ChromiumStore::holder() {
    const std::optional<ProfileHolder> held = profileHolder(file_);
    if (!held) return {};
    browser_ = held->browser;
    return {FileHolder::Running, held->browser + " (" + held->where + ")", held->lock};
}

StoreResult ChromiumStore::parse(const fs::path& path, FileBytes& bytes,
                                 json::Document& document) const {
    const std::string name = path.string();
    if (std::string error = document.parse(bytes); !error.empty())
        return StoreResult::failed(OVErrorCannotRead, name + ": not valid JSON: " + error);
    if (document.depth() > kMaxDepth)
        return StoreResult::failed(OVErrorCannotRead, name + ": nested more than " + std::to_string(kMaxDepth) +
                                                          " levels deep, which the browser does not read");
    const json::ValueId root = document.root();
    const json::ValueId* version = document.find(root, "version");
    if (version && document.type(*version) == json::Type::Number && document.text(*version) != "1" &&
        document.text(*version).find_first_not_of("0123456789") == std::string_view::npos)
        return StoreResult::failed(OVErrorUnknownVersion, name + ": a bookmarks file of version " +
                                                              std::string(document.text(*version)) +
                                                              ", newer than the version 1 this program knows");
    const json::ValueId* roots = document.find(root, "roots");
    const bool known = version && document.type(*version) == json::Type::Number && document.text(*version) == "1" &&
                       roots && document.type(*roots) == json::Type::Object;
    bool rootsAreFolders = known;
    for (const std::string_view key : {kRoots[0], kRoots[1]}) {
        const json::ValueId* folder = known ? document.find(*roots, key) : nullptr;
        rootsAreFolders = rootsAreFolders && folder && document.type(*folder) == json::Type::Object;
    }
    if (!rootsAreFolders)
        return StoreResult::failed(OVErrorNotBookmarksFile,
                                   name +
                                       ": not a Chromium bookmarks file (no \"roots\" with a \"bookmark_bar\" and an "
                                       "\"other\" folder, or no \"version\" 1)");
    return {};
}

NodeId ChromiumStore::addSubtree(BookmarkTree& tree, json::ValueId top) {
    struct Pending {
        json::ValueId value;
        NodeId parent;
    };
    std::vector<Pending> pending{{top, kNoRecord}};
    NodeId first = 0;
    const json::Document& d = document_;
    while (!pending.empty()) {
        const Pending item = pending.back();
        pending.pop_back();
        TreeNode node;
        node.record = static_cast<std::uint32_t>(records_.size());
        records_.push_back(item.value);
        const json::ValueId* children = nullptr;
        json::ValueId childList = 0;
        std::string_view id;
        if (d.type(item.value) == json::Type::Object) {
            // One pass over the entry's keys; of a key given twice the last counts.
            bool hasId = false, hasGuid = false;
            std::string_view guid;
            for (std::size_t i = 0; i < d.size(item.value); ++i) {
                const std::string_view key = d.key(item.value, i);
                const json::ValueId value = d.member(item.value, i);
                const bool text = d.type(value) == json::Type::String;
                if (key == "children") {
                    childList = value;
                    children = &childList;
                } else if (key == "type") {
                    const std::string_view type = text ? d.text(value) : std::string_view();
                    node.kind = type == "url"      ? NodeKind::Bookmark
                                : type == "folder" ? NodeKind::Folder
                                                   : NodeKind::Other;
                } else if (key == "name") {
                    node.hasTitle = text;
                    node.title = text ? tree.refer(d.text(value)) : TextRef();
                } else if (key == "url") {
                    node.hasUrl = text;
                    node.url = text ? tree.refer(d.text(value)) : TextRef();
                } else if (key == "guid") {
                    hasGuid = text && !d.text(value).empty();
                    guid = hasGuid ? d.text(value) : std::string_view();
                } else if (key == "id") {
                    hasId = text;
                    id = text ? d.text(value) : std::string_view();
                }
            }
            node.hasIdentity = hasGuid || hasId;
            node.identity = tree.refer(hasGuid ? guid : id);
            node.namesChildren = children != nullptr;
            node.hasChildList = children && d.type(*children) == json::Type::Array;
        } else {
            node.newTitleIsRead = false;  // a value that is no entry at all: nothing is written to it
        }
        ids_.push_back(id);
        const NodeId added = tree.add(node);
        if (item.parent == kNoRecord)
            first = added;
        else
            tree.appendChild(item.parent, added);
        if (children && d.type(*children) == json::Type::Array) {
            tree.reserveChildren(added, d.size(*children));
            const json::ValueId* elements = d.elements(*children);
            for (std::size_t i = d.size(*children); i-- > 0;) pending.push_back({elements[i], added});
        }
    }
    return first;
}

void ChromiumStore::buildTree(BookmarkTree& tree) {
    tree.rules.keepsEmptyTitles = true;
    tree.setSource({reinterpret_cast<const char*>(text_.data()), text_.size()});
    const json::ValueId roots = *document_.find(document_.root(), "roots");
    roots_.clear();
    for (std::size_t i = 0; i < std::size(kRoots); ++i) {
        const json::ValueId* folder = document_.find(roots, kRoots[i]);
        if (!folder || document_.type(*folder) != json::Type::Object) continue;
        const NodeId region = addSubtree(tree, *folder);
        roots_.push_back(region);
        tree.regions.push_back({region, i == 0, kRootLabels[i]});
    }
}

StoreResult ChromiumStore::load(BookmarkTree& tree) {
    records_.clear();
    ids_.clear();
    FileSnapshot snapshot;
    if (IoError error = readSnapshot(file_, snapshot); !error.ok())
        return StoreResult::failed(OVErrorCannotRead, error.message);
    if (!snapshot.settled) return StoreResult::changed();
    identity_ = snapshot.identity;
    text_ = std::move(snapshot.bytes);
    if (StoreResult parsed = parse(file_, text_, document_); !parsed.done()) {
        // Bytes that do not parse may be another program's save caught half-way, about to go on.
        if (parsed.code == OVErrorCannotRead && changesWithin(file_, identity_, kUnfinishedSaveWait))
            return StoreResult::changed();
        return parsed;
    }
    // A browser that syncs these bookmarks with an account neither uploads an order changed
    // outside it nor keeps it for long, and merges removed bookmarks back in.
    if (!stringAt(document_, document_.root(), "sync_metadata").empty() && !options_.ignoreSync)
        return StoreResult::failed(
            kOVSyncedBookmarks,
            browser_ + " syncs these bookmarks with an account (" + file_.string() +
                " holds sync data): a sort made outside the browser would not reach your other devices, and sync "
                "would undo it and bring removed bookmarks back. Sort them in the browser, or sort the file anyway "
                "with --ignore-sync.");
    buildTree(tree);
    return {};
}

bool ChromiumStore::unchangedSinceLoad() { return identityOf(file_) == identity_; }

StoreResult ChromiumStore::writeInitialBackup(const fs::path& backup, bool& made) {
    return writeFirstBackup(backup, made, [&] { return copyIfStill(file_, identity_, backup); });
}

std::string ChromiumStore::checksum(const BookmarkTree& tree, bool sha256) const {
    // Over the roots in pre-order, as the browser encodes them: each entry's id, its title in
    // UTF-16, then "url" and the address, or "folder". Values the browser drops when it reads
    // the file (entries of no known type, bookmarks without an address) are left out, as it
    // leaves them out.
    Md5 md5;
    Sha256 sha;
    // Hashed in large pieces: the pieces are small and many.
    std::string piece;
    piece.reserve(1 << 17);
    auto flush = [&] {
        sha256 ? sha.update(piece) : md5.update(piece);
        piece.clear();
    };
    std::vector<NodeId> pending(roots_.rbegin(), roots_.rend());
    while (!pending.empty()) {
        const NodeId id = pending.back();
        const TreeNode& node = tree[id];
        pending.pop_back();
        if (node.record == kNoRecord || document_.type(records_[node.record]) != json::Type::Object) continue;
        if (node.kind == NodeKind::Other || (node.kind == NodeKind::Bookmark && !node.hasUrl)) continue;
        piece += ids_[node.record];
        json::appendUtf16LE(piece, node.titleChanged ? tree.newTitle(id)
                                   : node.hasTitle   ? tree.title(id)
                                                     : std::string_view());
        if (node.kind == NodeKind::Bookmark) {
            piece += "url";
            piece += tree.url(id);
        } else {
            piece += "folder";
            const std::span<const NodeId> children = tree.children(id);
            pending.insert(pending.end(), children.rbegin(), children.rend());
        }
        if (piece.size() >= (1 << 16)) flush();
    }
    flush();
    return sha256 ? sha.hexDigest() : md5.hexDigest();
}

StoreResult ChromiumStore::save(BookmarkTree& tree, const ReplaceHooks& hooks) {
    json::Edits edits;
    for (NodeId id = 0; id < tree.size(); ++id) {
        const TreeNode& node = tree[id];
        if (node.record == kNoRecord) continue;
        const json::ValueId value = records_[node.record];
        if (node.titleChanged && node.newTitleIsRead) edits[value].push_back({"name", true, tree.newTitle(id), {}});
        if (node.childrenChanged) {
            json::Replacement children{"children", false, {}, {}};
            children.elements.reserve(node.childCount);
            for (const NodeId child : tree.children(id)) children.elements.push_back(records_[tree[child].record]);
            edits[value].push_back(std::move(children));
        }
    }
    // The checksums are of the tree as written. They are made on a thread of their own while the
    // file is written, with stand-ins of their length in their places, overwritten at the end.
    const bool sha256 = document_.find(document_.root(), "checksum_sha256") != nullptr;
    std::vector<json::Replacement>& root = edits[document_.root()];
    root.push_back({"checksum", true, std::string_view(kStandIn, 32), {}});
    if (sha256) root.push_back({"checksum_sha256", true, std::string_view(kStandIn, 64), {}});
    auto digests = std::async(std::launch::async, [&] {
        return std::pair(checksum(tree, false), sha256 ? checksum(tree, true) : std::string());
    });
    WriteOptions options;
    options.onlyIfStill = identity_;
    options.hooks = hooks;
    const IoError written = writeFileAtomically(
        file_,
        [&](plist::Sink& sink) {
            std::string error = json::writeChromiumStyle(document_, edits, sink);
            const auto [md5, sha] = digests.get();
            const std::vector<json::Replacement>& placed = edits.at(document_.root());
            sink.overwrite(placed[placed.size() - (sha256 ? 2 : 1)].writtenAt, md5);
            if (sha256) sink.overwrite(placed.back().writtenAt, sha);
            return error;
        },
        options);
    if (written.targetChanged) return StoreResult::changed();
    if (!written.ok()) return StoreResult::failed(OVErrorCannotWrite, written.message);
    moveEncryptedCopiesAside();
    return {};
}

void ChromiumStore::moveEncryptedCopiesAside() const {
    // The browser may be set to load its encrypted copy ("EncryptedBookmarks", "...2" in newer
    // versions) in preference to this file; moved aside, it cannot, and the browser makes a new
    // one from the sorted file. The account's bookmarks and their copies are another file's.
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(wholePath(file_).parent_path(), error)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with(kEncryptedCopy) || name.ends_with(kMovedAside)) continue;
        std::rename(entry.path().c_str(), (entry.path().string() + std::string(kMovedAside)).c_str());
    }
}

StoreResult ChromiumStore::checkBackup(const fs::path& backup) {
    FileSnapshot snapshot;
    if (IoError error = readSnapshot(backup, snapshot); !error.ok())
        return StoreResult::failed(OVErrorCannotRead, error.message);
    json::Document document;
    return parse(backup, snapshot.bytes, document);
}

StoreResult ChromiumStore::restoreBackup(const fs::path& backup) { return moveBackupInPlace(file_, backup); }

}  // namespace orvane::chromium
