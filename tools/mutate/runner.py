"""Runs test programs: once to see which mutants each test reaches, then for one mutant after the other."""
import dataclasses
import os
import resource
import select
import shutil
import signal
import struct
import subprocess
import tempfile
import threading
import time

OUTSIDE = "-"
MOST_MEMORY = 4 << 30  # bytes, for what allocates without end
MOST_FILE = 8 << 30
MOST_FILTER = 60000  # characters; an argument has 128 KiB


@dataclasses.dataclass
class Program:
    path: str
    tests: dict = dataclasses.field(default_factory=dict)    # name to (seconds, numbers reached)
    failing: list = dataclasses.field(default_factory=list)  # without any mutant
    start: float = 0.0                                       # seconds outside tests
    outside: set = dataclasses.field(default_factory=set)
    loading: set = dataclasses.field(default_factory=set)    # what was reached before the first test

    @property
    def name(self):
        return os.path.basename(self.path)

    def reaching(self, numbers):
        """Tests that reach one of `numbers`; all of them when it is reached outside tests."""
        if self.outside & numbers:
            return list(self.tests)
        return [name for name, (_, reached) in self.tests.items() if reached & numbers]

    def filter(self, tests):
        names = ":".join(tests)
        if len(tests) < len(self.tests) and len(names) < MOST_FILTER:
            return names
        return "-" + ":".join(self.failing) if self.failing else "*"

    def seconds(self, tests):
        return self.start + sum(self.tests[name][0] for name in tests)


def keep_media(folder):
    """From here on what test programs have the `ffmpeg` program make or decode is made once."""
    ffmpeg = shutil.which("ffmpeg")
    if not ffmpeg:
        return
    programs = os.path.join(folder, "programs")
    os.makedirs(programs, exist_ok=True)
    shim = os.path.join(programs, "ffmpeg")
    if not os.path.lexists(shim):
        os.symlink(os.path.join(os.path.dirname(os.path.abspath(__file__)), "cached_ffmpeg.py"), shim)
    os.environ.update(KY_FFMPEG=ffmpeg, KY_FFMPEG_CACHE=folder, PATH=programs + os.pathsep + os.environ["PATH"])


def limits():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (MOST_FILE, MOST_FILE))


def run(command, environment, seconds, scratch):
    """The exit code; None when the time was not enough. Everything that the command started ends with it."""
    folder = tempfile.mkdtemp(dir=scratch)
    environment = {**os.environ, **environment, "TMPDIR": folder}
    process = subprocess.Popen(command, env=environment, cwd=folder, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
                               preexec_fn=limits)
    try:
        return process.wait(seconds)
    except subprocess.TimeoutExpired:
        return None
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
        shutil.rmtree(folder, ignore_errors=True)


def survey(path, count, scratch):
    """Runs a whole program once."""
    program = Program(path)
    with tempfile.TemporaryDirectory(dir=scratch) as folder:
        reached, report = os.path.join(folder, "map"), os.path.join(folder, "report")
        with open(reached, "wb") as file:
            file.truncate(count)
        began = time.monotonic()
        run([path, "--gtest_brief=1"], {"KY_MUTANT_MAP": reached, "KY_MUTANT_REPORT": report}, 1800, scratch)
        program.start = time.monotonic() - began
        if not os.path.exists(report):
            return program
        with open(report, encoding="utf-8") as file:
            for line in file:
                name, milliseconds, numbers = line.rstrip("\n").split("\t")
                numbers = {int(number) for number in numbers.split(",") if number}
                if milliseconds == "failed":
                    program.failing.append(name)
                elif name == OUTSIDE:
                    program.loading = program.loading if program.tests or program.outside else numbers
                    program.outside |= numbers
                else:
                    program.tests[name] = (int(milliseconds) / 1000, numbers)
    program.start = max(0.0, program.start - sum(seconds for seconds, _ in program.tests.values()))
    for name in program.failing:
        program.tests.pop(name, None)
    return program


class Server:
    """A test program that has run once and made its media; each request runs tests in a fork of it."""

    def __init__(self, program, scratch):
        self.folder = tempfile.mkdtemp(dir=scratch)
        control, requests, answers = (os.path.join(self.folder, name) for name in ("control", "requests", "answers"))
        with open(control, "wb") as file:
            file.write(struct.pack("i", 0))
        os.mkfifo(requests)
        os.mkfifo(answers)
        # Open at both ends, so that neither side waits for the other.
        self.requests, self.answers = os.open(requests, os.O_RDWR), os.open(answers, os.O_RDWR)
        self.media = os.path.join(self.folder, "media")
        os.mkdir(self.media)
        environment = {**os.environ, "TMPDIR": self.media, "KY_MUTANT_CONTROL": control,
                       "KY_MUTANT_REQUESTS": requests, "KY_MUTANT_ANSWERS": answers}
        self.process = subprocess.Popen([program.path, "--gtest_brief=1"], env=environment, cwd=self.media,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=limits)
        self.contents = {}
        self.usable = self.answer(1800) == "ready"
        if not self.usable:
            return
        # A second time, without a mutant: it must pass, and shows what the tests write anew each time.
        before = self.listed()
        self.usable = self.ask(0, 1800, program.filter(list(program.tests))) == "0"
        after = self.listed()
        self.contents = {path: status for path, status in before.items() if after.get(path) == status}

    def answer(self, seconds):
        line = b""
        last = time.monotonic() + seconds
        while not line.endswith(b"\n"):
            readable, _, _ = select.select([self.answers], [], [], 0.2)
            if readable:
                line += os.read(self.answers, 4096)
            elif self.process.poll() is not None or time.monotonic() > last:
                return ""
        return line.decode().strip()

    def listed(self):
        found = {}
        for folder, _, names in os.walk(self.media):
            for name in names:
                path = os.path.join(folder, name)
                status = os.lstat(path)
                found[path] = (status.st_size, status.st_mtime_ns)
        return found

    def ask(self, number, seconds, tests):
        """"0" where the tests pass; otherwise how they failed, "" where the server itself has gone."""
        os.write(self.requests, f"{number} {seconds} {tests}\n".encode())
        answer = self.answer(seconds + 30)
        # Media that a mutant spoilt would fail the tests of all others.
        now = self.listed()
        self.usable = answer != "" and all(now.get(path) == before for path, before in self.contents.items())
        return answer

    def close(self):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        os.close(self.requests)
        os.close(self.answers)
        shutil.rmtree(self.folder, ignore_errors=True)


class Servers:
    """Those of one thread; made when they are first asked."""

    def __init__(self, scratch):
        self.scratch, self.running, self.refused = scratch, {}, set()

    def of(self, program):
        """None where the program cannot serve."""
        server = self.running.get(program.path)
        if server and not server.usable:
            server.close()
            del self.running[program.path]
            server = None
        if not server and program.path not in self.refused:
            server = Server(program, self.scratch)
            if server.usable:
                self.running[program.path] = server
            else:
                server.close()
                self.refused.add(program.path)
                server = None
        return server

    def close(self):
        for server in self.running.values():
            server.close()
        self.running.clear()


class Pool:
    """The servers of all threads."""

    def __init__(self, scratch):
        self.scratch, self.own, self.all = scratch, threading.local(), []

    def servers(self):
        if not hasattr(self.own, "servers"):
            self.own.servers = Servers(self.scratch)
            self.all.append(self.own.servers)
        return self.own.servers

    def close(self):
        for servers in self.all:
            servers.close()


def killer(programs, numbers, number, scratch, pool):
    """The program that notices, with the reason; None for a survivor, "" where no test gets there. `number` is None
    where the mutant is built in."""
    plan = []
    for program in programs:
        tests = program.reaching(numbers)
        if tests:
            # Constants of a library have their values when a server forks.
            alone = bool(program.loading & numbers)
            plan.append((program.seconds(tests), program, tests, alone))
    if not plan:
        return ""
    plan.sort(key=lambda item: item[0])
    # What runs once in a process is reached by its first test alone, may show in any later one, and has run already
    # in a server.
    whole = []
    if all(len(tests) == 1 for _, _, tests, _ in plan):
        whole = [(program.seconds(program.tests), program, list(program.tests), True) for _, program, _, _ in plan]
    for seconds, program, tests, alone in plan + whole:
        limit = 10 + 5 * seconds
        server = None if number is None or alone else pool.servers().of(program)
        if server:
            answer = server.ask(number, limit, program.filter(tests))
            if answer == "0":
                continue
            if answer:
                return program.name + (f" ({answer})" if answer != "1" else "")
        environment = {} if number is None else {"KY_MUTANT": str(number)}
        code = run([program.path, "--gtest_brief=1", "--gtest_fail_fast", "--gtest_filter=" + program.filter(tests)],
                   environment, limit, scratch)
        if code != 0:
            return program.name + (" (hangs)" if code is None else " (crashes)" if code < 0 else "")
    return None
