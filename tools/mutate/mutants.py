"""Finds what can be changed in a C++ file, by libclang's tree of it.

An edit is a range of the text with one or more mutants of it; edits nest as the tree does. How mutants are put into one
program is the business of schemata.py.
"""
import dataclasses
import re
import sys

try:
    from clang import cindex
except ImportError:  # a python3 before Debian's in the path
    sys.path.append("/usr/lib/python3/dist-packages")
    from clang import cindex

from clang.cindex import CursorKind as Kind, TypeKind

COMPARISONS = {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",)}
OPERATORS = {"&&": "||", "||": "&&", "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "<<": ">>", ">>": "<<", "&": "|",
             "|": "&", "^": "&"}
ASSIGNMENTS = {"+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "%=": "*=", "<<=": ">>=", ">>=": "<<=", "&=": "|=",
               "|=": "&=", "^=": "&="}
STEPS = {"++": "--", "--": "++"}
LITERALS = {Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL, Kind.STRING_LITERAL, Kind.CHARACTER_LITERAL,
            Kind.CXX_BOOL_LITERAL_EXPR, Kind.CXX_NULL_PTR_LITERAL_EXPR}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.FUNCTION_TEMPLATE,
             Kind.CONVERSION_FUNCTION, Kind.LAMBDA_EXPR}
REMOVABLE = {Kind.CALL_EXPR, Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR,
             Kind.UNEXPOSED_EXPR, Kind.CXX_DELETE_EXPR, Kind.CXX_THROW_EXPR, Kind.CONDITIONAL_OPERATOR,
             Kind.CSTYLE_CAST_EXPR, Kind.CXX_STATIC_CAST_EXPR}
INTEGERS = {TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG, TypeKind.ULONGLONG,
            TypeKind.SHORT, TypeKind.USHORT, TypeKind.UCHAR, TypeKind.SCHAR, TypeKind.CHAR_S, TypeKind.DOUBLE,
            TypeKind.FLOAT}

# Calls that change nothing.
HARMLESS = r"\b(?:\w+_cast|sizeof|std::(?:min|max|clamp|abs|size|string|string_view)|u?int\d+_t)\b[^(]*\("
# Entries of a dictionary are read by name.
ENTRY = r'([\w.>()-]+)\.set\((".*?"),'
ESCAPE = r"\\(?:x[0-9a-fA-F]+(?![0-9a-fA-F])|[0-7]{1,3}(?![0-7])|[^x0-7])"
CONVERSION = r"%[-+ #0-9.*]*(?:hh|h|ll|l|z|j|t|L)?[a-zA-Z%]"


@dataclasses.dataclass
class Mutant:
    """`text` takes the place of the range; `kind` names the change."""
    kind: str
    text: str
    file: str = ""
    line: int = 0
    source: str = ""    # the line of the file
    change: str = ""    # what the range becomes, for people
    span: tuple = (0, 0)
    number: int = 0     # by which the program knows it
    slow: bool = False  # cannot be woven in: a build of its own

    @property
    def key(self):
        return f"{self.file} @@ {self.source} @@ {self.change}"


@dataclasses.dataclass
class Edit:
    """`shape`: how the mutants are woven in: "expression", "statement", "condition", "return" or "relaxed"."""
    shape: str
    begin: int
    end: int
    mutants: list
    swap: object = None          # the statement behind, (begin, end), that may come before this one
    swapped: object = None       # the mutant of the statement before, that has already run this one
    name: str = ""               # of what a condition or a relaxed "constexpr" declares
    replacement: str = ""        # of a relaxed "constexpr"
    scope: tuple = (0, 0)        # the declaration that a relaxed "constexpr" belongs to
    dropped: bool = False        # does not compile this way
    number: int = 0              # of a probe


def one_line(text):
    return " ".join(text.split())


def shortened(text, most=100):
    text = one_line(text)
    return text if len(text) <= most else text[:most // 2] + " ... " + text[-most // 2:]


def changed_literal(kind, text):
    """Another literal of the same kind, or None."""
    if kind == Kind.CXX_BOOL_LITERAL_EXPR:
        return {"true": "false", "false": "true"}.get(text)
    if kind == Kind.INTEGER_LITERAL:
        return f"{text} + 1" if re.match(r"^[0-9][0-9a-fA-FxX']*[uUlL]*$", text) else None
    if kind == Kind.FLOATING_LITERAL:
        return "1.0" if re.match(r"^0*\.?0*[fF]?$", text) else f"{text} * 1.25"
    if kind == Kind.CHARACTER_LITERAL:
        return f"static_cast<decltype({text})>({text} + 1)"
    if kind == Kind.STRING_LITERAL:
        return changed_string(text)
    return None


def changed_string(text):
    """Another character in place of the first plain one; an empty text gets one."""
    match = re.match(r'^(u8|[uUL])?"((?:[^"\\]|\\.)*)"$', text, re.S)
    if not match:
        return None
    prefix, inner = match.group(1) or "", match.group(2)
    if inner == "":
        return f'{prefix}"~"'
    # Neither escapes nor conversions of printf: those would be undefined behaviour rather than another text.
    plain = re.match(f"(?:{ESCAPE}|{CONVERSION})*([^\\\\%])", inner)
    if not plain:
        return f'{prefix}"{inner}~"'
    at = plain.end() - 1
    other = "x" if inner[at] == "~" else "~"
    return f'{prefix}"{inner[:at]}{other}{inner[at + 1:]}"'


class Finder:
    def __init__(self, path, name, text, unit):
        self.path, self.name, self.text, self.unit = path, name, text, unit
        self.edits, self.lines = [], text.split("\n")

    def find(self):
        for cursor in self.unit.cursor.get_children():
            if self.here(cursor):
                self.visit(cursor, Context())
        return self.edits

    def here(self, cursor):
        return cursor.location.file is not None and cursor.location.file.name == self.path

    # Ranges as written; an expansion of a macro has the range of its name.
    def span(self, cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def of(self, cursor):
        begin, end = self.span(cursor)
        return self.text[begin:end]

    def between(self, left, right):
        text = self.text[self.span(left)[1]:self.span(right)[0]]
        return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S).strip()

    def mutant(self, kind, begin, end, text, change=None):
        line = self.text.count("\n", 0, begin) + 1
        return Mutant(kind, text, self.name, line, self.lines[line - 1].strip(),
                      change or f"{shortened(self.text[begin:end])} -> {shortened(text)}", span=(begin, end))

    def add(self, shape, begin, end, mutants, **more):
        if mutants:
            self.edits.append(Edit(shape, begin, end, mutants, **more))

    def expression(self, cursor, kind, *texts):
        begin, end = self.span(cursor)
        self.add("expression", begin, end, [self.mutant(kind, begin, end, text) for text in texts])

    # --- the walk ---
    def visit(self, cursor, context):
        kind = cursor.kind
        children = list(cursor.get_children())
        if kind in FUNCTIONS:
            context = context.inside(cursor)
            self.relax(cursor, children, "inline")
            self.probe(children)
        elif kind == Kind.VAR_DECL:
            self.relax(cursor, children, None)
        elif kind in (Kind.STATIC_ASSERT, Kind.USING_DECLARATION, Kind.NAMESPACE_ALIAS):
            return
        elif self.name.endswith(".h") and self.is_layout(cursor):
            return
        elif kind in LITERALS:
            self.literal(cursor)
            return
        elif kind in (Kind.BINARY_OPERATOR, Kind.CALL_EXPR, Kind.UNEXPOSED_EXPR) and len(children) >= 2:
            self.binary(cursor, children)
        elif kind == Kind.COMPOUND_ASSIGNMENT_OPERATOR:
            self.assignment(cursor, children)
        elif kind == Kind.UNARY_OPERATOR:
            self.unary(cursor, children)
        elif kind == Kind.IF_STMT:
            self.condition_of_if(cursor, children)
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.negate(children[0])
        elif kind == Kind.RETURN_STMT:
            self.returned(cursor, children, context)
        for body in self.bodies(cursor, children):
            self.statements(body)
        for child in children:
            self.visit(child, context)

    def is_layout(self, cursor):
        """Numbers of a header that tests are compiled with too: they change on both sides."""
        return cursor.kind == Kind.ENUM_CONSTANT_DECL or (
            cursor.kind == Kind.FIELD_DECL and cursor.type.kind == TypeKind.CONSTANTARRAY and "=" not in self.of(cursor))

    def literal(self, cursor):
        text = changed_literal(cursor.kind, self.of(cursor))
        if text is not None:
            self.expression(cursor, "constant", text)

    def binary(self, cursor, children):
        """Also an overloaded operator, whose own reference stands among the children, and a rewritten one."""
        left, right = children[0], children[-1]
        if cursor.kind != Kind.BINARY_OPERATOR:
            if len(children) == 3:
                symbol = self.of(children[1])
            elif len(children) == 2 and cursor.kind == Kind.UNEXPOSED_EXPR:
                symbol = self.between(left, right)
            else:
                return
            if symbol not in COMPARISONS or symbol not in self.text[self.span(left)[1]:self.span(right)[0]]:
                return
        else:
            symbol = self.between(left, right)
        begin, middle, end = self.span(left)[0], self.span(left)[1], self.span(right)[1]
        if not begin < middle <= self.span(right)[0] < end or (begin, end) != self.span(cursor):
            return
        first, second = self.text[begin:middle], self.text[self.span(right)[0]:end]
        if symbol in COMPARISONS:
            self.expression(cursor, "comparison", *[f"{first} {other} {second}" for other in COMPARISONS[symbol]])
        elif symbol in OPERATORS and OPERATORS[symbol] != "":
            self.expression(cursor, "operator", f"{first} {OPERATORS[symbol]} {second}")

    def assignment(self, cursor, children):
        symbol = self.between(children[0], children[1])
        if symbol in ASSIGNMENTS:
            self.expression(cursor, "operator",
                            f"{self.of(children[0])} {ASSIGNMENTS[symbol]} {self.of(children[1])}")

    def unary(self, cursor, children):
        text, operand = self.of(cursor), self.of(children[0])
        if text.startswith("!"):
            self.expression(cursor, "negation", f"static_cast<bool>({operand})")
        elif text[:2] in STEPS:
            self.expression(cursor, "operator", STEPS[text[:2]] + text[2:])
        elif text[-2:] in STEPS:
            self.expression(cursor, "operator", text[:-2] + STEPS[text[-2:]])

    def negate(self, cursor):
        while cursor.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR) and len(list(cursor.get_children())) == 1:
            cursor = next(iter(cursor.get_children()))
        children = list(cursor.get_children())
        text = self.of(cursor)
        if cursor.kind in LITERALS or text.startswith("!"):
            return
        if cursor.kind in (Kind.BINARY_OPERATOR, Kind.CALL_EXPR, Kind.UNEXPOSED_EXPR) and len(children) >= 2:
            symbol = self.between(children[0], children[-1])
            if symbol in COMPARISONS:
                return
        self.expression(cursor, "negation", f"!({text})")

    def condition_of_if(self, cursor, children):
        begin, end = self.span(cursor)
        head = re.match(r"if\s*(constexpr)?\s*\(", self.text[begin:end])
        if not head or head.group(1):
            return
        close = matching(self.text, begin + head.end() - 1)
        inside = [child for child in children if begin + head.end() <= self.span(child)[0] < close]
        if not inside:
            return
        declared = [child for child in inside if child.kind in (Kind.VAR_DECL, Kind.DECL_STMT)]
        expressions = [child for child in inside if child.kind not in (Kind.VAR_DECL, Kind.DECL_STMT)]
        condition = self.text[begin + head.end():close]
        if expressions and self.span(expressions[-1])[1] == close:
            if not declared or ";" in condition:
                self.negate(expressions[-1])
                return
        if declared and ";" not in condition:
            variable = declared[-1] if declared[-1].kind == Kind.VAR_DECL else next(declared[-1].get_children())
            at = begin + head.end()
            mutant = self.mutant("negation", at, close, f"{condition}; !({variable.spelling})")
            self.add("condition", at, close, [mutant], name=variable.spelling)

    def returned(self, cursor, children, context):
        if not children or context.by_reference:
            return
        value = children[0]
        while value.kind == Kind.UNEXPOSED_EXPR and len(list(value.get_children())) == 1:
            value = next(iter(value.get_children()))
        text, kind = self.of(children[0]), children[0].type.get_canonical().kind
        if value.kind in LITERALS or value.kind in (Kind.BINARY_OPERATOR, Kind.CONDITIONAL_OPERATOR, Kind.LAMBDA_EXPR):
            return
        if re.match(r"^(-?\s*[\w.]+|\{.*\}|!.*|\*this|std::nullopt)$", text, re.S) and \
                re.match(r"^(-?\d|\{|!|\*this|std::nullopt|nullptr|true|false)", text):
            return
        if len(list(value.get_children())) == 3 and self.of(list(value.get_children())[1]) in COMPARISONS:
            return
        if kind == TypeKind.BOOL:
            self.expression(children[0], "return value", f"!({text})")
        elif kind in INTEGERS:
            self.expression(children[0], "return value", f"({text}) + 1")
        elif kind in (TypeKind.RECORD, TypeKind.POINTER):
            begin, end = self.span(cursor)
            end = self.behind_semicolon(end)
            mutant = self.mutant("return value", begin, end, "return {};")
            self.add("return", begin, end, [mutant])

    # --- statements ---
    def bodies(self, cursor, children):
        """Lists of statements that follow each other below `cursor`."""
        if cursor.kind == Kind.COMPOUND_STMT:
            yield children
        elif cursor.kind in (Kind.IF_STMT, Kind.FOR_STMT, Kind.WHILE_STMT, Kind.CXX_FOR_RANGE_STMT, Kind.CASE_STMT,
                             Kind.DEFAULT_STMT, Kind.DO_STMT):
            # What stands inside the parentheses is no statement of its own: nothing there ends in a semicolon that
            # follows a closing parenthesis or keyword.
            for child in children:
                if self.follows_head(cursor, child):
                    yield [child]

    def follows_head(self, cursor, child):
        begin = self.span(cursor)[0]
        at = self.span(child)[0]
        before = self.text[begin:at].rstrip()
        before = re.sub(r"//[^\n]*$", "", before).rstrip()
        if cursor.kind in (Kind.CASE_STMT, Kind.DEFAULT_STMT):
            return before.endswith(":")
        if before.endswith("else") or before.endswith("do"):
            return True
        opening = self.text.find("(", begin)
        return opening >= 0 and matching(self.text, opening) < at

    def is_removable(self, cursor):
        begin, end = self.span(cursor)
        if end <= begin or self.text[self.skip_blanks(end)] != ";":
            return False
        if cursor.kind in (Kind.BREAK_STMT, Kind.CONTINUE_STMT):
            return True
        if cursor.kind == Kind.RETURN_STMT:
            return not list(cursor.get_children())
        return cursor.kind in REMOVABLE

    def statements(self, children):
        edits = []
        for child in children:
            if not self.is_removable(child):
                edits.append((None, child))
                continue
            begin, end = self.span(child)
            end = self.behind_semicolon(end)
            removed = self.mutant("removed", begin, end, ";", f"{shortened(self.text[begin:end])} -> removed")
            edit = Edit("statement", begin, end, [removed])
            self.edits.append(edit)
            edits.append((edit, child))
        for (first, before), (second, behind) in zip(edits, edits[1:]):
            if first and second and self.depend(before, behind):
                swap = self.mutant("swapped", first.begin, second.end,
                                   self.text[second.begin:second.end] + " " + self.text[first.begin:first.end],
                                   f"{shortened(self.text[first.begin:first.end], 60)} <-> "
                                   f"{shortened(self.text[second.begin:second.end], 60)}")
                first.mutants.append(swap)
                first.swap = (second.begin, second.end)
                second.swapped = swap

    def depend(self, first, second):
        """Two plain assignments of different things commute; what calls something may not."""
        jumps = (Kind.BREAK_STMT, Kind.CONTINUE_STMT, Kind.RETURN_STMT, Kind.CXX_THROW_EXPR)
        if first.kind in jumps or second.kind in jumps:
            return False
        texts = [self.of(first), self.of(second)]
        entries = [re.match(ENTRY, text) for text in texts]
        if all(entries) and entries[0][1] == entries[1][1] and entries[0][2] != entries[1][2]:
            return False
        names = [set(re.findall(r"[A-Za-z_]\w*", text)) for text in texts]
        written = [re.findall(r"[A-Za-z_]\w*", re.split(r"(?<![=!<>])=(?!=)", text)[0]) for text in texts]
        calls = [re.search(r"\w\s*\(", re.sub(HARMLESS, "", text)) for text in texts]
        if calls[0] and calls[1]:
            return True
        if calls[0] or calls[1]:
            return bool(names[0] & names[1])
        return bool(written[0]) and written[0][-1] in names[1] or bool(written[1]) and written[1][-1] in names[0]

    def skip_blanks(self, at):
        while at < len(self.text) - 1 and self.text[at].isspace():
            at += 1
        return at

    def behind_semicolon(self, end):
        return self.skip_blanks(end) + 1

    # --- what helps weaving ---
    def relax(self, cursor, children, replacement):
        """A constant expression cannot ask which mutant is on: constants and functions lose their "constexpr"."""
        begin = self.span(cursor)[0]
        end = self.span(children[-1])[0] if children else self.span(cursor)[1]
        line = self.text.rfind("\n", 0, begin) + 1
        found = re.search(r"\bconstexpr\b", self.text[line:max(begin + 40, begin)])
        if not found or ";" in self.text[line:line + found.start()] or "if constexpr" in self.text[line:begin + 40]:
            return
        at = line + found.start()
        if at > self.span(cursor)[1] or self.text.count("\n", at, begin) > 0:
            return
        if replacement is None:
            before, behind = self.text[line:at], self.text[at + 9:self.span(cursor)[1]]
            is_const = re.match(r"\s*(const\b|[\w:]+(<[^>]*>)?\s+const\b|const\s)", behind) is not None
            member = cursor.semantic_parent is not None and cursor.semantic_parent.kind in (
                Kind.CLASS_DECL, Kind.STRUCT_DECL, Kind.CLASS_TEMPLATE)
            replacement = "" if is_const else "const"
            if member:
                replacement = "inline " + replacement
            elif "static" not in before and "inline" not in before and is_const:
                replacement = "static"
        self.edits.append(Edit("relaxed", at, at + len("constexpr"), [], name=cursor.spelling, replacement=replacement,
                               scope=self.span(cursor)))

    def probe(self, children):
        for child in children:
            if child.kind == Kind.COMPOUND_STMT and self.text[self.span(child)[0]] == "{":
                begin, end = self.span(child)
                self.edits.append(Edit("probe", begin, end, []))


@dataclasses.dataclass
class Context:
    by_reference: bool = False

    def inside(self, cursor):
        result = cursor.result_type.get_canonical().kind if cursor.kind != Kind.LAMBDA_EXPR else None
        return Context(result in (TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE))


def matching(text, opening):
    """Where the parenthesis at `opening` is closed."""
    depth, at = 0, opening
    while at < len(text):
        quoted = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)*\'|//[^\n]*|/\*.*?\*/', re.S).match(text, at)
        if quoted and not (text[at] == "'" and at and text[at - 1].isdigit()):
            at = quoted.end()
            continue
        if text[at] == "(":
            depth += 1
        elif text[at] == ")":
            depth -= 1
            if depth == 0:
                return at
        at += 1
    return len(text)


def find(path, name, arguments, texts):
    """The edits of the file at `path`, called `name` in reports; `texts`: path to text, of files that read otherwise
    on disk."""
    unit = cindex.Index.create().parse(path, args=arguments, unsaved_files=list(texts.items()))
    errors = [str(one) for one in unit.diagnostics if one.severity >= cindex.Diagnostic.Error]
    if errors:
        raise RuntimeError("\n".join(errors))
    return Finder(path, name, texts[path], unit).find()
