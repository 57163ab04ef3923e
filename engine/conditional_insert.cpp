#include "conditional_insert.h"

namespace orvane {

bool insertObject(StringSet& set, const plist::Value& string) {
    if (!set.strings_.insert(string.asString()).second) return false;
    set.keepAlive_.push_back(string);
    return true;
}

}  // namespace orvane
