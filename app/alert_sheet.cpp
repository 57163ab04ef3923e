#include "alert_sheet.h"

#include "busy_count.h"
#include "message_format.h"
#include "platform.h"

namespace orvane {

AlertSheet::AlertSheet(AlertPresenter& presenter, QWidget& window, BusyCount& busy)
    : presenter_(presenter), window_(window), busy_(busy) {}

int AlertSheet::show(const QString& title, const QString& format, const QStringList& arguments,
                     const QString& details) {
    BusyCount::Scope busy(busy_);
    return presenter_.showAlert(&window_, title, formatMessage(format, arguments), details);
}

bool AlertSheet::confirm(const QString& title, const QString& message, const QString& defaultButton,
                         const QString& alternateButton) {
    BusyCount::Scope busy(busy_);
    return presenter_.confirmCritical(&window_, title, message, defaultButton, alternateButton);
}

}  // namespace orvane
