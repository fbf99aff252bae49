"""Finds what can be mutated in a C++ source, by libclang's tree of it, and writes sources in which each of the chosen
mutations can be turned on while the program runs.

A mutation is a dictionary, as it is kept between runs: `file` (as from the root of the tree), `start` and `end` in
bytes, `line`, `kind`, `text` that takes the place of what stands there, and `form`, the way in which the choice is
written:

    value      (on ? (text) : (original))
    condition  (on ? (text) : static_cast<bool>(original))
    removal    { if (!on) original }
    begin      the original, and before it what ends the program; the control of its file
"""

import re

from clang.cindex import Config, CursorKind, Index, TranslationUnit, TypeKind

Config.set_library_file("libclang-14.so.1")

RELATIONS = {"<": ["<=", ">"], "<=": ["<", ">="], ">": [">=", "<"], ">=": [">", "<="], "==": ["!="], "!=": ["=="]}
ARITHMETIC = {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"], "&": ["|"], "|": ["&"], "^": ["&"],
              "<<": [">>"], ">>": ["<<"]}
LOGIC = {"&&": ["||"], "||": ["&&"]}
COMPOUND = {"+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "|=": ["&="], "&=": ["|="], "^=": ["|="],
            "<<=": [">>="], ">>=": ["<<="]}

FUNCTIONS = {CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
             CursorKind.FUNCTION_TEMPLATE, CursorKind.CONVERSION_FUNCTION}
# Worked out by the compiler, or without code of their own.
LEFT_OUT = {CursorKind.STATIC_ASSERT, CursorKind.ENUM_DECL, CursorKind.FIELD_DECL, CursorKind.PARM_DECL,
            CursorKind.CXX_UNARY_EXPR, CursorKind.SIZE_OF_PACK_EXPR, CursorKind.TYPE_REF, CursorKind.TEMPLATE_REF,
            CursorKind.NAMESPACE_REF, CursorKind.USING_DECLARATION, CursorKind.TYPE_ALIAS_DECL,
            CursorKind.TYPEDEF_DECL, CursorKind.TEMPLATE_TYPE_PARAMETER, CursorKind.TEMPLATE_NON_TYPE_PARAMETER}
INTEGERS = {TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.CHAR16, TypeKind.CHAR32, TypeKind.USHORT, TypeKind.UINT,
            TypeKind.ULONG, TypeKind.ULONGLONG, TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT,
            TypeKind.LONG, TypeKind.LONGLONG}
FLOATS = {TypeKind.FLOAT, TypeKind.DOUBLE}


def flat(text):
    """The code of `text` on one line, without its comments."""
    parts = re.findall(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|//[^\n]*|/\*.*?\*/|[^"\'/]+|.', text, re.S)
    return " ".join("".join(" " if part.startswith(("//", "/*")) else part for part in parts).split())


def bare(cursor):
    """The expression inside what the compiler puts around it."""
    while cursor.kind in (CursorKind.UNEXPOSED_EXPR, CursorKind.PAREN_EXPR):
        children = list(cursor.get_children())
        if len(children) != 1:
            break
        cursor = children[0]
    return cursor


def value_type(cursor):
    return cursor.type.get_canonical().kind


class Finder:
    """Collects the mutations of the files of one folder that a source reads."""

    def __init__(self, root, folder, unit):
        self.root = root
        self.folder = f"{root}/{folder}/"
        self.texts = {}
        self.macros = {}
        self.scopes = {}
        self.found = []
        self.left_out = 0
        for cursor in unit.cursor.get_children():
            place = cursor.location.file
            if place is None or not place.name.startswith(self.folder):
                continue
            if cursor.kind == CursorKind.MACRO_INSTANTIATION:
                extent = cursor.extent
                self.macros.setdefault(place.name, []).append((extent.start.offset, extent.end.offset))
        for cursor in unit.cursor.get_children():
            place = cursor.location.file
            if place is not None and self.is_ours(place.name) and not cursor.kind.is_preprocessing():
                self.declaration(cursor)

    def is_ours(self, path):
        if not path.startswith(self.folder) or path.endswith(".inc"):
            return False
        if path not in self.texts:
            with open(path, "rb") as file:
                self.texts[path] = file.read()
        # A header that C reads as well.
        return b"__cplusplus" not in self.texts[path]

    def is_here(self, cursor):
        place = cursor.extent.start.file
        return place is not None and place.name in self.texts

    def text(self, cursor):
        extent = cursor.extent
        return self.texts[extent.start.file.name][extent.start.offset:extent.end.offset].decode()

    def between(self, before, after):
        data = self.texts[before.extent.start.file.name]
        return flat(data[before.extent.end.offset:after.extent.start.offset].decode())

    def add(self, cursor, kind, text, form="value", end=None):
        extent = cursor.extent
        path = extent.start.file.name
        start, stop = extent.start.offset, extent.end.offset if end is None else end
        data = self.texts[path]
        inside_macro = any(a < stop and start < b for a, b in self.macros.get(path, ()))
        if inside_macro or stop <= start or re.search(rb"\n[ \t]*#", data[start:stop]):
            self.left_out += 1
            return
        self.found.append({"file": path[len(self.root) + 1:], "start": start, "end": stop, "line": extent.start.line,
                           "kind": kind, "text": flat(text), "form": form})

    # Declarations

    def declaration(self, cursor):
        if cursor.kind in FUNCTIONS:
            self.function(cursor)
        elif cursor.kind == CursorKind.VAR_DECL:
            self.variable(cursor, local=False)
        elif cursor.kind not in LEFT_OUT:
            for child in cursor.get_children():
                place = child.location.file
                if place is not None and self.is_ours(place.name):
                    self.declaration(child)

    def function(self, cursor):
        for child in cursor.get_children():
            if child.kind == CursorKind.COMPOUND_STMT:
                first = next(child.get_children(), None)
                if first is not None and first.extent.start.file.name == cursor.location.file.name:
                    self.add(first, "control", "", "begin", end=first.extent.start.offset + 1)
                self.block(child, ends=cursor.result_type.kind != TypeKind.VOID)
            else:
                self.walk(child)

    def variable(self, cursor, local=True):
        before_name = self.texts[cursor.location.file.name][cursor.extent.start.offset:cursor.location.offset]
        children = list(cursor.get_children())
        if not children:
            return
        value = children[-1]
        is_array = cursor.type.get_canonical().kind == TypeKind.CONSTANTARRAY
        if re.search(rb"\bconstexpr\b", before_name) or (is_array and value.kind != CursorKind.INIT_LIST_EXPR):
            self.left_out += 1
            return
        if value.extent.start.offset <= cursor.location.offset or not value.kind.is_expression():
            return
        if local:
            self.walk(value)
            return
        # Made before main: only what is called later can be told apart.
        self.left_out += 1
        self.lambdas(value)

    def lambdas(self, cursor):
        if cursor.kind == CursorKind.LAMBDA_EXPR:
            self.walk(cursor)
            return
        for child in cursor.get_children():
            self.lambdas(child)

    # Statements

    def block(self, cursor, ends):
        """`ends`: what comes last here ends a function that gives a value."""
        children = list(cursor.get_children())
        for child in children:
            self.statement(child, ends and child == children[-1])

    def statement(self, cursor, ends):
        kind = cursor.kind
        self.removal(cursor, ends)
        children = list(cursor.get_children())
        if kind == CursorKind.COMPOUND_STMT:
            self.block(cursor, ends)
        elif kind == CursorKind.DECL_STMT:
            for child in children:
                if child.kind == CursorKind.VAR_DECL:
                    self.variable(child)
                elif child.kind not in LEFT_OUT:
                    self.declaration(child)
        elif kind == CursorKind.IF_STMT:
            head = self.texts[cursor.extent.start.file.name][cursor.extent.start.offset:][:20]
            self.branches(children, ends, is_constant=re.match(rb"if\s+constexpr", head) is not None)
        elif kind in (CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT):
            if children:
                self.statement(children[-1], ends)
        elif kind == CursorKind.WHILE_STMT:
            self.branches(children, False)
        elif kind in (CursorKind.FOR_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.SWITCH_STMT, CursorKind.DO_STMT,
                      CursorKind.CXX_TRY_STMT, CursorKind.CXX_CATCH_STMT):
            for child in children:
                if child.kind == CursorKind.VAR_DECL:
                    self.variable(child)
                elif child.kind.is_expression() and child != children[-1]:
                    self.walk(child)
                else:
                    self.statement(child, ends)
        elif kind == CursorKind.RETURN_STMT:
            if children:
                if value_type(children[0]) == TypeKind.BOOL and bare(children[0]).kind != CursorKind.CXX_BOOL_LITERAL_EXPR:
                    self.add(children[0], "negation", f"!({self.text(children[0])})", "condition")
                self.walk(children[0])
        elif kind.is_expression():
            self.walk(cursor)
        else:
            for child in children:
                self.statement(child, ends)

    def branches(self, children, ends, is_constant=False):
        rest = children
        is_declared = False
        if children and children[0].kind == CursorKind.VAR_DECL:
            # The condition is the variable.
            is_declared = True
            self.variable(children[0])
            rest = children[1:]
        elif children and children[0].kind == CursorKind.DECL_STMT:
            self.statement(children[0], False)
            rest = children[1:]
        if rest and rest[0].kind.is_expression():
            if not is_constant and not is_declared:
                self.add(rest[0], "condition", f"!({self.text(rest[0])})", "condition")
                self.walk(rest[0])
            rest = rest[1:]
        for child in rest:
            self.statement(child, ends)

    def removal(self, cursor, ends):
        kind = cursor.kind
        is_statement = kind.is_expression() or kind in (CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT)
        if kind == CursorKind.RETURN_STMT:
            is_statement = not ends
        if not is_statement:
            return
        data = self.texts[cursor.extent.start.file.name]
        behind = re.compile(rb"\s*;").match(data, cursor.extent.end.offset)
        if behind:
            self.add(cursor, "removal", "", "removal", end=behind.end())

    # Expressions

    def walk(self, cursor):
        kind = cursor.kind
        if kind in LEFT_OUT or kind.is_attribute() or not self.is_here(cursor):
            return
        if kind == CursorKind.LAMBDA_EXPR:
            for child in cursor.get_children():
                if child.kind == CursorKind.COMPOUND_STMT:
                    self.block(child, ends=True)
            return
        children = list(cursor.get_children())
        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.operator(cursor, children)
        elif kind == CursorKind.UNARY_OPERATOR:
            self.unary(cursor, children)
        elif kind == CursorKind.CONDITIONAL_OPERATOR and len(children) == 3:
            self.add(children[0], "condition", f"!({self.text(children[0])})", "condition")
        elif kind == CursorKind.ARRAY_SUBSCRIPT_EXPR and len(children) == 2:
            self.add(children[1], "index", f"({self.text(children[1])}) + 1")
        elif kind == CursorKind.CALL_EXPR:
            self.call(cursor)
        elif kind == CursorKind.MEMBER_REF_EXPR:
            self.member(cursor)
            children = children[:1]
        elif kind == CursorKind.DECL_REF_EXPR:
            self.constant(cursor)
            return
        else:
            self.literal(cursor)
        for child in children:
            self.walk(child)

    def operator(self, cursor, sides):
        between = self.between(*sides)
        left, right = self.text(sides[0]), self.text(sides[1])
        for kind, table in (("relation", RELATIONS), ("arithmetic", ARITHMETIC), ("logic", LOGIC),
                            ("arithmetic", COMPOUND)):
            for other in table.get(between, ()):
                # What stood in brackets, or not, binds as before.
                self.add(cursor, kind, f"({left}) {other} ({right})" if table is not COMPOUND else f"{left} {other} {right}")
        if between in LOGIC:
            self.add(cursor, "operand", f"static_cast<bool>({left})")
            self.add(cursor, "operand", f"static_cast<bool>({right})")

    def unary(self, cursor, children):
        text = self.text(cursor)
        inner = self.text(children[0]) if children else ""
        if text.startswith("++"):
            self.add(cursor, "arithmetic", "--" + text[2:])
        elif text.startswith("--"):
            self.add(cursor, "arithmetic", "++" + text[2:])
        elif text.endswith("++"):
            self.add(cursor, "arithmetic", text[:-2] + "--")
        elif text.endswith("--"):
            self.add(cursor, "arithmetic", text[:-2] + "++")
        elif text.startswith("!"):
            self.add(cursor, "negation", f"static_cast<bool>({inner})")
        elif text.startswith(("-", "~")):
            self.add(cursor, "arithmetic", f"({inner})")

    def literal(self, cursor):
        kind, text = cursor.kind, self.text(cursor)
        if kind == CursorKind.INTEGER_LITERAL and text[:1].isdigit():
            self.add(cursor, "constant", f"{text} + 1")
            if text.lower().startswith("0x") and len(text) > 3:
                highest = 1 << (int(re.match(r"0[xX][0-9a-fA-F']+", text)[0].replace("'", ""), 16).bit_length() - 1)
                self.add(cursor, "mask", f"{text} ^ {highest:#x}")
            elif text.strip("uUlL0") != "":
                self.add(cursor, "constant", f"{text} - 1")
        elif kind == CursorKind.FLOATING_LITERAL:
            self.add(cursor, "constant", f"{text} + 1")
        elif kind == CursorKind.CHARACTER_LITERAL:
            self.add(cursor, "constant", f"static_cast<char>({text} + 1)")
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.add(cursor, "constant", "false" if text == "true" else "true")
        elif kind == CursorKind.STRING_LITERAL and text.startswith('"') and "\\0" not in text:
            # The last letter that is no part of an escape or of a place to fill in.
            spots = [m.start(1) for m in re.finditer(r'\\.[0-9a-fA-F]*|\{[^}]*\}|([A-Za-z0-9])', text) if m[1]]
            if spots:
                spot = spots[-1]
                self.add(cursor, "text", text[:spot] + ("x" if text[spot] != "x" else "y") + text[spot + 1:])

    def constant(self, cursor):
        target = cursor.referenced
        if target is None:
            return
        if target.kind == CursorKind.ENUM_CONSTANT_DECL:
            names = [each.spelling for each in target.semantic_parent.get_children()]
            if len(names) > 1:
                at = names.index(target.spelling)
                self.add(cursor, "enumerator", re.sub(r"\w+$", names[at + 1 if at + 1 < len(names) else at - 1],
                                                      self.text(cursor)))
        elif target.kind == CursorKind.VAR_DECL and target.type.is_const_qualified():
            known = target.type.get_canonical().kind in INTEGERS | FLOATS
            is_global = target.semantic_parent is None or target.semantic_parent.kind not in FUNCTIONS
            if known and (is_global or self.is_constexpr(target)):
                self.add(cursor, "constant", f"{self.text(cursor)} + 1")

    def is_constexpr(self, variable):
        return any(token.spelling == "constexpr" for token in variable.get_tokens())

    def call(self, cursor):
        arguments = list(cursor.get_arguments())
        # A default stands where it was declared.
        if not all(self.is_here(argument) for argument in arguments):
            return
        operator = re.match(r"operator(\W+)$", cursor.spelling or "")
        if operator and len(arguments) == 2 and self.between(*arguments) == operator[1]:
            self.operator(cursor, arguments)
            return
        if operator:
            if operator[1] == "[]" and len(arguments) == 2 and value_type(arguments[1]) in INTEGERS:
                self.add(arguments[1], "index", f"({self.text(arguments[1])}) + 1")
            return
        # Of whole numbers either order gives the same one.
        if cursor.spelling in ("min", "max") and all(value_type(each) in INTEGERS for each in arguments):
            return
        written = self.text(cursor)
        start = cursor.extent.start.offset
        for one, two in zip(arguments, arguments[1:]):
            same = one.type.get_canonical().spelling == two.type.get_canonical().spelling
            first, second = self.text(one), self.text(two)
            if same and first and second and first != second and start <= one.extent.start.offset < two.extent.start.offset:
                a, b = one.extent.start.offset - start, one.extent.end.offset - start
                c, d = two.extent.start.offset - start, two.extent.end.offset - start
                raw = written.encode()
                self.add(cursor, "arguments",
                         (raw[:a] + second.encode() + raw[b:c] + first.encode() + raw[d:]).decode())
        self.neighbour(cursor, cursor.referenced)

    def member(self, cursor):
        if cursor.referenced is not None and cursor.referenced.kind == CursorKind.FIELD_DECL:
            self.neighbour(cursor, cursor.referenced)

    def members(self, scope):
        """The names in a scope: all of them, and those of each kind and type in their order."""
        if scope.hash not in self.scopes:
            names, siblings = set(), {}
            for each in scope.get_children():
                names.add(each.spelling)
                if each.kind in (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.FIELD_DECL):
                    key = (each.kind, each.type.get_canonical().spelling, each.is_static_method())
                    siblings.setdefault(key, []).append(each.spelling)
            self.scopes[scope.hash] = (names, siblings)
        return self.scopes[scope.hash]

    def neighbour(self, cursor, target):
        """Another function or field of the same type, the next one in its scope."""
        if target is None or target.kind not in (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.FIELD_DECL):
            return
        place = target.location.file
        scope = target.semantic_parent
        if place is None or scope is None or not place.name.startswith(self.root) or not target.spelling.isidentifier():
            return
        names, siblings = self.members(scope)
        # Of a generated class only what belongs to a field.
        is_message = "_InternalSerialize" in names
        mine = re.sub(r"^has_|_size$", "", target.spelling)
        wanted = (target.kind, target.type.get_canonical().spelling, target.is_static_method())

        alike = []
        for name in siblings.get(wanted, ()):
            if is_message:
                field = re.sub(r"^has_|_size$", "", name)
                if "clear_" + field not in names or name.replace(field, "") != target.spelling.replace(mine, ""):
                    continue
            if name.isidentifier() and name not in alike:
                alike.append(name)
        if target.spelling not in alike or len(alike) < 2:
            return
        at = alike.index(target.spelling)
        other = alike[at + 1 if at + 1 < len(alike) else at - 1]
        text = self.text(cursor)
        # The name is the last one before the arguments.
        head = cursor.extent.start.offset
        name_at = None
        if cursor.kind == CursorKind.CALL_EXPR:
            callee = next(cursor.get_children(), None)
            if callee is not None:
                for match in re.finditer(rf"\b{target.spelling}\b", text):
                    if head + len(text[:match.start()].encode()) < callee.extent.end.offset:
                        name_at = match.start()
        else:
            matches = list(re.finditer(rf"\b{target.spelling}\b", text))
            name_at = matches[-1].start() if matches else None
        if name_at is not None:
            self.add(cursor, "neighbour", text[:name_at] + other + text[name_at + len(target.spelling):])


def find(root, folder, source, flags):
    """The mutations of `source` and of the folder's headers that it reads, and how many places were left out."""
    unit = Index.create().parse(source, flags, options=TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
    wrong = [each for each in unit.diagnostics if each.severity >= 3]
    if wrong:
        raise RuntimeError(f"{source}: {wrong[0].location}: {wrong[0].spelling}")
    finder = Finder(root, folder, unit)
    return finder.found, finder.left_out


def write(path, data, mutations, header):
    """The source `data` with the choices of `mutations`, each of which has its `number`; and the places of each choice
    in that, as (line, column, last line, last column, number)."""
    # The outer ones first; of the same place, what has to be outermost.
    forms = ["begin", "removal", "condition", "value"]
    order = sorted(mutations, key=lambda m: (m["start"], m["form"] != "begin", -m["end"], forms.index(m["form"])))
    out = [f'#include "{header}"\n#line 1 "{path}"\n'.encode()]
    places = []
    line, column = 1, 1

    def emit(piece):
        nonlocal line, column
        out.append(piece)
        lines = piece.count(b"\n")
        line += lines
        column = len(piece) - piece.rfind(b"\n") if lines else column + len(piece)

    def render(begin, end, inner):
        at = begin
        while inner:
            mutation = inner.pop(0)
            nested = []
            while inner and inner[0]["start"] < mutation["end"]:
                nested.append(inner.pop(0))
            emit(data[at:mutation["start"]])
            from_line, from_column = line, column
            on = f"mutants::On({mutation['number']})"
            before, after = {
                "value": (f"({on} ? ({mutation['text']}) : (", "))"),
                "condition": (f"({on} ? {mutation['text']} : static_cast<bool>(", "))"),
                "removal": ("{ if (!" + on + ") { ", " } }"),
                "begin": (f"if ({on}) __builtin_abort(); ", ""),
            }[mutation["form"]]
            if mutation["form"] == "begin":
                # Behind this it is as if it were not there.
                emit(before.encode())
                render(mutation["start"], mutation["start"], [])
                places.append((from_line, from_column, line, column, mutation["number"]))
                inner[:0] = nested
                at = mutation["start"]
                continue
            emit(before.encode())
            render(mutation["start"], mutation["end"], nested)
            emit(after.encode())
            places.append((from_line, from_column, line, column, mutation["number"]))
            at = mutation["end"]
        emit(data[at:end])

    render(0, len(data), order)
    return b"".join(out), places
