#!/usr/bin/env python3
"""Plants deliberate one-line faults, one at a time, and checks the tests catch each.

Each row of faults.tsv is: file <TAB> original text <TAB> faulty text <TAB> what it breaks;
in both texts \\n stands for a line feed, \\t for a tab and \\\\ for a backslash (an
empty faulty text deletes the original). The original text must occur
exactly once in the file. For every row the
fault is written, the x64 tree is rebuilt incrementally and its tests run;
the fault counts as caught when a test fails (a fault that does not compile
is reported as such: it proves nothing). The file is restored afterwards,
also on Ctrl-C.

  tests/faults/plant.py [--out FILE] BUILD_DIR [ROW ...]   rows are 1-based; default all

--out writes one line per row (row, verdict, file, what, the tests that failed)
for comparing runs.
"""
import os, signal, subprocess, sys, time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))


def unescape(i_text):
    out, i = [], 0
    while i < len(i_text):
        if i_text[i] == "\\" and i + 1 < len(i_text):
            out.append({"n": "\n", "t": "\t"}.get(i_text[i + 1], i_text[i + 1]))
            i += 2
        else:
            out.append(i_text[i])
            i += 1
    return "".join(out)


def rows():
    with open(os.path.join(HERE, "faults.tsv"), encoding="utf-8") as table:
        for number, line in enumerate(table, 1):
            line = line.rstrip("\n")
            if not line or line.startswith("#"):
                continue
            parts = line.split("\t")
            if len(parts) != 4:
                sys.exit(f"faults.tsv:{number}: expected 4 tab-separated fields")
            yield [parts[0], unescape(parts[1]), unescape(parts[2]), parts[3]]


def run(args, cwd):
    return subprocess.run(args, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def interrupt(*_):
    raise KeyboardInterrupt


def main():
    # A stop by signal restores the file as Ctrl-C does.
    signal.signal(signal.SIGTERM, interrupt)
    args = sys.argv[1:]
    out = None
    if args[:1] == ["--out"] and len(args) >= 2:
        out = open(args[1], "w", encoding="utf-8")
        args = args[2:]
    if not args:
        sys.exit(__doc__)
    build = os.path.abspath(args[0])
    table = list(rows())
    wanted = [int(n) for n in args[1:]] or range(1, len(table) + 1)
    caught = missed = broken = 0
    for n in wanted:
        path, original, faulty, what = table[n - 1]
        full = os.path.join(ROOT, path)
        text = open(full, encoding="utf-8").read()
        if text.count(original) != 1:
            print(f"{n:3} ANCHOR  {path}: the original text occurs {text.count(original)} times")
            if out:
                print(f"{n}\tANCHOR\t{path}\t{what}", file=out, flush=True)
            broken += 1
            continue
        start = time.time()
        try:
            open(full, "w", encoding="utf-8").write(text.replace(original, faulty))
            # Two jobs at most: the machine is shared.
            built = run(["cmake", "--build", build, "-j", "2"], ROOT).returncode == 0
            verdict = "NOBUILD"
            if built:
                tests = run(["ctest", "-j2", "--timeout", "120", "-LE", "vm|ansible|package"], build)
                # ctest's closing list: "<number> - <name> (<why>)" per failed test.
                marker = "The following tests FAILED:"
                summary = tests.stdout.split(marker)[-1] if marker in tests.stdout else ""
                failed = [l.split(" - ", 1)[1] for l in summary.splitlines() if " - " in l]
                verdict = "caught" if tests.returncode != 0 else "MISSED"
        finally:
            open(full, "w", encoding="utf-8").write(text)
        if verdict == "caught":
            caught += 1
        elif verdict == "MISSED":
            missed += 1
        else:
            broken += 1
        detail = ""
        if verdict == "caught" and failed:
            names = [f.split(" (")[0].strip() for f in failed]
            detail = f" by {names[0]}" + (f" and {len(names) - 1} more" if len(names) > 1 else "")
        print(f"{n:3} {verdict:7} {path}: {what}{detail} ({time.time() - start:.0f} s)", flush=True)
        if out:
            names = ",".join(f.split(" (")[0].strip() for f in failed) if verdict == "caught" else ""
            print(f"{n}\t{verdict}\t{path}\t{what}\t{names}", file=out, flush=True)
    run(["cmake", "--build", build, "-j", "2"], ROOT)
    print(f"{caught} caught, {missed} missed, {broken} not applicable")
    sys.exit(1 if missed or broken else 0)


if __name__ == "__main__":
    main()
