"""A folder of many items under a root in Nautilus: the plugin beside one that answers at once.

    nautilus_bench.py BUILD PLUGIN-FOLDER [ITEMS [ROUNDS]]       (inside desktop.py)

Each round starts Nautilus again on the folder above the root, opens the root in it, and reads what
loop_times.c writes meanwhile. The medians of the rounds are printed."""
import ctypes
import os
import signal
import statistics
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tests/hosts/nautilus-family"))
from desktop import put_plugin, wait_until  # noqa: E402

FIELDS = ("asked", "last_asked", "badged", "last_badged", "questions", "longest_callback", "longest_turn",
          "longest_loop_turn", "total")
LIMITS = {"ratio": 1.2, "stall": 5}  # of the time to the last emblem; ms in one turn of the main loop


class LoopTimes(ctypes.Structure):
    _fields_ = [(name, ctypes.c_uint64) for name in FIELDS]


class Desktop:
    def __init__(self, build, directory, items):
        self.build, self.files, self.items = build, items, items
        self.home = os.environ["HOME"]
        self.plugins = os.path.join(self.home, "plugins")
        self.times = os.environ["TSYNCFINDER_LOOP_TIMES"] = os.path.join(self.home, "times")
        self.root = os.path.join(self.home, "files", "Cloud")
        os.makedirs(self.root)
        for i in range(items):
            with open(os.path.join(self.root, "report of week %05d.txt" % i), "w"):
                pass
        self.processes = []
        if directory:
            put_plugin(self.module("timed"), directory)
        else:
            self.start("openbox")
        self.start(self.program("tsyncquenz-sandbox"), "--log-level", "error", "--start", self.root, "/Cloud")
        self.extension = self.start(self.program("tsyncfinder"), "run")
        last = os.path.join(self.root, "report of week %05d.txt" % (items - 1))
        wait_until(lambda: "Status Sync" in self.cli("badges", last), 120, "the root is in step")

    def program(self, name):
        return os.path.join(self.build, "apps", name, name)

    def module(self, kind):
        return os.path.join(self.build, "bench", "hosts", "lib%s_nautilus_plugin.so" % kind)

    def cli(self, *arguments):
        return subprocess.run([self.program("tsyncfinder"), *arguments], stdout=subprocess.PIPE, text=True).stdout

    def start(self, *command):
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.processes.append(process)
        return process

    def end(self):
        for process in reversed(self.processes):
            process.send_signal(signal.SIGCONT)
            process.kill()
            process.wait()

    def read(self):
        with open(self.times, "rb") as file:
            return LoopTimes.from_buffer_copy(file.read())

    def start_manager(self, kind):
        for name in os.listdir(self.plugins):
            os.unlink(os.path.join(self.plugins, name))
        os.symlink(self.module(kind), os.path.join(self.plugins, kind + ".so"))
        return self.start("nautilus", "--new-window", os.path.dirname(self.root))

    def open_root(self, kind):
        """The file manager with that plugin stands, and is told to open the root; the time of that."""
        self.clear()
        self.manager = self.start_manager(kind)
        wait_until(lambda: self.read().questions > 0, 60, "the file manager stands")
        time.sleep(2)  # it fills its caches and its first window
        self.clear()
        start = time.monotonic()
        self.show_folder()
        return start

    def clear(self):
        """In place: the file manager has mapped it."""
        with open(self.times, "r+b" if os.path.exists(self.times) else "wb") as file:
            file.write(bytes(LoopTimes()))

    def show_folder(self):
        subprocess.check_call(["gdbus", "call", "--session", "--dest", "org.freedesktop.FileManager1",
                               "--object-path", "/org/freedesktop/FileManager1", "--method",
                               "org.freedesktop.FileManager1.ShowFolders", "['file://%s']" % self.root, ""],
                              stdout=subprocess.DEVNULL)

    def close(self):
        self.manager.kill()
        self.manager.wait()

    def until(self, start, count, point):
        """Seconds from the start to the last item."""
        wait_until(lambda: getattr(self.read(), count) >= self.items, 180, "%s every item" % count)
        return getattr(self.read(), point) / 1e6 - start

    def worked(self):
        """Seconds of the processor that the file manager has used."""
        with open("/proc/%d/stat" % self.manager.pid) as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def round(self, kind, is_stopped):
        if is_stopped:
            self.extension.send_signal(signal.SIGSTOP)
        start = self.open_root(kind)
        worked = self.worked()
        figures = {"asked": self.until(start, "asked", "last_asked")}
        if not is_stopped:
            figures["badged"] = self.until(start, "badged", "last_badged")
        figures["worked"] = self.worked() - worked
        self.report_stalls(figures, "opening")
        if kind == "timed" and not is_stopped:
            with open(self.times, "r+b") as file:  # the longest of what comes now
                file.seek(LoopTimes.longest_callback.offset)
                file.write(bytes(3 * 8))
            self.extension.send_signal(signal.SIGSTOP)
            asked = self.read().questions
            wait_until(lambda: self.read().questions >= asked + self.items, 60, "no badge is left")
            self.report_stalls(figures, "badges going")
        self.close()
        self.extension.send_signal(signal.SIGCONT)
        return figures

    def report_stalls(self, figures, when):
        times = self.read()
        for name in FIELDS[4:]:
            figures["%s, %s" % (when, name)] = getattr(times, name) / (1 if name == "questions" else 1e3)


def judge(found):
    def median(key, name):
        return statistics.median(found[key][name])

    plugin, instant, stopped = ("timed", False), ("instant", False), ("timed", True)
    for what, value, limit in (
            ("time to the last emblem, times", median(plugin, "badged") / median(instant, "badged"), "ratio"),
            ("its processor time until then, times",
             median(plugin, "worked") / median(instant, "worked"), None),
            ("extension stopped: time to the last question, times",
             median(stopped, "asked") / median(instant, "asked"), "ratio"),
            ("longest stall while opening, ms", median(plugin, "opening, longest_turn"), "stall"),
            ("longest stall while the badges go, ms", median(plugin, "badges going, longest_turn"), "stall"),
            ("extension stopped: longest stall, ms", median(stopped, "opening, longest_turn"), "stall")):
        verdict = "" if limit is None else "  limit %.1f  %s" % (
            LIMITS[limit], "held" if value <= LIMITS[limit] else "ABOVE")
        print("%-52s %7.2f%s" % (what, value, verdict))


def compare(desktop, rounds):
    try:
        found = {}
        for _ in range(rounds):
            for kind, is_stopped in (("instant", False), ("timed", False), ("timed", True)):
                for name, value in desktop.round(kind, is_stopped).items():
                    found.setdefault((kind, is_stopped), {}).setdefault(name, []).append(value)
        for (kind, is_stopped), figures in found.items():
            print(kind, "with the extension stopped" if is_stopped else "")
            for name, values in figures.items():
                print("    %-36s %10.3f   %s" % (name, statistics.median(values),
                                                 " ".join("%.3f" % value for value in values)))
        judge(found)
    finally:
        desktop.end()


if __name__ == "__main__":
    compare(Desktop(*sys.argv[1:3], int(sys.argv[3]) if len(sys.argv) > 3 else 10000),
            int(sys.argv[4]) if len(sys.argv) > 4 else 3)
