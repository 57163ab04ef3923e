#include "app_fakes.h"

namespace orvane::test {

ControllerRig::ControllerRig(ServicesProvider* otherServices)
    : controller(std::make_unique<AppDelegate>(
          Platform{alerts, files, safari, workspace, updater, otherServices ? *otherServices : services, clock})) {
    QObject::connect(controller.get(), &AppDelegate::terminated, [this] { ++terminations; });
}

}  // namespace orvane::test
