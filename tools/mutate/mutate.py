#!/usr/bin/env python3
"""Changes one line of a folder at a time, runs the tests that reach it, and lists the changes that none notices.

All changes are compiled into one program and switched on one by one; those that the compiler does not take this way
get a build of their own. Works on a copy below build/mutate. README.md beside this file tells more.
"""
import argparse
import concurrent.futures
import json
import os
import random
import shutil
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))

# The test programs that are about a room and quick: a survivor costs a run of every one that reaches it. Those left
# out for the plug-in (MXF, LPCM, field pairs and others) saw nothing in 700 mutants that these did not see.
PLUGIN_PROGRAMS = ["test_rules", "test_scripted", "test_scripted_dmf", "test_contract", "test_answers", "test_captions",
                   "test_description", "test_dolby", "test_external_io", "test_opening", "test_reading",
                   "test_seeking", "test_sync", "test_overlay"]
ROOMS = {
    "plugin": ["test_contract"],
    "xdcamdecode": ["test_scripted", "test_contract"],
    "parser_xdcam_ex": ["parser_test", "test_contract"],
    "dmfdemux": ["dmfdemux_unit_test", "dmfdemux_test", "test_scripted_dmf"],
    "mpegdecode": PLUGIN_PROGRAMS,
    "mpeg12": PLUGIN_PROGRAMS,
    "mfimport": ["mfimport_unit_test", "mfimport_test"],
    "mediafile": ["mfimport_unit_test", "mfimport_test", "dmfdemux_test"],
    "host": ["host_tests", "test_scripted", "test_contract"],
    "samples": ["samples_test"],
    "kyhost": ["kyhost_parts_test", "kyhost_scripted_test", "kyhost_card_test", "kyhost_subs_test", "kyhost_cc_test"],
}
CONTRACT_ROOMS = ["plugin", "xdcamdecode", "parser_xdcam_ex", "dmfdemux", "mpegdecode"]

KILLED, SURVIVED, EQUIVALENT = "killed", "survived", "equivalent"
NOT_REACHED, NOT_COMPILED = "not reached", "not compiled"


def read_equivalents(path):
    """Key of a mutant to the reason why no test can notice it. A line: file @@ line @@ change @@ reason."""
    equivalents = {}
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                if not line.strip() or line.startswith("#"):
                    continue
                parts = [part.strip() for part in line.split(" @@ ")]
                if len(parts) != 4 or not parts[3]:
                    sys.exit(f"{path}:{number}: not of the form \"file @@ line @@ change @@ reason\"")
                equivalents[" @@ ".join(parts[:3])] = parts[3]
    return equivalents


class Room:
    """The mutants of one folder and what became of them."""

    def __init__(self, name, tree, arguments):
        self.name, self.tree, self.arguments = name, tree, arguments
        self.outcomes = {}  # key to (outcome, detail)
        self.fresh = set()  # keys that this run tried
        self.results_path = os.path.join(tree.work, "results", name.replace("/", "_") + ".json")
        self.began = time.monotonic()

    def say(self, text):
        if not self.arguments.quiet:
            print(f"[{self.name} {time.monotonic() - self.began:5.0f} s] {text}", flush=True)

    def files(self, names):
        wanted = self.arguments.file
        return [name for name in names if name.startswith(self.name + "/") and name.endswith((".cpp", ".h")) and
                (not wanted or any(name.endswith(file) for file in wanted))]

    def prepare(self):
        names = self.tree.names()
        files = self.files(names)
        if not files:
            sys.exit(f"no C++ files in {self.name}")
        self.tree.copy(names, but=files)
        self.tree.configure()
        self.count = self.tree.find(files)
        self.remember_slow()
        self.say(f"{len(self.tree.mutants())} mutants in {len(files)} files")

    # What did not compile woven in at the last run will not do so now.
    def remember_slow(self):
        try:
            with open(self.results_path, encoding="utf-8") as file:
                stored = json.load(file)
        except (OSError, ValueError):
            stored = {}
        self.before = {key: tuple(value) for key, value in stored.get("outcomes", {}).items()}
        slow, unrelaxed = set(stored.get("slow", ())), set(stored.get("kept constexpr", ()))
        for name, edits in self.tree.edits.items():
            schemata.remember(name, edits, slow, unrelaxed)

    def build(self):
        programs = ROOMS.get(self.name.split("/")[0], [])
        self.tree.targets = self.arguments.program or programs
        self.tree.build_woven(self.say)
        slow = sum(mutant.slow for mutant in self.tree.mutants())
        self.say(f"built; {slow} mutants need builds of their own")

    def survey(self):
        paths = [os.path.join(self.tree.build, "bin", name) for name in self.tree.targets]
        with concurrent.futures.ThreadPoolExecutor(self.arguments.jobs) as pool:
            self.programs = list(pool.map(lambda path: runner.survey(path, self.count, self.arguments.scratch), paths))
        for program in self.programs:
            for name in program.failing:
                self.say(f"left out, it fails without a mutant: {program.name} {name}")
        self.programs = [program for program in self.programs if program.tests]
        self.say("tests: " + ", ".join(f"{program.name} {len(program.tests)} in {program.seconds(program.tests):.1f} s"
                                       for program in self.programs))

    def numbers(self, mutant):
        """What tests must reach to be run for a mutant: itself or, where it is not woven in, its function."""
        if not mutant.slow:
            return {mutant.number}
        edits = self.tree.edits[mutant.file]
        around = [edit for edit in edits if edit.shape == "probe" and not edit.dropped and
                  edit.begin <= mutant.span[0] and mutant.span[1] <= edit.end]
        if around:
            return {max(around, key=lambda edit: edit.begin).number}
        probes = {edit.number for edit in edits if edit.shape == "probe"}
        probes |= {one.number for edit in edits for one in edit.mutants}
        return probes if probes else set(range(1, self.count))

    def examine(self, mutant):
        return runner.killer(self.programs, self.numbers(mutant), None if mutant.slow else mutant.number,
                             self.arguments.scratch, self.pool)

    def examine_slow(self, mutant):
        plan = [program.name for program in self.programs if program.reaching(self.numbers(mutant))]
        if not plan:
            return ""
        try:
            if not self.tree.build_slow(mutant, plan):
                return NOT_COMPILED
            return self.examine(mutant)
        finally:
            self.tree.restore(mutant.file)

    def settle(self, mutant, found):
        if found == NOT_COMPILED:
            outcome, detail = NOT_COMPILED, ""
        elif found is None:
            outcome, detail = SURVIVED, ""
        elif found == "":
            outcome, detail = NOT_REACHED, ""
        else:
            outcome, detail = KILLED, found
        self.outcomes[mutant.key] = (outcome, detail)
        self.fresh.add(mutant.key)

    def run(self):
        equivalents = read_equivalents(self.arguments.equivalent)
        waiting = []
        for mutant in self.tree.mutants():
            if mutant.key in equivalents:
                self.outcomes[mutant.key] = (EQUIVALENT, equivalents[mutant.key])
            elif self.arguments.again and self.before.get(mutant.key, (SURVIVED,))[0] in (KILLED, NOT_COMPILED):
                self.outcomes[mutant.key] = self.before[mutant.key]
            else:
                waiting.append(mutant)
        random.Random(self.arguments.seed).shuffle(waiting)
        woven = [mutant for mutant in waiting if not mutant.slow]
        # One file after the other, so that each build compiles one file twice at most.
        slow = sorted((mutant for mutant in waiting if mutant.slow), key=lambda mutant: mutant.file)
        if self.arguments.seconds:
            slow = [mutant for mutant in waiting if mutant.slow]
        self.pool = runner.Pool(self.arguments.scratch)
        try:
            self.try_all(woven, slow)
        finally:
            self.pool.close()
            self.store()

    def try_all(self, woven, slow):
        done, total = 0, len(woven) + len(slow)

        def one(mutant):
            return (mutant, False) if self.late() else (mutant, self.examine(mutant))

        def step(mutant, found, every):
            nonlocal done
            self.settle(mutant, found)
            done += 1
            if done % every == 0:
                self.say(f"{done} of {total}, {self.count_of(SURVIVED) + self.count_of(NOT_REACHED)} alive")
                self.store()

        with concurrent.futures.ThreadPoolExecutor(self.arguments.jobs) as pool:
            try:
                for mutant, found in pool.map(one, woven):
                    if found is not False:
                        step(mutant, found, 200)
            except BaseException:
                pool.shutdown(wait=False, cancel_futures=True)
                raise
        for mutant in slow:
            if self.late():
                break
            step(mutant, self.examine_slow(mutant), 20)

    def late(self):
        return self.arguments.seconds and time.monotonic() - self.began > self.arguments.seconds

    def count_of(self, outcome):
        return sum(found[0] == outcome for found in self.outcomes.values())

    def store(self):
        os.makedirs(os.path.dirname(self.results_path), exist_ok=True)
        mutants = self.tree.mutants()
        relaxed = [f"{name}:{edit.name}" for name, edits in self.tree.edits.items() for edit in edits
                   if edit.shape == "relaxed" and edit.dropped]
        known = {**self.before, **self.outcomes}
        with open(self.results_path, "w", encoding="utf-8") as file:
            json.dump({"outcomes": {mutant.key: known[mutant.key] for mutant in mutants if mutant.key in known},
                       "slow": [mutant.key for mutant in mutants if mutant.slow],
                       "kept constexpr": relaxed}, file, indent=0)

    def report(self):
        mutants = [mutant for mutant in self.tree.mutants()
                   if self.outcomes.get(mutant.key, ("",))[0] != NOT_COMPILED]
        for outcome in (SURVIVED, NOT_REACHED):
            for mutant in mutants:
                if self.outcomes.get(mutant.key, ("",))[0] == outcome:
                    print(f"{outcome}: {mutant.file}:{mutant.line}: {mutant.kind}: {mutant.change}")
                    print(f"    {mutant.source}")
        judged = {outcome: sum(self.outcomes.get(mutant.key, ("",))[0] == outcome for mutant in mutants)
                  for outcome in (KILLED, SURVIVED, NOT_REACHED, EQUIVALENT)}
        tried, alive = sum(judged.values()), judged[SURVIVED] + judged[NOT_REACHED]
        # What was left out is taken to be like what was tried now, which an earlier run's killed are not.
        untried = len(mutants) - tried
        fresh = sum(mutant.key in self.fresh for mutant in mutants)
        share = 100 * (alive + untried * alive / max(1, fresh)) / max(1, len(mutants))
        print(f"{self.name}: {len(mutants)} mutants, {tried} tried: {judged[KILLED]} killed, "
              f"{judged[SURVIVED]} survived, {judged[NOT_REACHED]} not reached, {judged[EQUIVALENT]} equivalent; "
              f"{'about ' if untried else ''}{share:.1f} % alive; {time.monotonic() - self.began:.0f} s", flush=True)
        return alive


def options():
    parser = argparse.ArgumentParser(prog="ky mutate", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("folder", nargs="*", default=CONTRACT_ROOMS,
                        help="rooms; default: " + ", ".join(CONTRACT_ROOMS))
    parser.add_argument("--seconds", type=float, default=1800, help="for each folder, building included; 0: no bound "
                        "(default 1800). What is not tried by then is a random part")
    parser.add_argument("--seed", type=int, default=0, help="of the random order")
    parser.add_argument("--file", action="append", help="only files whose name ends so; may be repeated")
    parser.add_argument("--list", action="store_true", help="print the mutants and try none")
    parser.add_argument("--again", action="store_true", help="leave out what an earlier run saw killed")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="tests at a time")
    parser.add_argument("--program", action="append",
                        help="run this test program instead of the room's; may be repeated")
    parser.add_argument("--work", default=os.path.join(ROOT, "build", "mutate"), help=argparse.SUPPRESS)
    parser.add_argument("--root", default=ROOT, help=argparse.SUPPRESS)
    parser.add_argument("--equivalent", default=os.path.join(ROOT, "tests", "mutate", "equivalent.txt"),
                        help=argparse.SUPPRESS)
    parser.add_argument("--quiet", action="store_true", help=argparse.SUPPRESS)
    return parser.parse_args()


def main():
    arguments = options()
    arguments.work = os.path.abspath(arguments.work)
    os.makedirs(arguments.work, exist_ok=True)
    arguments.scratch = os.path.join(arguments.work, "scratch")
    shutil.rmtree(arguments.scratch, ignore_errors=True)
    os.makedirs(arguments.scratch)
    runner.keep_media(os.path.join(arguments.work, "media"))
    for folder in arguments.folder:
        tree = treemodule.Tree(os.path.abspath(arguments.root), arguments.work, [])
        room = Room(folder.rstrip("/"), tree, arguments)
        room.prepare()
        if arguments.list:
            for mutant in tree.mutants():
                print(f"{mutant.file}:{mutant.line}: {mutant.kind}: {mutant.change}")
            continue
        room.build()
        room.survey()
        room.run()
        room.report()
    return 0


if __name__ == "__main__":
    try:
        import runner
        import schemata
        import tree as treemodule
    except ImportError as missing:
        print(f"{missing}; needs Debian's python3-clang", file=sys.stderr)
        sys.exit(77)
    try:
        sys.exit(main())
    except treemodule.BuildFailed as failure:
        sys.exit(f"the tree does not build: {failure}")
    except KeyboardInterrupt:
        sys.exit(130)
