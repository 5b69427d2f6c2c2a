#!/usr/bin/env python3
"""Checks the plug-in file for macOS: check_file.py Quillix.dylib

Both processors are in it, each slice for the oldest system that it is meant for, with its install
name, exactly two exported symbols, nothing needed but the system's own library, no search path of its
own, and a valid signature.
"""

import hashlib
import struct
import sys

# Of mach-o/loader.h and its kin.
FAT_MAGIC = 0xCAFEBABE
MACHINE = {0x01000007: "x86_64", 0x0100000C: "arm64"}
MH_MAGIC_64, MH_DYLIB = 0xFEEDFACF, 6
LC_LOAD_DYLIB, LC_ID_DYLIB, LC_CODE_SIGNATURE, LC_RPATH = 0xC, 0xD, 0x1D, 0x8000001C
LC_VERSION_MIN_MACOSX, LC_BUILD_VERSION, PLATFORM_MACOS = 0x24, 0x32, 1
LC_DYLD_INFO_ONLY, LC_DYLD_EXPORTS_TRIE = 0x80000022, 0x80000033
OTHER_LOADS = {0x80000018: "weakly", 0x8000001F: "with its exports", 0x20: "lazily"}
SUPER_BLOB, CODE_DIRECTORY, ADHOC, SHA256 = 0xFADE0CC0, 0xFADE0C02, 0x2, 2

OLDEST = {"x86_64": (10, 13), "arm64": (11, 0)}
INSTALL_NAME = "@rpath/Quillix.dylib"
NEEDED = ["/usr/lib/libSystem.B.dylib"]
EXPORTED = ["_REALPluginMain", "_initaview"]


class Wrong(Exception):
    pass


def expect(found, wanted, what):
    if found != wanted:
        raise Wrong(f"{what}: {found}, not {wanted}")


def text_at(data, offset):
    return data[offset : data.index(b"\0", offset)].decode()


def slices(data):
    magic, count = struct.unpack_from(">2I", data)
    expect(hex(magic), hex(FAT_MAGIC), "what the file is")
    for i in range(count):
        machine, _, offset, size, alignment = struct.unpack_from(">5I", data, 8 + 20 * i)
        expect(offset % (1 << alignment), 0, "a slice's place")
        yield MACHINE.get(machine, hex(machine)), data[offset : offset + size]


def load_commands(image):
    magic, _, _, kind, count = struct.unpack_from("<5I", image)
    expect((hex(magic), kind), (hex(MH_MAGIC_64), MH_DYLIB), "what the slice is")
    at = 32
    for _ in range(count):
        command, size = struct.unpack_from("<2I", image, at)
        yield command, image[at : at + size]
        at += size


def number(data, at):
    """An unsigned LEB128 number and where it ends."""
    value = shift = 0
    while True:
        byte = data[at]
        value |= (byte & 0x7F) << shift
        at, shift = at + 1, shift + 7
        if not byte & 0x80:
            return value, at


def exports(trie, node=0, prefix=""):
    size, at = number(trie, node)
    if size:
        yield prefix
    at += size
    children = trie[at]
    at += 1
    for _ in range(children):
        label = text_at(trie, at)
        child, at = number(trie, at + len(label) + 1)
        yield from exports(trie, child, prefix + label)


def check_signature(image, offset, size):
    """Ad hoc, and with the right hash of each page of what comes before it."""
    blob = image[offset : offset + size]
    magic, _, count = struct.unpack_from(">3I", blob)
    expect(hex(magic), hex(SUPER_BLOB), "the signature")
    directories = [
        blob[start:]
        for _, start in struct.iter_unpack(">2I", blob[12 : 12 + 8 * count])
        if struct.unpack_from(">I", blob, start)[0] == CODE_DIRECTORY
    ]
    expect(len(directories), 1, "directories of the signature")
    directory = directories[0]
    flags, hashes, _, _, pages, limit = struct.unpack_from(">6I", directory, 12)
    hash_size, hash_type, _, page_bits = struct.unpack_from(">4B", directory, 36)
    expect((flags & ADHOC, hash_type, limit), (ADHOC, SHA256, offset), "the signature's kind and reach")
    for i in range(pages):
        page = image[i << page_bits : min((i + 1) << page_bits, limit)]
        wanted = directory[hashes + i * hash_size : hashes + (i + 1) * hash_size]
        expect(hashlib.sha256(page).hexdigest(), wanted.hex(), f"the hash of page {i}")
    expect(pages, -(-limit >> page_bits), "the pages that are signed")


def check_slice(machine, image):
    needed, names, signed, oldest, exported = [], [], False, None, []
    for command, data in load_commands(image):
        fields = struct.unpack_from(f"<{min(len(data) // 4, 12)}I", data)
        if command == LC_LOAD_DYLIB:
            needed.append(text_at(data, fields[2]))
        elif command in OTHER_LOADS:
            raise Wrong(f"a library is loaded {OTHER_LOADS[command]}")
        elif command == LC_ID_DYLIB:
            names.append(text_at(data, fields[2]))
        elif command == LC_RPATH:
            raise Wrong("it has a search path of its own")
        elif command == LC_VERSION_MIN_MACOSX:
            oldest = (fields[2] >> 16, fields[2] >> 8 & 0xFF)
        elif command == LC_BUILD_VERSION:
            expect(fields[2], PLATFORM_MACOS, "the system that it is for")
            oldest = (fields[3] >> 16, fields[3] >> 8 & 0xFF)
        elif command == LC_DYLD_INFO_ONLY:
            exported = list(exports(image[fields[10] : fields[10] + fields[11]]))
        elif command == LC_DYLD_EXPORTS_TRIE:
            exported = list(exports(image[fields[2] : fields[2] + fields[3]]))
        elif command == LC_CODE_SIGNATURE:
            check_signature(image, fields[2], fields[3])
            signed = True
    expect(names, [INSTALL_NAME], "its name")
    expect(needed, NEEDED, "what it needs")
    expect(sorted(exported), EXPORTED, "what it exports")
    expect(oldest, OLDEST[machine], "the oldest system that it is for")
    expect(signed, True, "whether it is signed")


def main(path):
    with open(path, "rb") as file:
        data = file.read()
    try:
        found = dict(slices(data))
        expect(sorted(found), sorted(OLDEST), "its processors")
        for machine, image in found.items():
            try:
                check_slice(machine, image)
            except Wrong as error:
                raise Wrong(f"{machine}: {error}") from None
    except (Wrong, struct.error, IndexError, ValueError) as error:
        print(f"{path}: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
