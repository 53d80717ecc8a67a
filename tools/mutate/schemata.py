"""Weaves all mutants of a file into one text: the number in the environment switches one on.

Lines stay where they are, so that the compiler's messages lead back to the mutants.
"""
import re

TOKEN = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\\n]|\\.)*\'|//[^\n]*|/\*.*?\*/|\s+', re.S)


def flat(text):
    """On one line, without comments."""
    def replace(match):
        token = match.group(0)
        return token if token[0] in "\"'" else " "
    return TOKEN.sub(replace, text)


def number(files):
    """Gives each mutant and probe of `files`, name to edits, its number from 1; the count of numbers."""
    last = 0
    for name in sorted(files):
        for edit in files[name]:
            if edit.shape == "probe":
                last += 1
                edit.number = last
            for mutant in edit.mutants:
                last += 1
                mutant.number = last
    return last + 1


def weave(text, edits):
    ordered = sorted(enumerate(edits), key=lambda item: (item[1].begin, -item[1].end, item[0]))
    position = 0
    ordered = [edit for _, edit in ordered]

    def render(begin, end):
        """The text of the range with all edits in it."""
        nonlocal position
        pieces, at = [], begin
        while position < len(ordered) and ordered[position].begin >= begin and ordered[position].end <= end:
            edit = ordered[position]
            position += 1
            pieces.append(text[at:edit.begin])
            pieces.append(woven(edit, render(edit.begin, edit.end), text))
            at = edit.end
        pieces.append(text[at:end])
        return "".join(pieces)

    result = render(0, len(text))
    if position != len(ordered):
        raise RuntimeError(f"edits overlap at {ordered[position]}")
    return result


def woven(edit, inner, text):
    if edit.dropped:
        return inner
    mutants = [mutant for mutant in edit.mutants if not mutant.slow]
    if edit.shape == "relaxed":
        return edit.replacement
    if edit.shape == "probe":
        return f"{{ ky_mut({edit.number}); {inner[1:]}"
    if edit.shape == "statement":
        return statement(edit, inner, text)
    if not mutants:
        return inner
    if edit.shape == "expression":
        choices = "".join(f"ky_mut({mutant.number}) ? ({flat(mutant.text)}) : " for mutant in mutants)
        return f"({choices}({inner}))"
    if edit.shape == "condition":
        return f"{inner}; ky_mut({mutants[0].number}) != static_cast<bool>({edit.name})"
    if edit.shape == "return":
        return f"{{ if (ky_mut({mutants[0].number})) return {{}}; {inner} }}"
    raise RuntimeError(edit.shape)


def statement(edit, inner, text):
    removed, *swaps = edit.mutants
    before = "".join(f"if (ky_mut({swap.number})) {{ {flat(text[edit.swap[0]:edit.swap[1]])} }} "
                     for swap in swaps if not swap.slow)
    off = [] if removed.slow else [removed]
    if edit.swapped and not edit.swapped.slow:
        off.append(edit.swapped)
    if not off:
        return f"{{ {before}{inner} }}" if before else inner
    condition = " && ".join(f"!ky_mut({mutant.number})" for mutant in off)
    return f"{{ {before}if ({condition}) {{ {inner} }} }}"


def drop(edit, edits):
    edit.dropped = True
    for mutant in edit.mutants:
        mutant.slow = True
    if edit.shape == "relaxed":
        for inner in edits:
            if edit.scope[0] <= inner.begin and inner.end <= edit.scope[1] and not inner.dropped:
                drop(inner, edits)


def remember(name, edits, slow, unrelaxed):
    """Takes out what an earlier run found not to compile: keys of mutants, constants that keep their "constexpr"."""
    for edit in edits:
        for mutant in edit.mutants:
            mutant.slow = mutant.key in slow
    for edit in edits:
        # With all that stands in it, also what is new there.
        if edit.shape == "relaxed" and f"{name}:{edit.name}" in unrelaxed:
            drop(edit, edits)
        if edit.mutants and all(mutant.slow for mutant in edit.mutants) and edit.shape != "statement":
            edit.dropped = True


def drop_at(text, edits, woven_text, line, column):
    """Takes out what the compiler does not take at a position of the woven text. False where nothing stands there."""
    lines = woven_text.split("\n")
    if not 0 < line <= len(lines):
        return False
    by_number = {mutant.number: edit for edit in edits if not edit.dropped for mutant in edit.mutants
                 if not mutant.slow}
    # The innermost parenthesis around the position that asks for a mutant.
    whole, depth = lines[line - 1], 0
    for at in range(min(column, len(whole)) - 1, -1, -1):
        if whole[at] == ")":
            depth += 1
        elif whole[at] == "(" and depth > 0:
            depth -= 1
        elif whole[at] == "(":
            found = re.match(r"\(ky_mut\((\d+)\) \?", whole[at:])
            if found and int(found.group(1)) in by_number:
                drop(by_number[int(found.group(1))], edits)
                return True
    here = []
    for edit in edits:
        if not edit.dropped and edit.shape != "probe":
            first = text.count("\n", 0, edit.begin) + 1
            last = text.count("\n", 0, edit.end) + 1
            if first <= line <= last:
                here.append((edit.shape != "relaxed", first != line, last - first, edit))
    if not here:
        return False
    here.sort(key=lambda one: one[:3])
    best = here[0][:3]
    for one in here:
        if one[:3] == best:
            drop(one[3], edits)
    return True
