#!/usr/bin/env python3
"""Static checks of the universal macOS library, which cannot be run on this machine.

Usage: check_macho.py libImages.dylib

Checks that both slices (x86_64, arm64) are there, and in each: a two-level-namespace dylib built
for macOS 11.0, linking exactly libSystem and libc++, with no run path, weak or re-exported
library, exporting _REALPluginMain alone, binding every undefined name to one of its two
libraries, and, on arm64, carrying a code signature. Prints one line per check and exits 1 when
one fails."""
import struct
import sys

CPU_X86_64, CPU_ARM64 = 0x01000007, 0x0100000C
MH_MAGIC_64, MH_DYLIB, MH_TWOLEVEL = 0xFEEDFACF, 6, 0x80
LC_SYMTAB, LC_LOAD_DYLIB, LC_CODE_SIGNATURE, LC_BUILD_VERSION = 0x2, 0xC, 0x1D, 0x32
LC_DYLD_INFO_ONLY, LC_DYLD_EXPORTS_TRIE = 0x80000022, 0x80000033
FORBIDDEN = {0x8000001C: "LC_RPATH", 0x80000018: "LC_LOAD_WEAK_DYLIB",
             0x8000001F: "LC_REEXPORT_DYLIB", 0x80000023: "LC_LOAD_UPWARD_DYLIB",
             0x20: "LC_LAZY_LOAD_DYLIB", 0x24: "LC_VERSION_MIN_MACOSX"}
LIBRARIES = ["/usr/lib/libSystem.B.dylib", "/usr/lib/libc++.1.dylib"]
PLATFORM_MACOS, MACOS_11 = 1, 0x000B0000


def uleb(data, at):
    value = shift = 0
    while True:
        byte = data[at]
        at += 1
        value |= (byte & 0x7F) << shift
        shift += 7
        if byte < 0x80:
            return value, at


def exported_names(trie):
    """Walks the export trie from its root; every node with terminal information is a name."""
    names, pending = [], [(0, b"")]
    while pending:
        node, prefix = pending.pop()
        size, at = uleb(trie, node)
        if size:
            names.append(prefix.decode())
        at += size
        count = trie[at]
        at += 1
        for _ in range(count):
            end = trie.index(b"\0", at)
            edge = trie[at:end]
            child, at = uleb(trie, end + 1)
            pending.append((child, prefix + edge))
    return sorted(names)


def check_slice(name, data, report):
    magic, cpu, _, filetype, ncmds, _, flags = struct.unpack_from("<IiiIIII", data, 0)
    report(f"{name}: 64-bit dylib", magic == MH_MAGIC_64 and filetype == MH_DYLIB)
    report(f"{name}: two-level namespace", bool(flags & MH_TWOLEVEL))
    at, dylibs, build, signed, forbidden, symtab, trie = 32, [], None, False, [], None, None
    for _ in range(ncmds):
        command, size = struct.unpack_from("<II", data, at)
        if command == LC_LOAD_DYLIB:
            offset = struct.unpack_from("<I", data, at + 8)[0]
            dylibs.append(data[at + offset:at + size].split(b"\0")[0].decode())
        elif command == LC_BUILD_VERSION:
            build = struct.unpack_from("<III", data, at + 8)
        elif command == LC_CODE_SIGNATURE:
            signed = True
        elif command == LC_SYMTAB:
            symtab = struct.unpack_from("<IIII", data, at + 8)
        elif command == LC_DYLD_INFO_ONLY:
            offset, length = struct.unpack_from("<II", data, at + 40)
            trie = data[offset:offset + length]
        elif command == LC_DYLD_EXPORTS_TRIE:
            offset, length = struct.unpack_from("<II", data, at + 8)
            trie = data[offset:offset + length]
        elif command in FORBIDDEN:
            forbidden.append(FORBIDDEN[command])
        at += size
    report(f"{name}: macOS, minimum 11.0 (found {build})",
           build is not None and build[0] == PLATFORM_MACOS and build[1] == MACOS_11)
    report(f"{name}: links {LIBRARIES} (found {dylibs})", sorted(dylibs) == sorted(LIBRARIES))
    report(f"{name}: no run path, weak or re-exported library (found {forbidden})", not forbidden)
    exports = exported_names(trie) if trie else []
    report(f"{name}: exports _REALPluginMain alone (found {exports})", exports == ["_REALPluginMain"])
    unbound = []
    if symtab:
        symoff, nsyms, stroff, _ = symtab
        for i in range(nsyms):
            strx, ntype, _, desc, _ = struct.unpack_from("<IBBHQ", data, symoff + 16 * i)
            if ntype & 0x0E == 0 and ntype & 0x01:  # undefined and external
                ordinal = desc >> 8
                if not 1 <= ordinal <= len(dylibs):
                    end = data.index(b"\0", stroff + strx)
                    unbound.append(data[stroff + strx:end].decode())
    report(f"{name}: every undefined name binds to its libraries (unbound: {unbound[:5]})",
           symtab is not None and not unbound)
    if cpu == CPU_ARM64:
        report(f"{name}: code signature", signed)


def main(path):
    data = open(path, "rb").read()
    failures = []

    def report(text, ok):
        print(("ok   " if ok else "FAIL ") + text)
        if not ok:
            failures.append(text)

    magic, count = struct.unpack_from(">II", data, 0)
    report("universal file", magic == 0xCAFEBABE)
    if magic != 0xCAFEBABE:
        return 1
    slices = {}
    for i in range(count):
        cpu, _, offset, size, _ = struct.unpack_from(">iiIII", data, 8 + 20 * i)
        slices[cpu] = data[offset:offset + size]
    report("slices x86_64 and arm64", sorted(slices) == sorted([CPU_X86_64, CPU_ARM64]))
    for cpu, name in ((CPU_X86_64, "x86_64"), (CPU_ARM64, "arm64")):
        if cpu in slices:
            check_slice(name, slices[cpu], report)
    print(f"{len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
