#!/usr/bin/env python3
"""Random, mostly well-formed inputs for brisk: configuration files with
every statement, reference form, subscript and modifier of the language,
plus command-line options, environment and standard input.

    generate.py [--seed N] [--count K] [--out DIR]

writes K inputs (default 10) as DIR/gen-SEED-I.case, or prints one to
standard output without --out. The same seed gives the same inputs.
"""
import argparse
import os
import random
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from fuzzlib import Case, formatCase, writeCase  # noqa: E402

NAMES = ["A", "B", "CC", "CFLAGS", "SRC", "L", "V", "W", "X", "OBJS", "IOBJS", "TARGET",
         "P/q", "CFLAGS/arm/debug", "CFLAGS/*/debug", "K", "LIST", "1", "E"]
BUILTINS = [".ARGC", ".ARGV", ".CFFILE", ".FILE", ".LINE", ".CURRENT_SCOPE", ".SYSNAME",
            ".NODENAME", ".SYSRELEASE", ".SYSVERSION", ".MACHINE", ".HOSTNAME", ".PWD",
            ".TIME", ".USER", "BRISK_DIR", "BRISK_PATH", "TERN_BASE", "TERN_HOME",
            "TERN_TOOLS", ".DEBUGFLAGS[e]", ".DEBUGFLAGS[t]", ".DEBUGFLAGS", ".SEPARATOR",
            ".DELIMITER", ".EMIT", ".SRCPATH", ".DEPFILES", ".MATCH", ".SOURCE", ".TRUE",
            ".FALSE", "-I", "foo.o/Source", "c/Suffix", ".POSTPROCESS", ".FUNCTEXT"]
WORDS = ["a", "b", "foo", "bar.c", "x.c", "src/m.c", "-O2", "-g", "1", "0", "cc", "k=v",
         "cc=1", "c=2", "dir/sub/f.c", "*", "%", "%.c", "a.o", "True", "False", ":", "::",
         "=", "{", "}", "(", ")", "&&", "||", "!", "in", "when", "is", "new", "scope",
         "with", "by", "to", "-now", "-tag", "-expand", "-strip", "#c", "x\\ y", "\\$",
         "\\#", "\\t", "'q w'", '"q w"', "é", ".", "/", "..", "~", "^", "$",
         "-output", "export", "--", "=+", "?=", "+=", "-="]
SECTIONS = [".EMIT", ".EMIT-NOW", ".OBJS", ".RULES", "extra", "T1", ".POSTPROCESS", ".FUNCTEXT"]
REGEXES = ["^a", "o$", ".*", "[", "b*", "\\\\(", "x\\\\{2\\\\}"]
BY_COMMANDS = ['"cc $<"', "cmd", '"$(A)"']
FUNCS = ["f", "g", "greet", "rules"]
SOURCES = ["foo.c", "bar.c", "src/m.c", "gram.y", "inc.h", "a.s", "x", "dir/y.c", "z.cpp"]


class Gen:
    def __init__(self, rng):
        self.r = rng
        self.depth = 0
        self.budget = 0
        self.includes = []     # names that include statements may use
        self.funcs = set()
        self.selfref = rng.random() < 0.05   # allow values that refer to themselves

    def pick(self, seq):
        return self.r.choice(seq)

    def chance(self, p):
        return self.r.random() < p

    # --- words and references -------------------------------------------

    def name(self):
        r = self.r.random()
        if r < 0.7:
            return self.pick(NAMES)
        if r < 0.8:
            return self.pick(BUILTINS)
        if r < 0.9:
            return self.pick(NAMES) + "/" + self.pick(["x86", "arm", "*", "debug"])
        return "$(" + self.pick(["A", "B", "X"]) + ")" + self.pick(["", "/x", "Y"])

    def modifier(self):
        d = self.pick("/,|#")
        pat = self.pick(["o", "^b", "o$", "^", "$", ".c", "a", "", "x\\y"])
        rep = self.pick(["0", "-I", "&", "&&", "", ".o", "X"])
        return self.pick([
            ":basename", ":dirname", ":quote", f":S{d}{pat}{d}{rep}{d}", f":S{d}{pat}{d}{rep}{d}g",
            ":S/a/b", ":S/a/b/x", ":nosuch", ":", ":S", ":basenamex"])

    def subscript(self):
        return "[" + self.pick(["0", "1", "2", "0x1", "010", "99", "-1", "c", "cc", "k", "",
                                "e", "t", "x y", "$(A)"]) + "]"

    def reference(self):
        r = self.r.random()
        if r < 0.4:
            return f"$({self.name()})"
        if r < 0.55:
            return f"$({self.name()}{self.subscript()})"
        if r < 0.7:
            return f"$({self.name()}{self.modifier()})"
        if r < 0.75:
            return f"$({self.name()}{self.subscript()}{self.modifier()})"
        if r < 0.8:
            return self.pick(["$(*)", "$(*:~^[A-C])", "$(*:~.*)", "$(*:~[)", "$(*:basename)",
                              "$(*[0])"])
        if r < 0.87:
            return "$(:glob " + self.pick(["*", "*.c", "src/*", "*/", "[", "nothing*", "*.case"]) + ")"
        if r < 0.9:
            return self.pick(["$(", "$(A", "$()", "$(:x)", "$(A:S/a/b/)", "$(A)(B)", "$$(A)",
                              "$(A[)", "$(A[0]", "$(A:S/[/x/)"])
        if r < 0.95:
            return f"$({self.name()}$({self.pick(['A', 'X'])}))"
        return "$(" + self.pick(BUILTINS) + ")"

    def word(self):
        r = self.r.random()
        if r < 0.45:
            return self.pick(WORDS[:20])
        if r < 0.75:
            return self.reference()
        if r < 0.85:
            return self.pick(WORDS)
        if r < 0.9:
            return '"' + " ".join(self.word() for _ in range(self.r.randint(0, 2))) + '"'
        if r < 0.93:
            return "'" + self.reference() + "'"
        if r < 0.96 and self.selfref:
            return "\\$(" + self.pick(NAMES[:10]) + ")"
        return self.pick(WORDS) + self.reference()

    def words(self, lo=0, hi=4):
        return " ".join(self.word() for _ in range(self.r.randint(lo, hi)))

    # --- conditions -------------------------------------------------------

    def condition(self, depth=0):
        r = self.r.random()
        if depth < 2 and r < 0.15:
            return f"{self.condition(depth + 1)} {self.pick(['&&', '||'])} {self.condition(depth + 1)}"
        if depth < 2 and r < 0.22:
            return f"( {self.condition(depth + 1)} )"
        if depth < 2 and r < 0.28:
            return f"! {self.condition(depth + 1)}"
        return self.pick([
            lambda: self.name(),
            lambda: f"{self.word()} is in {self.name()}",
            lambda: f"{self.word()} is not in {self.name()}",
            lambda: f"{self.word()} == {self.word()}",
            lambda: f"{self.word()} != {self.word()}",
            lambda: f"{self.word()} ~= {self.pick(REGEXES)}",
            lambda: f"exists {self.pick(['conf', 'inc', 'nothing', '/', 'src/m.c', '$(A)'])}",
            lambda: self.pick(["nothing", "1", "DEBUG", "A", ".TRUE"]),
        ])()

    def when(self, p=0.3):
        return f" when {self.condition()}" if self.chance(p) else ""

    def scope(self, p=0.3):
        return self.pick([" in new scope", " in current scope"]) if self.chance(p) else ""

    # --- statements ------------------------------------------------------

    def indent(self):
        if self.chance(0.05):
            return self.pick(["       ", " ", "\t ", "        "])
        return "\t" * self.depth

    def block(self, head, body_fn):
        lines = [self.indent() + head + " {"]
        self.depth += 1
        lines += body_fn()
        self.depth -= 1
        close = "}"
        if self.chance(0.02):
            close = self.pick(["}x", "       }", "} # c", "}}", ""])
        lines.append(self.indent() + close)
        return lines

    def statements(self, n):
        out = []
        for _ in range(n):
            if self.budget <= 0:
                break
            self.budget -= 1
            out += self.statement()
        return out

    def assignment(self):
        op = self.pick(["=", "=", "?=", "=+", "+=", "-="])
        lhs = self.name()
        if self.chance(0.1):
            lhs = "global " + lhs
        return f"{lhs} {op} {self.words()}"

    def statement(self):
        i = self.indent()
        r = self.r.random()
        nested = self.depth < 4
        if r < 0.22:
            return [i + self.assignment()]
        if r < 0.30:
            return [i + f"echo {self.words(0, 5)}{self.when(0.2)}"]
        if r < 0.33:
            return [i + self.pick([
                f"set {self.name()}", f"set global {self.name()}", f"unset {self.name()}",
                f"{self.name()} uses {self.pick([':', ',', ';', 'ab', ''])}",
                f"global {self.name()} uses {self.pick([':', ','])}",
                f".SEPARATOR = {self.pick([':', '/', 'ab', ''])}",
                f".DEBUGFLAGS[{self.pick(['e', 'i', 'l', 's', 'S', 't', 'ab', ''])}] = {self.pick(['True', 'False', 'x'])}",
                f".DELIMITER = {self.pick([':', ' ', ',;'])}",
                f".SRCPATH = {self.pick(['lib', 'lib/', '', 'src/'])}",
                f".EMIT {self.pick(['=+', '=', '+='])} {self.pick(SECTIONS)}",
            ])]
        if r < 0.36:
            return [i + "with " + " && ".join(
                f"{self.pick(NAMES[:8])} {self.pick(['=', '=+', '+=', '-=', '?='])} {self.word()}"
                for _ in range(self.r.randint(1, 3)))]
        if r < 0.38:
            return [i + f"import {self.pick(['WINPATH', 'FUZZ_ENV', 'HOME', 'NOT_SET', 'TERN_BASE'])}{self.when(0.2)}"]
        if r < 0.40:
            return [i + self.pick([".DUMPVARS", "current .DUMPVARS"])]
        if r < 0.41:
            return [i + f"error {self.words(0, 3)} when {self.condition()}"]
        if r < 0.48 and nested:
            return self.chain()
        if r < 0.51 and nested:
            return self.block(self.pick(["", "in new scope", "in current scope"]).strip(),
                              lambda: self.statements(self.r.randint(0, 3)))
        if r < 0.56 and nested:
            return self.forLoop()
        if r < 0.61 and nested:
            return self.function()
        if r < 0.64:
            return [i + f"call {self.pick(FUNCS + ['nosuch', '$(A)'])}"]
        if r < 0.67 and nested:
            return self.postprocess()
        if r < 0.70:
            return self.include()
        if r < 0.78 and nested:
            return self.emit()
        if r < 0.80:
            return [i + f"emit {self.pick(SECTIONS)} to {self.pick(['extra.mk', 'Makefile', 'out/x.mk', '-', 'sub'])}"]
        if r < 0.86 and nested:
            return self.template()
        if r < 0.95:
            return [i + self.build()]
        if r < 0.97:
            return [i + self.pick(["", "# comment", "\\", "{", "}", "else", "when", "=", "$(A) = 1",
                                   "echo \"open", "echo 'open", "A = 1 \\", "echo a\\", "\t", "exit",
                                   "with", "build", "template", "for X in", "emit -tag=x -now {"])]
        return [i + f"echo {self.words(0, 2)} \\", i + f"\t{self.words(0, 2)}"]

    def chain(self):
        lines = self.block(f"when {self.condition()}{self.scope(0.2)}",
                           lambda: self.statements(self.r.randint(0, 3)))
        while self.chance(0.4):
            lines += self.block(f"else when {self.condition()}{self.scope(0.1)}",
                                lambda: self.statements(self.r.randint(0, 2)))
        if self.chance(0.4):
            lines += self.block(f"else{self.scope(0.1)}", lambda: self.statements(self.r.randint(0, 2)))
        return lines

    def forLoop(self):
        var = self.pick(["S", "X", "V", "A"])
        lst = self.pick(["L", "LIST", "SRC", "A", "NOTHING", "OBJS", "$(A)"])
        return self.block(f"for {var} in {lst}{self.scope(0.2)}",
                          lambda: self.statements(self.r.randint(0, 3)))

    def bodyArgs(self, expand=True):
        args = []
        if self.chance(0.2):
            args.append(self.pick(["-strip=\" \"", "-strip=x", "-strip=\"\t\"", "-strip="]))
        if expand and self.chance(0.2):
            args.append("-expand")
        return "".join(a + " " for a in args)

    def function(self):
        name = self.pick(FUNCS)
        self.funcs.add(name)
        head = f"function {self.bodyArgs()}{name}"
        saved = self.selfref

        def body():
            out = self.statements(self.r.randint(0, 3))
            if saved and self.chance(0.3):
                out.append(self.indent() + f"call {name}")
            return out
        return self.block(head, body)

    def postprocess(self):
        return self.block(f"postprocess {self.bodyArgs()}".rstrip(),
                          lambda: self.statements(self.r.randint(0, 3)))

    def include(self):
        name = self.pick(self.includes or ["inc"]) if self.chance(0.85) else self.pick(
            ["nothing", "/", "conf", ".", "$(A)", "inc inc"])
        return [self.indent() + f"include {name}{self.when(0.2)}{self.scope(0.2)}"]

    def emit(self):
        args = []
        if self.chance(0.15):
            args.append(self.pick(["-strip=x", "-strip x", "-strip=\"  \""]))
        if self.chance(0.3):
            args.append(self.pick(["-tag=extra", "-tag T1", "-now", "-tag=.OBJS"]))
        if self.chance(0.05):
            args.append(self.pick(["-now", "-tag=x", "-tag y"]))
        if self.chance(0.3):
            args.append("-expand")
        if self.chance(0.2):
            args.append("-pretty")
        head = "emit" + "".join(" " + a for a in args) + self.when(0.2)

        def body():
            out = []
            for _ in range(self.r.randint(0, 4)):
                text = self.pick([
                    "all: $(PROGRAM)", "\t$(CC) -o $@ $^", "text " + self.words(0, 4),
                    "value \\$(A) $(A)", "long " + " ".join(["word%d" % k for k in range(30)]),
                    "", "x{", "}", "# not a comment", "\\", "$(OBJS)", "if { nested }"])
                out.append(self.indent() + text)
            return out
        return self.block(head, body)

    def template(self):
        head = "template" + (" " + self.pick(["-strip=x", "-strip=\" \""]) if self.chance(0.1) else "") + self.when(0.15)
        lines = [self.indent() + head + " {"]
        for _ in range(self.r.randint(1, 3)):
            if self.chance(0.15):
                lines.append("")
            tpat = self.pick(["%.o", "%.s", "%.c", "%", "x.o", "%.%", "%/%.o", "lib%.a", "$(A).o"])
            spat = self.pick(["%.c", "%.y", "%.h", "%", "%.c%", "\"NAME\"", "\"%$(SUF)\"", "x.c",
                              "%.cpp", ""])
            lines.append(f"{tpat} : {spat}".rstrip() if spat else f"{tpat} :")
            for _ in range(self.r.randint(0, 3)):
                lines.append("\t" + self.pick([
                    "$(CC) -c $(CFLAGS) -o $@ $<", "@echo $(.MATCH) done", "cc $(A) $(X[0])",
                    "touch $@", "$(B:S/a/b/g)", "echo \\$(A)", "$(:glob *.c)", "$(.MATCH:basename)",
                    "$(UNDEF)", "$(", "cmd #c"]))
        lines.append(self.pick(["}", "}", "}", "} x", ""]))
        return lines

    def build(self):
        kinds = "".join(k + " " for k in ("dynamic", "fake", "intermediate") if self.chance(0.12))
        sel = self.pick(["%.o ", "%.s ", "x.o ", "%.c "]) if self.chance(0.15) else ""
        src = self.pick(SOURCES) if self.chance(0.8) else self.word()
        if self.chance(0.04):
            src = '"' + self.pick(["NAME", "NAM", "xNAME"]) + self.pick(["!Ce\\\\x87", "\\t"]) + '"'
        line = f"{kinds}build {sel}{src}{self.when(0.15)}"
        for _ in range(self.r.randint(0, 2) if self.chance(0.3) else 0):
            line += f" with {self.pick(NAMES[:8] + ['.SOURCE'])} {self.pick(['=', '=+', '+=', '-='])} {self.words(1, 2)}"
        if self.chance(0.1):
            line += f" by {self.pick(['%.o', '%.s', 'x'])} : {self.pick(['%.c', '%', 'y'])} {self.pick(BY_COMMANDS)}"
        return line


def generate(rng):
    """One random input as a Case."""
    g = Gen(rng)
    case = Case()
    # Files first, so that include statements can name them.
    extra = []
    layout = rng.random()
    if layout < 0.3:
        extra.append("inc")
    if rng.random() < 0.3:
        extra.append("d2/part")
    if rng.random() < 0.15:
        extra.append("\\brisk/part")
    if rng.random() < 0.1:
        extra.append("tb/conf/part")
    g.includes = [os.path.basename(e) if "/" in e else e for e in extra] + ["inc", "part"]
    g.budget = rng.randint(3, 40)
    conf = g.statements(g.budget)
    # Sources for the glob reference and exists conditions.
    for name in rng.sample(["a.c", "b.c", "src/m.c", "src/sub/n.c", "x.case"], rng.randint(0, 3)):
        case.files[name] = b""
    for e in extra:
        g.budget = rng.randint(1, 8)
        body = g.statements(g.budget)
        if rng.random() < 0.05:
            body.append(f"include {g.pick(g.includes)}")
        case.files[e] = ("\n".join(body) + "\n").encode("latin-1", "replace")
    text = "\n".join(conf) + ("\n" if rng.random() < 0.95 else "")
    # Options.
    args = []
    if rng.random() < 0.3:
        args += ["-d", "".join(rng.sample("eilsStxX", rng.randint(1, 4)))]
    sep = None
    if rng.random() < 0.1:
        sep = rng.choice([":", ",", ";", "ab", ""])
        args += ["-s", sep]
    for _ in range(rng.randint(0, 2) if rng.random() < 0.25 else 0):
        args += ["-I", rng.choice(["inc", "d2", "a b", "x\\y", ""])]
    if rng.random() < 0.05 and sep is None:
        args += ["-s", ":"]
    for _ in range(rng.randint(0, 3) if rng.random() < 0.35 else 0):
        d = rng.choice(["DEBUG", "A=1", "X=a b", "BRISK_PATH=d1 d2", ".SEPARATOR=:", ".SEPARATOR=ab",
                        "CC=gcc", "=x", "E=", ".DEBUGFLAGS[t]=True", ".EMIT=.RULES", "L=a b c",
                        "CFLAGS/x86/debug=-g"])
        if g.selfref and rng.random() < 0.2:
            d = "Y=$(Y)"
        args += ["-D", d]
    if rng.random() < 0.12:
        args += ["-M", rng.choice(["deps", "/dev/full", "nodir/deps", "deps"])]
        if rng.random() < 0.1:
            args += ["-M", "deps2"]
    out = rng.random()
    if out < 0.55:
        args += ["-o", "-"]
    elif out < 0.65:
        args += ["-o", rng.choice(["out.mk", "/dev/full", "nodir/x", ".", "-"])]
    elif out < 0.68:
        args += ["-o", "/dev/full"]
    if rng.random() < 0.03:
        args += [rng.choice(["-q", "-o", "-d", "-D", "-I", "--", "-Ix"])]
    operand = rng.random()
    if operand < 0.75:
        case.files["conf"] = text.encode("latin-1", "replace")
        args.append("conf")
    elif operand < 0.85:
        case.stdin = text.encode("latin-1", "replace")
    elif operand < 0.92:
        case.files["d2/top"] = text.encode("latin-1", "replace")
        case.env["BRISK_PATH"] = "d1;d2" if sep in (None, ";") else f"d1{sep}d2"
        args.append("top")
    else:
        case.files["conf"] = text.encode("latin-1", "replace")
        args += ["conf", rng.choice(["conf", "missing", "-o"])]
    case.args = args
    # Environment.
    if "BRISK_PATH" not in case.env and rng.random() < 0.25:
        case.env["BRISK_PATH"] = rng.choice(["d2", "d1;d2", "{DIR}/d2", ";", "", "d2;" * 20])
    if rng.random() < 0.1:
        case.env["TERN_BASE"] = rng.choice(["tb", "tb\\sub", "c:\\tern", ""])
    if rng.random() < 0.08:
        case.env["TERN_HOME"] = "c:\\tern\\home"
    if rng.random() < 0.05:
        case.env["TERN_TOOLS"] = "t\\ools"
    if rng.random() < 0.1:
        case.env["WINPATH"] = "tools\\bin\\x"
        case.env["FUZZ_ENV"] = rng.choice(["a b", "$(A)", "\\\\", "x#y"])
    if rng.random() < 0.02:
        case.env["YYDEBUG"] = rng.choice(["1", "0", "x", "9"])
    if rng.random() < 0.08:
        # Found along PATH: the program looks for its own directory there,
        # from a working directory that may be long.
        case.argv0 = "brisk"
        case.env["PATH"] = rng.choice(["{BIN}", "/usr/bin:{BIN}", "nothing:{BIN}", ":{BIN}",
                                       "{DIR}:{BIN}"])
        if rng.random() < 0.5:
            case.cwd = "/".join(["d" * rng.randint(10, 60) for _ in range(rng.randint(2, 8))])
            # The configuration operand must be reachable from there.
            case.args = [("{DIR}/" + a) if a in ("conf", "deps", "out.mk") else a for a in case.args]
        case.files.setdefault("conf", b"")
        case.files["conf"] += b"echo \"BRISK_DIR=$(BRISK_DIR)\"\n"
    elif rng.random() < 0.03:
        case.cwd = "w/" + "l" * rng.randint(200, 400)
        case.args = [("{DIR}/" + a) if a in ("conf",) else a for a in case.args]
    return case


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--count", type=int, default=10)
    ap.add_argument("--out")
    a = ap.parse_args()
    if not a.out:
        rng = random.Random(a.seed)
        sys.stdout.buffer.write(formatCase(generate(rng)))
        return
    os.makedirs(a.out, exist_ok=True)
    for i in range(a.count):
        rng = random.Random(f"{a.seed}-{i}")
        case = generate(rng)
        case.comments = [f"generated: seed {a.seed} index {i}"]
        writeCase(case, os.path.join(a.out, f"gen-{a.seed}-{i}.case"))


if __name__ == "__main__":
    main()
