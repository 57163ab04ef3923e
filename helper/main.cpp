// orvane-helper: the automatic mode's background program. It owns the bus name through which
// Orvane asks it to quit, watches the bookmarks file, and has it sorted after each change.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <cstdio>
#include <string_view>

#include "bus_names.h"
#include "desktop_log.h"
#include "helper.h"
#include "settings.h"
#include "support/log.h"

namespace {

// What Orvane calls to end the helper.
class HelperBusObject final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.marrowfen.OrvaneHelper")
public:
    explicit HelperBusObject(orvane::Helper& helper) : helper_(helper) {}
public slots:
    Q_SCRIPTABLE void Quit() { helper_.quitWhenAnswered(); }

private:
    orvane::Helper& helper_;
};

const char* kHelp =
    "usage: orvane-helper [--help | --version]\n"
    "\n"
    "The background program of Orvane's automatic mode. It watches the bookmarks file that\n"
    "Orvane's settings name and, a moment after each change, asks Orvane's sort service on the\n"
    "session bus to sort it; when nobody answers there, it sorts the file itself. Orvane starts\n"
    "and stops it; it takes no options for its work.\n"
    "\n"
    "Options:\n"
    "  -h, --help     show this help\n"
    "  --version      show the program's name and version\n"
    "\n"
    "Exit status: 0 when Orvane or a newer helper made it quit, 1 the bookmarks file cannot be\n"
    "watched, 64 usage error.\n";

// Answers --help and --version; -1 when the helper is to start.
int answerOptions(int argc, char** argv) {
    if (argc < 2) return -1;
    const std::string_view option = argv[1];
    if (argc == 2 && (option == "-h" || option == "--help")) return std::fputs(kHelp, stdout) < 0;
    if (argc == 2 && option == "--version") return std::puts("orvane-helper " ORVANE_VERSION) < 0;
    std::fprintf(stderr, "orvane-helper: unknown argument '%s'; see 'orvane-helper --help'\n", argv[argc == 2 ? 1 : 2]);
    return 64;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace orvane;
    if (const int answered = answerOptions(argc, argv); answered >= 0) return answered;
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QString::fromLatin1(kOrganizationName));
    QCoreApplication::setApplicationName(QStringLiteral("OrvaneHelper"));
    logToDesktop("OrvaneHelper");

    QDBusConnection bus = QDBusConnection::sessionBus();
    Helper helper(bus);
    HelperBusObject busObject(helper);
    if (bus.isConnected()) {
        bus.registerObject(QString::fromLatin1(kHelperObjectPath), &busObject, QDBusConnection::ExportScriptableSlots);
        // The newest helper takes over, and one that loses its name quits: two helpers would
        // sort every change twice, and Orvane could stop only one of them.
        const auto reply = bus.interface()->registerService(QString::fromLatin1(kHelperBusName),
                                                            QDBusConnectionInterface::ReplaceExistingService,
                                                            QDBusConnectionInterface::AllowReplacement);
        if (reply.value() != QDBusConnectionInterface::ServiceRegistered)
            logLine("int main(int, char **)",
                    "Could not own " + std::string(kHelperBusName) + "; Orvane will not be able to stop this helper.");
        auto* watcher = new QDBusServiceWatcher(QString::fromLatin1(kHelperBusName), bus,
                                                QDBusServiceWatcher::WatchForOwnerChange, &application);
        QObject::connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, &application,
                         [self = bus.baseService()](const QString&, const QString& oldOwner, const QString&) {
                             if (oldOwner == self) QCoreApplication::quit();
                         });
    } else {
        logLine("int main(int, char **)",
                "No session bus: Orvane cannot be asked to sort, so this helper sorts by itself.");
    }

    if (!helper.start()) return 1;
    return QCoreApplication::exec();
}

#include "main.moc"
