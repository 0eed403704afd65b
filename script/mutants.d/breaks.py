"""The breaks of a C++ source: what may be wrong in it, written so that one build holds them all and one of them works at a
time (mutant.h). Looks into functions only, not into templates, and at nothing that a macro wrote."""

import re

from clang import cindex

Kind = cindex.CursorKind
FUNCTIONS = (Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION)
UNTOUCHED = (Kind.FUNCTION_TEMPLATE, Kind.CLASS_TEMPLATE, Kind.STATIC_ASSERT)
STATEMENTS = (Kind.CALL_EXPR, Kind.UNEXPOSED_EXPR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR, Kind.BINARY_OPERATOR)
WHOLE_NUMBERS = {"CHAR_S", "UCHAR", "SHORT", "USHORT", "INT", "UINT", "LONG", "ULONG", "LONGLONG", "ULONGLONG"}
NUMBERS = {"INT", "UINT", "LONG", "ULONG", "DOUBLE"}
OPERATOR = re.compile(r"&&|\|\||[=!<>]=|<<|>>|[<>=+*/%-]")
MORE, LESS = "mutantBeside<1>(@, ", "mutantBeside<-1>(@, "
NEIGHBOUR = {"<": MORE, ">=": MORE, "<=": LESS, ">": LESS}
TEXT_LENGTH = 90


class Break:
    """What stands before and after a piece of the source, `@` being the mutant's number."""

    def __init__(self, kind, cursor, before, after):
        self.kind, self.line, self.before, self.after = kind, cursor.extent.start.line, before, after
        self.start, self.end = cursor.extent.start.offset, cursor.extent.end.offset


class Source:
    """One parsed file; `breaks` is what was found in it, in its order, with a name that survives moved lines."""

    def __init__(self, path, name, text, arguments):
        self.path, self.text, self.breaks, self.names = str(path), text.encode(), [], {}
        unit = cindex.Index.create().parse(self.path, arguments, [(self.path, text)],
                                           cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        errors = [str(found) for found in unit.diagnostics if found.severity >= cindex.Diagnostic.Error]
        if errors:
            print(f"{name}: not read as the compiler does: {errors[0]}")
        self.name = name
        self.macros = [each.extent for each in unit.cursor.get_children() if each.kind == Kind.MACRO_INSTANTIATION and self.owns(each)]
        for each in unit.cursor.get_children():
            if each.location.file and each.location.file.name == self.path:
                self.visit(each, None)

    def owns(self, cursor):
        start, end = cursor.extent.start.file, cursor.extent.end.file
        return start and end and start.name == self.path == end.name

    def between(self, start, end):
        return self.text[start:end].decode(errors="replace")

    def of(self, cursor):
        return self.between(cursor.extent.start.offset, cursor.extent.end.offset)

    def visit(self, cursor, function):
        """`function` is the name of the one around the cursor, if it is in a body."""
        if cursor.kind in UNTOUCHED or cursor.kind == Kind.VAR_DECL and "constexpr" in self.of(cursor).split("=")[0]:
            return
        children = list(cursor.get_children())
        if cursor.kind in FUNCTIONS or cursor.kind == Kind.LAMBDA_EXPR:
            if re.search(r"\bconst(expr|eval)\b", self.of(cursor).split("{")[0]):
                return
            function = function or cursor.spelling
            children = [each for each in children if each.kind == Kind.COMPOUND_STMT]
        elif cursor.kind == Kind.CASE_STMT:
            children = children[1:]
        elif function and cursor.kind in RULES and self.owns(cursor):
            for found in RULES[cursor.kind](self, cursor, children):
                self.add(function, found)
        for each in children:
            self.visit(each, function)

    def add(self, function, found):
        if any(found.start < macro.end.offset and macro.start.offset < found.end for macro in self.macros):
            return
        text = " ".join(self.between(found.start, found.end).split())[:TEXT_LENGTH]
        name = f"{self.name} {function}: {found.kind} {text}"
        self.names[name] = self.names.get(name, 0) + 1
        found.name = name if self.names[name] == 1 else f"{name} #{self.names[name]}"
        self.breaks.append(found)

    def broken(self, numbers, header):
        """The text with the breaks that have a number in it. No line moves."""
        pieces = []
        for found in self.breaks:
            number = numbers.get(found.name)
            if number is not None:  # at one place what ends comes first, then the longest that begins
                size = found.end - found.start
                pieces.append((found.start, 1, -size, number, found.before.replace("@", str(number))))
                pieces.append((found.end, 0, size, -number, found.after))
        text, done = [f'#include "{header}"\n#line 1\n'.encode()] if pieces else [], 0
        for offset, _, _, _, piece in sorted(pieces):
            text += [self.text[done:offset], piece.encode()]
            done = offset
        return b"".join(text + [self.text[done:]])


def condition(source, statement, children):
    """Of `if` and `while`: one that is an expression, without a declaration before it."""
    first, second = children[:2]
    head = source.between(statement.extent.start.offset, first.extent.start.offset)
    tail = source.between(first.extent.end.offset, second.extent.start.offset)
    if first.kind.is_expression() and "constexpr" not in head and ";" not in tail:
        yield Break("negate", first, "mutant(@) != bool(", ")")


def choice(source, expression, children):
    yield Break("negate?", children[0], "(mutant(@) != bool(", "))")


def operation(source, expression, children):
    if len(children) != 2:
        return
    left, right = children
    sign = OPERATOR.search(source.between(left.extent.end.offset, right.extent.start.offset))
    sign = sign[0] if sign else None
    if sign in ("&&", "||"):
        for side in children:
            yield Break(f"drop{sign}", side, "(mutant(@) || bool(" if sign == "&&" else "(!mutant(@) && bool(", "))")
    elif sign in NEIGHBOUR and expression.type.kind == cindex.TypeKind.BOOL and type_of(right) in WHOLE_NUMBERS | {"FLOAT", "DOUBLE"}:
        yield Break(f"bound{sign}", right, NEIGHBOUR[sign], ")")
    elif sign in ("+", "-") and type_of(expression) in NUMBERS:
        yield Break("more", expression, MORE, ")")


def returned(source, statement, children):
    if not children:
        return
    if type_of(children[0]) == "BOOL":
        yield Break("return!", children[0], "(mutant(@) != bool(", "))")
    elif type_of(children[0]) in NUMBERS:
        yield Break("return+1", children[0], MORE, ")")
    else:
        yield Break("return{}", statement, "{ if (mutant(@)) return {}; ", "; }")


def left_out(source, body, children):
    for each in children:
        if each.kind in STATEMENTS and source.owns(each) and not source.of(each).startswith(("co_", "std::terminate")):
            yield Break("leave out", each, "if (!mutant(@)) ", "")


def type_of(expression):
    return expression.type.get_canonical().kind.name


RULES = {Kind.IF_STMT: condition, Kind.WHILE_STMT: condition, Kind.CONDITIONAL_OPERATOR: choice,
         Kind.BINARY_OPERATOR: operation, Kind.RETURN_STMT: returned, Kind.COMPOUND_STMT: left_out}
