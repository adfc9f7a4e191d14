"""What replaces a file, and must leave the old or the new one whole, whatever is done to it; and programs that are
run with a fault at one of their system calls."""
import collections
import os
import re
import shutil
import subprocess
import tempfile
import time

QUIET = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}


def counted(calls, command, environment):
    """How often the program makes each of these calls: strace counts the calls of each name by themselves."""
    with tempfile.NamedTemporaryFile("r") as log:
        subprocess.run(["strace", "-f", "-o", log.name, "-e", "trace=" + calls, *command], env=environment, **QUIET)
        return collections.Counter(re.findall(r"^\d+ +(\w+)\(", log.read(), re.M))


def at_call(name, number, fault, command):
    """The command with that fault at the call of this name and number of each of its threads."""
    return ["strace", "-f", "-o", "/dev/null", "-e", "trace=" + name, "-e", f"inject={name}:{fault}:when={number}",
            *command]


class Save:
    """A program that replaces a file, and what may be read from that afterwards."""

    def __init__(self, name, folder, command, read, environment):
        self.name, self.folder, self.command, self.read, self.environment = name, folder, command, read, environment
        self.allowed = [read()]
        self.fresh = folder + ".old"
        shutil.copytree(folder, self.fresh)
        begin = time.monotonic()
        subprocess.run(command, env=environment, check=True, stdout=subprocess.DEVNULL)
        self.seconds = time.monotonic() - begin
        self.allowed.append(read())
        assert self.allowed[0] != self.allowed[1], name
        self.seen = [0, 0]

    def once(self, run):
        """Begins with the old one; `run` does what it will to the program. True: the new one is there afterwards."""
        shutil.rmtree(self.folder)
        shutil.copytree(self.fresh, self.folder)
        run(self.command, self.environment)
        found = self.read()
        assert found in self.allowed, "%s: neither the old nor the new: %s" % (self.name, found[:200])
        is_new = found == self.allowed[1]
        self.seen[is_new] += 1
        return is_new

    def tell(self, what):
        print("%-22s %s: the old one %d times, the new one %d times" % (self.name, what, *self.seen), flush=True)
        self.seen = [0, 0]


def output_of(*command, environment):
    done = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.stdout.decode(errors="replace") + str(done.returncode)


def saves(build, work, items=2000):
    environment = {**os.environ, "XDG_CONFIG_HOME": work + "/config", "HOME": work, "LC_ALL": "C.UTF-8"}
    environment.pop("DBUS_SESSION_BUS_ADDRESS", None)
    dirsnapshot = os.path.join(build, "apps/dirsnapshot/dirsnapshot")
    for name, count in (("old", items), ("new", items + 1)):
        with open(f"{work}/{name}", "w") as file:
            file.writelines("8|/%d0|2|5|0|" % (1000000 + i) for i in range(count))
    for store in ("flat", "sync"):
        folder = f"{work}/{store}"
        os.makedirs(folder)
        convert = [dirsnapshot, "convert", "--from", "flat", "--to", store]
        subprocess.check_call([*convert, work + "/old", folder + "/target"])
        yield Save(f"snapshot, {store}", folder, [*convert, work + "/new", folder + "/target"],
                   lambda folder=folder: output_of(dirsnapshot, "ls", folder + "/target", environment=environment),
                   environment)
    for program, key, value in (("tsyncfinder", "menu", "off"), ("tsyncquenz", "transfers", "7")):
        tool = os.path.join(build, "apps", program, program)
        os.makedirs(f"{work}/config/{program}", exist_ok=True)
        yield Save(f"settings, {program}", f"{work}/config/{program}", [tool, "config", key, value],
                   lambda tool=tool: output_of(tool, "config", environment=environment), environment)
