// A binary property list read where it lies: its objects are looked at in the file's own bytes,
// and the tree is written again by copying every object that did not change.
//
// That is only the same as reading the file into values and writing those (readBinary, then
// writeBinary) when the file is "plain": every object the root reaches is one readBinary reads
// without complaint and writeBinary would write in exactly the same bytes, no two of those
// objects are equal (writeBinary writes equal scalars once), no array or dictionary is reached
// twice and no dictionary repeats a key. Files that Apple's writer, plistlib or this engine wrote
// are plain. For any other file open() (or, for equal scalars, ScalarIndex::build()) answers
// false, and the caller reads and writes through values, which also reports what is wrong with a
// damaged file.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "binary_format.h"
#include "codec.h"

namespace orvane::plist {

using ObjectId = std::uint32_t;
inline constexpr ObjectId kNoObject = UINT32_MAX;

class BinaryDocument {
public:
    // Indexes `bytes`, which must outlive the document. True when the file is plain apart from
    // the equality of its scalars, which a ScalarIndex finds out.
    bool open(std::span<const std::uint8_t> bytes);

    ObjectId root() const { return root_; }
    // The bytes from the header to the offset table.
    std::uint64_t objectAreaSize() const { return tableOffset_ - 8; }
    // Whether every scalar the root reaches ends where the next object begins: files that Apple's
    // writer, plistlib or this engine wrote lay their objects out so. Then a scalar's size is the
    // gap to the next object in the offset table, without a look at the scalar itself.
    bool scalarsAdjoin() const { return scalarsAdjoin_; }
    std::uint64_t scalarSize(ObjectId scalar) const {
        return (scalar + 1 < numObjects_ ? offsetOf(scalar + 1) : tableOffset_) - offsetOf(scalar);
    }
    // How many arrays and dictionaries the root reaches.
    std::size_t containerCount() const { return containerCount_; }
    std::size_t objectCount() const { return static_cast<std::size_t>(numObjects_); }

    Type type(ObjectId object) const { return typeOfMarker(data_[offsetOf(object)]); }
    // Whether an object the root reaches is an array or a dictionary: quick, from a bit per object.
    bool isContainer(ObjectId object) const { return containers_[object / 64] >> (object % 64) & 1; }
    // Whether the root reaches an object.
    bool isReached(ObjectId object) const { return reached_[object / 64] >> (object % 64) & 1; }
    // Where a container's references start in the file, and how wide each is.
    std::uint64_t referencesOf(ObjectId container) const { return payloadOf(container); }
    unsigned referenceSize() const { return refSize_; }
    ObjectId referenceAt(std::uint64_t at) const { return refAt(at); }
    // Starts loading what meeting an object will read: its place in the offset table, and, once
    // that is in, the object itself.
    void prefetchOffset(ObjectId object) const {
        __builtin_prefetch(data_ + tableOffset_ + std::uint64_t{object} * offsetSize_);
    }
    void prefetchObject(ObjectId object) const { __builtin_prefetch(data_ + offsetOf(object)); }
    // A container's marker and count, as they lie in the file.
    std::span<const std::uint8_t> header(ObjectId container) const {
        const std::uint64_t at = offsetOf(container);
        return {data_ + at, static_cast<std::size_t>(payloadOf(container) - at)};
    }
    // Elements of an array, entries of a dictionary.
    std::size_t count(ObjectId container) const {
        const std::uint64_t at = offsetOf(container);
        const std::uint8_t low = data_[at] & 0x0F;
        if (low != 0x0F) return low;
        return static_cast<std::size_t>(readNear(data_ + at + 2, 1u << (data_[at + 1] & 0x0F)));
    }
    ObjectId element(ObjectId array, std::size_t i) const { return refAt(payloadOf(array) + i * refSize_); }
    ObjectId key(ObjectId dictionary, std::size_t i) const { return element(dictionary, i); }
    ObjectId value(ObjectId dictionary, std::size_t i) const {
        return refAt(payloadOf(dictionary) + (count(dictionary) + i) * refSize_);
    }
    // The value of `key` in a dictionary, or kNoObject; also kNoObject for what is no dictionary.
    ObjectId find(ObjectId dictionary, std::string_view key) const;
    // Whether a string object holds exactly `text`.
    bool equals(ObjectId string, std::string_view text) const;

    // A string's text: a view of the file's bytes when it is ASCII, else converted into `scratch`.
    std::string_view text(ObjectId string, std::string& scratch) const;
    // A scalar as readBinary makes it.
    Value scalar(ObjectId object) const;
    // A scalar's bytes in the file, from its marker on.
    std::span<const std::uint8_t> encoded(ObjectId scalar) const;
    // The value of each object the root reaches, by object, given the tree readBinary made of
    // the document (an empty value for the others).
    std::vector<Value> valuesByObject(const Value& root) const;

private:
    static Type typeOfMarker(std::uint8_t marker);
    std::uint64_t offsetOf(ObjectId object) const {
        return readNear(data_ + tableOffset_ + std::uint64_t{object} * offsetSize_, offsetSize_);
    }
    std::uint64_t payloadOf(ObjectId container) const {
        const std::uint64_t at = offsetOf(container);
        if ((data_[at] & 0x0F) != 0x0F) return at + 1;
        return at + 2 + (std::uint64_t{1} << (data_[at + 1] & 0x0F));
    }
    ObjectId refAt(std::uint64_t at) const { return static_cast<ObjectId>(readNear(data_ + at, refSize_)); }
    // A big-endian number of 1 to 8 bytes within the object area or the offset table, which the
    // trailer's 32 bytes follow: eight bytes can always be loaded, and the extra ones shifted
    // out, so the widths of three, five, six and seven bytes (a file over 65,536 objects or
    // bytes has them) need no loop. Every offset and reference of the file is read through here.
    static std::uint64_t readNear(const std::uint8_t* p, unsigned width) {
        std::uint64_t v;
        std::memcpy(&v, p, 8);
        return __builtin_bswap64(v) >> (64 - 8 * width);
    }
    bool checkObject(ObjectId object, std::uint64_t& payload, std::uint64_t& count) const;
    bool walk();

    const std::uint8_t* data_ = nullptr;
    std::uint64_t size_ = 0;
    unsigned offsetSize_ = 0, refSize_ = 0;
    std::uint64_t numObjects_ = 0, tableOffset_ = 0;
    ObjectId root_ = kNoObject;
    std::size_t containerCount_ = 0;
    bool scalarsAdjoin_ = false;
    std::vector<std::uint64_t> reached_;     // a bit per object: the root reaches it
    std::vector<std::uint64_t> containers_;  // a bit per object: an array or a dictionary
};

// Which scalar of a document has given bytes. Built only when no two scalars the root reaches are
// equal: that is what lets the document be written by copying. Building takes a while and
// touches nothing but the index, so it may run on another thread while the tree is read and
// sorted.
class ScalarIndex {
public:
    // True when the scalars are all distinct; false, and an empty index, when two are equal or
    // `stop` turns true meanwhile. `wide` takes the slots of large files whatever the size, for
    // tests.
    bool build(const BinaryDocument& document, const std::atomic<bool>& stop, bool wide = false);
    // The scalar whose bytes are `encoded`, or kNoObject.
    ObjectId find(const BinaryDocument& document, std::span<const std::uint8_t> encoded) const;

private:
    // Open addressing by a hash of the bytes, with part of the hash beside the object so that most
    // probes never touch the file. A slot is four bytes, the object's number (plus one: zero is an
    // empty slot) above eight bits of the hash, while the numbers fit in 24 bits; eight bytes,
    // the number beside 32 bits of the hash, for a file of more objects.
    template <class Slot>
    struct Table;
    template <class Slot>
    bool build(const BinaryDocument& document, const std::atomic<bool>& stop, std::size_t scalars,
               std::vector<Slot>& slots);
    template <class Slot>
    ObjectId find(const BinaryDocument& document, std::span<const std::uint8_t> encoded,
                  const std::vector<Slot>& slots) const;
    std::vector<std::uint32_t> narrow_;
    std::vector<std::uint64_t> wide_;
};

// Where an object of the written tree comes from: the document, a new string, or an array or a
// dictionary the edit makes.
struct OutItem {
    enum Kind : std::uint8_t { Object, String, MadeArray, MadeDictionary };
    Kind kind = Object;
    std::uint32_t index = 0;  // the document's object, the edit's string or container
    static OutItem object(ObjectId id) { return {Object, id}; }
};

// The changes to write a document with. Dictionaries' entries are given as their keys, then
// their values in the same order, as they are written.
class DocumentEdit {
public:
    virtual ~DocumentEdit() = default;
    virtual OutItem root() const = 0;
    // Whether the edit changes the document's array or dictionary `object`; when it does, its
    // entries are appended to `entries`.
    virtual bool changes(ObjectId object, std::vector<OutItem>& entries) const = 0;
    // The entries of an array or dictionary the edit makes, appended to `entries`.
    virtual void made(OutItem container, std::vector<OutItem>& entries) const = 0;
    virtual std::size_t madeCount() const = 0;  // containers made, numbered from 0
    virtual std::span<const std::string> strings() const = 0;
};

// Writes the document with the edit, exactly as writeBinary writes the values readBinary makes of
// it with the same changes made to them; "" or why not. The index is let go once the new strings
// are matched with the document's, so that its memory serves the writer's own tables. A document
// of `twoThreadsFrom` objects or more is written by two threads, where its scalars adjoin and the
// sink lets them.
inline constexpr std::size_t kWriteOnTwoThreadsFrom = std::size_t{1} << 16;
std::string writeEdited(const BinaryDocument& document, ScalarIndex index, const DocumentEdit& edit, Sink& sink,
                        std::size_t twoThreadsFrom = kWriteOnTwoThreadsFrom);

}  // namespace orvane::plist
