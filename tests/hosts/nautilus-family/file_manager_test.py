"""The plugin in a real file manager, against the real extension and the sandbox daemon.

    file_manager_test.py BUILD FILE-MANAGER PLUGIN PLUGIN-FOLDER SCENARIO…       (inside desktop.py)"""
import os
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from desktop import Accessible, put_plugin, screen_colours, screenshot, shows, wait_until  # noqa: E402
from wayland import in_front  # noqa: E402

GERMAN = "de_DE.UTF-8"


def kill(process):
    process.send_signal(signal.SIGCONT)
    process.kill()
    process.wait()


class Session:
    def __init__(self, build, name, module, directory):
        self.build, self.name = build, name
        self.home = os.environ["HOME"]
        self.folder = os.path.join(self.home, "files")
        self.root = os.path.join(self.folder, "Cloud")
        os.makedirs(os.path.join(self.root, "inner"))
        os.makedirs(os.path.join(self.folder, "outside"))
        self.second = os.path.join(self.folder, "Second")
        os.makedirs(self.second)
        for path in ("one.txt", "two.txt", "inner/three.txt"):
            self.write(path, 100)
        if name == "dolphin":
            os.environ["QT_PLUGIN_PATH"] = os.path.join(os.path.dirname(module), "..", "..")
            os.environ["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        else:
            put_plugin(module, directory)
        if name == "thunar":  # its other views are not among what it tells a screen reader
            channel = os.path.join(os.environ["XDG_CONFIG_HOME"], "xfce4", "xfconf", "xfce-perchannel-xml")
            os.makedirs(channel)
            with open(os.path.join(channel, "thunar.xml"), "w") as file:
                file.write('<channel name="thunar" version="1.0">'
                           '<property name="last-view" type="string" value="ThunarDetailsView"/></channel>')
        self.processes = []
        if name != "nautilus":
            self.start("openbox")
        self.manager = None
        self.start_daemon()
        self.extension = self.start_extension()

    def program(self, name):
        return os.path.join(self.build, "apps", name, name)

    def start(self, *command, stdout=None, environment={}):
        log = open(os.path.join(self.home, os.path.basename(command[0]) + ".log"), "ab")
        process = subprocess.Popen(command, stdout=stdout or log, stderr=log, env={**os.environ, **environment})
        self.processes.append(process)
        return process

    def start_daemon(self, *options):
        self.daemon = self.start(self.program("tsyncquenz-sandbox"), "--start", self.root, "/Cloud",
                                 "--start", self.second, "/Second", *options)

    def end_daemon(self):
        self.daemon.terminate()
        self.daemon.wait()

    def begin_upload(self, path):
        """Of a large file; a daemon looks for changes when it starts."""
        self.end_daemon()
        self.write(path, 8_000_000)
        self.start_daemon("--throttle", "100kb")

    def finish_upload(self):
        self.end_daemon()
        self.start_daemon()

    def start_extension(self):
        program = self.program("tsyncfinder")
        process = self.start(program, "run")
        wait_until(lambda: b'"roots":["file' in subprocess.run([program, "status", "--json"], stdout=subprocess.PIPE,
                                                               stderr=subprocess.STDOUT).stdout,
                   20, "the extension knows the root")
        return process

    def write(self, path, size):
        with open(os.path.join(self.root, path), "wb") as file:
            file.write(b"x" * size)

    def open(self, folder, **environment):
        options = {"nautilus": ["--new-window"], "nemo": ["--no-desktop"], "dolphin": ["--new-window"],
                   "thunar": [],
                   "caja": ["--no-desktop", "--geometry=980x600"]}[self.name]  # room for its toolbar
        if self.manager:
            kill(self.manager)
        self.manager = self.start(self.name, *options, folder, environment=environment)

    def click(self, tree, node, button="1"):
        window = []
        if tree.is_gtk4:  # it tells places within its window only
            window = ["--window", windows_of(self)[-1]]
        subprocess.check_call(["xdotool", "mousemove", *window, *tree.centre(node), "click", button])

    def end(self):
        for process in reversed(self.processes):
            kill(process)

    def log(self, name):
        with open(os.path.join(self.home, name), errors="replace") as file:
            return file.read()

    def start_flood(self):
        """From what takes the extension's place."""
        source = os.path.join(HERE, "../../../resources/dbus/com.quarnhold.TovikDrive_Quen.FinderSync1.xml")
        process = self.start(os.path.join(self.build, "tests/hosts/nautilus-family/flooding_extension"), source,
                             "file://" + self.root, stdout=subprocess.PIPE)
        assert process.stdout.readline() == b"ready\n"
        return process

    def logs(self):
        for name in sorted(os.listdir(self.home)):
            if name.endswith(".log"):
                print("---", name, "\n", self.log(name)[-2500:])


def choose(session, tree, items, title):
    """Right click on the items, several in Nemo only, then the product's submenu, an item in it."""
    cells = [tree.wait(["table cell", "icon", "list item"], item) for item in items]
    if session.name == "dolphin":
        choose_by_keys(session, tree, cells, title)
        return
    if session.name == "nemo":
        for cell in cells:
            cell.get_parent().get_selection_iface().select_child(cell.get_index_in_parent())
        if len(cells) == 1:
            tree.act(cells[0], "menu")
        else:  # the action is one item's
            subprocess.check_call(["xdotool", "key", "shift+F10"])
    else:
        session.click(tree, cells[0], "3")
    top = tree.wait(["menu", "menu item"], "TovikDrive")
    tree.act(top, "click")
    tree.act(tree.wait(["menu item"], title), "click")


def windows_of(session):
    return subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(session.manager.pid)],
                          stdout=subprocess.PIPE, text=True).stdout.split()


def choose_by_keys(session, tree, cells, title):
    """Dolphin's menus are not among what it tells a screen reader: ours is the last but one."""
    subprocess.check_call(["xdotool", "keydown", "ctrl"])  # a click without it opens
    for cell in cells:
        subprocess.check_call(["xdotool", "mousemove", *tree.centre(cell), "click", "1"])
    subprocess.check_call(["xdotool", "keyup", "ctrl"])
    for keys in (["Menu"], ["Up", "Up", "Right"]):
        before = len(windows_of(session))
        subprocess.check_call(["xdotool", "key", *keys])
        wait_until(lambda: len(windows_of(session)) > before, 60, "a menu after " + " ".join(keys))
    subprocess.check_call(["xdotool", "key", title[0].lower()])


def everyday(session):
    """Emblems, a transfer, and commands, one of them in a German session."""
    tree = Accessible(session.name == "nautilus")
    is_german = session.name in ("nautilus", "caja")  # the others are when they stop
    language = {"LC_ALL": GERMAN} if is_german else {}
    if is_german:
        session.open(session.folder, **language)
        see_roots()
    session.open(session.root, **language)
    if session.name == "thunar":
        meet_items(session, tree)
    else:
        see_badges(session)
    choose(session, tree, ["inner"], "Von der Synchronisierung ausschließen" if is_german else "Exclude from sync")
    wait_until(lambda: "Excluded from sync: /Cloud/inner" in session.log("tsyncquenz-sandbox.log"), 60,
               "the chosen command, with the selected folder, reaches the daemon")
    stop = {"nautilus": stop_by_background, "nemo": stop_several, "caja": stop_by_toolbar,
            "dolphin": stop_several, "thunar": stop_german}[session.name]
    for root in stop(session, tree):
        wait_until(lambda: "No longer syncing " + root in session.log("tsyncquenz-sandbox.log"), 60,
                   "the command for " + root + " reaches the daemon")


def meet_items(session, tree):
    """Thunar tells of no item before it is selected; the plugin knows what a window shows all the same, soon."""
    for name in ("one.txt", "two.txt", "three.txt", "four.txt", "five.txt"):  # each is selected once
        if not os.path.exists(os.path.join(session.root, name)):
            session.write(name, 1)
        session.click(tree, tree.wait(["table cell", "icon"], name), "3")
        tree.wait(["menu item"], "Properties...")
        is_met = tree.find(["menu", "menu item"], "TovikDrive")
        subprocess.check_call(["xdotool", "key", "Escape"])
        wait_until(lambda: not tree.find(["menu item"], "Properties..."), 60, "the menu closes")
        if is_met:
            return
    raise AssertionError("no item that was never selected has the entry")


def see_roots():
    wait_until(lambda: shows("tovik"), 60, "the root's emblem")
    assert screen_colours()["sync"] == 0, "an emblem outside every root"


def see_badges(session):
    wait_until(lambda: shows("sync"), 60, "emblems of what has arrived")
    session.begin_upload("another.bin")
    wait_until(lambda: shows("upload"), 60, "the emblem of the file in flight")
    before = screen_colours()["sync"]
    session.finish_upload()
    wait_until(lambda: not shows("upload", 1) and screen_colours()["sync"] > before, 60,
               "the emblem after the transfer")


def stop_by_background(session, tree):
    """The menu of the folder that the window shows."""
    action = wait_until(lambda: tree.action(tree.find(["frame"], "Cloud"), "container-TSFP-Stop-Sync"), 60,
                        "the background of a root offers to stop it")
    tree.act(tree.find(["frame"], "Cloud"), action)
    return [session.root]


def stop_by_toolbar(session, tree):
    subprocess.check_call(["xdotool", "key", "F5"])  # Caja asks for buttons when it loads a folder, never again
    tree.act(tree.wait(["push button"], "Synchronisierung beenden"), "click")
    return [session.root]


def stop_german(session, tree):
    """One root."""
    session.open(session.folder, LC_ALL=GERMAN)
    choose(session, tree, ["Cloud"], "Synchronisierung beenden")
    return [session.root]


def stop_several(session, tree):
    """Both roots."""
    session.open(session.folder, LC_ALL=GERMAN)
    see_roots()
    choose(session, tree, ["Cloud", "Second"], "Synchronisierung beenden")
    return [session.root, session.second]


COLUMNS = """[{0}/preferences]
default-folder-viewer='list-view'
[{0}/list-view]
default-visible-columns=['name', 'TSyncFinder::sync']
default-column-order=['name', 'TSyncFinder::sync']
"""


def sort_by_column(session, tree):
    settings = os.path.join(os.environ["XDG_CONFIG_HOME"], "glib-2.0", "settings")
    os.makedirs(settings)
    with open(os.path.join(settings, "keyfile"), "w") as file:
        file.write(COLUMNS.format({"nautilus": "org/gnome/nautilus", "nemo": "org/nemo",
                                   "caja": "org/mate/caja"}[session.name]))
    session.open(session.root, GSETTINGS_BACKEND="keyfile")
    tree.wait_for_texts("In step", "Uploading")
    session.click(tree, tree.wait(None, "Sync"))
    wait_until(lambda: tree.top(None, "large.bin") > tree.top(None, "two.txt"), 60, "the column sorts")


def reasons(session):
    """The column that says the badge in words, by which one can sort, and the page about an item."""
    tree = Accessible(session.name == "nautilus")
    session.begin_upload("large.bin")
    if session.name == "thunar":  # no columns
        session.open(session.root)
    else:
        sort_by_column(session, tree)
    show_page(session, tree, "large.bin")
    tree.wait_for_texts("Uploading now: " + os.path.join(session.root, "large.bin"), "/Cloud/large.bin", "No")
    session.finish_upload()
    tree.wait(None, "Nothing at it or below it is under way.")  # the open page follows the badge


def ask_manager(method, path):
    """What programs ask of whichever file manager there is."""
    subprocess.check_call(["gdbus", "call", "--session", "--dest", "org.freedesktop.FileManager1", "--object-path",
                           "/org/freedesktop/FileManager1", "--method", "org.freedesktop.FileManager1." + method,
                           "['file://%s']" % path, ""], stdout=subprocess.DEVNULL)


def show_page(session, tree, name):
    tree.wait(None, name)  # else the bus would start another file manager
    ask_manager("ShowItemProperties", os.path.join(session.root, name))
    page = tree.wait(["page tab", "radio button", "list item"], "Sync")
    if session.name == "nautilus":  # no window manager moves its windows
        session.click(tree, page)
    else:
        wait_until(lambda: tree.is_chosen(page) or session.click(tree, page), 60, "the page comes to the front")


def badges_go():
    wait_until(lambda: sum(screen_colours().values()) == 0, 20, "the last emblems go")


def stays_usable(session, tree, name):
    """It shows a new folder."""
    os.mkdir(os.path.join(session.root, name))
    tree.wait(["table cell", "icon"], name, 10)


def faults(session):
    """Stopped, killed and restarted; the file manager goes on, and everything is badged again by itself."""
    tree = Accessible(session.name == "nautilus")
    session.open(session.root)
    wait_until(lambda: shows("sync"), 60, "emblems")

    session.extension.send_signal(signal.SIGSTOP)
    stopped = time.monotonic()
    stays_usable(session, tree, "while-stopped")
    # They go when three questions had no answer; a busy machine may show the folder later than that.
    assert shows("sync") or time.monotonic() - stopped > 3, "the last emblems went at once"
    badges_go()
    stays_usable(session, tree, "while-silent")
    session.extension.send_signal(signal.SIGCONT)
    wait_until(lambda: shows("sync"), 10, "emblems after it goes on")

    kill(session.extension)
    stays_usable(session, tree, "while-dead")
    badges_go()
    flooding = session.start_flood()
    wait_until(lambda: shows("sync"), 15, "emblems in a flood")
    stays_usable(session, tree, "while-flooded")
    kill(flooding)
    session.extension = session.start_extension()
    wait_until(lambda: shows("sync"), 10, "emblems after a restart")
    before = screen_colours()["sync"]
    kill(session.extension)
    session.extension = session.start_extension()
    session.write("new.txt", 10)
    wait_until(lambda: screen_colours()["sync"] > before, 20, "emblems after a quick restart")
    assert session.manager.poll() is None, "the file manager has ended"


def linked(session):
    """A file in flight behind a link to its root or its folder, and behind a bind mount of either."""
    inner = os.path.join(session.root, "inner")
    places = [os.path.join(session.folder, name) for name in ("link", "bound", "inside", "inside-bound")]
    for target, link, mount in ((session.root, *places[:2]), (inner, *places[2:])):
        os.symlink(target, link)
        os.mkdir(mount)
        subprocess.check_call(["mount", "--bind", target, mount])
    session.begin_upload("inner/large.bin")
    first, *others = (os.path.join(places[0], "inner"), os.path.join(places[1], "inner"), *places[2:])
    session.open(first)
    for place in (first, *others):
        if place != first:
            ask_manager("ShowFolders", place)
        wait_until(lambda: shows("upload") and shows("sync"), 60, "emblems in " + place)
        for window in windows_of(session):  # the next one is seen alone
            subprocess.check_call(["xdotool", "windowunmap", window])
        badges_go()


def use_service(session):
    """The sync service itself in place of the stand-in: that cannot tell that it is paused."""
    session.end_daemon()
    rclone = os.path.join(os.environ["XDG_CONFIG_HOME"], "rclone")
    storage = os.path.join(session.home, "storage")
    os.makedirs(rclone)
    os.makedirs(storage)
    with open(os.path.join(rclone, "rclone.conf"), "w") as file:
        file.write("[mine]\ntype = alias\nremote = %s\n" % storage)
    service = session.program("tsyncquenz")
    subprocess.check_call([service, "setup", "mine:"], stdout=subprocess.DEVNULL)
    session.start(service, "run")
    for folder in (session.root, session.second):
        wait_until(lambda: subprocess.call([service, "add", folder], stdout=subprocess.DEVNULL,
                                           stderr=subprocess.DEVNULL) == 0, 60, "the service takes " + folder)


def sidebar(session):
    """The entry in Nautilus's sidebar, what it says and what it offers; and it goes when nobody wants it."""
    name, path = "com.quarnhold.TovikDrive-Quen.TSyncFinder.Sidebar", "/com/quarnhold/TovikDrive_Quen/TSyncFinder/Sidebar"
    places = os.path.join(session.home, "share", "cloud-providers")
    os.makedirs(places)
    shutil.copy(os.path.join(HERE, "../../../packaging/com.quarnhold.TovikDrive-Quen.TSyncFinder.ini"), places)

    from gi.repository import Gio, GLib
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)

    def ask(where, *call):
        try:
            return str(bus.call_sync(name, where, *call, None, Gio.DBusCallFlags.NONE, -1))
        except GLib.Error as error:
            return str(error)

    def says(text):
        wait_until(lambda: text in ask(path, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", None), 60,
                   "the entry says " + text)

    tree = Accessible(True)
    says("'in step'")
    session.begin_upload("large.bin")
    says("'uploading 1 file'")
    session.open(session.folder)
    tree.wait(["label"], "TovikDrive")
    wait_until(lambda: shows("tovik"), 60, "the root's emblem")
    session.finish_upload()
    says("'in step'")
    use_service(session)
    says("'in step'")
    for action, target, words in (("pause", [], "'paused'"), ("resume", [], "'in step'"),
                                  ("open", [GLib.Variant("s", session.second)], "'in step'")):
        ask(path + "/space", "org.gtk.Actions", "Activate", GLib.Variant("(sava{sv})", (action, target, {})))
        says(words)
    tree.wait(["frame"], "Second")  # a window shows it
    subprocess.check_call([session.program("tsyncfinder"), "config", "sidebar", "off"], stdout=subprocess.DEVNULL)
    wait_until(lambda: tree.find(["label"], "TovikDrive") is None, 60, "the entry goes")


def main():
    build, name, module, directory, *scenarios = sys.argv[1:]
    os.makedirs(os.path.join(build, "screenshots"), exist_ok=True)
    session = Session(build, name, module, directory)
    try:
        for scenario in scenarios:
            {"everyday": everyday, "faults": faults, "sidebar": sidebar,
             "reasons": reasons, "in_front": in_front, "linked": linked}[scenario](session)
            print("ok:", name, scenario, flush=True)
    except BaseException:
        screenshot(os.path.join(build, "screenshots", name + "-failed.png"))
        session.logs()
        raise
    finally:
        session.end()


if __name__ == "__main__":
    main()
