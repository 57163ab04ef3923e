// Where orvane's and orvane-helper's log lines go. The system log holds them where there is one
// (the journal: journalctl -t Orvane), standard error always, and a file of their own on every
// system: a desktop without a journal, or a program that the session bus started with its standard
// error sent nowhere, still leaves its lines where README says to look.
#pragma once

#include <QString>

namespace orvane {

// Sends the engine's log (support/log.h) to all three under `ident` ("Orvane", "OrvaneHelper").
void logToDesktop(const char* ident);

// "$XDG_STATE_HOME/orvane/orvane.log" ("~/.local/state" when XDG_STATE_HOME is unset or not an
// absolute path), which both programs append to. Once it has grown past a megabyte it starts
// afresh, the lines before kept in "orvane.log.1".
QString logFilePath();

}  // namespace orvane
