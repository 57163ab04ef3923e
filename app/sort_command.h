// The Sort command: find the bookmarks file (or ask for it), run one sort job with the window
// locked, say how it went, and tell whether the run is over: a run started by a service call
// ends after its sort, and so does a successful sort in the automatic mode.
#pragma once

#include <QCoreApplication>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

namespace orvane {

class AlertSheet;
class AutoSortControl;
class BookmarksFileLocator;
class BusyCount;
class JobRunner;
class SafariWorld;
struct JobResult;
class WindowBinding;

class SortCommand {
    // The texts stay in the context under which the catalogues have always translated them.
    Q_DECLARE_TR_FUNCTIONS(orvane::AppDelegate)
public:
    SortCommand(AlertSheet& alerts, BookmarksFileLocator& locator, SafariWorld& safari, WindowBinding& window,
                const AutoSortControl& autoSort, BusyCount& busy, JobRunner& jobs);

    // Runs the command; true when the application should quit now. Nothing happens when the user
    // cancels locating the file. `jobDone` runs once the job has ended (before its alert), or once
    // it is clear that none runs.
    bool sortBookmarks(const std::function<void()>& jobDone = {});

    // The alert for a sort job's code on `file`, also shown for the codes the helper reports about
    // the stored file (the default). A browser profile's alerts name its browser (`browser`, when
    // the job knows who held the file, else the file's), where Safari's name Safari. Codes 1 and 3
    // clear the stored file name, so that the next Sort asks for the file.
    // `details` says why, for those who want to know: the system's reason, the file concerned.
    static void showResult(AlertSheet& alerts, std::uint32_t code, const std::optional<QString>& file = std::nullopt,
                           const QString& browser = {}, const QString& details = {});
    // What the result alert's details say of a job's result on `file`.
    static QString detailsOf(const JobResult& result, const QString& file);

private:
    AlertSheet& alerts_;
    BookmarksFileLocator& locator_;
    SafariWorld& safari_;
    WindowBinding& window_;
    const AutoSortControl& autoSort_;
    BusyCount& busy_;
    JobRunner& jobs_;
};

}  // namespace orvane
