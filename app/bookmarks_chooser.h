// Whose bookmarks the window sorts: Safari's file, every browser profile found on this computer,
// or any other file the user picks. The choice is the setting "BookmarksFilename", so the Sort
// command, the sort service and the automatic mode all follow it.
#pragma once

#include <QComboBox>
#include <QCoreApplication>
#include <QString>

#include "profiles/discovery.h"

class QStyleOptionComboBox;

namespace orvane {

// The box of the window's "Bookmarks of" list. Screen readers announce it by its accessible name
// and read the chosen file as its value, as they do a labelled field; Qt's own combo box would
// give them the chosen file as its name on Linux.
class BookmarksComboBox final : public QComboBox {
    Q_OBJECT
public:
    explicit BookmarksComboBox(QWidget* parent = nullptr);

    // The text the closed box shows: the chosen item's, shortened to fit with "…" instead of cut
    // off at the right edge; a long path loses folders first and keeps its file name in sight.
    QString shownText() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString shownText(const QStyleOptionComboBox& option) const;
};

class BookmarksFileLocator;

class BookmarksChooser {
    Q_DECLARE_TR_FUNCTIONS(orvane::BookmarksChooser)
public:
    BookmarksChooser(QComboBox& box, BookmarksFileLocator& locator);
    BookmarksChooser(const BookmarksChooser&) = delete;
    BookmarksChooser& operator=(const BookmarksChooser&) = delete;

    // Lists Safari's file, the profiles found now and the stored file, and shows the stored one.
    // As long as nobody has chosen, it chooses with firstChoice().
    void refresh();

    // Safari's file when it exists or when no profile was found, otherwise the first profile
    // found: Firefox's family before Chromium's, each browser's default profile first.
    static QString firstChoice(const Discovery& found, const QString& safariFile);
    // "Google Chrome — Work"; Safari's file is just "Safari".
    static QString label(const BrowserProfile& profile);

private:
    // What the user picked in the box: a file, or "Other file…", which asks for one.
    void chosen(int index);
    void show(const QString& file);

    QComboBox& box_;
    BookmarksFileLocator& locator_;
};

}  // namespace orvane
