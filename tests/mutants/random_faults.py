"""Finds every small fault that can be put into a source file: what a random draw draws from.

Reads the source with libclang (Debian's python3-clang), so that a fault is a change of the program and never of a comment
or of a word inside a string.
"""

import dataclasses
import json
import pathlib

from clang.cindex import CursorKind, Index, TranslationUnit

COMPARISONS = {"<": ["<=", ">"], ">": [">=", "<"], "<=": ["<", ">="], ">=": [">", "<="], "==": ["!="], "!=": ["=="]}
JOINS = {"&&": "||", "||": "&&"}
FUNCTIONS = {CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
             CursorKind.CONVERSION_FUNCTION, CursorKind.FUNCTION_TEMPLATE}
# Statements of which nothing is left when they are dropped.
DROPPED = {CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
           CursorKind.UNARY_OPERATOR, CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.FOR_STMT,
           CursorKind.DO_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.SWITCH_STMT, CursorKind.BREAK_STMT,
           CursorKind.CONTINUE_STMT, CursorKind.CXX_DELETE_EXPR, CursorKind.CXX_THROW_EXPR, CursorKind.UNEXPOSED_EXPR}
HOLD_STATEMENTS = {CursorKind.COMPOUND_STMT, CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.FOR_STMT,
                   CursorKind.DO_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT}
# Handing a value on by moving it, or not, is a matter of speed alone.
SPEED_ONLY = {"move", "forward", "reserve", "shrink_to_fit"}


@dataclasses.dataclass(frozen=True, order=True)
class Fault:
    """`source[start:end]` becomes `replacement`."""
    file: str
    start: int
    end: int
    replacement: bytes
    kind: str
    function: str

    def mutated(self, source):
        return source[:self.start] + self.replacement + source[self.end:]

    def _lines(self, source):
        """The changed lines, before and after, without the blanks around them."""
        first = source.rfind(b"\n", 0, self.start) + 1
        last = source.find(b"\n", self.end)
        before = source[first:last]
        after = source[first:self.start] + self.replacement + source[self.end:last]
        return [[line.strip() for line in text.decode().splitlines()] for text in (before, after)]

    def change(self, source):
        """(before, after): the changed lines."""
        before, after = self._lines(source)
        return tuple(before), tuple(after)

    def title(self, source):
        line = source.count(b"\n", 0, self.start) + 1
        before, after = self._lines(source)
        return (f"{self.file}:{line}: {self.kind} in {self.function or 'the file'}\n"
                f"    - {' '.join(before)[:150]}\n    + {' '.join(after)[:150]}")


def compile_arguments(build, file):
    """What the compiler is told about `file`; a header is read as the sources of its folder are."""
    commands = json.loads((build / "compile_commands.json").read_text())
    folder = str(pathlib.PurePath(file).parent) + "/"
    entry = next((c for c in commands if c["file"].endswith("/" + file)), None) or next(
        c for c in commands if "/" + folder in c["file"] and "_verify_interface" not in c["file"])
    words = entry["command"].split()
    kept = [word for word in words if word.startswith(("-I", "-D", "-std="))]
    for at, word in enumerate(words):
        if word == "-isystem":
            kept += [word, words[at + 1]]
    return [word.replace('\\"', '"') for word in kept] + ["-x", "c++"]


class _Finder:
    def __init__(self, root, build, file):
        self.file = file
        self.path = str(root / file)
        self.source = (root / file).read_bytes()
        self.faults = set()
        unit = Index.create().parse(self.path, args=compile_arguments(build, file),
                                    options=TranslationUnit.PARSE_NONE)
        errors = [d for d in unit.diagnostics if d.severity >= d.Error]
        if errors:
            raise RuntimeError(f"libclang cannot read {file}: {errors[0]}")
        for cursor in unit.cursor.get_children():
            if cursor.location.file and cursor.location.file.name == self.path:
                self._visit(cursor, "")

    def _add(self, kind, function, start, end, replacement):
        if isinstance(replacement, str):
            replacement = replacement.encode()
        # A change of lines would change the numbers of all lines behind it.
        missing = self.source.count(b"\n", start, end) - replacement.count(b"\n")
        replacement += b"\n" * max(missing, 0)
        self.faults.add(Fault(self.file, start, end, replacement, kind, function))

    def _range(self, cursor):
        """Where the cursor stands in the file; None for what a macro made."""
        start, end = cursor.extent.start, cursor.extent.end
        if not start.file or not end.file or start.file.name != self.path or end.file.name != self.path:
            return None
        return (start.offset, end.offset) if start.offset < end.offset else None

    def _text(self, place):
        return self.source[place[0]:place[1]].decode()

    def _visit(self, cursor, function):
        place = self._range(cursor)
        kind = cursor.kind
        if kind in FUNCTIONS:
            function = cursor.spelling
        if kind == CursorKind.STATIC_ASSERT:
            return
        if place is not None:
            if kind in (CursorKind.BINARY_OPERATOR, CursorKind.CALL_EXPR):
                self._operator(cursor, function)
            if kind == CursorKind.CALL_EXPR:
                self._arguments(cursor, function)
            self._literal(cursor, place, function)
            self._condition(cursor, place, function)
            if kind in HOLD_STATEMENTS:
                self._statements(cursor, function)
        for child in cursor.get_children():
            self._visit(child, function)

    # --- operators ---

    def _operator(self, cursor, function):
        places = sorted({p for p in map(self._range, cursor.get_children()) if p})
        for left, right in zip(places, places[1:]):
            between = self.source[left[1]:right[0]].decode()
            sign = between.strip()
            # An overloaded operator is a child of its own, between its operands.
            if sign == "" and self._text(right).strip() in COMPARISONS:
                sign, start = self._text(right).strip(), right[0]
            elif sign in COMPARISONS or sign in JOINS:
                start = left[1] + between.index(sign)
            else:
                continue
            for other in COMPARISONS.get(sign, []):
                self._add("comparison", function, start, start + len(sign), other)
            if sign in JOINS:
                self._add("negated condition", function, start, start + len(sign), JOINS[sign])

    # --- arguments ---

    def _arguments(self, cursor, function):
        arguments = list(cursor.get_arguments())
        if cursor.spelling.startswith("operator"):
            return
        for one, two in zip(arguments, arguments[1:]):
            first, second = self._range(one), self._range(two)
            if first is None or second is None or first[1] > second[0] or self._text(first) == self._text(second):
                continue
            swapped = self._text(second) + self._text((first[1], second[0])) + self._text(first)
            self._add("swapped arguments", function, first[0], second[1], swapped)
        place = self._range(cursor)
        if len(arguments) == 1 and cursor.spelling not in SPEED_ONLY and self._range(arguments[0]) not in (None, place):
            self._add("dropped call", function, *place, "(" + self._text(self._range(arguments[0])) + ")")

    # --- literals ---

    def _literal(self, cursor, place, function):
        text = self._text(place)
        # A macro's name stands for the literal in it, but Q_OBJECT is no number.
        if cursor.kind == CursorKind.INTEGER_LITERAL and "(" not in text and text != "Q_OBJECT":
            self._add("constant +1", function, *place, f"({text} + 1)")
            self._add("constant -1", function, *place, f"({text} - 1)")
        elif cursor.kind == CursorKind.FLOATING_LITERAL:
            self._add("constant +1", function, *place, f"({text} + 1)")
        elif cursor.kind == CursorKind.CXX_BOOL_LITERAL_EXPR and text in ("true", "false"):
            self._add("changed literal", function, *place, "false" if text == "true" else "true")
        elif cursor.kind == CursorKind.CHARACTER_LITERAL and text.startswith("'"):
            self._add("changed literal", function, *place, f"char({text} + 1)")
        elif cursor.kind == CursorKind.STRING_LITERAL and text.startswith('"'):
            self._add("changed literal", function, *place, '"~' + text[1:])
            if len(text) > 3 and "\\" not in text and "\n" not in text:
                self._add("changed literal", function, *place, text[:-2] + '"')
        elif cursor.kind == CursorKind.ENUM_CONSTANT_DECL and "=" in text:
            self._add("constant +1", function, *place, text + " + 1")

    # --- conditions ---

    def _condition(self, cursor, place, function):
        children = list(cursor.get_children())
        condition = None
        if cursor.kind == CursorKind.IF_STMT and children:
            condition = children[1] if children[0].kind == CursorKind.DECL_STMT else children[0]
        elif cursor.kind == CursorKind.WHILE_STMT and children:
            condition = children[0]
        elif cursor.kind == CursorKind.DO_STMT and len(children) == 2:
            condition = children[1]
        elif cursor.kind == CursorKind.CONDITIONAL_OPERATOR and children:
            condition = children[0]
        elif cursor.kind == CursorKind.FOR_STMT:
            parts = self.source[place[0]:place[1]].split(b";", 2)
            if len(parts) == 3 and parts[1].strip():
                start = place[0] + len(parts[0]) + 1
                self._negate(function, (start, start + len(parts[1])))
        if condition is not None and condition.kind != CursorKind.VAR_DECL:
            where = self._range(condition)
            if where is not None:
                self._negate(function, where)

    def _negate(self, function, where):
        self._add("negated condition", function, *where, f"!({self._text(where).strip()})")

    # --- statements ---

    def _statements(self, cursor, function):
        for child in cursor.get_children():
            if child.kind not in DROPPED:
                continue
            where = self._range(child)
            # A statement ends in its own brace or in a semicolon; anything else is a condition.
            if where is None or not (self._text(where).endswith("}")
                                     or self.source[where[1]:].lstrip().startswith(b";")):
                continue
            if child.kind == CursorKind.CALL_EXPR and child.spelling in SPEED_ONLY:
                continue
            self._add("dropped statement", function, *where, "{}" if self._text(where).endswith("}") else "")


def faults_of(root, build, files):
    """All faults of the files (names below `root`), in order. `build` is a configured build of `root`."""
    faults = set()
    for file in files:
        faults |= _Finder(root, build, file).faults
    return sorted(faults)


def drawn(faults, generator):
    """The faults in a random order in which each kind comes as often as any other, for as long as it lasts."""
    kinds = {}
    for fault in faults:
        kinds.setdefault(fault.kind, []).append(fault)
    for kind in sorted(kinds):
        generator.shuffle(kinds[kind])
    while kinds:
        kind = generator.choice(sorted(kinds))
        yield kinds[kind].pop()
        if not kinds[kind]:
            del kinds[kind]
