# SPDX-License-Identifier: MIT
"""Finds the places of a source that can hold a fault, and says how each is written.

Only bodies of functions are looked at. Left alone: what a macro expands to, constants that the compiler must know
(template arguments, array bounds, case labels, static and constexpr variables, what is not evaluated), member
initializers, and calls whose loss nobody can see.
"""
import locale
import re

import clang.cindex as ci
from clang.cindex import CursorKind as K
from clang.cindex import TypeKind as T

from sites import COMMENT, Fault, Site, plain

RELATIONS = {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",)}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/"}
BITS = {"&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<"}
NAMES = {"<": "kLt", "<=": "kLe", ">": "kGt", ">=": "kGe", "==": "kEq", "!=": "kNe", "+": "kAdd", "-": "kSub",
         "*": "kMul", "/": "kDiv", "%": "kRem", "&": "kAnd", "|": "kOr", "^": "kXor", "<<": "kShl", ">>": "kShr"}
FUNCTIONS = {K.FUNCTION_DECL, K.CXX_METHOD, K.CONSTRUCTOR, K.DESTRUCTOR, K.CONVERSION_FUNCTION, K.FUNCTION_TEMPLATE}
SCOPES = {K.NAMESPACE, K.LINKAGE_SPEC, K.UNEXPOSED_DECL, K.CLASS_DECL, K.STRUCT_DECL, K.UNION_DECL, K.CLASS_TEMPLATE,
          K.CLASS_TEMPLATE_PARTIAL_SPECIALIZATION}
CASTS = {K.CXX_STATIC_CAST_EXPR, K.CXX_REINTERPRET_CAST_EXPR, K.CXX_CONST_CAST_EXPR, K.CXX_DYNAMIC_CAST_EXPR,
         K.CSTYLE_CAST_EXPR, K.CXX_FUNCTIONAL_CAST_EXPR}
UNEVALUATED = {K.CXX_UNARY_EXPR, K.CXX_TYPEID_EXPR, K.SIZE_OF_PACK_EXPR, K.PACK_EXPANSION_EXPR, K.StmtExpr,
               K.DECL_REF_EXPR, K.OVERLOADED_DECL_REF}
RECORDS = {T.RECORD, T.DEPENDENT, T.UNEXPOSED, T.AUTO, T.ELABORATED, T.TYPEDEF, T.INVALID}
NUMBER = re.compile(rb"(0[xX][0-9a-fA-F']+|0[bB][01']+|[0-9][0-9']*)([uUlLzZ]*)")
REAL = re.compile(rb"[0-9.][0-9.'eE+-]*[fFlL]?")
# Calls whose loss nobody can see: memory is only reserved, an argument list ends (which does nothing on x86-64).
UNSEEN = re.compile(rb"(\.|->)(reserve|shrink_to_fit)\s*\(|^va_end\b")
EMPTY_RESULTS = {b"0", b"nullptr", b"{}", b"false", b"true", b"std::nullopt", b'""', b"NULL", b"std::string()"}

# libclang folds the case of its options as the locale does, and in Turkish i has another capital.
locale.setlocale(locale.LC_CTYPE, "C.UTF-8")


class Function:
    def __init__(self, name, result, constant):
        self.name, self.result, self.constant = name, result, constant


class Rewriter:
    """The sites of one file of a parsed unit."""

    def __init__(self, path, text, macros):
        self.path, self.text, self.macros = path, text, macros
        self.sites, self.seen = [], set()

    # --- declarations

    def declaration(self, cursor):
        if cursor.kind in FUNCTIONS:
            if cursor.is_definition():
                self.function(cursor)
        elif cursor.kind in SCOPES:
            for child in cursor.get_children():
                self.declaration(child)

    def function(self, cursor):
        body = None
        for body in cursor.get_children():
            pass
        if body is None or body.kind not in (K.COMPOUND_STMT, K.CXX_TRY_STMT):
            return
        head = COMMENT.sub(b" ", self.text[cursor.extent.start.offset:body.extent.start.offset])
        if re.search(rb"\bconsteval\b", head):
            return
        owner = cursor.semantic_parent
        name = cursor.spelling.split("<")[0]
        if owner is not None and owner.kind in (K.CLASS_DECL, K.STRUCT_DECL, K.CLASS_TEMPLATE) and owner.spelling:
            name = f"{owner.spelling}::{name}"
        self.statement(body, Function(name, cursor.result_type, re.search(rb"\bconstexpr\b", head) is not None))

    # --- statements

    def statement(self, cursor, function):
        kind = cursor.kind
        children = list(cursor.get_children())
        if kind == K.COMPOUND_STMT or kind == K.CXX_TRY_STMT or kind == K.LABEL_STMT:
            for child in children:
                self.statement(child, function)
        elif kind == K.CXX_CATCH_STMT or kind in (K.CASE_STMT, K.DEFAULT_STMT):
            self.statement(children[-1], function)
        elif kind in (K.IF_STMT, K.WHILE_STMT, K.SWITCH_STMT):
            self.headed(cursor, children, function)
        elif kind == K.DO_STMT:
            self.statement(children[0], function)
            self.condition(children[-1], function)
        elif kind in (K.FOR_STMT, K.CXX_FOR_RANGE_STMT):
            for child in children[:-1]:
                if child.kind == K.DECL_STMT:
                    self.statement(child, function)
                elif child.kind.is_expression():
                    self.expression(child, function)
            self.statement(children[-1], function)
        elif kind == K.DECL_STMT:
            for child in children:
                self.local(child, function)
        elif kind == K.RETURN_STMT:
            if children:
                self.returned(cursor, children[0], function)
        elif kind in (K.BREAK_STMT, K.CONTINUE_STMT):
            self.dropped(cursor, function)
        elif kind.is_expression():
            inner = self.bare(cursor)
            if self.droppable(inner):
                self.dropped(inner, function)
            self.expression(cursor, function)

    def headed(self, cursor, children, function):
        """if, while and switch: what stands before the closing parenthesis of the head, and the branches behind."""
        for i, child in enumerate(children[:-1]):
            if not self.between(child, children[i + 1]).startswith(b")"):
                if child.kind == K.DECL_STMT:
                    self.statement(child, function)
                elif child.kind == K.VAR_DECL:
                    self.local(child, function)
                continue
            constant = re.match(rb"if\s+constexpr\b", self.text[cursor.extent.start.offset:cursor.extent.end.offset])
            if not constant and child.kind.is_expression():
                if cursor.kind == K.SWITCH_STMT:
                    self.expression(child, function)
                else:
                    self.condition(child, function)
            for branch in children[i + 1:]:
                self.statement(branch, function)
            return

    def local(self, cursor, function):
        if cursor.kind in (K.CLASS_DECL, K.STRUCT_DECL):
            self.declaration(cursor)
            return
        if cursor.kind not in (K.VAR_DECL, K.UNEXPOSED_DECL):
            return
        head = self.text[cursor.extent.start.offset:cursor.location.offset]
        if re.search(rb"\b(static|constexpr|constinit|thread_local)\b", head):
            return
        for child in cursor.get_children():
            start = child.extent.start.offset
            # A constructor's call begins where the name does.
            if not child.kind.is_expression() or start < cursor.location.offset:
                continue
            if self.text[:start].rstrip().endswith(b"[") and child.kind != K.LAMBDA_EXPR:
                continue  # the bound of an array
            if b"const" in head.split() and not any(self.runs(c) for c in child.walk_preorder()):
                continue  # a constant that another constant may need
            self.expression(child, function)

    @staticmethod
    def runs(cursor):
        """Whether the expression names what the compiler need not know."""
        if cursor.kind in (K.CALL_EXPR, K.LAMBDA_EXPR, K.CXX_THIS_EXPR, K.MEMBER_REF_EXPR):
            return True
        if cursor.kind != K.DECL_REF_EXPR:
            return False
        named = cursor.referenced
        return named is None or named.kind == K.PARM_DECL or (
            named.kind == K.VAR_DECL and not named.type.is_const_qualified())

    @staticmethod
    def is_fresh(text, result):
        """Whether the expression is `Type()` of the result's type, which is what {} makes."""
        made = re.fullmatch(rb"([\w:]+)(<.*>)?\(\)", text)
        return made is not None and made[1].split(b"::")[-1] == result.spelling.split("<")[0].split("::")[-1].encode()

    def returned(self, cursor, value, function):
        text = self.slice(value)
        shown = plain(self.slice(cursor))
        if function.result is not None and text not in EMPTY_RESULTS:
            result = function.result.get_canonical()
            inner = self.bare(value)
            if result.kind == T.BOOL:
                self.condition(value, function, "returned value", "return ")
                return
            plainly = result.kind not in (T.VOID, T.LVALUEREFERENCE, T.RVALUEREFERENCE)
            zero = inner.kind == K.DECL_REF_EXPR and inner.referenced is not None and (
                inner.referenced.kind == K.ENUM_CONSTANT_DECL and inner.referenced.enum_value == 0)
            if plainly and not zero and not self.is_fresh(text, result):
                self.add(cursor, function, [Fault("returned value", shown + ";", "return {};")],
                         b"{ if (tovkit_mutant::On(@)) return {}; ", b" }", end=self.semicolon(cursor))
        self.expression(value, function)

    def droppable(self, cursor):
        text = self.slice(cursor)
        if cursor.kind == K.CALL_EXPR:
            return not UNSEEN.search(text)
        if cursor.kind == K.BINARY_OPERATOR:
            return self.operator(cursor)[0] == "="
        if cursor.kind == K.UNARY_OPERATOR:
            return text.startswith((b"++", b"--")) or text.endswith((b"++", b"--"))
        return cursor.kind in (K.COMPOUND_ASSIGNMENT_OPERATOR, K.CXX_THROW_EXPR)

    def dropped(self, cursor, function):
        self.add(cursor, function, [Fault("dropped statement", plain(self.slice(cursor)) + ";", ";")],
                 b"{ if (!tovkit_mutant::On(@)) { ", b" } }" if cursor.kind.is_expression() else b" } }",
                 end=self.semicolon(cursor))

    # --- expressions

    def condition(self, cursor, function, operator="negated condition", lead=""):
        """A condition that is not turned around by one of its own operators."""
        inner = self.bare(cursor, parentheses=True)
        own = inner.kind in (K.CXX_BOOL_LITERAL_EXPR, K.INTEGER_LITERAL) or self.text[
            inner.extent.start.offset:inner.extent.start.offset + 1] == b"!"
        if inner.kind in (K.BINARY_OPERATOR, K.CALL_EXPR):
            own = own or self.operator(inner)[0] in {*RELATIONS, "&&", "||"}
        if not own:
            shown = plain(self.slice(cursor))
            self.add(cursor, function, [Fault(operator, lead + shown, f"{lead}!({shown})")],
                     b"tovkit_mutant::Negate(@, ", b")")
        self.expression(cursor, function)

    def expression(self, cursor, function):
        kind = cursor.kind
        if kind in UNEVALUATED:
            return
        if kind == K.LAMBDA_EXPR:
            self.lambda_body(cursor, function)
            return
        if kind in (K.INTEGER_LITERAL, K.FLOATING_LITERAL, K.CXX_BOOL_LITERAL_EXPR):
            self.literal(cursor, function)
            return
        if kind == K.BINARY_OPERATOR:
            self.binary(cursor, function)
        elif kind == K.COMPOUND_ASSIGNMENT_OPERATOR:
            self.compound(cursor, function)
        elif kind == K.UNARY_OPERATOR:
            self.unary(cursor, function)
        elif kind == K.CALL_EXPR:
            self.call(cursor, function)
            return
        children = [child for child in cursor.get_children() if child.kind.is_expression()]
        if kind == K.CONDITIONAL_OPERATOR and len(children) == 3:
            self.condition(children[0], function)
            children = children[1:]
        elif kind in CASTS:
            children = children[-1:]
        elif kind == K.MEMBER_REF_EXPR:
            children = [child for child in children if child.extent.end.offset <= cursor.location.offset]
        for child in children:
            self.expression(child, function)

    def lambda_body(self, cursor, function):
        body = list(cursor.get_children())[-1]
        if body.kind == K.COMPOUND_STMT:
            self.statement(body, Function(function.name, None, function.constant))

    def call(self, cursor, function):
        arguments = [argument for argument in cursor.get_arguments() if argument is not None]
        spots = {(argument.extent.start.offset, argument.extent.end.offset) for argument in arguments}
        children = list(cursor.get_children())
        if len(arguments) == 2 and cursor.spelling.startswith("operator"):
            operator, start, end = self.operator_between(*arguments)
            if operator in RELATIONS:
                self.swap(cursor, function, arguments, operator, start, end, RELATIONS[operator], b"SwapReferences")
        for child in children[:1]:
            spot = (child.extent.start.offset, child.extent.end.offset)
            if spot not in spots and child.kind in (K.MEMBER_REF_EXPR, K.UNEXPOSED_EXPR, K.CALL_EXPR, K.PAREN_EXPR):
                self.expression(child, function)
        if not arguments and len(children) == 1 and children[0].kind.is_expression():
            return  # the callee alone
        # A dependent call has no known arguments: all children behind the callee.
        for argument in arguments or [child for child in children[1:] if child.kind.is_expression()]:
            self.expression(argument, function)

    def binary(self, cursor, function):
        operator, start, end = self.operator(cursor)
        children = list(cursor.get_children())
        builtin = all(child.type.get_canonical().kind not in RECORDS for child in children)
        helper = b"Swap" if builtin else b"SwapReferences"
        kinds = [child.type.get_canonical().kind for child in children]
        pointers = [kind in (T.POINTER, T.CONSTANTARRAY, T.INCOMPLETEARRAY) for kind in kinds]
        if operator in RELATIONS:
            self.swap(cursor, function, children, operator, start, end, RELATIONS[operator], helper)
        elif operator in ("&&", "||"):
            other = "||" if operator == "&&" else "&&"
            # a || b is !(!a && !b), so that one operator with both sides and the result turned around is the other.
            opening = b"tovkit_mutant::Negate(@, "
            self.add(cursor, function, [self.swapped("logical", children, operator, other)], b"((" + opening,
                     b")) != tovkit_mutant::On(@))", (start, end, b") " + operator.encode() + b" " + opening))
        elif operator in ARITHMETIC and not pointers[1]:
            self.swap(cursor, function, children, operator, start, end, (ARITHMETIC[operator],), helper)
        elif operator in BITS:
            self.swap(cursor, function, children, operator, start, end, (BITS[operator],), helper)

    def swap(self, cursor, function, sides, operator, start, end, others, helper):
        group = "relation" if operator in RELATIONS else "arithmetic" if operator in ARITHMETIC else "bits"
        names = ", ".join(f"tovkit_mutant::{NAMES[name]}" for name in (operator, *others)).encode()
        self.add(cursor, function, [self.swapped(group, sides, operator, other) for other in others],
                 b"tovkit_mutant::" + helper + b"<" + names + b">(@, ", b")", (start, end, b", "))

    def swapped(self, group, sides, operator, other):
        left, right = (plain(self.slice(side)) for side in sides)
        return Fault(group, f"{left} {operator} {right}", f"{left} {other} {right}")

    def compound(self, cursor, function):
        operator, start, end = self.operator(cursor)
        children = list(cursor.get_children())
        base = operator[:-1]
        other = ARITHMETIC.get(base) or BITS.get(base)
        if other is None:
            return
        fault = self.swapped("arithmetic" if base in ARITHMETIC else "bits", children, operator, other + "=")
        names = f"tovkit_mutant::{NAMES[base]}, tovkit_mutant::{NAMES[other]}".encode()
        self.add(cursor, function, [fault], b"tovkit_mutant::SwapAssign<" + names + b">(@, ", b")", (start, end, b", "))

    def unary(self, cursor, function):
        text = self.slice(cursor)
        operand = list(cursor.get_children())[0]
        shown, inner = plain(text), plain(self.slice(operand))
        if text.startswith(b"!") and not self.rewritten(cursor):
            self.add(cursor, function, [Fault("negated condition", shown, inner)], b"tovkit_mutant::Negate(@, ", b")")
        elif text.startswith(b"~"):
            self.add(cursor, function, [Fault("bits", shown, inner)], b"tovkit_mutant::Complement(@, ", b")")
        elif text.startswith(b"-") and not text.startswith(b"--"):
            if self.bare(operand).kind not in (K.INTEGER_LITERAL, K.FLOATING_LITERAL):
                self.add(cursor, function, [Fault("arithmetic", shown, inner)], b"tovkit_mutant::Minus(@, ", b")")

    def literal(self, cursor, function):
        text = self.slice(cursor)
        shown = text.decode("utf-8", "replace")
        if cursor.kind == K.CXX_BOOL_LITERAL_EXPR:
            if text in (b"true", b"false"):
                other = "false" if text == b"true" else "true"
                self.add(cursor, function, [Fault("constant", shown, other)], b"tovkit_mutant::Negate(@, ", b")")
            return
        pattern = NUMBER if cursor.kind == K.INTEGER_LITERAL else REAL
        if not pattern.fullmatch(text):
            return
        down = NUMBER.fullmatch(text) and int(NUMBER.fullmatch(text)[1].replace(b"'", b""), 0) == 1 if (
            not re.match(rb"0[0-9]", text)) else False
        helper, changed = (b"Down", "0") if down else (b"Up", "1" if text == b"0" else f"{shown} + 1")
        self.add(cursor, function, [Fault("constant", shown, changed)], b"tovkit_mutant::" + helper + b"(@, ", b")")

    # --- text

    def slice(self, cursor):
        return self.text[cursor.extent.start.offset:cursor.extent.end.offset]

    def bare(self, cursor, parentheses=False):
        """The expression without what the compiler wraps around it."""
        while cursor.kind == K.UNEXPOSED_EXPR or (parentheses and cursor.kind == K.PAREN_EXPR) or self.rewritten(cursor):
            children = list(cursor.get_children())
            if len(children) != 1 or not children[0].kind.is_expression():
                break
            wraps = children[0].extent == cursor.extent or self.rewritten(children[0])
            if cursor.kind == K.UNEXPOSED_EXPR and not wraps:
                break
            cursor = children[0]
        return cursor

    def rewritten(self, cursor):
        """Whether the compiler made !(a == b) of a != b: its negation seems to begin at the operator."""
        return cursor.kind == K.UNARY_OPERATOR and self.slice(cursor).startswith(b"!=")

    def between(self, left, right):
        return COMMENT.sub(b" ", self.text[left.extent.end.offset:right.extent.start.offset]).strip()

    def operator_between(self, left, right):
        start, end = left.extent.end.offset, right.extent.start.offset
        return self.between(left, right).decode("utf-8", "replace"), start, end

    def operator(self, cursor):
        """The operator between the two operands of an expression, and where it stands."""
        if cursor.kind == K.CALL_EXPR:
            children = [argument for argument in cursor.get_arguments() if argument is not None]
        else:
            children = list(cursor.get_children())
        return self.operator_between(*children) if len(children) == 2 else ("", 0, 0)

    def semicolon(self, cursor):
        """The offset behind the semicolon of a statement, or None."""
        found = re.compile(rb"(?:\s|//[^\n]*\n|/\*.*?\*/)*;", re.DOTALL).match(self.text, cursor.extent.end.offset)
        return found.end() if found else None

    def add(self, cursor, function, faults, prefix, suffix, replaced=None, end=0):
        start = cursor.extent.start.offset
        end = cursor.extent.end.offset if end == 0 else end
        if end is None or not self.in_file(cursor) or (start, end, prefix) in self.seen:
            return
        if any(low < end and start < high and not (start <= low and high <= end and (low, high) != (start, end))
               for low, high in self.macros):
            return
        if replaced and (replaced[0] >= replaced[1] or any(
                low < replaced[1] and replaced[0] < high for low, high in self.macros)):
            return
        if replaced:  # every line stays where it is
            replaced = (*replaced[:2], replaced[2] + b"\n" * self.text.count(b"\n", *replaced[:2]))
        self.seen.add((start, end, prefix))
        location = cursor.extent.start
        self.sites.append(Site(start, end, location.line, location.column, function.name, function.constant, faults,
                               prefix, suffix, replaced))

    def in_file(self, cursor):
        start, end = cursor.extent.start, cursor.extent.end
        return all(place.file is not None and place.file.name == self.path for place in (start, end))


def rewrite(unit, wanted):
    """The sites of every file of the parsed unit that `wanted` accepts: a map from its path."""
    files, macros = {}, {}
    cursors = []
    for cursor in unit.cursor.get_children():
        place = cursor.location.file
        if place is None or not wanted(place.name):
            continue
        if cursor.kind == K.MACRO_INSTANTIATION:
            macros.setdefault(place.name, []).append((cursor.extent.start.offset, cursor.extent.end.offset))
        elif not cursor.kind.is_preprocessing():
            cursors.append((place.name, cursor))
    for path, cursor in cursors:
        if path not in files:
            with open(path, "rb") as source:
                files[path] = Rewriter(path, source.read(), macros.get(path, []))
        files[path].declaration(cursor)
    return {path: rewriter.sites for path, rewriter in files.items()}


def parse(path, arguments):
    """The unit, or ValueError with the first errors of the compiler."""
    unit = ci.Index.create().parse(path, arguments, options=ci.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
    errors = [d for d in unit.diagnostics if d.severity >= ci.Diagnostic.Error]
    if errors:
        raise ValueError(f"{path}: " + "; ".join(str(error) for error in errors[:3]))
    return unit
