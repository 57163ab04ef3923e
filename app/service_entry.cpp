// The sort service's entry on the controller, and the test that tells a run started by a service
// call from an ordinary one.
#include <QTimer>
#include <utility>

#include "app_delegate.h"
#include "main_window.h"
#include "service_call.h"

namespace orvane {

void AppDelegate::sortBookmarks(const QString&, QString*) {
    // Nothing is read from the request and no error is ever reported: the caller only starts the
    // sort, whose outcome is the Sort command's to show.
    dateOnServiceCall_ = platform_.clock.now();
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void AppDelegate::sortWhenIdle() {
    sortRequested_ = true;
    if (busy_ == 0) runRequestedWorkSoon();
}

void AppDelegate::terminateWhenIdle() {
    terminateRequested_ = true;
    if (busy_ == 0) runRequestedWorkSoon();
}

AppDelegate::BusyScope::~BusyScope() {
    if (--controller_.busy_ == 0 && (controller_.sortRequested_ || controller_.terminateRequested_))
        controller_.runRequestedWorkSoon();
}

void AppDelegate::runRequestedWorkSoon() {
    // From the event loop, not from inside the scope that ends: an alert's caller or the launch
    // sequence still has to return first.
    QTimer::singleShot(0, this, [this] {
        if (busy_ > 0) return;
        if (std::exchange(sortRequested_, false))
            sortBookmarks();  // a quit asked for meanwhile follows when the command is done
        else if (std::exchange(terminateRequested_, false))
            terminate();
    });
}

bool AppDelegate::wasServiceCall() const { return isServiceCallInterval(dateOnStartup_, dateOnServiceCall_); }

}  // namespace orvane
