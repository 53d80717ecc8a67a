"""Holds the plan of the house: who includes whom, no circles, files and functions small enough to read.

usage: check_house.py ROOT
"""

import collections
import os
import re
import sys

PRODUCT = ("host", "mediafile", "mfimport", "dmfdemux", "parser_xdcam_ex", "mpeg12", "mpegdecode", "xdcamdecode",
           "plugin", "kyhost")
MOST_LINES_OF_A_FILE = 400
MOST_LINES_OF_A_FUNCTION = 50
INCLUDE = re.compile(r'^#include "([^"]+)"', re.M)
NO_FUNCTION = re.compile(r"^\s*(if|else|for|while|do|switch|namespace|class|struct|enum|union|extern|try|catch|case|return)\b")


def product_files(root):
    for top in PRODUCT:
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                if name.endswith((".h", ".cpp")):
                    yield os.path.relpath(os.path.join(folder, name), root)


def room_of(path, divided):
    """The folder that counts as the room: the second level where the first one is divided into rooms."""
    parts = path.split("/")
    return "/".join(parts[:2]) if parts[0] in divided and len(parts) > 2 else parts[0]


def read_edges(path):
    edges = {}
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            match = re.fullmatch(r"(\S+) -> (\S+) : (.+)", line)
            if not match:
                sys.exit(f"{path}: no edge with a reason: {line}")
            edges[match.group(1), match.group(2)] = match.group(3)
    return edges


def read_reasons(path):
    """file[:function] -> reason, for what is larger than it should be."""
    reasons = {}
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            line = line.strip()
            if line and not line.startswith("#"):
                what, _, reason = line.partition(" : ")
                reasons[what] = reason
    return reasons


def circle_in(graph):
    """Some circle, as a list of nodes; empty when there is none."""
    state = {}

    def visit(node, path):
        state[node] = "open"
        for target in sorted(graph.get(node, ())):
            if state.get(target) == "open":
                return path[path.index(target):] + [target]
            if target not in state:
                found = visit(target, path + [target])
                if found:
                    return found
        state[node] = "done"
        return []

    for node in sorted(graph):
        if node not in state:
            found = visit(node, [node])
            if found:
                return found
    return []


def functions_of(text):
    """(name, lines) of every function body; the tree is formatted, so a body ends at its own indentation."""
    lines = text.split("\n")
    at = 0
    while at < len(lines):
        line = lines[at]
        begin = at
        at += 1
        if not line.rstrip().endswith("{") or NO_FUNCTION.match(line) or line.lstrip().startswith(("//", "#", "}")):
            continue
        while begin > 0 and lines[begin - 1].strip() and not re.search(r"[;{}:]\s*$|^\s*(//|#)", lines[begin - 1]):
            begin -= 1
        head = " ".join(lines[begin:at]).strip()
        name = re.search(r"([~\w:]+(?:operator\S+)?)\s*\(", head)
        if not name or NO_FUNCTION.match(head):
            continue
        indent = len(lines[begin]) - len(lines[begin].lstrip())
        end = next((i for i in range(at, len(lines)) if re.match(r" {%d}}" % indent, lines[i])), len(lines) - 1)
        yield name.group(1), end - begin + 1
        at = end + 1


def ways_in(path, root):
    """Complaints about the ways through the house: every file on one exists, and is visited once."""
    with open(path, encoding="utf-8") as file:
        sections = re.split(r"^## ", file.read(), flags=re.M)
    ways = [section for section in sections if section.startswith("The way of")]
    if not ways:
        yield f"{path} shows no way"
    for way in ways:
        visited = re.findall(r"`([\w/]+\.(?:cpp|h))`", way)
        title = way.split("\n")[0]
        for name, visits in collections.Counter(visited).items():
            if not os.path.exists(os.path.join(root, name)):
                yield f"{title}: there is no {name}"
            if visits > 1:
                yield f"{title}: {name} is visited {visits} times"


def main(root):
    here = os.path.dirname(os.path.abspath(__file__))
    edges = read_edges(os.path.join(here, "edges.txt"))
    reasons = read_reasons(os.path.join(here, "large.txt"))
    complaints, used, unused_reasons = [], set(), set(reasons)
    divided = {edge.split("/")[0] for pair in edges for edge in pair if "/" in edge}
    files = collections.defaultdict(set)
    for path in product_files(root):
        with open(os.path.join(root, path), encoding="utf-8") as file:
            text = file.read()
        for target in INCLUDE.findall(text):
            here_room, there = room_of(path, divided), room_of(target, divided)
            files[path].add(target)
            if here_room == there:
                continue
            used.add((here_room, there))
            if (here_room, there) not in edges:
                complaints.append(f"{path} includes {target}: {here_room} -> {there} is no edge of the plan")
        count = text.count("\n")
        if count > MOST_LINES_OF_A_FILE and path not in reasons:
            complaints.append(f"{path} has {count} lines")
        unused_reasons.discard(path) if count > MOST_LINES_OF_A_FILE else None
        for name, length in functions_of(text):
            if length <= MOST_LINES_OF_A_FUNCTION:
                continue
            if f"{path}:{name}" not in reasons:
                complaints.append(f"{path}: {name} has {length} lines")
            unused_reasons.discard(f"{path}:{name}")
    for pair in sorted(set(edges) - used):
        complaints.append(f"the plan has {pair[0]} -> {pair[1]}, which nothing uses")
    for what in sorted(unused_reasons):
        complaints.append(f"large.txt has {what}, which is not too large")
    rooms = collections.defaultdict(set)
    for source, target in set(edges) | used:
        rooms[source].add(target)
    for kind, graph in (("rooms", rooms), ("files", files)):
        circle = circle_in(graph)
        if circle:
            complaints.append(f"a circle of {kind}: {' -> '.join(circle)}")
    complaints.extend(ways_in(os.path.join(root, "docs", "architecture.md"), root))
    print("\n".join(complaints) or f"{len(files)} files, {len(edges)} edges")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
