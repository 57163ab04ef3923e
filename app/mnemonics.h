// Mnemonics: the letter marked with "&" in a label, which Alt and that letter reach from the
// keyboard. Two labels of one window or one menu must not share a letter, or the key reaches only
// the first of them.
#pragma once

#include <QChar>
#include <QString>
#include <QStringList>
#include <optional>

namespace orvane {

// The letter of a label's mnemonic, in lower case ("&File" gives 'f', "a && b" none).
std::optional<QChar> mnemonicOf(const QString& label);

// `labels`, each without a mnemonic given one that none of the others nor `taken` has: the first
// letter of a word where it can, else any letter or digit. A label with one keeps it, and a label
// whose every letter is taken stays without.
QStringList withMnemonics(const QStringList& labels, const QStringList& taken = {});

}  // namespace orvane
