"""Runs test programs: once to see which mutants each test reaches, then for one mutant after the other."""
import dataclasses
import os
import resource
import shutil
import signal
import subprocess
import tempfile
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
                    program.outside |= numbers
                else:
                    program.tests[name] = (int(milliseconds) / 1000, numbers)
    program.start = max(0.0, program.start - sum(seconds for seconds, _ in program.tests.values()))
    for name in program.failing:
        program.tests.pop(name, None)
    return program


def killer(programs, numbers, environment, scratch):
    """The program that notices, with the reason; None for a survivor, "" where no test gets there."""
    plan = []
    for program in programs:
        tests = program.reaching(numbers)
        if tests:
            plan.append((program.seconds(tests), program, tests))
    if not plan:
        return ""
    plan.sort(key=lambda item: item[0])
    # What runs once in a process is reached in its first test alone, and may show in any later one.
    whole = [(program.seconds(program.tests), program, list(program.tests)) for _, program, tests in plan
             if len(tests) == 1 < len(program.tests)]
    for seconds, program, tests in plan + whole:
        code = run([program.path, "--gtest_brief=1", "--gtest_fail_fast", "--gtest_filter=" + program.filter(tests)],
                   environment, 10 + 5 * seconds, scratch)
        if code != 0:
            return program.name + (" (hangs)" if code is None else " (crashes)" if code < 0 else "")
    return None
