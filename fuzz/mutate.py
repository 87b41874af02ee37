#!/usr/bin/env python3
"""Byte-level mutation of whole inputs (configuration files, standard input,
options and environment).

    mutate.py [--seed N] [--count K] --out DIR CASE...

writes K mutants of the given cases (tests/e2e/*.case or corpus files) to
DIR. The driver (fuzz.py) uses mutate() directly.
"""
import argparse
import os
import random
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from fuzzlib import readCase, safeBody, writeCase  # noqa: E402

# Bytes and tokens that matter to the reader, the lexer and the expansion;
# the last entries imitate the header of an interned string (magic
# 0x87654321 little-endian, hash, length).
TOKENS = [b"{", b"}", b"$(", b")", b"(", b"\\", b"\t", b"       ", b" ", b"\n", b"\r", b"\xff",
          b"\x00", b"\x80", b"\"", b"'", b"#", b"%", b"=", b"[", b"]", b":", b"/", b"*", b"~",
          b"&&", b"||", b"!", b";", b",", b"$", b"\\$(", b"$(A)", b"$(*)", b"$(:glob *)",
          b":S/a/b/g", b":basename", b"[0]", b"[k]", b"!Ce\x87", b"!Ce\x87\0\0\0\0\xfe\xfe",
          b"!Ce\x87\x01\x02\x03\x04\xff\x7f", b"when ", b"else ", b"in new scope ", b"with ",
          b"build ", b"template {\n%.o : %.c\n", b"emit -expand {\n", b"postprocess {\n",
          b"function f {\n", b"call f\n", b"for X in L {\n", b"include inc\n", b"exit ",
          b"error ", b"echo ", b"global ", b"set ", b"unset ", b" uses ", b".SEPARATOR = ",
          b".DEBUGFLAGS[t] = True\n", b".EMIT =+ ", b"-strip=x ", b"-tag=x ", b"-now ",
          b"-pretty ", b"dynamic ", b"fake ", b"intermediate ", b" by %.o : %.c cmd",
          b"\"NAME!Ce\x87\"", b"0x", b"010", b"99999999999999999999", b"-1", b"\xc3\xa9",
          b"A" * 300]

OPTIONS = [["-o", "-"], ["-o", "/dev/full"], ["-M", "deps"], ["-M", "/dev/full"], ["-d", "eilsSt"],
           ["-d", "i"], ["-d", "t"], ["-D", "A=1"], ["-D", "X"], ["-I", "inc"], ["-s", ":"],
           ["-s", ""], ["-o", "out"], ["-D", ".SEPARATOR=ab"], ["-q"], ["-D", "A=$(B)"],
           ["conf"], ["-D", "BRISK_PATH=d1 d2"], ["-I", "x\\y"]]
ENV = [("BRISK_PATH", "d2"), ("BRISK_PATH", ";;"), ("TERN_BASE", "tb\\sub"), ("TERN_HOME", "c:\\x"),
       ("TERN_TOOLS", "t"), ("YYDEBUG", "1"), ("WINPATH", "a\\b"), ("BRISK_PATH", "")]


def _mutateBytes(rng, data, donors):
    data = bytearray(data)
    op = rng.randrange(12)
    n = len(data)
    if op == 0 and n:                                   # bit flip
        i = rng.randrange(n)
        data[i] ^= 1 << rng.randrange(8)
    elif op == 1 and n:                                 # interesting byte
        data[rng.randrange(n)] = rng.choice(b"{}$()\\\t \n\"'#%=[]:\xff\x00\x87!")
    elif op in (2, 3):                                  # insert a token
        i = rng.randrange(n + 1)
        data[i:i] = rng.choice(TOKENS)
    elif op == 4 and n:                                 # delete a range
        i = rng.randrange(n)
        data[i:i + rng.randint(1, min(16, n - i))] = b""
    elif op == 5 and n:                                 # duplicate a block
        i = rng.randrange(n)
        j = min(n, i + rng.randint(1, 64))
        k = rng.randrange(n + 1)
        data[k:k] = data[i:j]
    elif op == 6 and n:                                 # random byte
        data[rng.randrange(n)] = rng.randrange(256)
    lines = bytes(data).split(b"\n")
    if op == 7 and len(lines) > 1:                      # delete a line
        del lines[rng.randrange(len(lines))]
    elif op == 8 and lines:                             # duplicate a line or a run of lines
        i = rng.randrange(len(lines))
        j = min(len(lines), i + rng.randint(1, 4))
        k = rng.randrange(len(lines) + 1)
        lines[k:k] = lines[i:j]
    elif op == 9 and donors:                            # splice lines of another input
        donor = rng.choice(donors).split(b"\n")
        i = rng.randrange(len(donor))
        k = rng.randrange(len(lines) + 1)
        lines[k:k] = donor[i:i + rng.randint(1, 6)]
    elif op == 10 and len(lines) > 1:                   # swap two lines
        i, j = rng.randrange(len(lines)), rng.randrange(len(lines))
        lines[i], lines[j] = lines[j], lines[i]
    elif op == 11 and lines:                            # change indentation
        i = rng.randrange(len(lines))
        lines[i] = rng.choice([b"", b"\t", b"       ", b" ", b"\t\t"]) + lines[i].lstrip(b" \t")
    if op >= 7:
        return b"\n".join(lines)
    return bytes(data)


def mutate(rng, case, donors=()):
    """A mutant of case; donors are file bodies that lines may be spliced from."""
    c = case.copy()
    donors = list(donors)
    for _ in range(rng.choice([1, 1, 1, 2, 2, 3, 4, 8])):
        r = rng.random()
        targets = list(c.files) + (["<stdin>"] if c.stdin is not None else [])
        if r < 0.85 and targets:
            t = rng.choice(targets)
            if t == "<stdin>":
                c.stdin = safeBody(_mutateBytes(rng, c.stdin, donors))
            else:
                c.files[t] = safeBody(_mutateBytes(rng, c.files[t], donors))
        elif r < 0.93:
            if c.args and rng.random() < 0.4:
                i = rng.randrange(len(c.args))
                if rng.random() < 0.5:
                    del c.args[i]
                else:
                    c.args[i] = _mutateBytes(rng, c.args[i].encode("latin-1"), ()).decode(
                        "latin-1").replace("\0", "").replace("\n", " ")
            else:
                c.args[0:0] = rng.choice(OPTIONS)
        else:
            k, v = rng.choice(ENV)
            if k in c.env and rng.random() < 0.5:
                del c.env[k]
            else:
                c.env[k] = v
    return c


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--count", type=int, default=10)
    ap.add_argument("--out", required=True)
    ap.add_argument("cases", nargs="+")
    a = ap.parse_args()
    cases = [readCase(p) for p in a.cases]
    donors = [b for c in cases for b in c.files.values()]
    os.makedirs(a.out, exist_ok=True)
    rng = random.Random(a.seed)
    for i in range(a.count):
        k = rng.randrange(len(cases))
        m = mutate(rng, cases[k], donors)
        m.comments = [f"mutated: seed {a.seed} index {i} from {os.path.basename(a.cases[k])}"]
        writeCase(m, os.path.join(a.out, f"mut-{a.seed}-{i}.case"))


if __name__ == "__main__":
    main()
