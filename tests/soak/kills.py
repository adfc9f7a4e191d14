"""Kills programs at every call that writes, once each, and then at random moments.

    kills.py BUILD RANDOM-KILLS SEED

What is saved: a flat snapshot file, a snapshot database, the settings of both programs, and what the sync service
remembers and does with a pair of folders. After a kill the old or the new must be there whole, or for the service:
after another start both sides equal, and every content that a person saved on one of them or in a trash."""
import json
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

CALLS = "write,writev,pwrite64,rename,renameat,renameat2,fsync,fdatasync,unlink,unlinkat,ftruncate,linkat,mkdirat"


def counted(command, environment):
    """How many of these calls the program makes."""
    log = tempfile.NamedTemporaryFile("r")
    subprocess.run(["strace", "-f", "-o", log.name, "-e", "trace=" + CALLS, *command], env=environment, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
    return len(re.findall(r"^\d+ +\w+\(", log.read(), re.M))


def killed_at(number, command, environment):
    subprocess.run(["strace", "-f", "-o", "/dev/null", "-e", "trace=" + CALLS, "-e",
                    f"inject={CALLS}:signal=KILL:when={number}", *command], env=environment, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def killed_after(seconds, command, environment):
    process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    try:
        process.wait(seconds)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


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

    def once(self, kill):
        shutil.rmtree(self.folder)
        shutil.copytree(self.fresh, self.folder)
        kill(self.command, self.environment)
        found = self.read()
        assert found in self.allowed, "%s: neither the old nor the new: %s" % (self.name, found[:200])
        self.seen[self.allowed.index(found)] += 1

    def every_call(self):
        calls = counted(self.command, self.environment)
        self.seen = [0, 0]
        for number in range(1, calls + 1):
            self.once(lambda command, environment: killed_at(number, command, environment))
        print("%-22s killed at each of %d calls: the old one %d times, the new one %d times" % (
            self.name, calls, *self.seen), flush=True)

    def at_random(self, times, randomness):
        self.seen = [0, 0]
        for _ in range(times):
            self.once(lambda command, environment: killed_after(
                randomness.uniform(0, 1.2 * self.seconds), command, environment))
        print("%-22s killed %d times at random: the old one %d times, the new one %d times" % (
            self.name, times, *self.seen), flush=True)


def output_of(*command, environment):
    done = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.stdout.decode(errors="replace") + str(done.returncode)


def saves(build, work):
    environment = {**os.environ, "XDG_CONFIG_HOME": work + "/config", "HOME": work, "LC_ALL": "C.UTF-8"}
    environment.pop("DBUS_SESSION_BUS_ADDRESS", None)
    dirsnapshot = os.path.join(build, "apps/dirsnapshot/dirsnapshot")
    for name, count in (("old", 2000), ("new", 2001)):
        with open(f"{work}/{name}", "w") as file:
            file.writelines("8|/%d0|2|5|0|" % (1000000 + i) for i in range(count))
    for store in ("flat", "sync"):
        folder = f"{work}/{store}"
        os.makedirs(folder)
        convert = [dirsnapshot, "convert", "--from", "flat", "--to", store]
        subprocess.check_call([*convert, work + "/old", folder + "/target"])
        yield Save(f"snapshot, {store}", folder, [*convert, work + "/new", folder + "/target"],
                   lambda folder=folder: output_of(dirsnapshot, "count", folder + "/target", environment=environment),
                   environment)
    for program, key, value in (("tsyncfinder", "menu", "off"), ("tsyncquenz", "transfers", "7")):
        tool = os.path.join(build, "apps", program, program)
        os.makedirs(f"{work}/config/{program}", exist_ok=True)
        yield Save(f"settings, {program}", f"{work}/config/{program}", [tool, "config", key, value],
                   lambda tool=tool: output_of(tool, "config", environment=environment), environment)


class Pair:
    """The service beside a storage that is a folder; each trial begins with the same two sides that differ."""

    def __init__(self, build, work):
        self.tool, self.work = os.path.join(build, "apps/tsyncquenz/tsyncquenz"), work + "/pair"
        self.prepare()
        self.command = [self.tool, "run", "--haste", "20"]

    def prepare(self):
        shutil.rmtree(self.work, ignore_errors=True)
        self.here, self.there = self.work + "/here", self.work + "/space/here"
        for folder in (self.here, self.there, self.work + "/config/rclone", self.work + "/run"):
            os.makedirs(folder)
        os.chmod(self.work + "/run", 0o700)
        with open(self.work + "/config/rclone/rclone.conf", "w") as file:
            file.write("[disk]\ntype = alias\nremote = /\n")
        self.environment = {**os.environ, "HOME": self.work, "XDG_RUNTIME_DIR": self.work + "/run"}
        for name in ("CONFIG", "STATE", "DATA", "CACHE"):
            self.environment[f"XDG_{name}_HOME"] = f"{self.work}/{name.lower()}"
        self.saved = set()
        for i in range(12):  # a folder that travels at once, single ones, one that both have in two versions
            self.write(f"{self.here}/many/{i}", f"many {i}")
            self.write(f"{self.there}/back/{i}", f"back {i}")
        self.write(self.here + "/both", "here")
        self.write(self.there + "/both", "there")

    def write(self, path, content):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as file:
            file.write(content)
        self.saved.add(content)

    def ask(self, *words):
        return subprocess.run([self.tool, *words], env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL).stdout

    def is_done(self):
        try:
            pairs = json.loads(self.ask("status", "--json"))["pairs"]
        except ValueError:
            return False  # the service is not there yet
        if not pairs:
            self.ask("add", self.here)
        return bool(pairs) and pairs[0]["state"] == "in step" and self.files(self.here) == self.files(self.there)

    @staticmethod
    def files(root):
        return {os.path.relpath(os.path.join(place, name), root)
                for place, _, names in os.walk(root) if "/.tsyncquenz" not in place for name in names}

    def kept(self):
        for root in (self.here, self.work + "/space", self.work + "/data"):
            for place, _, names in os.walk(root):
                for name in names:
                    with open(os.path.join(place, name), errors="replace") as file:
                        yield file.read()

    def once(self, arguments, limit):
        """Whether the service was killed before all was done."""
        self.prepare()
        self.ask("setup", "disk:" + self.work + "/space")
        process = subprocess.Popen([*arguments, *self.command], env=self.environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        end = time.monotonic() + limit
        while process.poll() is None and time.monotonic() < end and not (self.is_done() and limit > 30):
            time.sleep(0.05)
        was_killed = process.poll() is not None or limit <= 30
        if process.poll() is None:
            subprocess.run(["pkill", "-KILL", "-P", str(process.pid), "-x", "tsyncquenz"])
            process.kill()
        process.wait()
        again = subprocess.Popen(self.command, env=self.environment, stdin=subprocess.DEVNULL,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            end = time.monotonic() + 120
            while not self.is_done():
                if time.monotonic() > end:
                    raise AssertionError("the service does not get in step: %s; here %s, there %s" % (
                        self.ask("status", "--json"), self.files(self.here), self.files(self.there)))
                time.sleep(0.1)
            lost = self.saved - set(self.kept())
            assert not lost, "lost: %s" % lost
        finally:
            again.kill()
            again.wait()
        return was_killed

    def every_call(self, step):
        kills, number = 0, 1
        while self.once(["strace", "-f", "-o", "/dev/null", "-e", "trace=" + CALLS, "-e",
                         f"inject={CALLS}:signal=KILL:when={number}"], 60):
            kills, number = kills + 1, number + step
        print("%-22s killed at %d calls of a thread, up to its number %d: nothing lost, in step after the next start" % (
            "the service", kills, number - step), flush=True)

    def at_random(self, times, randomness):
        for _ in range(times):
            self.once([], randomness.uniform(0.05, 4))
        print("%-22s killed %d times at random: nothing lost, in step after the next start" % ("the service", times),
              flush=True)


def main():
    build, times, seed = os.path.abspath(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3])
    randomness = random.Random(seed)
    work = tempfile.mkdtemp(prefix="tsyncfinder-kills-", dir="/dev/shm")
    try:
        every = list(saves(build, work))
        for save in every:
            save.every_call()
        for save in every:
            save.at_random(times // len(every), randomness)
        pair = Pair(build, work)
        pair.every_call(1 if times >= 10000 else 10)
        pair.at_random(max(1, times // 100), randomness)
        print("kills: seed %d: no loss" % seed)
    except AssertionError as error:
        shutil.copytree(work, work + "-evidence", symlinks=True)
        sys.exit("kills: %s (evidence: %s-evidence)" % (error, work))
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
