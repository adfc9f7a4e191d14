"""Hours of a person's use, in minutes, with everything that goes wrong; each minute ends with a look at the truth.

    soak.py BUILD MINUTES SEED       (inside tests/hosts/nautilus-family/desktop.py, see script/soak)

A service with a real SFTP server, the extension and two file managers. For most of a minute files are made, edited,
renamed and deleted on both sides, commands are given, folders are shown, and programs are killed, stopped for a while
or find their disk full; in the last two thirds of the time none of them is killed but rclone, so that what grows has
time to. Then all is quiet, and after that the two sides must be equal, every badge must be the right one, and nothing
that was saved may be gone from both sides and their trashes. What each program holds is written down; at the end it
must have been flat after the first tenth."""
import filecmp
import json
import os
import random
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../hosts/nautilus-family"))
from desktop import put_plugin, wait_until  # noqa: E402

BUSY = 35          # seconds of a minute
QUIET = 300        # seconds at most until both sides are in step
DISK = 64 << 20    # bytes of the disk that holds the pair
NUISANCE = 0.25    # of the things that happen, go wrong


class Program:
    """One that is started again when it was killed; each life is looked at by itself."""

    def __init__(self, name, command, home, environment=None):
        self.name, self.command, self.environment = name, command, {**os.environ, **(environment or {})}
        self.log = open(os.path.join(home, name + ".log"), "ab")
        self.lives = []  # of each: what it held at the end of each minute
        self.process = None
        self.start()

    def start(self):
        if self.process is None or self.process.poll() is not None:
            self.process = subprocess.Popen(self.command, stdout=self.log, stderr=self.log, env=self.environment,
                                            stdin=subprocess.DEVNULL)
            self.lives.append([])

    def signal(self, number):
        if self.process.poll() is None:
            self.process.send_signal(number)

    def end(self):
        self.signal(signal.SIGCONT)
        self.signal(signal.SIGKILL)
        self.process.wait()

    def look(self):
        held = held_by(self.process.pid)
        if held:
            self.lives[-1].append(held)


def held_by(pid):
    """Memory in KiB that it alone has written to, descriptors, threads, and how often it has been woken; None: it has
    gone. The pages of libraries count for whoever happens to be the only one that uses them, and can be taken back."""
    try:
        with open(f"/proc/{pid}/smaps_rollup") as lines:
            memory = sum(int(line.split()[1]) for line in lines if line.startswith("Private_Dirty"))
        woken = 0
        for thread in os.listdir(f"/proc/{pid}/task"):
            with open(f"/proc/{pid}/task/{thread}/status") as lines:
                woken += sum(int(line.split()[1]) for line in lines if line.startswith("voluntary_ctxt"))
        return {"memory": memory, "descriptors": len(os.listdir(f"/proc/{pid}/fd")),
                "threads": len(os.listdir(f"/proc/{pid}/task")), "wake-ups": woken}
    except (FileNotFoundError, ProcessLookupError):
        return None


class Soak:
    def __init__(self, build, seed):
        self.build, self.random = build, random.Random(seed)
        self.home = os.environ["HOME"]
        self.here = os.path.join(self.home, "Documents")
        self.server = os.path.join(self.home, "server")
        self.there = os.path.join(self.server, "Documents")
        os.makedirs(self.here)
        os.makedirs(self.there)
        subprocess.check_call(["mount", "-t", "tmpfs", "-o", f"size={DISK}", "tmpfs", self.here])
        self.saved = set()  # contents that a person saved and has not replaced or deleted with intent
        self.number = 0
        self.counts = {}
        self.asked = 0.0
        self.start_programs()

    def tool(self, name):
        return os.path.join(self.build, "apps", name, name)

    def run(self, *command, check=True, seconds=120):
        try:
            done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                  timeout=seconds)
        except subprocess.TimeoutExpired:
            raise AssertionError("no answer within %s s: %s" % (seconds, " ".join(command)))
        if check and done.returncode != 0:
            raise AssertionError("%s: %s" % (" ".join(command), done.stdout.decode(errors="replace")))
        return done.stdout

    def start_programs(self):
        for name in ("key", "host_key"):
            self.run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", os.path.join(self.home, name))
        os.makedirs("/run/sshd", exist_ok=True)
        port = 20000 + os.getpid() % 12000
        self.sshd = Program("sshd", [
            "/usr/sbin/sshd", "-D", "-e", "-f", "/dev/null", "-p", str(port), "-h", self.home + "/host_key",
            "-o", "ListenAddress=127.0.0.1", "-o", "StrictModes=no", "-o", "UsePAM=no", "-o", "PidFile=none",
            "-o", f"AuthorizedKeysFile={self.home}/key.pub", "-o", "LogLevel=ERROR", "-o", "MaxStartups=100",
            "-o", "PermitRootLogin=prohibit-password", "-o", "Subsystem=sftp internal-sftp"], self.home)
        with open(self.home + "/host_key.pub") as key, open(self.home + "/known_hosts", "w") as known:
            known.write(f"[127.0.0.1]:{port} {key.read()}")
        os.makedirs(os.environ["XDG_CONFIG_HOME"] + "/rclone")
        with open(os.environ["XDG_CONFIG_HOME"] + "/rclone/rclone.conf", "w") as file:
            file.write(f"[mine]\ntype = sftp\nhost = 127.0.0.1\nport = {port}\nuser = {os.environ.get('USER', 'root')}\n"
                       f"key_file = {self.home}/key\nknown_hosts_file = {self.home}/known_hosts\nshell_type = unix\n")
        wait_until(lambda: subprocess.call(["bash", "-c", f"exec 3<>/dev/tcp/127.0.0.1/{port}"],
                                           stderr=subprocess.DEVNULL) == 0, 20, "an SFTP server")
        self.run(self.tool("tsyncquenz"), "setup", "mine:" + self.server)
        # What changes rests for a tenth of its time: a deletion of what went up of late for a minute instead of ten.
        self.service = Program("tsyncquenz", [self.tool("tsyncquenz"), "run", "--haste", "10"], self.home)
        wait_until(self.status, 30, "the service")
        self.extension = Program("tsyncfinder", [self.tool("tsyncfinder"), "run"], self.home)
        self.run(self.tool("tsyncquenz"), "add", self.here)
        modules = os.path.join(self.build, "hosts/nautilus-family/libtsyncfinder-%s.so")
        folder = self.run("pkg-config", "--variable=extensiondir", "libnautilus-extension-4").decode().strip()
        put_plugin(modules % "nautilus", folder)
        caja = os.path.join(self.home, "caja-plugins")
        os.makedirs(caja)
        shutil.copy(modules % "caja", caja)
        self.managers = [
            Program("nautilus", ["nautilus", "--new-window", self.here], self.home),
            Program("caja", ["caja", "--no-desktop", self.here], self.home, {"CAJA_EXTENSION_DIRS": caja})]
        self.programs = [self.service, self.extension, *self.managers]

    def status(self):
        answer = subprocess.run([self.tool("tsyncquenz"), "status", "--json"], stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL).stdout
        try:
            return json.loads(answer)
        except ValueError:
            return None

    # --- what people do

    def content(self):
        self.number += 1
        size = self.random.choice((10, 1000, 1000, 100000))
        return b"%08d " % self.number + self.random.randbytes(size)

    def items(self, root, kind):
        found = []
        for place, folders, files in os.walk(root):
            folders[:] = [name for name in folders if not name.startswith(".tsyncquenz")]
            found += [os.path.join(place, name) for name in (folders if kind == "folder" else files)]
        return sorted(found)

    def write(self, path):
        content = self.content()
        with open(path, "wb") as file:
            file.write(content)
        self.saved.add(content)

    def forget(self, path):
        """Deleted or replaced with intent: it may end in a trash that the person empties."""
        if os.path.isdir(path):
            for inside in self.items(path, "file"):
                self.forget(inside)
        else:
            with open(path, "rb") as file:
                self.saved.discard(file.read())

    def act(self):
        root = self.random.choice((self.here, self.here, self.there))
        folders = [root, *self.items(root, "folder")]
        files = self.items(root, "file")
        deed = self.random.choice(("make", "make", "make", "edit", "edit", "rename", "delete", "folder", "move folder",
                                   "command", "show", "copy"))
        target = os.path.join(self.random.choice(folders), "%s %d.txt" % (self.random.choice("abcdé"), self.number))
        if deed == "make" and len(files) < 300:
            self.write(target)
        elif deed == "edit" and files:
            path = self.random.choice(files)
            self.forget(path)
            self.write(path)
        elif deed == "rename" and files:
            os.rename(self.random.choice(files), target)
        elif deed == "copy" and files:
            shutil.copy(self.random.choice(files), target)
        elif deed == "delete" and len(files) > 50:
            path = self.random.choice(files)
            self.forget(path)
            os.remove(path)
        elif deed == "folder" and len(folders) < 30:
            os.makedirs(target)
        elif deed == "move folder" and len(folders) > 2:
            one = self.random.choice(folders[1:])
            if not target.startswith(one + "/"):
                os.rename(one, target + " moved")
        elif deed == "command" and files and root == self.here:
            self.run(self.tool("tsyncfinder"), "why", self.random.choice(files), check=False)
        elif deed == "show":
            # Of Nautilus, which shows a folder in the window that it has: Caja opens one more each time.
            self.run("gdbus", "call", "--session", "--dest", "org.gnome.Nautilus", "--object-path",
                     "/org/freedesktop/FileManager1", "--method", "org.freedesktop.FileManager1.ShowFolders",
                     "['file://%s']" % self.here, "", check=False)
        else:
            return
        self.counts[deed] = self.counts.get(deed, 0) + 1

    # --- what goes wrong

    def rclone(self):
        found = subprocess.run(["pgrep", "-P", str(self.service.process.pid), "-x", "rclone"], stdout=subprocess.PIPE)
        return int(found.stdout.split()[0]) if found.stdout else None

    def nuisance(self, kills):
        killed = ("kill service", "kill extension", "kill file manager") if kills else ()
        deed = self.random.choice(("kill rclone", "stop service", "stop extension", "stop server", "full disk", "pause",
                                   *killed))
        program = {"service": self.service, "extension": self.extension}.get(deed.split()[-1])
        if deed == "kill rclone":
            if self.rclone():
                os.kill(self.rclone(), signal.SIGKILL)
        elif deed.startswith("kill"):
            program = program or self.random.choice(self.managers)
            program.end()
            program.start()
        elif deed in ("stop service", "stop extension"):
            program.signal(signal.SIGSTOP)
            time.sleep(self.random.uniform(0, 4))
            program.signal(signal.SIGCONT)
        elif deed == "stop server":
            self.sshd.end()
            time.sleep(self.random.uniform(0, 4))
            self.sshd.start()
        elif deed == "full disk":
            ballast = os.path.join(self.home, "Documents", ".tsyncquenz-ballast")
            try:
                with open(ballast, "wb") as file:
                    while True:
                        file.write(b"\0" * (1 << 20))
                        file.flush()
            except OSError:
                pass
            time.sleep(self.random.uniform(0, 4))
            os.remove(ballast)
        elif deed == "pause":
            self.run(self.tool("tsyncquenz"), "pause", check=False)
            time.sleep(self.random.uniform(0, 3))
        self.counts[deed] = self.counts.get(deed, 0) + 1

    # --- the truth

    def is_in_step(self):
        status = self.status()
        if not status:
            return False
        if any(pair.get("waiting") for pair in status["pairs"]):
            self.run(self.tool("tsyncquenz"), "confirm", "--yes", check=False)
        if time.monotonic() > self.asked + 15:  # to look at once; by itself it would in a minute or more
            self.run(self.tool("tsyncquenz"), "resume", check=False)
            self.asked = time.monotonic()
        return all(pair["state"] == "in step" for pair in status["pairs"]) and self.is_equal(self.here, self.there)

    def is_equal(self, one, other):
        compared = filecmp.dircmp(one, other, ignore=[], hide=[name for name in {*os.listdir(one), *os.listdir(other)}
                                                                if name.startswith(".tsyncquenz")])
        if compared.left_only or compared.right_only or compared.common_funny:
            return False
        equal, different, unreadable = filecmp.cmpfiles(one, other, compared.common_files, shallow=False)
        return not different and not unreadable and all(
            self.is_equal(os.path.join(one, name), os.path.join(other, name)) for name in compared.common_dirs)

    def kept(self):
        contents = set()
        for root in (self.here, self.server, os.environ["XDG_DATA_HOME"] + "/Trash"):
            for place, _, files in os.walk(root):
                for name in files:
                    with open(os.path.join(place, name), "rb") as file:
                        contents.add(file.read())
        return contents

    def badges(self):
        """The items that do not have the badge of one that is in step."""
        answer = self.run(self.tool("tsyncfinder"), "badges", "--json", "--depth", "99", self.here, check=False)
        try:
            shown = {item["path"]: item["badge"] for item in json.loads(answer)}
        except ValueError:
            return {"no answer": answer}
        wrong = {path: badge for path, badge in shown.items()
                 if badge != ("tovik" if path == self.here else "sync") and "/.tsyncquenz" not in path}
        for path in [*self.items(self.here, "file"), *self.items(self.here, "folder")]:
            if path not in shown:
                wrong[path] = "not told"
        return wrong

    def minute(self, kills):
        begin = time.monotonic()
        while time.monotonic() < begin + BUSY:
            try:
                self.nuisance(kills) if self.random.random() < NUISANCE else self.act()
            except OSError as error:  # the disk is full, or the service was quicker
                self.counts[type(error).__name__] = self.counts.get(type(error).__name__, 0) + 1
            time.sleep(self.random.uniform(0, 1))
        for program in self.programs:
            program.start()  # what has died by itself is told at the end
        wait_until(self.is_in_step, QUIET, "both sides are in step and equal")
        lost = self.saved - self.kept()
        assert not lost, "lost: %s" % sorted(content[:8] for content in lost)
        wait_until(lambda: not self.badges(), 60, "every badge is right; the last look: %s" % self.badges())
        for program in self.programs:
            program.look()
        return time.monotonic() - begin

    def table(self):
        """Of each program's longest life: the first sample after a tenth of it, the last one, the most; and what grew."""
        grown = []
        print("\n%-12s %6s %8s  %-24s %-20s %-16s %s" % ("", "lives", "minutes", "memory KiB", "descriptors", "threads",
                                                         "wake-ups a minute"))
        for program in self.programs:
            life = max(program.lives, key=len)
            if not life:
                continue
            life = life[len(life) // 10:]
            cells = {}
            for what in ("memory", "descriptors", "threads"):
                values = [held[what] for held in life]
                third = max(1, len(values) // 3)
                early, late = sorted(values[:third])[third // 2], sorted(values[-third:])[third // 2]
                cells[what] = "%d → %d, most %d" % (early, late, max(values))
                slack = {"memory": max(4096, early // 5), "descriptors": 8, "threads": 4}[what]
                if len(life) >= 6 and late > early + slack:
                    grown.append("%s: %s %d → %d" % (program.name, what, early, late))
            woken = (life[-1]["wake-ups"] - life[0]["wake-ups"]) // max(1, len(life) - 1)
            print("%-12s %6d %8d  %-24s %-20s %-16s %d" % (program.name, len(program.lives), len(life), cells["memory"],
                                                           cells["descriptors"], cells["threads"], woken))
        return grown


def main():
    build, minutes, seed = os.path.abspath(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3])
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    soak = Soak(build, seed)
    minute = 0
    try:
        try:
            while minute < minutes:
                took = soak.minute(kills=minute < minutes / 3)  # after that they live, and may grow
                minute += 1
                print("minute %d: in step after %.0f s, %d files; KiB: %s" % (
                    minute, took, len(soak.items(soak.here, "file")), ", ".join(
                        "%s %d" % (program.name, program.lives[-1][-1]["memory"])
                        for program in soak.programs if program.lives[-1])), flush=True)
        except KeyboardInterrupt:
            print("ended before its time")
        grown = soak.table()
        print(", ".join("%s %d" % entry for entry in sorted(soak.counts.items())))
        if grown:
            sys.exit("soak: not flat: " + "; ".join(grown))
        print("soak: %d minutes, seed %d: equal, nothing lost, every badge right, flat" % (minute, seed))
    except AssertionError as error:
        for program in [soak.sshd, *soak.programs]:
            with open(os.path.join(soak.home, program.name + ".log"), errors="replace") as log:
                print("---", program.name, "\n", log.read()[-3000:])
        print(json.dumps(soak.status(), indent=1)[:3000])
        print(subprocess.run(["diff", "-rq", soak.here, soak.there], stdout=subprocess.PIPE).stdout.decode(
            errors="replace")[-3000:])
        sys.exit("soak: seed %d: %s" % (seed, error))
    finally:
        for program in [*soak.programs, soak.sshd]:
            program.end()
        subprocess.call(["umount", "-l", soak.here])


if __name__ == "__main__":
    main()
