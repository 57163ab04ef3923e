// Waiting, at no cost, for a browser to let go of a profile. A browser that runs with a profile
// holds it for as long as it runs, which may be days; its bookmarks must not be written meanwhile.
// Rather than looking again and again, the kernel wakes the wait: inotify when the browser's lock
// in its folder goes (the browser removes it as it quits), and a pidfd when the process named in
// the lock ends (a browser that is killed leaves its lock behind, and the lock of a process that
// is gone holds nothing).
#pragma once

#include <QObject>
#include <QString>
#include <memory>

namespace orvane {

class ProfileRelease final : public QObject {
    Q_OBJECT
public:
    explicit ProfileRelease(QObject* parent = nullptr);
    ~ProfileRelease() override;

    // Who holds the profile of `bookmarksFile` for as long as it runs ("Chromium (process 12)"),
    // or nothing. A lock held for a moment, as Safari's, is the sort job's to wait out.
    static QString runningHolder(const QString& bookmarksFile);

    // Begins waiting when a browser holds the profile now, and answers whether it does. released()
    // follows once no browser holds it, from the event loop.
    bool waitIfHeld(const QString& bookmarksFile);
    bool isWaiting() const { return watch_ != nullptr; }
    // Who held the profile when the wait began or last woke.
    const QString& holder() const { return holder_; }
    void cancel();

signals:
    void released();

private:
    struct Watch;
    void wake();

    QString file_;
    QString holder_;
    std::unique_ptr<Watch> watch_;
};

}  // namespace orvane
