"""Paths of the driver, and the environment of the programs."""
import json
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
PROOFS = os.path.join(os.path.dirname(HERE), "proofs.toml")
RESULTS = os.path.join(ROOT, "build/verify/results.json")
QUICK_RESULTS = "verify/quick.json"  # in the release tree
DOCUMENT = os.path.join(ROOT, "docs/reliability.md")

sys.path.append(os.path.join(ROOT, "bench/driver"))
import machine  # noqa: E402  pylint: disable=wrong-import-position,wrong-import-order

_NOT_FOR_PROGRAMS = ("FERROLINK_", "TEST_", "GTEST_", "JAVA_TOOL_OPTIONS", "JDK_JAVA_OPTIONS", "CTEST_")


_trees = {}


def use_as_release(directory):
    _trees["release"] = os.path.abspath(directory)


def tree(name):
    return _trees.get(name, os.path.join(ROOT, "build", name))


def jdks():
    """{version: home} of JAVA_HOME and of each JDK under /usr/lib/jvm."""
    homes = [os.environ["JAVA_HOME"]]
    root = "/usr/lib/jvm"
    if os.path.isdir(root):
        homes += [os.path.join(root, entry) for entry in sorted(os.listdir(root))]
    found = {}
    for home in map(os.path.realpath, homes):
        if os.path.exists(os.path.join(home, "lib/server/libjvm.so")) and home not in found.values():
            version = machine.jdk_version(home)
            found[version if version not in found else f"{version} ({os.path.basename(home)})"] = home
    return dict(sorted(found.items(), key=lambda jdk: [int(part) for part in re.findall(r"\d+", jdk[0])]))


def _of_preset(name):
    with open(os.path.join(ROOT, "CMakePresets.json"), encoding="utf-8") as text:
        for preset in json.load(text)["testPresets"]:
            if preset["name"] == name:
                return preset.get("environment", {})
    return {}


def environment(tree_name, java_home, further):
    """The environment for a program of that tree: its test preset's variables, and the JDK, if any."""
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith(_NOT_FOR_PROGRAMS)}
    kept.update(_of_preset(tree_name))
    if java_home:
        kept.update(JAVA_HOME=java_home, TEST_JAVA_HOMES=java_home)
    kept.update({name: str(value) for name, value in further.items()})
    return kept
