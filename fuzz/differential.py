#!/usr/bin/env python3
"""Differential test of two brisk binaries on random configurations.

    fuzz/differential.py BRISK REFERENCE FIRST_SEED COUNT
    fuzz/differential.py --print SEED

Both binaries run each seed's configuration as `BINARY -o out.mk conf` in fresh
directories, through the fuzzer's runner (fuzzlib.runCase); exit status,
standard output, standard error and out.mk must agree byte for byte. The first seed that differs is printed with its configuration
and a diff, and the exit status is 1. The configurations aim at what a build
keeps of the variables it saw: template commands read many variables through
the build's table when the rules are written, while the configuration keeps
changing them after the builds, in nested scopes, skipped blocks, the global
table and through compound names with wildcards.
"""
import difflib
import os
import random
import sys

import fuzzlib

PLAIN = ["V1", "V2", "V3", "V4"]
COMPOUND = ["C/s1/y", "C/s2/y", "C/*/y", "C/s1/*", "C/*/*", "C/x/y", "*/Source"]
BUILT = ["OBJS", "IOBJS", ".DEPFILES", ".SOURCE", ".MATCH"]
WORDS = ["a1", "ab", "xa", "b2", "cab", "q"]
SEPARATORS = [";", ","]
# What template commands and emit text read. Numeric subscripts are safe only
# because the prologue defines the plain names in the outermost scope: a
# subscript on a global variable read directly is a fatal error.
REFS = ["$(V1)", "$(V2[1])", "$(V3:S/a/b/)", "$(V4:S/^/-I/g)", "$(V1[0])", "$(V2)", "$(V3)",
        "$(L)", "$(.MATCH)", "$(OBJS)", "$(.DEPFILES)", "$(IOBJS)", "$(.SOURCE)", "$(.SRCPATH)",
        "$(C/x/y)", "$(C/$(.MATCH)/y)", "$(C/*/y)", "$(C/s1/q)", "$(C/z/z)", "$(s1.o/Source)",
        "$(s2.s/Source)", "$(s3.x/Source)", "$(s9.o/Source)", "$(s2.c/Suffix)", "$(d1/s2.c/Suffix)",
        "$(sub/s3.c/Suffix)"]
# Values of L hold references, read again wherever L is expanded; they name
# only variables that never hold references, so nothing expands forever. The
# quotes keep the parentheses from being cut into tokens in with-clauses.
LAZY = ['"\\$(V1)"', '"\\$(V3)"', '"\\$(.MATCH)"', '"\\$(C/\\$(.MATCH)/y)"', '"\\$(OBJS)"']
# Fixed values for what a dump would show differently in the two runs.
PROLOGUE = ["global .TIME = t0", "global .PWD = /w", "global BRISK_DIR = /b", "global .ARGV = brisk"]


class Generator:
    def __init__(self, seed):
        self.r = random.Random(seed)
        self.lines = list(PROLOGUE)
        self.left = self.r.randint(20, 120)
        self.sources = 0
        self.targets = {".c": ["%.o"], ".y": ["%.x"]}  # target patterns declared for good

    def put(self, depth, text):
        self.lines.append("\t" * depth + text)
        self.left -= 1

    def configuration(self):
        r = self.r
        self.template(0, [("%.o", "%.c"), ("%.x", "%.y")])
        for name in PLAIN:
            if r.random() < 0.95:
                self.put(0, f"{name} = {self.value(name)}")
        self.put(0, f"L = {self.value('L')}")
        for name in r.sample(COMPOUND, r.randint(0, 4)):
            self.put(0, f"{r.choice(['', 'global '])}{name} = {self.value(name)}")
        self.statements(0, 10**6)
        return "\n".join(self.lines) + "\n"

    def statements(self, depth, count):
        kinds = ["build", "change", "block", "read", "template", "srcpath", "separator", "emit"]
        weights = [26, 40, 10 if depth < 4 else 0, 7, 2, 4, 2, 2]
        while count > 0 and self.left > 0:
            getattr(self, self.r.choices(kinds, weights)[0])(depth)
            count -= 1

    def name(self):
        r = self.r
        return r.choice(r.choices([PLAIN, ["L"], COMPOUND, BUILT], [45, 8, 30, 8])[0])

    def value(self, name, words=None):
        r = self.r
        n = words or r.randint(1, 2)
        if name == "L":
            pool = LAZY
        elif name in ("OBJS", "IOBJS", ".DEPFILES", ".SOURCE"):
            pool = [f"s{r.randint(1, self.sources + 1)}{ext}" for ext in (".o", ".c", ".s")]
        else:
            pool = WORDS
        return " ".join(r.choice(pool) for _ in range(n))

    def cond(self):
        r = self.r
        name, word = self.name(), r.choice(WORDS)
        one = r.choice([name, f"! {name}", f"{word} is in {name}", f"{word} is not in {name}",
                        f'"$({name})" == "{word}"', f'"$({name})" != ""'])
        return one if r.random() < 0.8 else f"{one} {r.choice(['&&', '||'])} {self.cond()}"

    def template(self, depth, rules=None):
        r = self.r
        if rules is None:
            rules = r.sample([("%.o", "%.c"), ("%.s", "%.c"), ("%.x", "%.y"), ("%.o", "%.y")], r.randint(1, 2))
            if r.random() < 0.05:
                rules.append(("all", None))  # matches every later build
        self.put(depth, "template {")
        for i, (target, source) in enumerate(rules):
            if i and r.random() < 0.3:
                self.lines.append("")
            self.put(depth + 1, f"{target} : {source}" if source else f"{target} :")
            for _ in range(r.randint(1, 3)):
                self.put(depth + 2, " ".join([r.choice(["cc", "as", "ld"])] + r.sample(REFS, r.randint(2, 6))))
            if depth == 0 and source and target not in self.targets[source[1:]]:
                self.targets[source[1:]].append(target)
        self.put(depth, "}")

    def build(self, depth):
        r = self.r
        self.sources += 1
        ext = r.choices([".c", ".y", ".q"], [60, 20, 1])[0]  # nothing makes .q: an occasional error
        selector = r.choice(self.targets[ext]) if ext != ".q" and r.random() < 0.2 else None
        words = r.sample(["dynamic", "fake", "intermediate"], r.choice([0, 0, 0, 0, 1, 1, 2]))
        words += ["build"] + ([selector] if selector else [])
        words.append(r.choice(["", "", "", "sub/"]) + f"s{self.sources}{ext}")
        if r.random() < 0.15:
            words += ["when", self.cond()]
        if "fake" in words and r.random() < 0.7:
            words += ["with", ".SOURCE", "=", f"g{self.sources}.c"]
        for _ in range(r.choice([0, 0, 1, 1, 2, 3])):
            name = r.choice(PLAIN + ["L", ".SOURCE", "C/s1/y", "C/*/y"])
            words += ["with", name, r.choice(["=", "=+", "+=", "-="]), self.value(name)]
        if ext != ".q" and r.random() < 0.08:
            command = " ".join(r.sample(REFS, 3)).replace("$(", "\\$(")
            words += ["by", selector or "%.o", ":", f"%{ext}", f'"by {command}"']
        self.put(depth, " ".join(words))

    def change(self, depth):
        r = self.r
        if r.random() < 0.1:
            names = [self.name() for _ in range(r.randint(1, 3))]
            parts = [f"{n} {r.choice(['=', '=+', '+=', '-=', '?='])} {self.value(n, 1)}" for n in names]
            return self.put(depth, "with " + " && ".join(parts))
        name = self.name()
        scope = "global " if r.random() < 0.25 else ""
        op = r.choices(["=", "=+", "+=", "-=", "?=", "set", "unset", "uses"], [5, 6, 3, 3, 2, 1, 3, 1])[0]
        if op == "set":
            self.put(depth, f"set {scope}{name}")
        elif op == "unset":
            self.put(depth, f"unset {name}")
        elif op == "uses":
            self.put(depth, f"{scope}{name} uses {r.choice(SEPARATORS)}")
        else:
            self.put(depth, f"{scope}{name} {op} {self.value(name, 1 if op == '-=' else None)}")

    def block(self, depth):
        r = self.r
        head = "" if r.random() < 0.4 else f"when {self.cond()} "
        while True:
            clause = r.choice(["", "", "in new scope ", "in current scope "])
            self.put(depth, f"{head}{clause}{{")
            if clause == "in new scope ":  # shadow names of the outer scopes, maybe by deleted records
                for name in r.sample(PLAIN + COMPOUND, r.randint(0, 2)):
                    self.put(depth + 1, f"{name} {r.choice(['=', '=+'])} {self.value(name)}")
                    if r.random() < 0.3:
                        self.put(depth + 1, f"unset {name}")
            self.statements(depth + 1, r.randint(1, 8))
            self.put(depth, "}")
            if head in ("", "else ") or r.random() < 0.5:
                return
            head = f"else when {self.cond()} " if r.random() < 0.5 else "else "

    def read(self, depth):
        r = self.r
        kind = r.choices(["echo", "names", "current", "dump"], [20, 2, 2, 1])[0]
        if kind == "echo":
            names = r.sample(PLAIN + ["L", "OBJS", ".DEPFILES", "IOBJS", "C/s1/y", "C/x/y", ".SOURCE"], 3)
            self.put(depth, "echo " + " ".join(f'"$({n})"' for n in names))
        elif kind == "names":
            self.put(depth, 'echo "$(*)"')  # names may hold the token ':'
        else:
            self.put(depth, "current .DUMPVARS" if kind == "current" else ".DUMPVARS")

    def srcpath(self, depth):
        r = self.r
        if r.random() < 0.1:
            return self.put(depth, "unset .SRCPATH")
        scope = "global " if r.random() < 0.2 else ""
        self.put(depth, f"{scope}.SRCPATH = {r.choice(['d1/', 'd2/', 'sub/d3/', ''])}".rstrip())

    def separator(self, depth):
        r = self.r
        self.put(depth, ".SEPARATOR = :")
        for _ in range(r.randint(0, 2)):
            if r.random() < 0.5:
                self.put(depth, f'{r.choice(["", "global "])}"C:{r.choice(["*", "s2"])}:y" = {self.value("")}')
            else:
                r.choice([self.build, self.change])(depth)
        self.put(depth, ".SEPARATOR = /")

    def emit(self, depth):
        self.put(depth, "emit -expand {")
        self.put(depth + 1, "all: $(OBJS)")
        if self.r.random() < 0.5:
            self.put(depth + 1, "vars: " + " ".join(self.r.sample(REFS, 3)))
        self.put(depth, "}")


def run(binary, conf):
    """Status, standard output, standard error and out.mk (None when absent or
    too large to keep), or None when the program did not end in time."""
    case = fuzzlib.Case()
    case.args = ["-o", "out.mk", "conf"]
    case.files = {"conf": conf.encode("latin-1")}
    r = fuzzlib.runCase(binary, case, timeout=20, keep=("out.mk",))
    if r.timedOut:
        return None
    return {"status": r.status, "stdout": r.stdout, "stderr": r.stderr, "out.mk": r.kept.get("out.mk")}


def report(seed, conf, mine, theirs, names):
    print(f"seed {seed} differs\n--- configuration\n{conf}", end="")
    if mine is None or theirs is None:
        print(f"--- timed out: {', '.join(n for n, r in zip(names, (mine, theirs)) if r is None)}")
        return
    for part in mine:
        a, b = mine[part], theirs[part]
        if a == b:
            continue
        if part == "status" or a is None or b is None:
            print(f"--- {part}: {names[0]} {a!r}, {names[1]} {b!r}")
            continue
        lines = lambda t: t.decode("latin-1").splitlines(keepends=True)
        sys.stdout.writelines(difflib.unified_diff(lines(b), lines(a), f"{names[1]} {part}", f"{names[0]} {part}"))


def main(argv):
    if len(argv) == 3 and argv[1] == "--print":
        sys.stdout.write(Generator(int(argv[2])).configuration())
        return 0
    if len(argv) != 5:
        sys.exit(f"usage: {argv[0]} BRISK REFERENCE FIRST_SEED COUNT\n       {argv[0]} --print SEED")
    brisk, reference = os.path.abspath(argv[1]), os.path.abspath(argv[2])
    first, count = int(argv[3]), int(argv[4])
    succeeded = 0
    for seed in range(first, first + count):
        conf = Generator(seed).configuration()
        mine, theirs = run(brisk, conf), run(reference, conf)
        if mine is None or mine != theirs:
            report(seed, conf, mine, theirs, (argv[1], argv[2]))
            return 1
        succeeded += mine["status"] == 0
    print(f"{count} seeds agree, {succeeded} of them ended with status 0")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
