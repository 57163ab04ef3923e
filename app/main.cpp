// orvane: the desktop application.
#include "run_application.h"

int main(int argc, char** argv) { return orvane::runApplication(argc, argv, ORVANE_VERSION); }
