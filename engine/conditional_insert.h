// A set of strings that is only ever filled through insertObject(): the duplicate tests of
// validation (addresses per region, titles per folder) both rest on it. Equality is exact, code
// unit for code unit: no case folding, no trimming, no normalisation.
#pragma once

#include <string_view>
#include <unordered_set>
#include <vector>

#include "plist/value.h"

namespace orvane {

class StringSet {
public:
    explicit StringSet(std::size_t capacity = 0) {
        strings_.reserve(capacity);
        keepAlive_.reserve(capacity);
    }
    bool contains(std::string_view s) const { return strings_.contains(s); }
    std::size_t size() const { return strings_.size(); }

private:
    friend bool insertObject(StringSet& set, const plist::Value& string);
    // Views into the strings held below, so that no text is copied.
    std::unordered_set<std::string_view> strings_;
    std::vector<plist::Value> keepAlive_;
};

// Adds the string and answers true, or answers false when an equal string is already there.
bool insertObject(StringSet& set, const plist::Value& string);

}  // namespace orvane
