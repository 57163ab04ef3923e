// Alert messages are formats: every "%" in them starts a conversion, also in a message that is
// passed on as a format without arguments (a file name with "%" in it then loses it). That is how
// the alerts have always read their messages, so it is kept, but made safe: a conversion without
// an argument gives nothing instead of reading memory that was never passed.
#pragma once

#include <QString>
#include <QStringList>

namespace orvane {

// Fills "%@", "%d", "%i", "%u", "%s" (with optional "l"/"ll"/"h" length) from `arguments` in
// order; "%%" gives "%". Anything else after a "%" is kept as it stands.
QString formatMessage(const QString& format, const QStringList& arguments = {});

}  // namespace orvane
