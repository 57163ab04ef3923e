#include "mnemonics.h"

#include <QSet>

namespace orvane {

std::optional<QChar> mnemonicOf(const QString& label) {
    for (qsizetype i = 0; i + 1 < label.size(); ++i) {
        if (label[i] != QLatin1Char('&')) continue;
        if (label[i + 1] == QLatin1Char('&')) {
            ++i;  // "&&" is a plain "&"
            continue;
        }
        return label[i + 1].toLower();
    }
    return std::nullopt;
}

QStringList withMnemonics(const QStringList& labels, const QStringList& taken) {
    QSet<QChar> used;
    for (const QStringList* list : {&taken, &labels})
        for (const QString& label : *list)
            if (const std::optional<QChar> letter = mnemonicOf(label)) used.insert(*letter);
    QStringList marked;
    for (const QString& label : labels) {
        if (mnemonicOf(label)) {
            marked.append(label);
            continue;
        }
        qsizetype at = -1;
        // Word starts first: they read best underlined.
        for (int pass = 0; pass < 2 && at < 0; ++pass)
            for (qsizetype i = 0; i < label.size() && at < 0; ++i) {
                const QChar c = label[i];
                const bool wordStart = i == 0 || !label[i - 1].isLetterOrNumber();
                if (c.isLetterOrNumber() && (pass == 1 || wordStart) && !used.contains(c.toLower())) at = i;
            }
        if (at < 0) {
            marked.append(label);
            continue;
        }
        used.insert(label[at].toLower());
        marked.append(label.left(at) + QLatin1Char('&') + label.mid(at));
    }
    return marked;
}

}  // namespace orvane
