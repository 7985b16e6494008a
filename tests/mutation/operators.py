"""What can be changed in a C++ source, one change at a time."""
import re
from typing import Iterator, NamedTuple

from lexer import Token, partners_of, tokens_of

_TURNED = {"==": "!=", "!=": "==", "<": ">=", ">": "<=", "<=": ">", ">=": "<"}
_ASSIGNING = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<="}
# A statement which begins so declares something, or cannot be taken out alone.
_NO_STATEMENT = {"using", "namespace", "class", "struct", "enum", "union", "typedef", "template", "static_assert", "friend",
                 "public", "private", "protected", "auto", "const", "constexpr", "static", "extern", "inline", "virtual",
                 "explicit", "thread_local", "mutable", "if", "for", "while", "switch", "do", "else", "case", "default",
                 "try", "catch", "goto", "operator", "concept", "requires", "export", "asm", "typename", "unsigned",
                 "signed", "int", "bool", "char", "float", "double", "long", "short", "void", "size_t"}


class Mutant(NamedTuple):
    operator: str  # "statement", "comparison", "not" or "literal"
    line: int
    start: int
    end: int
    new: str

    def apply(self, source: str) -> str:
        return source[:self.start] + self.new + source[self.end:]


def mutants_of(source: str) -> list[Mutant]:
    """Every change there is, in the order of the source."""
    tokens = tokens_of(source)
    hidden = _compile_time_checks(tokens)
    colors = _arguments_of(tokens, ("IM_COL32", "Color"))
    found = list(_statements(source, tokens))
    for index, token in enumerate(tokens):
        if index in hidden:
            continue
        new = None
        operator = "literal"
        if token.kind == "sign" and token.text in _TURNED:
            operator, new = "comparison", _turned(source, tokens, index)
        elif token.kind == "sign" and token.text == "!":
            operator, new = "not", _without_not(tokens, index)
        elif token.kind == "number":
            new = other_channel(token.text) if index in colors else other_number(token.text)
        elif token.kind in ("text", "char"):
            new = other_text(token.text) if _is_value(tokens, index) else None
        elif token.kind == "name" and token.text in ("true", "false"):
            new = "false" if token.text == "true" else "true"
        if new is not None:
            found.append(Mutant(operator, token.line, token.start, token.start + len(token.text), new))
    return sorted(found, key=lambda mutant: (mutant.start, mutant.end, mutant.operator))


def other_number(text: str) -> str | None:
    """Another number: one more of the small ones, where 1 becomes 0, and a quarter more of the large ones. One pixel more
    nobody would see."""
    whole = re.fullmatch(r"(0[xX])?([0-9a-fA-F']+)([uUlLzZ]*)", text)
    if whole and (whole[1] or not re.search("[a-fA-F]", whole[2])):
        digits = whole[2].replace("'", "")
        if whole[1]:
            value = int(digits, 16)
            return f"0x{value - value // 4 if value > 7 else value + 1:0{len(digits)}x}{whole[3]}"
        value = int(digits, 8 if len(digits) > 1 and digits[0] == "0" and digits.strip("01234567") == "" else 10)
        return f"{0 if value == 1 else value + max(1, value // 4)}{whole[3]}"
    broken = re.fullmatch(r"([0-9.']+(?:[eE][+-]?[0-9]+)?)([fFlL]?)", text)
    if broken is None:
        return None
    value = float(broken[1].replace("'", ""))
    return f"{repr(value * 1.25 if value else 0.25)}{broken[2]}"


def other_channel(text: str) -> str | None:
    """A clearly different share of a colour."""
    if not text.isdigit():
        return other_number(text)
    return str(int(text) + 64 if int(text) < 192 else int(text) - 64)


def other_text(text: str) -> str:
    """The text with one sign more at its beginning, where it is no part of a placeholder."""
    if text.endswith("'"):
        quote = text.index("'")
        return text[:quote] + ("'~'" if text[quote:] != "'~'" else "'#'")
    inside = text.index("(" if re.match(r"(?:u8|u|U|L)?R", text) else '"') + 1
    return text[:inside] + "~" + text[inside:]


def _is_value(tokens: list[Token], index: int) -> bool:
    before = tokens[index - 1].text if index else ""
    return before not in ("extern", "asm", "operator")


def _turned(source: str, tokens: list[Token], index: int) -> str | None:
    token = tokens[index]
    if index and tokens[index - 1].text == "operator":
        return None
    # Lists of template arguments are written without spaces, comparisons with.
    end = token.start + len(token.text)
    if token.text in "<>" and not (source[token.start - 1].isspace() and source[end:end + 1].isspace()):
        return None
    return _TURNED[token.text]


def _without_not(tokens: list[Token], index: int) -> str | None:
    return None if index and tokens[index - 1].text == "operator" else ""


def _arguments_of(tokens: list[Token], names: tuple[str, ...]) -> set[int]:
    partners = partners_of(tokens)
    return {argument for index, token in enumerate(tokens) if token.text in names and index + 1 in partners
            for argument in range(index + 1, partners[index + 1])}


def _compile_time_checks(tokens: list[Token]) -> set[int]:
    """The tokens that only the compiler looks at: static_assert and attributes."""
    hidden = set()
    partners = partners_of(tokens)
    for index, token in enumerate(tokens):
        begin = None
        if token.text == "static_assert" and index + 1 in partners:
            begin = index + 1
        elif token.text == "[" and index + 1 < len(tokens) and tokens[index + 1].text == "[" and index in partners:
            begin = index
        if begin is not None:
            hidden.update(range(begin, partners[begin] + 1))
    return hidden


def _statements(source: str, tokens: list[Token]) -> Iterator[Mutant]:
    partners = partners_of(tokens)
    for index, token in enumerate(tokens):
        if token.text != ";" or token.kind != "sign":
            continue
        begin = _begin_of_statement(tokens, partners, index)
        if begin is None or begin >= index or not _can_be_left_out(tokens, partners, begin, index):
            continue
        start = tokens[begin].start
        yield Mutant("statement", tokens[begin].line, start, token.start, "")


def _begin_of_statement(tokens: list[Token], partners: dict[int, int], end: int) -> int | None:
    """The first token of the statement which the semicolon at `end` ends; None where it is no such semicolon."""
    at = end - 1
    while at >= 0:
        token = tokens[at]
        if token.kind == "sign":
            if token.text in (";", "{"):
                return at + 1
            if token.text in "([":
                return None  # the head of a for
            if token.text in ")]}" and at in partners:
                opening = partners[at]
                follows = tokens[at + 1]
                if token.text == "}" and at + 1 < end and follows.kind in ("name",):
                    return at + 1
                if token.text == ")" and opening and _opens_condition(tokens, opening):
                    return at + 1
                at = opening - 1
                continue
            if token.text == ":" and _ends_label(tokens, at):
                return at + 1
        elif token.text in ("else", "do"):
            return at + 1
        at -= 1
    return 0


def _opens_condition(tokens: list[Token], opening: int) -> bool:
    before = tokens[opening - 1].text
    if before == "constexpr" and opening > 1:
        before = tokens[opening - 2].text
    return before in ("if", "for", "while", "switch")


def _ends_label(tokens: list[Token], at: int) -> bool:
    while at > 0 and tokens[at - 1].text not in (";", "{", "}", "?"):
        at -= 1
        if tokens[at].text in ("case", "default", "public", "private", "protected"):
            return True
    return False


def _can_be_left_out(tokens: list[Token], partners: dict[int, int], begin: int, end: int) -> bool:
    """Whether it does something and declares nothing."""
    first = tokens[begin]
    if first.text in _NO_STATEMENT or first.text == "}":
        return False
    if first.text in ("break", "continue", "throw"):
        return True
    if first.text == "return":
        return begin + 1 == end  # the others give a value, without which the function has none
    if first.text in ("delete", "++", "--", "*", "("):
        return True
    if first.kind != "name" and first.text != "::":
        return False
    at = begin
    while at < end:  # a name with its scopes and members
        token = tokens[at]
        if token.text in ("::", ".", "->"):
            at += 1
        elif token.kind == "name" and (at == begin or tokens[at - 1].text in ("::", ".", "->", "template")):
            at += 1
        elif token.text == "<":
            closing = _end_of_arguments(tokens, at, end)
            if closing is None:
                return False
            at = closing + 1
        elif token.text in "([" and token.kind == "sign":
            # After a call there is a member, an operator or the end; in a declaration there was a second name.
            return True
        else:
            return token.text in _ASSIGNING or token.text in ("++", "--", "<<")
    return False


def _end_of_arguments(tokens: list[Token], opening: int, end: int) -> int | None:
    depth = 0
    for at in range(opening, end):
        depth += {"<": 1, ">": -1}.get(tokens[at].text, 0) if tokens[at].kind == "sign" else 0
        if depth == 0:
            return at
    return None
