"""The faults of the installation's files and of who may replace them; and right files that look odd."""
import grp
import os
import pwd
import shutil
import struct

from faults import Fault, sibling
from machine import ARCHIVE, LIBRARIES, RECEIVER, STRANGER, elf_header, stranger_may_own, stranger_may_run


MEMBER = "libFerrolinkJvmRuntimeNative.so"


def one_byte_short(data):
    """Without the last byte that is loaded. The loader opens it nevertheless."""
    place, size, count = struct.unpack_from("<Q", data, 32)[0], *struct.unpack_from("<HH", data, 54)
    ends = []
    for at in range(place, place + size * count, size):
        kind, _, offset, _, _, length = struct.unpack_from("<IIQQQQ", data, at)
        ends += [offset + length] if kind == 1 else []
    return data[:max(ends) - 1]


def needs_what_is_missing(data):
    return data.replace(b"libssl.so.3\0", b"libnix.so.3\0")


def writable_behind_a_link(machine):
    """The directory of the archive's link is closed to others, that of the archive is not."""
    machine.copy_tree()
    shared = machine.place / "share"
    shared.mkdir()
    link = machine.tree / ARCHIVE
    shutil.copy(link, shared / "ferrolink.jar")
    link.unlink()
    link.symlink_to(shared / "ferrolink.jar")
    shared.chmod(0o777)


def owned_by_a_stranger(machine):
    os.chown(machine.copy_tree() / "Binaries/Jvm", STRANGER, -1)


def writable_by_group(place, group, user=0):
    """A group may write to a place of the installation; the tool runs as that user, with its own group."""
    def arrange(machine):
        path = machine.copy_tree() / place
        if path.is_file():
            machine.replace(place, path.read_bytes())
        os.chown(path, -1, group)
        path.chmod(0o775)
        machine.arguments.append("--no-start")
        machine.place.chmod(0o755)
        os.chown(machine.current, user, -1)
        machine.before += [lambda: os.setgroups([]), lambda: os.setgid(group if user else 0), lambda: os.setuid(user)]
    return arrange


def user_with_private_group():
    """A user, not the superuser, whose group has no other members; None if there is none."""
    users = pwd.getpwall()
    for user in users:
        group = [other.pw_name for other in users if other.pw_gid == user.pw_gid]
        if user.pw_uid != 0 and group == [user.pw_name] and not set(grp.getgrgid(user.pw_gid).gr_mem) - set(group):
            return user
    return None


def class_without_methods(name):
    """A class that a JVM loads."""
    names = [struct.pack(">BH", 1, len(text)) + text for text in (name.encode(), b"java/lang/Object")]
    pool = struct.pack(">BHBH", 7, 3, 7, 4) + b"".join(names)
    return b"\xca\xfe\xba\xbe" + struct.pack(">HHH", 0, 52, 5) + pool + struct.pack(">HHHHHHH", 0x21, 1, 2, 0, 0, 0, 0)


def other_receiver(machine):
    path = machine.archive("boot.jar", {RECEIVER: class_without_methods(RECEIVER.removesuffix(".class"))})
    machine.arguments = machine.arguments[:-2]
    machine.variables["JAVA_TOOL_OPTIONS"] = f"-Xbootclasspath/a:/nowhere.jar:{path}"


def installation_faults():
    faults = [
        Fault("a truncated client", "sibling-damaged", "Reinstall",
              sibling("libFerrolinkTcpClient.so", lambda data: data[:60000]), ": 60000 bytes of "),
        Fault("a truncated C++ member", "sibling-damaged", "Reinstall",
              sibling("libFerrolinkCppRuntimeNative.so", lambda data: data[:60000]), ": 60000 bytes of "),
        Fault("a truncated library that every start opens", "sibling-damaged", "Reinstall",
              sibling("libUtils.so", lambda data: data[:60000]), ": 60000 bytes of "),
        Fault("a library that lacks its last byte", "sibling-damaged", "Reinstall",
              sibling("libFerrolinkTcpClient.so", one_byte_short)),
        Fault("the library of every call is empty", "sibling-empty", "Reinstall", sibling(MEMBER, lambda data: b"")),
        Fault("the library of every call is for another machine", "sibling-damaged", "Reinstall",
              sibling(MEMBER, lambda data: elf_header(64, 183)), "64 bits"),
        Fault("a library without OpenSSL", "sibling-damaged", "Install the library that the evidence names",
              sibling("libFerrolinkTcpTlsClient.so", needs_what_is_missing),
              "libnix.so.3: cannot open shared object file: No such file or directory", "cannot be opened"),
        Fault("no client", "sibling-missing", "Reinstall", sibling("libFerrolinkTcpClient.so"), "",
              "Calls over TCP do not work."),
        Fault("the archive's directory may be written to", "sibling-writable", "chmod o-w", writable_behind_a_link,
              "/share may be written to by others"),
        Fault("a receiver without methods on the boot class path", "receiver-shadowed", "-Xbootclasspath/a",
              other_receiver, "/boot.jar"),
    ]
    if stranger_may_own():
        utils = f"{LIBRARIES}/libUtils.so"
        faults += [
            Fault("the archive's directory is a stranger's", "sibling-writable", "chown root", owned_by_a_stranger,
                  f"/Binaries/Jvm belongs to {STRANGER}"),
            Fault("a group may write to the archive's directory", "sibling-writable", "chmod g-w",
                  writable_by_group("Binaries/Jvm", grp.getgrnam("users").gr_gid),
                  "/Binaries/Jvm may be written to by the group users", "Members of a group may replace"),
            Fault("a group without a name may write to a library", "sibling-writable", "/libUtils.so, and",
                  writable_by_group(utils, STRANGER), f"/libUtils.so may be written to by the group {STRANGER}"),
        ]
        if user_with_private_group() is not None:
            faults.append(Fault("the private group of another user", "sibling-writable", "chmod g-w",
                                writable_by_group(utils, user_with_private_group().pw_gid)))
    return faults


def self_running_archive(machine):
    """A script before an archive, whose table of contents does not count the script."""
    path = machine.archive("run.jar", {"a.txt": b"a"})
    path.write_bytes(b'#!/bin/sh\nexec java -jar "$0"\n' + path.read_bytes())


def right_installations(tool):
    right = {"a self-running archive": self_running_archive}
    if stranger_may_own() and stranger_may_run(tool):
        right["the group of the superuser"] = writable_by_group("Binaries/Jvm", 0)
        right["the private group of a user without an entry"] = writable_by_group("Binaries/Jvm", STRANGER, STRANGER)
        if (user := user_with_private_group()) is not None:
            right[f"the private group of {user.pw_name}"] = writable_by_group("Binaries/Jvm", user.pw_gid, user.pw_uid)
    return right
