// The keys and values of Safari's bookmarks file that the engine reads and writes. All are compared
// exactly and case-sensitively.
#pragma once

#include <string_view>

namespace orvane::safari::keys {

inline constexpr std::string_view WebBookmarkFileVersion = "WebBookmarkFileVersion";
inline constexpr std::string_view WebBookmarkType = "WebBookmarkType";
inline constexpr std::string_view Children = "Children";
inline constexpr std::string_view Title = "Title";
inline constexpr std::string_view URIDictionary = "URIDictionary";
inline constexpr std::string_view URIDictionaryTitle = "title";
inline constexpr std::string_view URLString = "URLString";
inline constexpr std::string_view WebBookmarkUUID = "WebBookmarkUUID";
inline constexpr std::string_view ShouldOmitFromUI = "ShouldOmitFromUI";

inline constexpr std::string_view TypeLeaf = "WebBookmarkTypeLeaf";
inline constexpr std::string_view TypeList = "WebBookmarkTypeList";
inline constexpr std::string_view TypeProxy = "WebBookmarkTypeProxy";

inline constexpr std::string_view BookmarksBarTitle = "BookmarksBar";
inline constexpr std::string_view BookmarksMenuTitle = "BookmarksMenu";

}  // namespace orvane::safari::keys
