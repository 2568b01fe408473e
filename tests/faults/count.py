#!/usr/bin/env python3
"""Counts code lines of the tracked C++ sources: non-blank lines that are not
// comments or inside /* */ comments. Tests are tests/ and fuzz/; code is the
rest. Prints lines per folder and the ratio of tests to code.

  tests/faults/count.py [--folders]
"""
import collections, os, subprocess, sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def code_lines(path):
    count, in_block = 0, False
    for line in open(path, encoding="utf-8", errors="replace"):
        s = line.strip()
        if in_block:
            if "*/" not in s:
                continue
            s = s.split("*/", 1)[1].strip()
            in_block = False
        while s.startswith("/*"):
            if "*/" in s:
                s = s.split("*/", 1)[1].strip()
            else:
                in_block, s = True, ""
        if s and not s.startswith("//"):
            count += 1
    return count


def main():
    files = subprocess.run(["git", "ls-files", "*.cpp", "*.h", "*.c"], cwd=ROOT,
                           stdout=subprocess.PIPE, text=True, check=True).stdout.split()
    per = collections.Counter()
    tests = code = 0
    for f in files:
        n = code_lines(os.path.join(ROOT, f))
        top = f.split("/")[0]
        per["/".join(f.split("/")[:2]) if top in ("tests", "drivers") else top] += n
        if top in ("tests", "fuzz"):
            tests += n
        else:
            code += n
    if "--folders" in sys.argv:
        for k in sorted(per):
            print(f"{per[k]:6}  {k}")
    print(f"tests {tests}, code {code}, ratio {tests / code:.1%}")


if __name__ == "__main__":
    main()
