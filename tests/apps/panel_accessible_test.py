"""The share panel as a screen reader reads and uses it: over the bus of assistive technology.

    panel_accessible_test.py PANEL      (inside desktop.py)"""
import json
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../hosts/nautilus-family"))
from desktop import Accessible  # noqa: E402


def write(text):
    subprocess.check_call(["timeout", "20", "xdotool", "search", "--onlyvisible", "--class", "tsyncfinder",
                           "windowfocus", "--sync", "type", text])


screen = Accessible(is_gtk4=False)
panel = subprocess.Popen([sys.argv[1]], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                         env=os.environ | {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"})
json.dump({"panel": "share", "path": "/home/u/Docs/x", "isDir": True,
           "allPathsInSync": {"/Docs": "/home/u/Docs"}}, panel.stdin)
panel.stdin.close()
assert panel.stdout.readline() == '{"shown":true}\n'
for role, name in (("dialog", "Share by email"), ("panel", "Recipients"), ("text", "Recipients")):
    screen.wait((role,), name)
write("ann@example.org,bad,")
token = screen.wait(("push button",), "bad, not an e-mail address")
assert screen.actions(token) == ["Press", "Remove", "SetFocus"], screen.actions(token)
screen.wait(("label",), "Not an e-mail address: bad")
screen.act(token, "Press")  # its text is edited
write("cy@example.org,")
screen.act(screen.wait(("push button",), "cy@example.org"), "Remove")
screen.act(screen.wait(("push button",), "OK"), "Press")
answer = json.loads(panel.stdout.readline())
assert answer == {"response": 1, "sent": True, "recipients": ["ann@example.org"]}, answer
assert panel.wait(20) == 0
