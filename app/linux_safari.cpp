#include <QThread>
#include <QtGlobal>
#include <filesystem>

#include "files/atomic_file.h"
#include "files/paths.h"
#include "platform_linux.h"
#include "plist/codec.h"

namespace orvane {
namespace {

QString environmentOr(const char* name, std::string_view fallback) {
    const QString value = qEnvironmentVariable(name);
    return value.isEmpty() ? QString::fromStdString(expandTilde(fallback).string()) : value;
}

// "CFBundleShortVersionString" of the bundle's information property list, when it has one.
std::optional<QString> readShortVersion(const QString& bundle) {
    const std::filesystem::path info = std::filesystem::path(bundle.toStdString()) / "Contents" / "Info.plist";
    std::vector<std::uint8_t> bytes;
    if (!readWholeFile(info, bytes).ok()) return std::nullopt;
    const plist::ReadResult result = plist::readPropertyList(bytes);
    const plist::Dictionary* dictionary = result ? result.value.asDictionary() : nullptr;
    const plist::Value* version = dictionary ? dictionary->find("CFBundleShortVersionString") : nullptr;
    if (!version || !version->isString()) return std::nullopt;
    return QString::fromStdString(std::string(version->asString()));
}

}  // namespace

QString LinuxSafari::bundleFolder() { return environmentOr("ORVANE_SAFARI_APP", "/Applications/Safari.app"); }

std::optional<QString> LinuxSafari::bundleShortVersion() {
    if (!version_) version_ = readShortVersion(bundleFolder());
    return *version_;
}

QString LinuxSafari::preferencesFilename() {
    return environmentOr("ORVANE_SAFARI_PREFERENCES", "~/Library/Preferences/com.apple.Safari.plist");
}

void LinuxSafari::sleepForTimeInterval(double seconds) { QThread::msleep(static_cast<unsigned long>(seconds * 1000)); }

}  // namespace orvane
