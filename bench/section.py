#!/usr/bin/env python3
"""Replaces one section of a page, so that each program that writes results leaves the others' alone.

    section.py PAGE NAME < TEXT     shows the text, too
"""

import pathlib
import sys


def replace(page, name, text):
    """Puts a text between the marks of a section; a page without it gets it at its end."""
    page = pathlib.Path(page)
    begin, end = f"<!-- {name}: begin -->\n", f"<!-- {name}: end -->\n"
    content = page.read_text(encoding="utf-8") if page.exists() else ""
    if begin in content:
        before, rest = content.split(begin, 1)
        if end not in rest:
            sys.exit(f"{page}: the section {name} has no end")
        after = rest.split(end, 1)[1]
    else:
        before, after = content + ("\n" if content else ""), ""
    page.write_text(before + begin + text.rstrip("\n") + "\n" + end + after, encoding="utf-8")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    text = sys.stdin.read()
    print(text, end="")
    replace(sys.argv[1], sys.argv[2], text)


if __name__ == "__main__":
    main()
