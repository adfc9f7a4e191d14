"""A folder of many items under a root in Dolphin: the plugin beside one that answers at once.

    dolphin_bench.py BUILD [ITEMS [ROUNDS]]       (inside desktop.py)

As nautilus_bench.py, but Dolphin asks about the items near its view alone: what counts is when the last of
those has its emblem, at the top of the folder, from the call that opens it, and after the key End at its
bottom, from the key. Nothing is tried twice."""
import os
import subprocess
import sys
import time

from nautilus_bench import Desktop, compare, wait_until

QUIET = 2  # s without a question: Dolphin has asked about all that it is going to


class Dolphin(Desktop):
    def module(self, kind):
        return os.path.join(self.build, "bench", "hosts", "dolphin-" + kind)

    def start_manager(self, kind):
        os.environ["QT_PLUGIN_PATH"] = self.module(kind)
        os.environ["TSYNCFINDER_LOOP_FOLDER"] = self.root
        return self.start("dolphin", "--new-window", os.path.dirname(self.root))

    def show_folder(self):
        """In another tab: of the programs on the bus that show folders, this one need not be the first."""
        subprocess.check_call(["gdbus", "call", "--session", "--dest", "org.kde.dolphin-%d" % self.manager.pid,
                               "--object-path", "/dolphin/Dolphin_1", "--method",
                               "org.kde.dolphin.MainWindow.openDirectories", "['file://%s']" % self.root, "false"],
                              stdout=subprocess.DEVNULL)

    def until(self, start, count, point):
        """Seconds until the last item near the view, at the top and at the bottom together."""
        if count == "asked":  # the other question is about the same items
            self.top = self.settle(start, 0)
            asked = self.read().asked
            assert asked < self.files, "Dolphin asks about all items: its bottom is no news"
            start = time.monotonic()
            subprocess.check_call(["xdotool", "key", "End"])
            self.bottom = self.settle(start, asked)
            self.items = self.read().asked
        return self.top[count] + self.bottom[count]

    def settle(self, start, asked):
        """The times of the last news, when more items were asked about than before and nothing happens any more."""
        last = [time.monotonic(), -1]

        def is_quiet():
            times = self.read()
            if times.questions != last[1] or times.asked == asked:
                last[:] = [time.monotonic(), times.questions]
            return time.monotonic() - last[0] > QUIET

        wait_until(is_quiet, 60, "Dolphin has asked about the items that it shows")
        times = self.read()
        return {"asked": times.last_asked / 1e6 - start, "badged": times.last_badged / 1e6 - start}


if __name__ == "__main__":
    compare(Dolphin(sys.argv[1], None, int(sys.argv[2]) if len(sys.argv) > 2 else 10000),
            int(sys.argv[3]) if len(sys.argv) > 3 else 3)
