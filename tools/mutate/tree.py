"""A copy of the source tree that mutants are woven into, and its build."""
import json
import os
import re
import shlex
import subprocess
import sys

import mutants
import schemata

HERE = os.path.dirname(os.path.abspath(__file__))


class BuildFailed(Exception):
    pass


class Tree:
    def __init__(self, root, work, targets, options=()):
        self.root, self.work = root, work
        self.source, self.build = os.path.join(work, "source"), os.path.join(work, "build")
        self.targets, self.options = targets, options
        self.texts = {}     # pristine texts of the woven files, by name
        self.edits = {}     # by name
        self.woven = {}

    def path(self, name):
        return os.path.join(self.source, name)

    def read(self, name):
        with open(os.path.join(self.root, name), encoding="latin-1", newline="") as file:
            return file.read()

    def write(self, name, text):
        """Only what differs: the build goes by the time of files."""
        path = self.path(name)
        try:
            with open(path, encoding="latin-1", newline="") as file:
                if file.read() == text:
                    return
        except OSError:
            os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="latin-1", newline="") as file:
            file.write(text)

    def names(self):
        """The files that git knows or would take."""
        names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=self.root, check=True,
                               stdout=subprocess.PIPE).stdout.decode().split("\0")
        return [name for name in names if name and os.path.isfile(os.path.join(self.root, name))]

    def copy(self, names, but):
        """A copy, so that whatever happens the user's own tree stays as it is; `but` is woven later."""
        for name in names:
            if name not in but or not os.path.exists(self.path(name)):
                self.write(name, self.read(name))
                os.chmod(self.path(name), os.stat(os.path.join(self.root, name)).st_mode)
        known = set(names)
        for folder, _, files in os.walk(self.source):
            for file in files:
                path = os.path.join(folder, file)
                if os.path.relpath(path, self.source) not in known:
                    os.remove(path)

    def configure(self):
        command = ["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, "-DCMAKE_BUILD_TYPE=None",
                   "-DCMAKE_PROJECT_INCLUDE=" + os.path.join(HERE, "mutate.cmake"), *self.options]
        self.check(command, "configure")

    def check(self, command, what):
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            raise BuildFailed(f"{what}:\n{done.stdout}")
        return done.stdout

    def arguments(self, name):
        """What libclang needs of the compiler's command line for a file; a header takes that of any source beside it."""
        with open(os.path.join(self.build, "compile_commands.json"), encoding="utf-8") as file:
            commands = {os.path.relpath(one["file"], self.source): one["command"] for one in json.load(file)}
        command = commands.get(name) or next(
            (commands[other] for other in sorted(commands) if os.path.dirname(other) == os.path.dirname(name)),
            next(iter(commands.values())))
        words = shlex.split(command)
        kept = [word for word in words if re.match(r"^-(I|D|std=|isystem)", word)]
        for word, behind in zip(words, words[1:]):
            if word == "-isystem":
                kept += [behind]
        return ["-x", "c++", "-w", "-ferror-limit=0", "-I" + HERE, "-include", "mutant.h", *kept]

    def find(self, names):
        self.texts = {name: self.read(name) for name in names}
        on_disk = {self.path(name): text for name, text in self.texts.items()}
        for name in names:
            self.edits[name] = mutants.find(self.path(name), name, self.arguments(name), on_disk)
        self.distinguish()
        return schemata.number(self.edits)

    def distinguish(self):
        """The same change twice is one; equal ones at equal lines are told apart by their count in the file."""
        for edits in self.edits.values():
            spans, found = set(), []
            for edit in edits:
                fresh = [one for one in edit.mutants if (one.span, one.text, one.kind) not in spans]
                spans |= {(one.span, one.text, one.kind) for one in fresh}
                edit.mutants[:] = fresh
                found += fresh
            seen = {}
            for mutant in sorted(found, key=lambda one: one.span):
                place = (mutant.source, mutant.change)
                seen[place] = seen.get(place, 0) + 1
                if seen[place] > 1:
                    mutant.change += f" #{seen[place]}"
            edits[:] = [edit for edit in edits if edit.mutants or edit.shape in ("relaxed", "probe")]

    def mutants(self):
        return [mutant for name in sorted(self.edits) for edit in self.edits[name] for mutant in edit.mutants]

    def weave(self):
        for name, edits in self.edits.items():
            self.woven[name] = schemata.weave(self.texts[name], edits)
            self.write(name, self.woven[name])

    def build_woven(self, progress):
        """Builds, taking out what does not compile, until all does."""
        for attempt in range(60):
            self.weave()
            done = subprocess.run(["ninja", "-C", self.build, "-k", "0", *self.targets], stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True)
            if done.returncode == 0:
                return
            dropped = self.drop(done.stdout)
            progress(f"build {attempt + 1}: {dropped} places do not compile woven in")
            if not dropped:
                raise BuildFailed(done.stdout[-8000:])
        raise BuildFailed("no end of errors")

    def drop(self, output):
        """Each error of the compiler, with the notes that follow it, takes out one place."""
        groups = []
        pattern = re.compile(r"^([^\s:][^:\n]*):(\d+):(?:(\d+):)? (error|fatal error|note): (.*)$", re.M)
        for path, line, column, kind, message in pattern.findall(output):
            if kind != "note":
                groups.append([])
            if groups:
                path = os.path.join(self.build, path)
                groups[-1].append((os.path.relpath(path, self.source), int(line), int(column or 1), message))
        count, seen = 0, set()
        for group in groups:
            key = tuple(group)
            if key in seen:
                continue
            seen.add(key)
            count += self.drop_one(group)
        return count

    def drop_one(self, group):
        # A note on a constant that lost its "constexpr" names the cause; the error only its consequence.
        for name, line, _, message in group:
            words = set(re.findall(r"[‘'](?:[^’']*::)?(\w+)", message))
            for other, edits in self.edits.items():
                for edit in edits:
                    if edit.shape == "relaxed" and not edit.dropped and edit.name in words and \
                            re.search("constexpr|not const|constant.expression", group[0][3] + message):
                        schemata.drop(edit, edits)
                        return 1
        for name, line, column, _ in group:
            if name in self.edits and schemata.drop_at(self.texts[name], self.edits[name], self.woven[name], line,
                                                       column):
                return 1
        return 0

    def build_slow(self, mutant, targets):
        """The tree with this one change made in the plain text. False where it does not compile."""
        text = self.texts[mutant.file]
        begin, end = mutant.span
        changed = schemata.flat(mutant.text)
        if mutant.kind not in ("removed", "swapped") and changed[-1] not in '";':
            changed = f"({changed})"
        self.write(mutant.file, text[:begin] + changed + text[end:])
        done = subprocess.run(["ninja", "-C", self.build, *targets], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.returncode == 0

    def restore(self, name):
        self.write(name, self.woven[name])
