#!/usr/bin/env python3
"""Checks that all links of a built site that lead into the site have a target, and that no page loads anything
from a network.
usage: links.py SITE
"""
import html.parser
import pathlib
import sys
import urllib.parse

LOADING = {("script", "src"), ("img", "src"), ("link", "href"), ("iframe", "src")}


class Page(html.parser.HTMLParser):
    """The links and the anchors of one page."""

    def __init__(self, text):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        canonical = ("rel", "canonical") in attrs
        for name, value in attrs:
            if name in ("id", "name") and value:
                self.anchors.add(value)
            if name in ("href", "src") and value and not canonical:
                self.links.append((tag, name, value))


def complaints(site):
    """A line for each broken link."""
    pages = {path: Page(path.read_text(encoding="utf-8", errors="replace")) for path in sorted(site.rglob("*.html"))}
    for path, page in pages.items():
        for tag, name, link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                if (tag, name) in LOADING and parts.scheme != "data":
                    yield f"{path.relative_to(site)}: loads {link}"
                continue
            target = path if not parts.path else (path.parent / urllib.parse.unquote(parts.path)).resolve()
            if target.is_dir():
                target /= "index.html"
            if not target.exists():
                yield f"{path.relative_to(site)}: {link}: no such file"
            elif parts.fragment and target in pages and \
                    urllib.parse.unquote(parts.fragment) not in pages[target].anchors and \
                    not is_generated(target, site):
                yield f"{path.relative_to(site)}: {link}: no such anchor"


def is_generated(path, site):
    """Whether doxygen or javadoc wrote it: their scripts handle some anchors."""
    return path.relative_to(site).parts[0] in ("cpp", "java")


def main():
    """The exit code."""
    site = pathlib.Path(sys.argv[1]).resolve()
    found = [line for line in complaints(site) if not line.startswith(("cpp/", "java/")) or ": no such file" in line]
    for line in found:
        print(line, file=sys.stderr)
    print(f"{len(list(site.rglob('*.html')))} pages, {len(found)} broken links")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
