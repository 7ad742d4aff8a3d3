#!/usr/bin/env python3
"""Checks the links between the Markdown pages of a source tree: files and headings must exist.
usage: markdown_links.py ROOT
"""
import pathlib
import re
import sys

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
FENCE = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
HEADING = re.compile(r"^#+ (.+)$", re.MULTILINE)


def anchor(heading):
    """As GitHub and MkDocs make it."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading)
    return re.sub(r"\s", "-", re.sub(r"[^\w\s-]", "", text.replace("`", "")).strip().lower())


def anchors(page):
    """The anchors of a page's headings."""
    return {anchor(heading) for heading in HEADING.findall(FENCE.sub("", page.read_text(encoding="utf-8")))}


def broken(page):
    """The page's links without a target."""
    for link in LINK.findall(FENCE.sub("", page.read_text(encoding="utf-8"))):
        if re.match(r"[a-z]+:", link):
            continue
        path, _, fragment = link.partition("#")
        target = (page.parent / path).resolve() if path else page
        if not target.exists():
            yield f"{link}: no such file"
        elif fragment and target.suffix == ".md" and fragment not in anchors(target):
            yield f"{link}: no such heading"


def main():
    """The exit code."""
    root = pathlib.Path(sys.argv[1])
    pages = sorted([*root.glob("*.md"), *root.glob("docs/**/*.md"), *root.glob("examples/**/*.md")])
    lines = [f"{page.relative_to(root)}: {complaint}" for page in pages for complaint in broken(page)]
    print("\n".join(lines) or f"{len(pages)} pages, all links lead somewhere")
    return 1 if lines or not pages else 0


sys.exit(main())
