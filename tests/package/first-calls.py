#!/usr/bin/env python3
"""Does what a page with first calls says, word for word: writes its files, runs its commands, compares the output.
usage: first-calls.py PAGE INSTALLATION WORK_DIRECTORY

A block behind a line that begins with `NAME` is the file NAME. A block "sh" is run in the directory of its
section; the block "text" behind it is the end of what it prints.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

BLOCK = re.compile(r"(?:^`([\w.]+)`[^\n]*:\n\n)?^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def run(commands, directory, installation):
    """The output of the commands, which must succeed."""
    environment = dict(os.environ, FERROLINK=str(installation), CMAKE_GENERATOR="Ninja")
    result = subprocess.run(["bash", "-euo", "pipefail", "-c", commands], cwd=directory, env=environment, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if result.returncode != 0:
        sys.exit(f"failed with {result.returncode}:\n{commands}{result.stdout}{result.stderr}")
    return result.stdout


def do_section(section, directory, installation):
    """The number of outputs that were compared."""
    directory.mkdir(parents=True)
    printed, compared = "", 0
    for name, language, content in BLOCK.findall(section):
        if name:
            (directory / name).write_text(content, encoding="utf-8")
        elif language == "sh":
            printed = run(content, directory, installation)
        elif language == "text":
            compared += 1
            if not printed.endswith(content):
                sys.exit(f"expected:\n{content}printed:\n{printed}")
    return compared


def main():
    page, installation, work = (pathlib.Path(argument) for argument in sys.argv[1:])
    shutil.rmtree(work, ignore_errors=True)
    sections = page.read_text(encoding="utf-8").split("\n## ")[1:]
    for number, section in enumerate(sections):
        if do_section(section, work / str(number), installation.resolve()) != 1:
            sys.exit(f"no output is compared in the section {section.splitlines()[0]}")
    print(f"{len(sections)} first calls answered as the page says")


main()
