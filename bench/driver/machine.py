"""Describes the machine, and finds the JDKs."""
import os
import platform
import re
import subprocess


def _first(path, pattern):
    try:
        with open(path, encoding="utf-8") as lines:
            for line in lines:
                match = re.match(pattern, line)
                if match:
                    return match.group(1).strip()
    except OSError:
        pass
    return "unknown"


def processor():
    return _first("/proc/cpuinfo", r"model name\s*:\s*(.*)")


def memory_gib():
    return round(int(_first("/proc/meminfo", r"MemTotal:\s*(\d+)")) / 2**20)


def system():
    name = _first("/etc/os-release", r'PRETTY_NAME="(.*)"')
    return f"{name}, Linux {platform.release()}"


def load():
    return os.getloadavg()[0]


def jdk_version(home):
    return _first(os.path.join(home, "release"), r'JAVA_VERSION="(.*)"')


def jdk_name(home):
    vendor = _first(os.path.join(home, "release"), r'IMPLEMENTOR="(.*)"')
    return f"{jdk_version(home)} ({vendor})"


def jdk_with_foreign_functions():
    """The newest JDK of version 22 or later under /usr/lib/jvm, or None."""
    homes = {}
    root = "/usr/lib/jvm"
    for entry in os.listdir(root) if os.path.isdir(root) else []:
        home = os.path.realpath(os.path.join(root, entry))
        version = jdk_version(home).split(".")[0]
        if version.isdigit() and int(version) >= 22 and os.path.exists(f"{home}/bin/javac"):
            homes[int(version)] = home
    return homes[max(homes)] if homes else None


def compiler():
    result = subprocess.run(["g++", "--version"], capture_output=True, text=True, check=False)
    return result.stdout.splitlines()[0] if result.stdout else "unknown"
