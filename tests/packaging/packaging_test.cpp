// The three programs as a user or a package meets them: each answers --version, with no display
// for the Qt ones.
#include <gtest/gtest.h>

#include "test_support.h"

namespace {

struct Program {
    std::string path, name;
};

const std::vector<Program>& programs() {
    static const std::vector<Program> all{
        {ORVANE_APP, "Orvane"}, {ORVANE_HELPER, "orvane-helper"}, {orvane::test::cliPath(), "orvane-cli"}};
    return all;
}

// No display of any kind: a QApplication would abort here.
const std::vector<std::string> kNoDisplay{"DISPLAY=", "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM=xcb", "LANGUAGE=en",
                                          "LC_ALL=C.UTF-8"};

TEST(Programs, AnswerVersionInOneLineWithoutADisplay) {
    for (const Program& program : programs()) {
        SCOPED_TRACE(program.path);
        const auto r = orvane::test::run({program.path, "--version"}, {}, kNoDisplay);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.out, program.name + " " ORVANE_VERSION "\n");
        EXPECT_EQ(r.err, "");
    }
}

}  // namespace
