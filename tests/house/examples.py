#!/usr/bin/env python3
"""Writes the examples of headers as sources that can be compiled: tests/house/examples.py HEADERS OUT

HEADERS is the folder where they are installed, OUT the one for the sources.

An example is the first run of lines of a header that are indented by five blanks behind `///`. Its includes are taken to
the top; what it declares stands by itself, and statements stand in a function.
"""
import pathlib
import re
import sys


# Those that a stranger meets first.
SHOWN = ["VXMesh/formats/FileFormats.h", "VXMesh/scene/Object.h", "VXOrvanta/converter/ConverterService.h",
         "VXOrvanta/shell/OrvantaSetup.h", "VXViewer/core/Viewer.h", "VXViewer/schema/RibbonMenuItem.h",
         "VXViewer/web/WebRequest.h", "VXViewer/work/ProgressBar.h"]


def example_in(text: str) -> list[str]:
    """The lines of a header's example, without what makes them a comment; none when it has none."""
    out = []
    for line in text.splitlines():
        match = re.match(r"\s*///(?:     (.*)|)$", line)
        if match and (match[1] or out):
            out.append(match[1] or "")
        elif out:
            break
    while out and not out[-1]:
        out.pop()
    return out


def source_of(header: str, example: list[str]) -> str:
    includes = [line for line in example if line.startswith("#include")]
    code = [line for line in example if not line.startswith("#include")]
    if not any(re.match(r"(class|struct) ", line) for line in code):
        code = ["[[maybe_unused]] static int example()", "{", *code, "return 0;", "}"]
    return "\n".join([f"#include <{header}>", *includes, "namespace VX", "{", *code, "}", ""])


def main() -> int:
    headers, out = map(pathlib.Path, sys.argv[1:])
    out.mkdir(parents=True, exist_ok=True)
    for name in SHOWN:
        example = example_in((headers / name).read_text(encoding="utf-8"))
        (out / (re.sub(r"\W", "_", name) + ".cpp")).write_text(source_of(name, example), encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
