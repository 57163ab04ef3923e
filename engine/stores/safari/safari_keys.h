// The keys and values of Safari's bookmarks file that the engine reads and writes. All are compared
// exactly and case-sensitively.
#pragma once

#include <string_view>

namespace orvane::safari::keys {

// A key the store looks up in the entries' dictionaries: its text, and its place among those
// keys, so that a file read where it lies finds them all in one pass over a dictionary.
struct EntryKey {
    std::string_view text;
    int index;
    constexpr operator std::string_view() const { return text; }
};

inline constexpr EntryKey WebBookmarkType{"WebBookmarkType", 0};
inline constexpr EntryKey Title{"Title", 1};
inline constexpr EntryKey URIDictionary{"URIDictionary", 2};
inline constexpr EntryKey URIDictionaryTitle{"title", 3};
inline constexpr EntryKey URLString{"URLString", 4};
inline constexpr EntryKey WebBookmarkUUID{"WebBookmarkUUID", 5};
inline constexpr EntryKey Children{"Children", 6};
inline constexpr EntryKey ShouldOmitFromUI{"ShouldOmitFromUI", 7};
inline constexpr EntryKey WebBookmarkFileVersion{"WebBookmarkFileVersion", 8};
inline constexpr EntryKey kEntryKeys[] = {WebBookmarkType, Title,    URIDictionary,    URIDictionaryTitle,    URLString,
                                          WebBookmarkUUID, Children, ShouldOmitFromUI, WebBookmarkFileVersion};

inline constexpr std::string_view TypeLeaf = "WebBookmarkTypeLeaf";
inline constexpr std::string_view TypeList = "WebBookmarkTypeList";
inline constexpr std::string_view TypeProxy = "WebBookmarkTypeProxy";

inline constexpr std::string_view BookmarksBarTitle = "BookmarksBar";
inline constexpr std::string_view BookmarksMenuTitle = "BookmarksMenu";

}  // namespace orvane::safari::keys
