"""A private desktop for one file manager: its own display, home, session bus and plugin folder.

Run as a program it is the door: `desktop.py SCRIPT ARGUMENT…` runs the script inside one and leaves nothing
behind. Imported by the script it is what the script sees and does there."""
import os
import shutil
import subprocess
import sys
import tempfile
import time

SCREEN = (1000, 700)


def wait_until(condition, seconds, what):
    """Until the condition holds; its last value is returned."""
    begin = time.monotonic()
    while True:
        asked = time.monotonic()
        value = condition()
        if value:
            return value
        now = time.monotonic()
        if now - begin > seconds:
            raise AssertionError("not within %s s: %s" % (seconds, what))
        # The program that is waited for needs the processor.
        time.sleep(max(min(max((now - begin) / 8, 0.02), 0.3), 6 * (now - asked)))


def enter(build, arguments):
    home = tempfile.mkdtemp(prefix="tsyncfinder-desktop-")
    try:
        environment = {name: os.environ[name] for name in ("PATH", "USER") if name in os.environ}
        for name, folder in (("HOME", ""), ("XDG_CONFIG_HOME", "config"), ("XDG_CACHE_HOME", "cache"),
                             ("XDG_DATA_HOME", "data"), ("XDG_STATE_HOME", "state"),
                             ("XDG_RUNTIME_DIR", "run")):
            environment[name] = os.path.join(home, folder).rstrip("/")
            os.makedirs(environment[name], 0o700, exist_ok=True)
        os.makedirs(os.path.join(home, "share"))
        os.makedirs(os.path.join(home, "config", "gtk-4.0"))
        with open(os.path.join(home, "config", "gtk-4.0", "settings.ini"), "w") as settings:
            settings.write("[Settings]\ngtk-enable-animations=0\n")  # a menu's page stands at once
        # The emblems as an installed theme would have them. KDE looks only where the theme's own index lies too.
        theme = os.path.join(home, "share", "icons", "hicolor")
        shutil.copytree(os.path.join(build, "resources", "icons", "hicolor"), theme)
        shutil.copy("/usr/share/icons/hicolor/index.theme", theme)
        # Nothing here needs OpenGL, and whoever looks for it loads a compiler.
        environment.update(XDG_DATA_DIRS=os.path.join(home, "share") + ":/usr/local/share:/usr/share",
                           GSK_RENDERER="cairo", GDK_DEBUG="gl-disable", QT_XCB_GL_INTEGRATION="none",
                           GSETTINGS_BACKEND="memory", GTK_USE_PORTAL="0", LC_ALL="C.UTF-8", NO_AT_BRIDGE="0",
                           CAJA_EXTENSION_DIRS=os.path.join(home, "plugins"))
        reading, writing = os.pipe()
        display = subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-screen", "0", "%dx%dx24" % SCREEN,
                                    "-fbdir", home, "-extension", "GLX", "-nolisten", "tcp", "-noreset", "-r"],
                                   pass_fds=[writing], stderr=subprocess.DEVNULL)
        os.close(writing)
        try:
            with os.fdopen(reading) as number:
                environment["DISPLAY"] = ":" + number.readline().strip()
            # What the bus has started, and its children, end with it.
            unshare = ["unshare", "-f", "--kill-child", "-p", "--mount-proc"] + ([] if os.geteuid() == 0 else ["-Ur"])
            bus = ["dbus-run-session", "--config-file=" + bus_configuration(home)]
            return subprocess.call(unshare + bus + ["--", "/usr/bin/python3"] + arguments, env=environment)
        finally:
            display.terminate()
            display.wait()
    finally:
        shutil.rmtree(home, ignore_errors=True)


def bus_configuration(home):
    """A bus that starts the system's services, as file managers want them, but never an installed extension, nor
    what would index the home."""
    services = os.path.join(home, "services")
    shutil.copytree("/usr/share/dbus-1/services", services,
                    ignore=shutil.ignore_patterns("com.quarnhold.*", "org.freedesktop.Tracker*"))
    private = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "support", "private_bus.conf")
    configuration = os.path.join(home, "bus.conf")
    with open(configuration, "w") as file:
        file.write("<busconfig><include>%s</include><servicedir>%s</servicedir></busconfig>" % (private, services))
    return configuration


def put_plugin(module, directory):
    """Shows the module, and no other plugin, at the file manager's plugin folder. Only this desktop sees it."""
    private = os.path.join(os.environ["HOME"], "plugins")
    os.makedirs(private)
    shutil.copy(module, private)
    if os.path.isdir(directory):
        subprocess.check_call(["mount", "--bind", private, directory])
    elif os.path.isdir(os.path.dirname(directory)):
        parent = private + "-parent"
        shutil.copytree(os.path.dirname(directory), parent, symlinks=True)
        shutil.copytree(private, os.path.join(parent, os.path.basename(directory)))
        subprocess.check_call(["mount", "--bind", parent, os.path.dirname(directory)])


def screen_colours():
    """How many pixels of the screen have each colour. The server's memory of it is a file, whose end they are: four
    bytes each, blue first."""
    with open(os.path.join(os.environ["HOME"], "Xvfb_screen0"), "rb") as memory:
        memory.seek(-4 * SCREEN[0] * SCREEN[1], os.SEEK_END)
        pixels = memory.read()
    counts = {}
    for name, colour in (("tovik", "c93f6a"), ("sync", "457a17"), ("upload", "d6661a")):
        wanted, at, count = bytes.fromhex(colour), -1, 0
        while (at := pixels.find(wanted, at + 1)) >= 0:
            count += at % 4 == 0
        counts[name] = count
    return counts


def shows(badge, threshold=20):
    return screen_colours()[badge] >= threshold


def screenshot(path):
    subprocess.check_call(["import", "-silent", "-window", "root", path])


class Accessible:
    """What the file manager shows, by its names."""

    def __init__(self, is_gtk4):
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi
        self.atspi = Atspi
        self.is_gtk4 = is_gtk4
        Atspi.init()

    def shown(self, roles, names):
        """Each thing that is shown and has one of the roles and one of the names, after its name; of the newest
        window, which may be a menu or a page, first."""
        waiting = self.children(self.atspi.get_desktop(0))
        waiting = [window for program in waiting for window in self.children(program)]
        while waiting:
            node = waiting.pop()
            try:
                name = node.get_name()  # each is a question to the program, so what tells most apart comes first
                if name in names and (roles is None or node.get_role_name() in roles) and self.is_visible(node):
                    yield name, node
                waiting += reversed(self.children(node))
            except Exception:  # it has gone while it was looked at
                pass

    @staticmethod
    def children(node):
        try:
            return [node.get_child_at_index(i) for i in range(node.get_child_count())]
        except Exception:  # some went while they were counted
            return []

    def find(self, roles, name):
        return next((node for _, node in self.shown(roles, [name])), None)

    def wait_for_texts(self, *texts):
        wait_until(lambda: {name for name, _ in self.shown(None, texts)} == set(texts), 60, " and ".join(texts))

    def is_visible(self, node):
        """GTK 4 tells it of no item, Nemo of no file."""
        return self.is_gtk4 or node.get_role_name() == "icon" or \
            node.get_state_set().contains(self.atspi.StateType.SHOWING)

    def is_chosen(self, node):
        states = node.get_state_set()
        return states.contains(self.atspi.StateType.SELECTED) or states.contains(self.atspi.StateType.CHECKED)

    def wait(self, roles, name, seconds=60):
        return wait_until(lambda: self.find(roles, name), seconds, "%s %r" % ("/".join(roles or ["any"]), name))

    def top(self, roles, name):
        return int(self.centre(self.wait(roles, name))[1])

    def actions(self, node):
        """Some may go while they are asked for: then those before it."""
        names = []
        action = node.get_action_iface()
        try:
            for i in range(action.get_n_actions()):
                names.append(action.get_action_name(i))
        except Exception:
            pass
        return names

    def action(self, node, end):
        """The node's action whose name ends so."""
        return next((name for name in self.actions(node) if name.endswith(end)), None) if node else None

    def act(self, node, wanted):
        wait_until(lambda: wanted in self.actions(node), 60, wanted)
        node.get_action_iface().do_action(self.actions(node).index(wanted))

    def centre(self, node):
        box = node.get_extents(self.atspi.CoordType.WINDOW if self.is_gtk4 else self.atspi.CoordType.SCREEN)
        return str(box.x + box.width // 2), str(box.y + box.height // 2)


if __name__ == "__main__":
    sys.exit(enter(sys.argv[1], sys.argv[2:]))
