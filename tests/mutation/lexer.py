"""Cuts C++ text into tokens, as far as mutating it needs."""
import re
from typing import NamedTuple


class Token(NamedTuple):
    kind: str  # "name", "number", "text", "char" or "sign"
    text: str
    start: int  # offset into the source
    line: int  # from 1


# The longest signs first. ">>" is no token: it may end two lists of template arguments.
_SIGNS = ["<=>", "<<=", "...", "->*", "::", "->", "==", "!=", "<=", ">=", "&&", "||", "<<", "++", "--", "+=", "-=",
          "*=", "/=", "%=", "&=", "|=", "^=", "##"]
_PATTERN = re.compile("|".join([
    r"(?P<skip>\s+|//[^\n]*|/\*.*?\*/)",
    r'(?P<raw>(?:u8|u|U|L)?R"(?P<fence>[^()\s\\]{0,16})\(.*?\)(?P=fence)")',
    r'(?P<text>(?:u8|u|U|L)?"(?:\\.|[^"\\\n])*")',
    r"(?P<char>(?:u8|u|U|L)?'(?:\\.|[^'\\\n])+')",
    r"(?P<number>\.?[0-9](?:[eEpP][+-]|'?[0-9A-Za-z_.])*)",
    r"(?P<name>[A-Za-z_]\w*)",
    "(?P<sign>" + "|".join(re.escape(sign) for sign in _SIGNS) + "|.)",
]), re.DOTALL)
_DIRECTIVE = re.compile(r"(?:\\\n|[^\n])*")


def tokens_of(source: str) -> list[Token]:
    """What the compiler would see, without comments and preprocessor lines."""
    tokens = []
    line = 1
    at = 0
    while at < len(source):
        if source[at] == "#" and not source[source.rfind("\n", 0, at) + 1:at].strip():
            match, kind = _DIRECTIVE.match(source, at), "skip"
        else:
            match = _PATTERN.match(source, at)
            kind = next(name for name, text in match.groupdict().items() if text is not None)
        if kind != "skip":
            tokens.append(Token("text" if kind == "raw" else kind, match.group(), match.start(), line))
        line += match.group().count("\n")
        at = match.end()
    return tokens


def partners_of(tokens: list[Token]) -> dict[int, int]:
    """For each bracket the index of the one that belongs to it."""
    closing = {")": "(", "]": "[", "}": "{"}
    partners = {}
    open_ones = []
    for index, token in enumerate(tokens):
        if token.kind != "sign":
            continue
        if token.text in "([{":
            open_ones.append(index)
        elif token.text in closing and open_ones and tokens[open_ones[-1]].text == closing[token.text]:
            partners[index] = open_ones.pop()
            partners[partners[index]] = index
    return partners
