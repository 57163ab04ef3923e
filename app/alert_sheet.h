// The modal alert on the main window through which every command talks to the user. A call
// returns when the user has dismissed the alert; the controller counts as busy meanwhile.
#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace orvane {

class AlertPresenter;
class BusyCount;

class AlertSheet {
public:
    AlertSheet(AlertPresenter& presenter, QWidget& window, BusyCount& busy);

    // The message is a format (message_format.h) filled from `arguments`; `details` are shown as
    // they are. Answers the presenter's return code.
    int show(const QString& title, const QString& format, const QStringList& arguments = {},
             const QString& details = {});
    // The critical confirmation on the window; true only for `alternateButton`.
    bool confirm(const QString& title, const QString& message, const QString& defaultButton,
                 const QString& alternateButton);

private:
    AlertPresenter& presenter_;
    QWidget& window_;
    BusyCount& busy_;
};

}  // namespace orvane
