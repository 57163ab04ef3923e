// Cleaning a region before it is sorted. Folders walk their children from the last to the first,
// so of several bookmarks with one address the last in document order is the one kept, and of
// several same-named entries the last keeps its title.
#include <string>

#include "bookmark_keys.h"
#include "log.h"
#include "orvane.h"
#include "plist/utf.h"
#include "translation.h"
#include "uuid.h"

namespace orvane {
namespace {

// Blanks that make an address empty: spaces, tabs and the other Unicode space separators. Line
// breaks are not among them.
bool isTrimmedBlank(std::uint32_t cp) {
    return cp == ' ' || cp == '\t' || cp == 0xA0 || cp == 0x1680 || (cp >= 0x2000 && cp <= 0x200A) || cp == 0x202F ||
           cp == 0x205F || cp == 0x3000;
}

bool isBlank(std::string_view s) {
    std::size_t pos = 0;
    std::uint32_t cp;
    while (pos < s.size()) {
        if (!plist::utf::nextCodePoint(s, pos, cp) || !isTrimmedBlank(cp)) return false;
    }
    return true;
}

// A short text form of a node for the log: its keys and, where they are strings, their values.
std::string describeNode(const plist::Value& node) {
    std::string out = "{";
    if (const plist::Dictionary* dict = node.asDictionary()) {
        for (const auto& entry : dict->entries()) {
            if (out.size() > 1) out += "; ";
            out += entry.key.asString();
            out += " = ";
            out += entry.value.isString() ? std::string(entry.value.asString()) : plist::typeName(entry.value.type());
        }
    }
    return out + "}";
}

}  // namespace

void Orvane::validateBookmarksInRootNode(const plist::Value& root) {
    StringSet duplicateURLs(numberOfBookmarksInDictionary(root));
    // The region's root stays, whatever the answer, so it is not counted as removed.
    if (isFaultyBookmarkNode(root, duplicateURLs) && report_ && typeFromBookmarkNode(root) == BookmarkNodeTypeList)
        --report_->emptyFoldersRemoved;
}

bool Orvane::isFaultyBookmarkNode(const plist::Value& node, StringSet& duplicateURLs) {
    switch (typeFromBookmarkNode(node)) {
    case BookmarkNodeTypeList: {
        const plist::Value* childrenValue = node.asDictionary()->find(keys::Children);
        plist::Array* children = childrenValue ? childrenValue->asArray() : nullptr;
        if (!children || children->empty()) {
            if (report_) ++report_->emptyFoldersRemoved;
            return true;
        }
        StringSet duplicateTitles(children->size());
        for (std::size_t i = children->size(); i-- > 0;) {
            const plist::Value child = (*children)[i];  // held: removing it must not free it under us
            if (child.isNull() || isFaultyBookmarkNode(child, duplicateURLs))
                children->removeAt(i);
            else
                validateBookmarkNodeTitle(child, duplicateTitles);
        }
        if (children->empty()) {
            if (report_) ++report_->emptyFoldersRemoved;
            return true;
        }
        return false;
    }
    case BookmarkNodeTypeLeaf: {
        const plist::Value* url = node.asDictionary()->find(keys::URLString);
        if (!url || !url->isString() || isBlank(url->asString())) {
            if (report_) ++report_->brokenBookmarksRemoved;
            return true;
        }
        if (removeDuplicates_ && !insertObject(duplicateURLs, *url)) {
            if (report_) ++report_->duplicatesRemoved;
            return true;
        }
        return isStaleResource(url->asString());
    }
    default: return false;
    }
}

void Orvane::validateBookmarkNodeTitle(const plist::Value& node, StringSet& duplicateTitles) {
    const plist::Value title = titleFromBookmarkNode(node);
    if (!title.isString()) {
        // Untitled: the address, or "No Name"; not entered into the set, so it renames nobody.
        const plist::Value* url = node.asDictionary() ? node.asDictionary()->find(keys::URLString) : nullptr;
        const plist::Value name = url && url->isString() ? *url : nameForUntitledBookmarkNode();
        if (report_) report_->renames.push_back({"", std::string(name.asString())});
        setTitle(name, node);
        return;
    }
    if (!renameSamenamed_) return;
    if (insertObject(duplicateTitles, title)) {
        setTitle(title, node);
        return;
    }
    // Each candidate is built on the one before, not on the title: "News", "News 2", "News 2 3".
    std::string candidate(title.asString());
    std::uint64_t n = 2;
    plist::Value candidateValue;
    do {
        candidate += ' ';
        candidate += std::to_string(n);
        ++n;
        candidateValue = plist::Value::string(candidate);
    } while (!insertObject(duplicateTitles, candidateValue));
    if (n <= 1) {  // the counter wrapped around: the name may not be unique after all
        candidate += " 1";
        candidateValue = plist::Value::string(candidate);
        logLine("-[Orvane validateBookmarkNodeTitle:useDuplicateTitleLookupSet:]",
                "WARNING: assigning a possibly non-unique title \u201C" + candidate +
                    "\u201D for bookmark node: " + describeNode(node));
    }
    if (report_) report_->renames.push_back({std::string(title.asString()), candidate});
    setTitle(candidateValue, node);
}

plist::Value Orvane::nameForUntitledBookmarkNode() const { return plist::Value::string(localizedString("No Name")); }

bool Orvane::isStaleResource(std::string_view) const { return false; }

void Orvane::updateWebBookmarkUUIDInDictionary(const plist::Value& node) const {
    if (plist::Dictionary* dict = node.asDictionary())
        dict->set(keys::WebBookmarkUUID, plist::Value::string(stringWithUUID()));
}

}  // namespace orvane
