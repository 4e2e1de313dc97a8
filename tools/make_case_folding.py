#!/usr/bin/env python3
"""Writes model/case_folding_table.inc from Unicode's CaseFolding.txt (Debian's unicode-data).

Only simple foldings (statuses C and S) are taken: they map one code point to one, so a folded text keeps
its length. Usage: tools/make_case_folding.py /usr/share/unicode/CaseFolding.txt > model/case_folding_table.inc
"""
import sys


def runs(pairs):
    """Groups (code, folded) pairs into [first, last, stride, delta] runs of stride 1 or 2."""
    result = []
    for code, folded in pairs:
        delta = folded - code
        if result and result[-1][3] == delta:
            first, last, stride, _ = result[-1]
            step = code - last
            if step in (1, 2) and (first == last or step == stride):
                result[-1][1] = code
                result[-1][2] = step
                continue
        result.append([code, code, 1, delta])
    return result


pairs = []
version = ""
for line in open(sys.argv[1], encoding="utf-8"):
    if line.startswith("# CaseFolding-"):
        version = line[2:].strip()
    fields = [field.strip() for field in line.split("#")[0].split(";")]
    if len(fields) >= 3 and fields[1] in ("C", "S"):
        pairs.append((int(fields[0], 16), int(fields[2], 16)))
print(f"// Made by tools/make_case_folding.py from {version}: first, last, stride, delta.")
print("// clang-format off")
for first, last, stride, delta in runs(sorted(pairs)):
    print(f"{{0x{first:04X}, 0x{last:04X}, {stride}, {delta}}},")
