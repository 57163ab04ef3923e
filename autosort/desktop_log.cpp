#include "desktop_log.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>
#include <cstdio>
#include <string>

#include "support/log.h"

namespace orvane {
namespace {

constexpr qint64 kLogFileLimit = 1024 * 1024;

// Appends one line in one write, so that lines of the two programs never interleave.
void appendToFile(const QString& path, const std::string& line) {
    QDir().mkpath(QFileInfo(path).path());
    const QByteArray name = QFile::encodeName(path);
    if (QFileInfo(path).size() > kLogFileLimit) ::rename(name.constData(), (name + ".1").constData());
    const int fd = ::open(name.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return;
    const ssize_t written = ::write(fd, line.data(), line.size());
    (void)written;  // a log that cannot be written has nowhere to say so
    ::close(fd);
}

}  // namespace

QString logFilePath() {
    QString state = qEnvironmentVariable("XDG_STATE_HOME");
    if (!QDir::isAbsolutePath(state)) state = QDir::homePath() + QStringLiteral("/.local/state");
    return state + QStringLiteral("/orvane/orvane.log");
}

void logToDesktop(const char* ident) {
    // The journal takes syslog's lines; without a system log they are dropped there, not here.
    openlog(ident, LOG_PID, LOG_USER);
    const std::string tag = std::string(ident) + "[" + std::to_string(::getpid()) + "]: ";
    setLogSink([tag](std::string_view line) {
        syslog(LOG_NOTICE, "%.*s", static_cast<int>(line.size()), line.data());
        const std::string tagged = tag + std::string(line) + "\n";
        std::fputs(tagged.c_str(), stderr);
        const std::string stamp = QDateTime::currentDateTime().toString(Qt::ISODateWithMs).toStdString() + " ";
        appendToFile(logFilePath(), stamp + tagged);
    });
}

}  // namespace orvane
