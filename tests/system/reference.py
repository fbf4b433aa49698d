#!/usr/bin/env python3
"""Makes the reference in a folder of its own: without a warning, with a page for every installed
header and every document, and without a link that leads nowhere.

    reference.py ROOT
"""

import pathlib
import re
import shutil
import sys
import tempfile
import urllib.parse

from support import must

LINK = re.compile(r'\b(?:href|src)="([^"]+)"')
# A link, or bold type, that Doxygen took for plain text.
UNREAD_MARK = re.compile(r"\[[\w. -]{2,}\]\([\w./-]+\)|\*\*\S.{0,20}")
SOURCE_PAGES = "*_source.html"  # listings of headers: not ours to judge


def local_links(page):
    """The files that a page leads to, without those on other hosts and marks within the page."""
    for link in LINK.findall(page):
        target = urllib.parse.urlsplit(link)
        if not target.scheme and target.path:
            yield urllib.parse.unquote(target.path)


def dead_links(html):
    for page in sorted(set(html.glob("*.html")) - set(html.glob(SOURCE_PAGES))):
        text = page.read_text()
        for target in sorted(set(local_links(text))):
            if not (html / target).exists():
                yield f"{page.name}: nothing at {target}"
        for mark in UNREAD_MARK.findall(text):
            yield f"{page.name}: shows a mark as text: {mark}"


def expected_titles(root):
    """What the lists of files and pages must name."""
    for header in (root / "cmake/public_headers.txt").read_text().split():
        yield "files.html", pathlib.Path(header).name
    for document in root.glob("docs/*.md"):
        yield "pages.html", document.read_text().split("\n", 1)[0].removeprefix("# ")


def absent_titles(root, html):
    for page, title in expected_titles(root):
        if f">{title}</a>" not in (html / page).read_text().replace("&quot;", '"'):
            yield f"{page} does not list {title}"


def self_check():
    page = '<a href="a.html#b"></a><a href="#c"></a><a href="https://h/d"></a><img src="e%20f">'
    if list(local_links(page)) != ["a.html", "e f"] or not (
            UNREAD_MARK.search("<p>[a b](c)</p>") and UNREAD_MARK.search("<p>**a</p>")):
        sys.exit("the check itself is broken")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    self_check()
    if shutil.which("doxygen") is None:
        sys.exit("doxygen is missing; scripts/bootstrap reference installs it")
    root = pathlib.Path(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="nethttp-reference-") as name:
        made = must([root / "scripts/reference", name])
        html = pathlib.Path(name, "html")
        faults = [*absent_titles(root, html), *dead_links(html)]
        pages = len(list(html.glob("*.html")))
    if made.stderr or faults:
        sys.exit("\n".join([made.stderr, *faults]))
    print(f"{pages} pages, no warning, no dead link")


if __name__ == "__main__":
    main()
