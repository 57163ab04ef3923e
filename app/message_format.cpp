#include "message_format.h"

namespace orvane {

QString formatMessage(const QString& format, const QStringList& arguments) {
    QString out;
    out.reserve(format.size());
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format[i];
        if (c != QLatin1Char('%') || i + 1 == format.size()) {
            out += c;
            continue;
        }
        qsizetype j = i + 1;
        if (format[j] == QLatin1Char('%')) {
            out += QLatin1Char('%');
            i = j;
            continue;
        }
        while (j < format.size() && (format[j] == QLatin1Char('l') || format[j] == QLatin1Char('h'))) ++j;
        if (j < format.size() && QStringView(u"@disu").contains(format[j])) {
            if (next < arguments.size()) out += arguments[next];
            ++next;
            i = j;
        } else {
            out += c;
        }
    }
    return out;
}

}  // namespace orvane
