#!/usr/bin/env python3
"""Compares the pages of docs/errors with the error codes in the sources.
usage: error_pages.py REPOSITORY

Fails if a code has no page, if a page names a code, a text or a source that is not there, if a page lacks a
part, or if it disagrees with NotExecuted.h about whether the command was executed.
"""
import pathlib
import re
import sys

LAUNCHER = "JVM Launcher"
NATIVE = "Ferrolink Native Exception"
# The prefix that a file's own function for raising puts in front of a literal such as "018. ...".
RAISED_BARE = (("jvm/TransmitterWrapper.cpp", "JVM Lib"), ("jvm/", LAUNCHER), ("native/transport/", NATIVE))

WHOLE = re.compile(r'"((?:[A-Z][A-Za-z]* )*[A-Z][A-Za-z]*): Exception code (\d{3})')
BARE = re.compile(r'"(\d{3})(?=[."])')
NUMBERED = re.compile(r"^\s+(\w+) = (\d+),", re.M)
RAISED_BY_NAME = re.compile(r"(?:Fail|ClientFailure)\(\s*ClientError::(\w+)")
RANGE = re.compile(r'NotExecutedCodes\{"([^"]+)", (\d+), (\d+)\}')
PARTS = ("## Cause\n", "## Check\n", "## Remedy\n")
KEYS = ("title", "text", "executed", "source")


def codes_of(name, text):
    """The (prefix, code) pairs that a source raises."""
    found = {(prefix, int(code)) for prefix, code in WHOLE.findall(text)}
    for code in BARE.findall(text):
        prefix = next((prefix for place, prefix in RAISED_BARE if name.startswith(place)), None)
        if prefix is None:
            raise SystemExit(f'{name}: the literal "{code}" looks like an error code; add its file to RAISED_BARE')
        found.add((prefix, int(code)))
    return found


def codes_in_sources(root):
    """The files that raise each code."""
    places = {}
    for folder in ("native", "jvm", "companions/cpp"):
        for file in sorted((root / folder).rglob("*")):
            if file.suffix in (".cpp", ".h"):
                name = str(file.relative_to(root))
                for code in codes_of(name, file.read_text()):
                    places.setdefault(code, set()).add(name)
    client = root / "companions/tcp/client"
    numbers = dict(NUMBERED.findall((client / "ClientError.h").read_text()))
    for file in sorted(client.glob("*.cpp")):
        for name in RAISED_BY_NAME.findall(file.read_text()):
            places.setdefault(("Network Client", int(numbers[name])), set()).add(str(file.relative_to(root)))
    return places


def literals_of(path):
    """The text of a source, or of all sources of a folder, with literals of several lines in one piece."""
    files = sorted(path.glob("*.cpp")) if path.is_dir() else [path]
    return re.sub(r'"\s*\n\s*"', "", "\n".join(file.read_text() for file in files)).replace('\\"', '"')


def text_complaints(root, name, keys):
    """Complaints about a page without a code: its texts are in the source, or what raises them is."""
    if not (root / keys["source"]).exists():
        yield f"{name}: no source {keys['source']}"
        return
    source = literals_of(root / keys["source"])
    wanted = [keys["raised-by"]] if "raised-by" in keys else \
        [part.strip() for text in keys["text"].split(" | ") for part in re.split("<[^>]*>", text)]
    yield from (f"{name}: no '{part}' in {keys['source']}" for part in wanted if part not in source)


def read_page(file):
    """The keys of a page, and its complaints."""
    text = file.read_text()
    head = re.match(r"---\n(.*?)\n---\n(.*)\Z", text, re.S)
    if not head:
        return {}, [f"{file.name}: no front matter"]
    keys = dict(line.split(": ", 1) for line in head[1].split("\n"))
    coded = not file.name.startswith("text-")
    wrong = [f"{file.name}: no key {key}" for key in KEYS + ("prefix", "code") * coded if not keys.get(key)]
    body = head[2]
    title = f"# {keys.get('prefix')} {keys.get('code')}: {keys.get('title')}\n" if coded else f"# {keys.get('title')}\n"
    wrong += [f"{file.name}: no line '{part.strip()}'" for part in (title, *PARTS) if part not in body]
    sections = re.split(r"^## .*\n", body, flags=re.M)[1:]
    wrong += [f"{file.name}: an empty section" for section in sections if not section.strip()]
    name = f"{keys.get('prefix', '').lower().replace(' ', '-')}-{keys.get('code')}.md"
    if coded and name != file.name:
        wrong.append(f"{file.name}: must be named {name}")
    return keys, wrong


def complaints(root):
    places = codes_in_sources(root)
    not_executed = {(prefix, code) for prefix, first, last
                    in RANGE.findall((root / "companions/host/ferrolink/detail/NotExecuted.h").read_text())
                    for code in range(int(first), int(last) + 1)}
    pages = set()
    for file in sorted((root / "docs/errors").glob("*.md")):
        keys, wrong = read_page(file)
        yield from wrong
        if wrong:
            continue
        if "code" not in keys:
            yield from text_complaints(root, file.name, keys)
            continue
        code = keys["prefix"], int(keys["code"])
        pages.add(code)
        if code not in places:
            yield f"{file.name}: no source raises {code[0]} {code[1]:03}"
        elif keys["source"] not in places[code]:
            yield f"{file.name}: {keys['source']} does not raise it; {', '.join(sorted(places[code]))} does"
        if (keys["executed"].split(";")[0] == "no") != (code in not_executed):
            yield f"{file.name}: executed is '{keys['executed']}', NotExecuted.h says otherwise"
    for prefix, code in sorted(set(places) - pages):
        yield f"no page for {prefix} {code:03}, which {', '.join(sorted(places[prefix, code]))} raises"
    if len(pages) < 60:
        yield f"only {len(pages)} pages were read"


if __name__ == "__main__":
    FOUND = list(complaints(pathlib.Path(sys.argv[1])))
    print("\n".join(FOUND) or "every code has a page, and every page has a code")
    sys.exit(1 if FOUND else 0)
