#include "stores/safari/safari_nodes.h"

#include "plist/coerce.h"
#include "stores/safari/safari_keys.h"

namespace orvane::safari {
namespace {

const plist::Value* lookup(const plist::Value& node, std::string_view key) {
    const plist::Dictionary* dict = node.asDictionary();
    return dict ? dict->find(key) : nullptr;
}

}  // namespace

plist::Value titleOf(const plist::Value& node) {
    if (const plist::Value* title = lookup(node, keys::Title)) return *title;
    if (const plist::Value* uri = lookup(node, keys::URIDictionary))
        if (const plist::Value* title = lookup(*uri, keys::URIDictionaryTitle)) return *title;
    return {};
}

void setTitle(const plist::Value& node, const plist::Value& title) {
    plist::Dictionary* dict = node.asDictionary();
    if (!dict) return;
    if (const plist::Value* uri = dict->find(keys::URIDictionary); uri && uri->isDictionary()) {
        uri->asDictionary()->set(keys::URIDictionaryTitle, title);
        return;
    }
    dict->set(keys::Title, title);
}

bool newTitleIsRead(const plist::Value& node) {
    const plist::Dictionary* dict = node.asDictionary();
    if (!dict) return false;  // nothing is ever written to it
    const plist::Value* uri = dict->find(keys::URIDictionary);
    return !(dict->find(keys::Title) && uri && uri->isDictionary());
}

NodeKind kindOf(const plist::Value& node) {
    const plist::Value* type = lookup(node, keys::WebBookmarkType);
    if (!type || !type->isString()) return NodeKind::Other;
    const std::string_view t = type->asString();
    if (t == keys::TypeLeaf) return NodeKind::Bookmark;
    if (t == keys::TypeList) return NodeKind::Folder;
    if (t == keys::TypeProxy) return NodeKind::Pinned;
    return NodeKind::Other;
}

bool isHidden(const plist::Value& node) {
    const plist::Value* hidden = lookup(node, keys::ShouldOmitFromUI);
    return hidden && boolValue(*hidden);
}

plist::Value childTitled(const plist::Value& root, std::string_view title) {
    const plist::Value* children = lookup(root, keys::Children);
    if (!children || !children->isArray()) return {};
    for (const plist::Value& child : children->asArray()->items()) {
        const plist::Value* t = lookup(child, keys::Title);
        if (t && t->isString() && t->asString() == title) return child;
    }
    return {};
}

bool isBookmarksFileRoot(const plist::Value& root) {
    const plist::Value* type = lookup(root, keys::WebBookmarkType);
    return type && type->isString() && type->asString() == keys::TypeList;
}

bool hasKnownVersion(const plist::Value& root) {
    const plist::Value* version = lookup(root, keys::WebBookmarkFileVersion);
    return (version ? integerValue(*version) : 0) < 2;
}

}  // namespace orvane::safari
