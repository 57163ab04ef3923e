#pragma once

namespace orvane {

// Runs orvane until it quits; answers the exit status.
int runApplication(int argc, char** argv, const char* version);

}  // namespace orvane
