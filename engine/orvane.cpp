#include "orvane.h"

#include <cmath>
#include <vector>

#include "bookmark_keys.h"
#include "bookmarks_document.h"

namespace orvane {
namespace {

const plist::Value* lookup(const plist::Value& node, std::string_view key) {
    const plist::Dictionary* dict = node.asDictionary();
    return dict ? dict->find(key) : nullptr;
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

}  // namespace

plist::Value Orvane::titleFromBookmarkNode(const plist::Value& node) const {
    if (const plist::Value* title = lookup(node, keys::Title)) return *title;
    if (const plist::Value* uri = lookup(node, keys::URIDictionary))
        if (const plist::Value* title = lookup(*uri, keys::URIDictionaryTitle)) return *title;
    return {};
}

void Orvane::setTitle(const plist::Value& title, const plist::Value& node) const {
    plist::Dictionary* dict = node.asDictionary();
    if (!dict) return;
    if (const plist::Value* uri = dict->find(keys::URIDictionary); uri && uri->isDictionary()) {
        uri->asDictionary()->set(keys::URIDictionaryTitle, title);
        return;
    }
    dict->set(keys::Title, title);
}

BookmarkNodeType Orvane::typeFromBookmarkNode(const plist::Value& node) const {
    const plist::Value* type = lookup(node, keys::WebBookmarkType);
    if (!type || !type->isString()) return BookmarkNodeTypeNone;
    std::string_view t = type->asString();
    if (t == keys::TypeLeaf) return BookmarkNodeTypeLeaf;
    if (t == keys::TypeList) return BookmarkNodeTypeList;
    if (t == keys::TypeProxy) return BookmarkNodeTypeProxy;
    return BookmarkNodeTypeNone;
}

std::size_t Orvane::numberOfBookmarksInDictionary(const plist::Value& node) const {
    // A work list instead of recursion: the count must not depend on how deep folders nest.
    std::size_t count = 0;
    std::vector<const plist::Value*> pending{&node};
    while (!pending.empty()) {
        const plist::Value* current = pending.back();
        pending.pop_back();
        switch (typeFromBookmarkNode(*current)) {
        case BookmarkNodeTypeLeaf: ++count; break;
        case BookmarkNodeTypeList:
            if (const plist::Value* children = lookup(*current, keys::Children); children && children->isArray())
                for (const plist::Value& child : children->asArray()->items()) pending.push_back(&child);
            break;
        default: break;
        }
    }
    return count;
}

plist::Value Orvane::bookmarksBarDictionaryFromBookmarksFileRootNode(const plist::Value& root) const {
    return childTitled(root, keys::BookmarksBarTitle);
}

plist::Value Orvane::bookmarksMenuDictionaryFromBookmarksFileRootNode(const plist::Value& root) const {
    return childTitled(root, keys::BookmarksMenuTitle);
}

plist::Value Orvane::bookmarksDictionaryWithFilename(const std::filesystem::path& path) const {
    BookmarksDocument document;
    DocumentError ignored;  // the log line is the only trace of the reason
    if (!document.readFromURL(path, "", &ignored)) return {};
    return document.bookmarksDictionary();
}

bool Orvane::verifyThatDictionaryIsBookmarksFileRootNode(const plist::Value& root) const {
    const plist::Value* type = lookup(root, keys::WebBookmarkType);
    return type && type->isString() && type->asString() == keys::TypeList;
}

bool Orvane::verifyThatDictionaryHasCorrectVersionWithRootNode(const plist::Value& root) const {
    const plist::Value* version = lookup(root, keys::WebBookmarkFileVersion);
    return (version ? integerValue(*version) : 0) < 2;
}

long long integerValue(const plist::Value& value) {
    switch (value.type()) {
    case plist::Type::Integer: return value.asInt64();
    case plist::Type::Boolean: return value.asBool() ? 1 : 0;
    case plist::Type::Real: {
        double d = value.asReal();
        if (std::isnan(d)) return 0;
        if (d >= 9.2e18) return INT64_MAX;
        if (d <= -9.2e18) return INT64_MIN;
        return static_cast<long long>(d);
    }
    case plist::Type::String: {
        // Leading blanks, an optional sign, then digits; whatever follows is ignored.
        std::string_view s = value.asString();
        std::size_t i = 0;
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r')) ++i;
        bool negative = false;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
        unsigned long long magnitude = 0;
        for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i) {
            magnitude = magnitude * 10 + static_cast<unsigned>(s[i] - '0');
            if (magnitude > static_cast<unsigned long long>(INT64_MAX)) return negative ? INT64_MIN : INT64_MAX;
        }
        return negative ? -static_cast<long long>(magnitude) : static_cast<long long>(magnitude);
    }
    default: return 0;
    }
}

bool boolValue(const plist::Value& value) {
    switch (value.type()) {
    case plist::Type::Boolean: return value.asBool();
    case plist::Type::Integer: return value.asUInt64() != 0;
    case plist::Type::Real: return value.asReal() != 0.0;
    case plist::Type::String: {
        const std::string_view s = value.asString();
        std::size_t i = s.find_first_not_of(" \t\n\r");
        if (i == std::string_view::npos) return false;
        if (s[i] == '+' || s[i] == '-') ++i;
        if (i >= s.size()) return false;
        if (s[i] == 'Y' || s[i] == 'y' || s[i] == 'T' || s[i] == 't') return true;
        // Digits count when they are not all zeros ("007" is true, "000" false).
        while (i < s.size() && s[i] == '0') ++i;
        return i < s.size() && s[i] >= '1' && s[i] <= '9';
    }
    default: return false;
    }
}

}  // namespace orvane
