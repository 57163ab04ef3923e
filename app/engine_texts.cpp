// The engine's texts, listed where the translation tools find them. The engine looks them up
// through its hook under the context "Engine"; a test checks that this list and the engine's
// texts stay the same.
#include "translations.h"

namespace orvane {

QStringList engineTexts() {
    static const char* const texts[] = {
        QT_TRANSLATE_NOOP("Engine", "The sorted bookmark plist file was successfully written to disk."),
        QT_TRANSLATE_NOOP(
            "Engine",
            "The program ran into an unknown error: %d.\n\nA restart of your computer will hopefully solve the error."),
        QT_TRANSLATE_NOOP("Engine", "Could not find the bookmark plist file."),
        QT_TRANSLATE_NOOP("Engine", "Could not find the output bookmark plist file."),
        QT_TRANSLATE_NOOP("Engine", "Given file is not a bookmarks plist file."),
        QT_TRANSLATE_NOOP("Engine", "Given file is a bookmarks plist file, but has unknown version."),
        QT_TRANSLATE_NOOP("Engine", "Could not read the bookmark plist file."),
        QT_TRANSLATE_NOOP("Engine", "Could not write the bookmark plist file."),
        QT_TRANSLATE_NOOP("Engine", "Could not write the backup file for the bookmark plist file."),
        QT_TRANSLATE_NOOP("Engine", "Could not write the bookmark plist file, some other process is using it."),
        QT_TRANSLATE_NOOP("Engine", "The bookmarks file was opened, sorted and saved."),
        QT_TRANSLATE_NOOP("Engine",
                          "The bookmarks file “%@” could not be located. Please locate the file and try again."),
        QT_TRANSLATE_NOOP("Engine",
                          "The file “%@” is not a bookmarks file. Please locate and select Safari’s bookmarks file."),
        QT_TRANSLATE_NOOP("Engine", "The file “%@” is a bookmarks file, but the version is too advanced."),
        QT_TRANSLATE_NOOP(
            "Engine",
            "The bookmarks file “%@” could not be read. Please verify that you have read and write access to the file."),
        QT_TRANSLATE_NOOP(
            "Engine",
            "The bookmarks file “%@” could not be saved. Please verify that you have read and write access to the file."),
        QT_TRANSLATE_NOOP(
            "Engine",
            "A backup for the bookmarks file “%@” could not be created. Please verify that you have read and write access to the file’s directory."),
        QT_TRANSLATE_NOOP("Engine",
                          "Safari is currently using the bookmarks file, please wait a while before sorting."),
        QT_TRANSLATE_NOOP("Engine", "%@ is currently using the bookmarks file, please quit it before sorting."),
        QT_TRANSLATE_NOOP("Engine", "No Name"),
    };
    QStringList list;
    for (const char* text : texts) list.append(QString::fromUtf8(text));
    return list;
}

}  // namespace orvane
