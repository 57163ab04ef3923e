#!/usr/bin/env python3
"""The automatic mode's costs, measured on the real programs on a private session bus:
orvane-helper's memory and wake-ups while nothing changes, and the time from a change of the
bookmarks file (a new unsorted copy renamed over it, as browsers save) to the file being sorted
by Orvane, which the bus starts for the helper's request and which quits afterwards.

usage: bench/helper_bench.py [--build BUILD] [--idle SECONDS] [--changes N] [--latency SECONDS] [--file PLIST]
"""
import argparse, os, pathlib, plistlib, shutil, signal, statistics, subprocess, sys, tempfile, time

ROOT = pathlib.Path(__file__).resolve().parent.parent


def status(pid):
    """VmRSS in KiB and context switches over all threads of a process."""
    rss = int(next(l.split()[1] for l in open(f"/proc/{pid}/status") if l.startswith("VmRSS:")))
    switches = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        for line in open(f"/proc/{pid}/task/{task}/status"):
            if line.startswith(("voluntary_ctxt_switches", "nonvoluntary_ctxt_switches")):
                switches += int(line.split()[1])
    return rss, switches


def bus_owner_pid(env, name):
    out = subprocess.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
                          "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.GetConnectionUnixProcessID", name],
                         env=env, capture_output=True, text=True)
    return int(out.stdout.strip("()\n ,").split()[-1]) if out.returncode == 0 else None


def wait_for(predicate, timeout=30.0, step=0.005):
    start = time.monotonic()
    while time.monotonic() - start < timeout:
        if predicate():
            return True
        time.sleep(step)
    return False


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0], formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=str(ROOT / "build"), help="the build folder (default: build)")
    parser.add_argument("--idle", type=float, default=60.0, help="seconds to watch the idle helper (default 60)")
    parser.add_argument("--changes", type=int, default=5, help="changes to time (default 5)")
    parser.add_argument("--latency", type=float, default=1.0, help="the helper's BookmarksUpdateLatency (default 1.0)")
    parser.add_argument("--file", default=str(ROOT / "examples/Bookmarks.plist"), help="the unsorted file to save over and over")
    args = parser.parse_args()
    build = pathlib.Path(args.build).resolve()
    for program in ("bin/orvane", "bin/orvane-helper", "cli/orvane-cli", "share/dbus-1/services/com.marrowfen.Orvane.service"):
        if not (build / program).exists():
            sys.exit(f"helper_bench.py: {build / program} is missing: build first (scripts/build.sh {args.build})")

    scratch = pathlib.Path(tempfile.mkdtemp(prefix="orvane-helper-bench-"))
    daemon = None
    try:
        home = scratch / "home"
        bookmarks = home / "Library/Safari/Bookmarks.plist"
        bookmarks.parent.mkdir(parents=True)
        (scratch / "Safari.app/Contents").mkdir(parents=True)
        with open(scratch / "Safari.app/Contents/Info.plist", "wb") as f:
            plistlib.dump({"CFBundleShortVersionString": "17.1"}, f)
        (home / ".config/Marrowfen").mkdir(parents=True)
        (home / ".config/Marrowfen/Orvane.conf").write_text(
            f"[General]\nAutoSortMode=true\nBookmarksFilename={bookmarks}\nBookmarksUpdateLatency={args.latency}\n")
        shutil.copy(args.file, bookmarks)
        (scratch / "bus.conf").write_text(
            f"<busconfig><type>session</type><listen>unix:tmpdir={scratch}</listen><auth>EXTERNAL</auth>"
            f"<servicedir>{build}/share/dbus-1/services</servicedir><policy context=\"default\">"
            "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>")
        env = dict(os.environ, HOME=str(home), XDG_CONFIG_HOME=str(home / ".config"), XDG_DATA_HOME=str(home / ".local/share"),
                   ORVANE_SAFARI_APP=str(scratch / "Safari.app"), QT_QPA_PLATFORM="offscreen")
        daemon = subprocess.Popen(["dbus-daemon", "--nofork", "--print-address", f"--config-file={scratch / 'bus.conf'}"],
                                  env=env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        env["DBUS_SESSION_BUS_ADDRESS"] = daemon.stdout.readline().strip()
        subprocess.Popen([build / "bin/orvane-helper"], env=env, stderr=subprocess.DEVNULL, start_new_session=True)
        helper = lambda: bus_owner_pid(env, "com.marrowfen.OrvaneHelper")
        if not wait_for(lambda: helper() is not None, step=0.05):
            sys.exit("helper_bench.py: the helper did not start")

        pid = helper()
        time.sleep(2)  # let start-up settle
        rss, before = status(pid)
        time.sleep(args.idle)
        rss_after, after = status(pid)
        print(f"idle helper: {max(rss, rss_after) / 1024:.1f} MiB resident; "
              f"{(after - before) * 60 / args.idle:.1f} wake-ups a minute (context switches of all its threads over {args.idle:.0f} s)")

        cli = build / "cli/orvane-cli"
        sorted_now = lambda: b"file written: no" in subprocess.run(
            [cli, "sort", "--dry-run", "--no-backup", bookmarks], capture_output=True).stdout
        times = []
        for _ in range(args.changes):
            old_helper = helper()
            shutil.copy(args.file, scratch / "new.plist")
            start = time.monotonic()
            os.rename(scratch / "new.plist", bookmarks)
            inode = os.stat(bookmarks).st_ino
            # Orvane replaces the file by a new one: its inode changes when the sort is written.
            if not wait_for(lambda: os.stat(bookmarks).st_ino != inode):
                sys.exit("helper_bench.py: the file was not sorted within 30 s")
            times.append(time.monotonic() - start)
            if not sorted_now():
                sys.exit("helper_bench.py: the file was rewritten but is not in order")
            # Wait for the next helper, so that the next change is heard; and past the helper's
            # hold-back window, so that every change is sorted at once.
            wait_for(lambda: helper() not in (None, old_helper), step=0.05)
            time.sleep(31)
        print(f"change to sorted, latency {args.latency} s: median {statistics.median(times):.2f} s, "
              f"min {min(times):.2f} s, max {max(times):.2f} s over {len(times)} changes")
    finally:
        if daemon:
            for name in ("com.marrowfen.Orvane", "com.marrowfen.OrvaneHelper"):
                pid = bus_owner_pid(env, name)
                if pid:
                    os.kill(pid, signal.SIGTERM)
            daemon.terminate()
            daemon.wait()
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
