// A JSON document read in place: strings and numbers are views into the bytes it was parsed
// from, which must outlive it. Numbers keep the text they were written with, so values the sort
// does not touch are written back exactly. Containers keep their members in the order read.
//
// The parser is RapidJSON's, iterative (how deep the input nests costs no stack), over the
// caller's bytes (strings are decoded where they lie).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "files/file_bytes.h"

namespace orvane::json {

enum class Type : std::uint8_t { Null, False, True, Number, String, Array, Object };

using ValueId = std::uint32_t;

class Document {
public:
    // Parses `text` in place (it is changed, and a NUL is added at its end) and answers "" or
    // why not, with the byte offset.
    std::string parse(FileBytes& text);

    ValueId root() const { return 0; }
    Type type(ValueId id) const { return values_[id].type; }
    // A string's contents or a number's text.
    std::string_view text(ValueId id) const { return {base_ + values_[id].a, values_[id].b}; }
    std::size_t size(ValueId id) const { return values_[id].b; }
    std::size_t memberCount() const { return members_.size(); }
    // The key and value of the `i`th member of an object, in the order read (a key given twice
    // appears twice).
    std::string_view key(ValueId object, std::size_t i) const {
        const Member& m = members_[values_[object].a + i];
        return {base_ + m.keyAt, m.keyLength};
    }
    ValueId member(ValueId object, std::size_t i) const { return members_[values_[object].a + i].value; }
    // Elements of an array.
    const ValueId* elements(ValueId id) const { return elements_.data() + values_[id].a; }
    // The last member of that key, or nothing.
    const ValueId* find(ValueId object, std::string_view key) const;
    std::size_t valueCount() const { return values_.size(); }
    // How deep the deepest value nests (the root is at depth 1).
    std::size_t depth() const { return depth_; }

private:
    friend class Builder;
    // Twelve bytes each: a file of 25 MB holds about a million values. Text is an offset into
    // the bytes read and a length; a container's members or elements are a slice of the tables
    // below.
    struct Value {
        std::uint32_t a = 0;  // text offset, or first member or element
        std::uint32_t b = 0;  // text length, or member or element count
        Type type = Type::Null;
    };
    struct Member {
        std::uint32_t keyAt;
        std::uint32_t keyLength;
        ValueId value;
    };
    const char* base_ = nullptr;
    std::vector<Value> values_;
    std::vector<Member> members_;
    std::vector<ValueId> elements_;
    std::size_t depth_ = 0;
};

}  // namespace orvane::json
