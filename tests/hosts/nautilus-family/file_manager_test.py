"""The plugin in a real file manager, against the real extension and the sandbox daemon.

    file_manager_test.py BUILD FILE-MANAGER PLUGIN PLUGIN-FOLDER SCENARIO       (inside desktop.py)"""
import os
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from desktop import Accessible, put_plugin, screen_colours, screenshot, shows, wait_until  # noqa: E402


class Session:
    def __init__(self, build, name, module, directory):
        self.build, self.name = build, name
        self.home = os.environ["HOME"]
        self.folder = os.path.join(self.home, "files")
        self.root = os.path.join(self.folder, "Cloud")
        os.makedirs(os.path.join(self.root, "inner"))
        os.makedirs(os.path.join(self.folder, "outside"))
        for path in ("one.txt", "two.txt", "inner/three.txt"):
            self.write(path, 100)
        put_plugin(module, directory)
        self.processes = []
        if name != "nautilus":
            self.start("openbox")
        self.manager = None
        self.has_fake = False
        self.start_daemon()
        self.extension = self.start_extension()

    def program(self, name):
        return os.path.join(self.build, "apps", name, name)

    def start(self, *command):
        log = open(os.path.join(self.home, os.path.basename(command[0]) + ".log"), "ab")
        process = subprocess.Popen(command, stdout=log, stderr=log)
        self.processes.append(process)
        return process

    def start_daemon(self):
        self.daemon = self.start(self.program("tsyncquenz-sandbox"), "--start", self.root, "/Cloud",
                                 "--throttle", "100kb")

    def sync_again(self):
        """A daemon looks for changes when it starts."""
        self.daemon.terminate()
        self.daemon.wait()
        self.start_daemon()

    def start_extension(self):
        process = self.start(self.program("tsyncfinder"), "run")
        self.wait_for_extension()
        return process

    def wait_for_extension(self):
        wait_until(lambda: '"roots":["file' in self.cli("status", "--json"), 20, "the extension knows the root")

    def cli(self, *arguments):
        return subprocess.run([self.program("tsyncfinder"), *arguments], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True).stdout

    def write(self, path, size):
        with open(os.path.join(self.root, path), "wb") as file:
            file.write(b"x" * size)

    def open(self, folder):
        options = {"nautilus": ["--new-window"], "nemo": ["--no-desktop"], "caja": ["--no-desktop"]}[self.name]
        if self.manager:
            self.manager.kill()
            self.manager.wait()
        self.manager = self.start(self.name, *options, folder)

    def end(self):
        for process in reversed(self.processes):
            process.send_signal(signal.SIGCONT)
            process.kill()
            process.wait()

    def log(self, name):
        with open(os.path.join(self.home, name + ".log"), errors="replace") as file:
            return file.read()

    def start_fake(self, mood):
        """An extension that misbehaves."""
        interface = "com.quarnhold.TovikDrive_Quen.FinderSync1.xml"
        source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../resources/dbus", interface)
        before = self.log("fake_extension").count("ready") if self.has_fake else 0
        self.has_fake = True
        process = self.start(os.path.join(self.build, "tests/hosts/nautilus-family/fake_extension"), mood, source,
                             "file://" + self.root)
        wait_until(lambda: self.log("fake_extension").count("ready") > before, 10, "a false extension stands")
        return process

    def logs(self):
        for name in sorted(os.listdir(self.home)):
            if name.endswith(".log"):
                with open(os.path.join(self.home, name), errors="replace") as log:
                    print("---", name, "\n", log.read()[-2500:])


def choose(session, tree, item, title):
    """Right click on an item, the product's submenu, an item in it."""
    cell = tree.wait(["table cell", "icon", "list item"], item)
    if session.name == "nautilus":  # GTK 4 tells places within its window only
        window = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(session.manager.pid)],
                                stdout=subprocess.PIPE, text=True).stdout.split()[-1]
        box = cell.get_extents(tree.atspi.CoordType.WINDOW)
        subprocess.check_call(["xdotool", "mousemove", "--window", window, str(box.x + box.width // 2),
                               str(box.y + box.height // 2), "click", "3"])
    elif session.name == "nemo":
        cell.get_parent().get_selection_iface().select_child(cell.get_index_in_parent())
        tree.act(cell, "menu")
    else:
        x, y = tree.centre(cell)
        subprocess.check_call(["xdotool", "mousemove", str(x), str(y), "click", "3"])
    top = tree.wait(["menu", "menu item"], "TovikDrive")
    screenshot(os.path.join(session.build, "screenshots", session.name + "-menu.png"))
    tree.act(top, "click")
    if session.name == "nautilus":
        time.sleep(0.5)  # the page slides in, and nothing tells when it stands
    tree.act(tree.wait(["menu item"], title), "click")


def everyday(session):
    """Emblems, a transfer, and a command."""
    tree = Accessible(session.name == "nautilus")
    session.open(session.folder)
    wait_until(lambda: shows("tovik"), 30, "the root's emblem")
    assert screen_colours()["sync"] == 0, "an emblem outside every root"
    session.open(session.root)
    wait_until(lambda: shows("sync"), 30, "emblems of what has arrived")
    session.write("large.bin", 600_000)
    session.sync_again()
    wait_until(lambda: shows("upload"), 30, "the emblem of the file in flight")
    screenshot(os.path.join(session.build, "screenshots", session.name + "-transfer.png"))
    before = screen_colours()["sync"]
    wait_until(lambda: not shows("upload", 1) and screen_colours()["sync"] > before, 30,
               "the emblem after the transfer")
    screenshot(os.path.join(session.build, "screenshots", session.name + ".png"))
    choose(session, tree, "inner", "Exclude from sync")
    wait_until(lambda: "Excluded from sync: /Cloud/inner" in session.log("tsyncquenz-sandbox"), 20,
               "the chosen command, with the selected folder, reaches the daemon")
    if session.name == "nautilus":
        background(session, tree)


def background(session, tree):
    """The menu of the folder that the window shows."""
    action = wait_until(lambda: tree.action(tree.find(["frame"], "Cloud"), "container-TSFP-Stop-Sync"), 15,
                        "the background of a root offers to stop it")
    tree.act(tree.find(["frame"], "Cloud"), action)
    wait_until(lambda: "No longer syncing " + session.root in session.log("tsyncquenz-sandbox"), 20,
               "the command for the folder itself reaches the daemon")


def badges_go(since):
    wait_until(lambda: sum(screen_colours().values()) == 0, 15, "the last emblems go")
    took = time.monotonic() - since
    assert took <= 10.5, "emblems of an extension that does not answer stayed for %.1f s" % took


def nonsense(session):
    """What answers garbage, floods or never answers takes the extension's place for a while."""
    tree = Accessible(session.name == "nautilus")
    session.open(session.root)
    wait_until(lambda: shows("sync"), 30, "emblems")
    session.extension.kill()
    session.extension.wait()
    start = time.monotonic()
    for mood in ("wrong-types", "wrong-count", "huge", "silent", "flood"):
        process = session.start_fake(mood)
        print("usable after %.2f s with a %s extension" % (stays_usable(session, tree, "while-" + mood), mood))
        if mood == "flood":
            wait_until(lambda: shows("sync"), 15, "emblems in a flood")
        else:
            badges_go(start)
        process.kill()
        process.wait()
        start = time.monotonic()
    badges_go(start)
    session.extension = session.start_extension()
    wait_until(lambda: shows("sync"), 15, "emblems after an end of the nonsense")
    assert session.manager.poll() is None, "the file manager has ended"


def stays_usable(session, tree, name):
    """It shows a new folder; how long that takes."""
    os.mkdir(os.path.join(session.root, name))
    start = time.monotonic()
    tree.wait(["table cell", "icon"], name, 10)
    return time.monotonic() - start


def faults(session):
    """Stopped, killed and restarted; the file manager goes on, and everything is badged again by itself."""
    tree = Accessible(session.name == "nautilus")
    session.open(session.root)
    wait_until(lambda: shows("sync"), 30, "emblems")

    session.extension.send_signal(signal.SIGSTOP)
    start = time.monotonic()
    print("usable after %.2f s with a stopped extension" % stays_usable(session, tree, "while-stopped"))
    assert shows("sync"), "the last emblems went at once"
    badges_go(start)
    stays_usable(session, tree, "while-silent")
    session.extension.send_signal(signal.SIGCONT)
    wait_until(lambda: shows("sync"), 10, "emblems after it goes on")

    session.extension.kill()
    session.extension.wait()
    start = time.monotonic()
    stays_usable(session, tree, "while-dead")
    badges_go(start)
    session.extension = session.start_extension()
    wait_until(lambda: shows("sync"), 10, "emblems after a restart")
    before = screen_colours()["sync"]
    session.extension.kill()
    session.extension.wait()
    session.extension = session.start_extension()
    session.write("new.txt", 10)
    wait_until(lambda: screen_colours()["sync"] > before, 20, "emblems after a quick restart")
    assert session.manager.poll() is None, "the file manager has ended"


def main():
    build, name, module, directory, scenario = sys.argv[1:]
    os.makedirs(os.path.join(build, "screenshots"), exist_ok=True)
    session = Session(build, name, module, directory)
    try:
        {"everyday": everyday, "faults": faults, "nonsense": nonsense}[scenario](session)
        print("ok:", name, scenario)
    except BaseException:
        screenshot(os.path.join(build, "screenshots", name + "-failed.png"))
        session.logs()
        raise
    finally:
        session.end()


if __name__ == "__main__":
    main()
