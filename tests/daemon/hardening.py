"""Requires of each ELF file given that it is hardened as the distribution's own packages are."""

import subprocess
import sys


def readelf(*arguments):
    return subprocess.run(["readelf", "--wide", *arguments], capture_output=True, text=True,
                          check=True).stdout


def faults(file):
    header, dynamic = readelf("--file-header", file), readelf("--dynamic", file)
    segments, symbols = readelf("--segments", file), readelf("--dyn-syms", file)
    stack = [line for line in segments.splitlines() if "GNU_STACK" in line]
    # Which of the checked functions a file calls depends on its code; that it calls one does not.
    fortified = any("_chk@" in line for line in symbols.splitlines() if "__stack" not in line)
    required = {
        "loadable at any address": "DYN (" in header,
        "read-only relocations": "GNU_RELRO" in segments,
        "all symbols bound at the start": "BIND_NOW" in dynamic or " NOW" in dynamic,
        "a stack that is not executable": len(stack) == 1 and "RWE" not in stack[0],
        "no memory both writable and executable": "RWE" not in segments,
        "guarded stack frames": "__stack_chk_fail" in symbols,
        "checked library calls": fortified or file.endswith(".so") or ".so." in file,
    }
    return [what for what, present in required.items() if not present]


found = {file: faults(file) for file in sys.argv[1:]}
for file, missing in found.items():
    print(file, "misses: " + ", ".join(missing) if missing else "is hardened")
sys.exit(any(found.values()) or not found)
