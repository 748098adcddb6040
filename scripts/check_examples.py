#!/usr/bin/env python3
"""Checks that the pages quote the examples as they are, and that each example is quoted.

A page quotes an example where a line that names `examples/NAME` is followed by a block of C++. The
block is the file without the comment at its top and without "#pragma once".
usage: check_examples.py [FOLDER]
"""
import pathlib
import re
import sys


def body(path):
    lines = path.read_text().splitlines()
    while lines and (lines[0].startswith("//") or lines[0] in ("", "#pragma once")):
        lines.pop(0)
    return lines


def quotes(page):
    """(name, block) for each quoted example."""
    named = None
    block = None
    for line in page.read_text().splitlines():
        if block is not None:
            if line == "```":
                yield named, block
                named = block = None
            else:
                block.append(line)
        elif line == "```cpp" and named:
            block = []
        elif found := re.search(r"`examples/(\w+\.(?:cpp|h))`", line):
            named = found.group(1)
        elif line.startswith("#"):
            named = None


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    quoted = set()
    failed = False
    for page in [root / "README.md", *sorted((root / "docs").glob("*.md"))]:
        for name, block in quotes(page):
            path = root / "examples" / name
            quoted.add(name)
            if not path.exists() or body(path) != block:
                print(f"{page.name}: {name} is not quoted as it is")
                failed = True
    for path in sorted((root / "examples").glob("*")):
        if path.suffix in (".cpp", ".h") and path.name not in quoted:
            print(f"{path.name}: no page quotes it")
            failed = True
    return failed


sys.exit(main())
