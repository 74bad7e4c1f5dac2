#!/usr/bin/env python3
"""Compares what the shared library exports with the allowed list.

usage: check_exports.py LIBRARY ALLOWED NM OBJDUMP

Every exported symbol must belong to an entry of the list, and every entry must be exported.
An entry is "class NAME" (members, static data, tables of virtual operations and type information),
"function NAME" or "data NAME".
"""
import re, subprocess, sys

library, allowed_file, nm, objdump = sys.argv[1:5]


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def exported():
    if library.endswith(".dll"):
        # "[   0] _ZN..." lines of the export table, behind its heading
        table = run(objdump, "-p", library).split("[Ordinal/Name Pointer] Table", 1)[1]
        names = re.findall(r"^\s*\[\s*\d+\](?: \+base\[\s*\d+\])?\s+(?:[0-9a-f]{4}\s+)?(\S+)$", table.split("\n\n")[0], re.M)
    else:
        names = [line.split()[-1].split("@")[0] for line in run(nm, "-D", "--defined-only", library).splitlines()]
    demangled = run("c++filt", input="\n".join(names) + "\n").splitlines()
    return [re.sub(r"^((vtable|typeinfo name|typeinfo|guard variable) for|(non-)?virtual thunk to) ", "", name) for name in demangled]


def entry_of(symbol):
    """The entry that a symbol belongs to: its class, or its own name."""
    head = symbol.split("(")[0]
    match = re.match(r"(?:\w+ )*?(qel\w+)(?:<.*?>)?(?:::|$)", head)
    return match.group(1) if match else head


allowed = {}
for line in open(allowed_file, encoding="utf-8"):
    line = line.split("#")[0].strip()
    if line:
        kind, name = line.split(None, 1)
        allowed[name] = kind

symbols = exported()
if not symbols:
    sys.exit("check_exports: the library exports nothing")
found = {entry_of(symbol) for symbol in symbols}
extra = sorted({symbol for symbol in symbols if entry_of(symbol) not in allowed})
missing = sorted(set(allowed) - found)
for symbol in extra:
    print("not on the list:", symbol)
for name in missing:
    print("on the list, not exported:", allowed[name], name)
print(f"{len(symbols)} symbols of {len(found)} entries, {len(extra)} extra, {len(missing)} missing")
sys.exit(1 if extra or missing else 0)
