#include "job/messages.h"

#include "support/error_codes.h"
#include "support/translation.h"

namespace orvane {
namespace {

constexpr std::string_view kSuccess = "The sorted bookmark plist file was successfully written to disk.";
constexpr std::string_view kUnknown =
    "The program ran into an unknown error: %d.\n\nA restart of your computer will hopefully solve the error.";

// Puts `value` in place of the first occurrence of `placeholder`.
std::string fill(std::string format, std::string_view placeholder, std::string_view value) {
    if (std::size_t at = format.find(placeholder); at != std::string::npos)
        format.replace(at, placeholder.size(), value);
    return format;
}

}  // namespace

std::string shortMessage(std::uint32_t code) {
    switch (code) {
    case OVErrorFileNotFound: return localizedString("Could not find the bookmark plist file.");
    case OVErrorOutputFileNotFound: return localizedString("Could not find the output bookmark plist file.");
    case OVErrorNotBookmarksFile: return localizedString("Given file is not a bookmarks plist file.");
    case OVErrorUnknownVersion:
        return localizedString("Given file is a bookmarks plist file, but has unknown version.");
    case OVErrorCannotRead: return localizedString("Could not read the bookmark plist file.");
    case OVErrorCannotWrite: return localizedString("Could not write the bookmark plist file.");
    case OVErrorCannotWriteBackup:
        return localizedString("Could not write the backup file for the bookmark plist file.");
    case OVErrorFileBusy:
        return localizedString("Could not write the bookmark plist file, some other process is using it.");
    default: return localizedString(kSuccess);
    }
}

std::string messageForUser(std::uint32_t code, std::string_view filename, std::string_view browser) {
    std::string_view format;
    switch (code) {
    case OVErrorSuccess: return localizedString("The bookmarks file was opened, sorted and saved.");
    case OVErrorFileNotFound:
        format = "The bookmarks file \u201C%@\u201D could not be located. Please locate the file and try again.";
        break;
    case OVErrorNotBookmarksFile:
        format =
            "The file \u201C%@\u201D is not a bookmarks file. Please locate and select Safari\u2019s bookmarks file.";
        break;
    case OVErrorUnknownVersion:
        format = "The file \u201C%@\u201D is a bookmarks file, but the version is too advanced.";
        break;
    case OVErrorCannotRead:
        format =
            "The bookmarks file \u201C%@\u201D could not be read. Please verify that you have read and write access to the file.";
        break;
    case OVErrorCannotWrite:
        format =
            "The bookmarks file \u201C%@\u201D could not be saved. Please verify that you have read and write access to the file.";
        break;
    case OVErrorCannotWriteBackup:
        format =
            "A backup for the bookmarks file \u201C%@\u201D could not be created. Please verify that you have read and write "
            "access to the file\u2019s directory.";
        break;
    case OVErrorFileBusy:
        if (browser != "Safari")
            return fill(localizedString("%@ is currently using the bookmarks file, please quit it before sorting."),
                        "%@", browser);
        return localizedString("Safari is currently using the bookmarks file, please wait a while before sorting.");
    default:
        // The code is shown as a signed number, as "%d" would show it.
        return fill(localizedString(kUnknown), "%d", std::to_string(static_cast<std::int32_t>(code)));
    }
    return fill(localizedString(format), "%@", filename);
}

}  // namespace orvane
