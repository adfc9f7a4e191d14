"""Nautilus as a client of a Wayland compositor without a screen."""
import glob
import json
import os
import subprocess

from desktop import Accessible, wait_until

# A new window gets no attention by itself; one that shows that the person asked for it does.
CONFIGURATION = """xwayland disable
output * resolution 1000x700
no_focus [app_id="tsyncfinder"]
focus_on_window_activation focus
"""


class Compositor:
    def __init__(self, session):
        configuration = os.path.join(session.home, "sway.conf")
        with open(configuration, "w") as file:
            file.write(CONFIGURATION)
        run = os.environ["XDG_RUNTIME_DIR"]
        # It refuses to run as root; without a name in a namespace of its own nobody is root.
        session.start("unshare", "-U", "sway", "-c", configuration, environment={
            "WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1", "WLR_RENDERER": "pixman"})
        self.control = wait_until(lambda: glob.glob(run + "/sway-ipc*"), 60, "the compositor stands")[0]
        display = wait_until(lambda: [name for name in os.listdir(run) if name.startswith("wayland-")
                                      and not name.endswith(".lock")], 60, "its display")[0]
        self.environment = {"WAYLAND_DISPLAY": display, "GDK_BACKEND": "wayland", "XDG_SESSION_TYPE": "wayland",
                            "DISPLAY": ""}
        session.start("wtype", "-s", "600000", environment=self.environment)  # a keyboard, as a seat has

    def press(self, key):
        subprocess.check_call(["wtype", "-k", key], env={**os.environ, **self.environment})

    def windows(self):
        """Whether each has the focus, by the programs' names."""
        tree = json.loads(subprocess.check_output(["swaymsg", "-s", self.control, "-r", "-t", "get_tree"]))
        found = {}

        def walk(node):
            if node.get("app_id"):
                found[node["app_id"]] = node["focused"]
            for below in node["nodes"] + node["floating_nodes"]:
                walk(below)

        walk(tree)
        return found


def in_front(session):
    """The panel of a chosen command comes to the front of the file manager; one that nobody asked for does not."""
    tree = Accessible(True)
    compositor = Compositor(session)
    session.open(session.folder, **compositor.environment)
    wait_until(lambda: compositor.windows().get("org.gnome.Nautilus"), 60, "Nautilus has the focus")
    unasked = session.start(session.program("tsyncfinder"), "invoke", "Start sync",
                            os.path.join(session.folder, "outside"), environment=compositor.environment)
    wait_until(lambda: "tsyncfinder" in compositor.windows(), 60, "a panel")
    assert not compositor.windows()["tsyncfinder"], "a panel without a token has the focus"
    unasked.terminate()
    wait_until(lambda: "tsyncfinder" not in compositor.windows(), 60, "the panel goes with its caller")
    action = wait_until(lambda: tree.action(tree.find(["frame"], "files"), "container-TSFP-Start-Sync"), 60,
                        "the background of a folder offers to sync it")
    compositor.press("Escape")  # a token is good only with something behind it that the person did
    tree.act(tree.find(["frame"], "files"), action)
    wait_until(lambda: compositor.windows().get("tsyncfinder"), 60, "the panel has the focus")
