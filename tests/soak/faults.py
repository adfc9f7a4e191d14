"""Has one call of the system or one allocation fail, each in its turn, in what saves, loads and scans.

    faults.py BUILD C-EXAMPLE MEMORY-FAULTS

Whatever fails, the program ends by itself: with its work done and right, or with a message and a status other than
0. What was to be replaced is the old or the new one, whole, and the new one when the program says so. Without memory
it may end by abort(3), or as GLib does by a trap, with a message as well."""
import os
import shutil
import signal
import subprocess
import sys
import tempfile

from saves import QUIET, at_call, counted, saves

ERRORS = {
    "EIO": "openat,read,pread64,getdents64,statx,newfstatat,fstat,write,writev,pwrite64,fsync,fdatasync,ftruncate,"
           "rename,renameat,renameat2,unlink,unlinkat,fcntl,lseek",
    "ENOSPC": "openat,write,writev,pwrite64,fsync,fdatasync,ftruncate,rename,mkdir",
}


class Fault(Exception):
    pass


def ended(command, environment, may_abort=False):
    """The program's status and output, once it has ended as it may."""
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=60)
    message = done.stderr.decode(errors="replace")
    aborted = may_abort and done.returncode in (-signal.SIGABRT, -signal.SIGTRAP) and any(  # GLib ends by a trap
        words in message for words in ("memory", "terminate called", "failed to allocate"))
    if done.returncode < 0 and not aborted:
        raise Fault("ended by signal %d: %s" % (-done.returncode, message[-300:]))
    return done.returncode, done.stdout, message


class Saving:
    def __init__(self, save):
        self.save, self.name, self.command, self.environment = save, save.name, save.command, save.environment

    def check(self, command, environment, may_abort):
        result = []
        is_new = self.save.once(lambda *_: result.append(ended(command, environment, may_abort)))
        status, _, message = result[0]
        if status == 0 and not is_new:
            raise Fault("says that it is done, and is not")
        if status != 0 and not message:
            raise Fault("fails without a word")


class Reading:
    """Loads, compares or scans: the output is right, or the status says that it is not."""

    def __init__(self, name, command, environment, then=None):
        self.name, self.command, self.environment, self.then = name, command, environment, then
        self.right = self.outcome(ended(command, environment))
        assert self.right[0] in (0, 1), self.right

    def outcome(self, done):
        status, output, _ = done
        return status, output, ended(self.then, self.environment)[:2] if self.then else None

    def check(self, command, environment, may_abort):
        done = ended(command, environment, may_abort)
        status, output, message = done
        if status == self.right[0] and self.outcome(done) != self.right and not message:
            raise Fault("what it gives is not right, and it does not say so")
        if status == 0 and self.outcome(done) != self.right:
            raise Fault("what it gives is not right, and its status is 0: %s" % message[-300:])
        if status != self.right[0] and not message:
            raise Fault("fails without a word")


def works(build, changes, work):
    for save in saves(build, work, 60):
        yield Saving(save)
    environment = {**os.environ, "HOME": work, "LC_ALL": "C.UTF-8"}
    dirsnapshot = os.path.join(build, "apps/dirsnapshot/dirsnapshot")
    tree, other = work + "/tree", work + "/other"
    for folder in range(4):
        os.makedirs(f"{tree}/{folder}")
        for file in range(8):
            with open(f"{tree}/{folder}/{file}", "w") as content:
                content.write("x" * file)
    shutil.copytree(tree, other)
    shutil.rmtree(other + "/3")
    stores = {}
    for name in ("flat", "sync"):
        stores[name] = [f"{work}/{name}-{which}" for which in ("one", "two")]
        for store, source in zip(stores[name], (tree, other)):
            subprocess.check_call([dirsnapshot, "scan", "--type", name, "-o", store, source], stdout=subprocess.DEVNULL)
        yield Reading(f"ls, {name}", [dirsnapshot, "ls", stores[name][0]], environment)
        yield Reading(f"diff, {name}", [dirsnapshot, "diff", *stores[name]], environment)
        target = f"{work}/{name}-scanned"
        yield Reading(f"scan, {name}", [dirsnapshot, "scan", "--type", name, "-o", target, tree], environment,
                      [dirsnapshot, "ls", target])
    yield Reading("the C example", [changes, other, work + "/flat-two"], environment)


def fail_calls(one):
    total = 0
    for error, names in ERRORS.items():
        for name, times in sorted(counted(names, one.command, one.environment).items()):
            for number in range(1, times + 1):
                try:
                    one.check(at_call(name, number, "error=" + error, one.command), one.environment, False)
                except (Fault, AssertionError, subprocess.TimeoutExpired) as fault:
                    raise Fault("%s: %s of %s number %d: %s" % (one.name, error, name, number, fault))
                total += 1
    print("%-22s each of %d calls failed once" % (one.name, total), flush=True)


def allocations_of(command, environment):
    with tempfile.NamedTemporaryFile("r") as count:
        subprocess.run(command, env={**environment, "COUNTED_ALLOCATIONS": count.name}, **QUIET)
        return int(count.read())


def fail_allocations(one, library):
    preloaded = {**one.environment, "LD_PRELOAD": library}
    # What comes before are libraries that begin, which may crash then, and the options, made all alike.
    before = allocations_of([one.command[0], "--no-such-option"], preloaded)
    every = allocations_of(one.command, preloaded)
    numbers = range(max(1, before - 20), every + 1)
    for number in numbers:
        for which in (str(number), f"{number}+"):
            try:
                one.check(one.command, {**preloaded, "FAILING_ALLOCATION": which}, True)
            except (Fault, AssertionError, subprocess.TimeoutExpired) as fault:
                raise Fault("%s: allocation %s: %s" % (one.name, which, fault))
    print("%-22s %d of %d allocations failed, each alone and with all after it" % (one.name, len(numbers), every),
          flush=True)


def main():
    build, changes, library = (os.path.abspath(argument) for argument in sys.argv[1:])
    work = tempfile.mkdtemp(prefix="tsyncfinder-faults-", dir="/dev/shm")
    try:
        for one in works(build, changes, work):
            fail_calls(one)
            fail_allocations(one, library)
        print("faults: each ended clean")
    except Fault as fault:
        sys.exit("faults: %s" % fault)
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
