#!/usr/bin/env python3
"""Writes docs/status-codes.md from include/xvwriter/status_codes.def; --check only compares."""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
rows = re.findall(r'XV_STATUS\((\w+), (0x[0-9A-F]{8}), "([^"]*)"\)',
                  (root / "include/xvwriter/status_codes.def").read_text())
assert rows and len({value for _, value, _ in rows}) == len(rows), "a value stands twice"
text = "# Status codes\n\nMade from `include/xvwriter/status_codes.def`. Errors of the operating\n"
text += "system come under the numbers that stand for the same fault in Win32.\n\n| value | name | meaning |\n|---|---|---|\n"
text += "".join(f"| {value} | `{name}` | {sentence} |\n" for name, value, sentence in rows)
target = root / "docs/status-codes.md"
if "--check" in sys.argv:
    if not target.exists() or target.read_text() != text:
        sys.exit("docs/status-codes.md is not current: run scripts/make_status_codes.py")
else:
    target.write_text(text)
