// Every script explains itself when asked and refuses an option it does not know, doing nothing
// else: make_sample_bookmarks.py once wrote its sample to a file named "--help".
#include <gtest/gtest.h>

#include <set>

#include "test_support.h"

namespace fs = std::filesystem;

TEST(Scripts, EveryScriptHasAUsageMessageAndDoesNothingElseWhenMisused) {
    const fs::path root = ORVANE_SOURCE_DIR;
    // Kept by hand, not found by the test: a script that did not know --help would run for real.
    const std::set<std::string> scripts{"bench/bench_firefox.sh",
                                        "bench/check_sorted.py",
                                        "bench/compare_chromium.sh",
                                        "bench/compare_plistlib.sh",
                                        "bench/compare_sort.sh",
                                        "bench/compare_whole.sh",
                                        "bench/concurrent_saves.py",
                                        "bench/helper_bench.py",
                                        "bench/make_bookmarks.py",
                                        "bench/make_chromium_bookmarks.py",
                                        "bench/make_places.py",
                                        "bench/sort_chromium_json.py",
                                        "bench/sort_plistlib.py",
                                        "bench/window_startup.sh",
                                        "fuzz/make_binary_seeds.py",
                                        "scripts/build.sh",
                                        "scripts/check_chromium.py",
                                        "scripts/check_firefox.py",
                                        "scripts/fuzz.sh",
                                        "scripts/install-deps.sh",
                                        "scripts/make_icons.sh",
                                        "scripts/make_safari_test_files.py",
                                        "scripts/package.sh",
                                        "scripts/make_sample_bookmarks.py",
                                        "scripts/run.sh",
                                        "scripts/screenshot.sh",
                                        "scripts/test.sh"};
    std::set<std::string> found;  // compare_common.sh is sourced, not run
    for (const std::string folder : {"bench", "fuzz", "scripts"})
        for (const auto& entry : fs::directory_iterator(root / folder))
            if ((entry.path().extension() == ".sh" || entry.path().extension() == ".py") &&
                entry.path().filename() != "compare_common.sh")
                found.insert(folder + "/" + entry.path().filename().string());
    EXPECT_EQ(found, scripts) << "a new script needs a usage message and a place in this list";

    orvane::test::TempDir cwd;
    for (const std::string& script : scripts) {
        SCOPED_TRACE(script);
        const std::string interpreter = script.ends_with(".py") ? orvane::test::python3() : "/bin/bash";
        if (interpreter.empty()) continue;
        for (const std::string option : {"--help", "--no-such-option"}) {
            const auto r = orvane::test::run({"/bin/sh", "-c", "cd \"$0\" && exec \"$@\"", cwd.path().string(),
                                              interpreter, (root / script).string(), option});
            if (option == "--help") {
                EXPECT_EQ(r.exitCode, 0) << r.err;
                EXPECT_NE(r.out.find(fs::path(script).filename().string()), std::string::npos) << r.out;
            } else {
                EXPECT_NE(r.exitCode, 0);
                EXPECT_NE(r.err.find("usage"), std::string::npos) << r.err;
            }
            EXPECT_TRUE(fs::is_empty(cwd.path()));
        }
    }
}
