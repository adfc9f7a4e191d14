"""Kills programs at every call that writes, once each, and then at random moments.

    kills.py BUILD RANDOM-KILLS SEED

What is saved: a flat snapshot file, a snapshot database, the settings of both programs, and what the sync service
remembers and does with a pair of folders. After a kill the old or the new must be there whole, or for the service:
after another start both sides equal, and every content that a person saved on one of them or in a trash."""
import json
import os
import queue
import random
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

from saves import QUIET, at_call, counted, saves

CALLS = "write,writev,pwrite64,rename,renameat,renameat2,fsync,fdatasync,unlink,unlinkat,ftruncate,linkat,mkdirat"
SERVICES = 4  # at a time


def killed_after(seconds, command, environment):
    try:
        subprocess.run(command, env=environment, timeout=seconds, **QUIET)
    except subprocess.TimeoutExpired:
        pass


def at_every_call(save):
    calls = counted(CALLS, save.command, save.environment)
    for name, times in sorted(calls.items()):
        for number in range(1, times + 1):
            save.once(lambda command, environment: subprocess.run(
                at_call(name, number, "signal=KILL", command), env=environment, **QUIET))
    save.tell("killed at each of %d calls (%s)" % (
        calls.total(), ", ".join("%s %d" % one for one in sorted(calls.items()))))


def at_random(save, times, randomness):
    for _ in range(times):
        save.once(lambda command, environment: killed_after(
            randomness.uniform(0, 1.2 * save.seconds), command, environment))
    save.tell("killed %d times at random" % times)


class Pair:
    """The service on a bus of its own beside a storage that is a folder; each trial begins with the same two sides
    that differ."""

    def __init__(self, build, work):
        self.tool, self.work = os.path.join(build, "apps/tsyncquenz/tsyncquenz"), work
        self.command = [self.tool, "run", "--haste", "20"]
        self.bus = subprocess.Popen(["dbus-daemon", "--config-file=tests/support/private_bus.conf", "--nofork",
                                     "--print-address"], stdout=subprocess.PIPE, text=True)
        self.address = self.bus.stdout.readline().strip()

    def end(self):
        self.bus.terminate()
        self.bus.wait()

    def prepare(self):
        shutil.rmtree(self.work, ignore_errors=True)
        self.here, self.there = self.work + "/here", self.work + "/space/here"
        for folder in (self.here, self.there, self.work + "/config/rclone", self.work + "/run"):
            os.makedirs(folder)
        os.chmod(self.work + "/run", 0o700)
        with open(self.work + "/config/rclone/rclone.conf", "w") as file:
            file.write("[disk]\ntype = alias\nremote = /\n")
        self.environment = {**os.environ, "HOME": self.work, "XDG_RUNTIME_DIR": self.work + "/run",
                            "DBUS_SESSION_BUS_ADDRESS": self.address}
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
        """Without the service's own: what a kill leaves half brought down stays for some days, as it may be an older
        version that somebody wants."""
        return {os.path.relpath(os.path.join(place, name), root)
                for place, _, names in os.walk(root) for name in names if "/.tsyncquenz" not in os.path.join(place, name)}

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
        process = subprocess.Popen([*arguments, *self.command], env=self.environment, **QUIET)
        end = time.monotonic() + limit
        while process.poll() is None and time.monotonic() < end and not (self.is_done() and limit > 30):
            time.sleep(0.05)
        was_killed = process.poll() is not None or limit <= 30
        if process.poll() is None:
            subprocess.run(["pkill", "-KILL", "-P", str(process.pid), "-x", "tsyncquenz"])
            process.kill()
        process.wait()
        again = subprocess.Popen(self.command, env=self.environment, **QUIET)
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

    def every_call(self, name, step):
        number = 1
        while self.once(at_call(name, number, "signal=KILL", []), 60):
            number += step
        print("%-22s killed at %s of a thread, %d times up to its number %d: nothing lost, in step after the next "
              "start" % ("the service", name, (number - 1) // step, max(0, number - step)), flush=True)


def kill_service(build, work, step, times, randomness):
    """Several at a time: most of a trial is waiting."""
    pairs = queue.SimpleQueue()
    for i in range(SERVICES):
        pairs.put(Pair(build, "%s/pair%d" % (work, i)))

    def with_pair(trial):
        pair = pairs.get()
        try:
            trial(pair)
        except AssertionError:  # before the next trial begins there
            shutil.copytree(pair.work, pair.work + "-evidence", symlinks=True, dirs_exist_ok=True)
            raise
        finally:
            pairs.put(pair)

    trials = [lambda pair, name=name: pair.every_call(name, step) for name in CALLS.split(",")]
    trials += [lambda pair, seconds=randomness.uniform(0.05, 4): pair.once([], seconds) for _ in range(times)]
    try:
        with ThreadPoolExecutor(SERVICES) as pool:
            list(pool.map(with_pair, trials))
    finally:
        while not pairs.empty():
            pairs.get().end()
    print("%-22s killed %d times at random: nothing lost, in step after the next start" % ("the service", times),
          flush=True)


def main():
    build, times, seed = os.path.abspath(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3])
    randomness = random.Random(seed)
    work = tempfile.mkdtemp(prefix="tsyncfinder-kills-", dir="/dev/shm")
    try:
        every = list(saves(build, work))
        for save in every:
            at_every_call(save)
        for save in every:
            at_random(save, times // len(every), randomness)
        kill_service(build, work, 1 if times >= 10000 else 10, max(1, times // 100), randomness)
        print("kills: seed %d: no loss" % seed)
    except AssertionError as error:
        shutil.copytree(work, work + "-evidence", symlinks=True)
        sys.exit("kills: %s (evidence: %s-evidence)" % (error, work))
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
