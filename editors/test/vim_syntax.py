#!/usr/bin/env python3
"""Checks the Vim support headlessly: the syntax group (and the standard
group it is linked to) at chosen places of sample.brisk, and which file
names the file-type detection claims.

Usage: vim_syntax.py [EDITORS_DIR]
Exits 77 (skipped) when vim, or its syntax support, is missing."""

import os
import shutil
import subprocess
import sys
import tempfile

SKIP = 77

# (text that picks one line of the sample, text whose first character is
# the place asked about, its occurrence on that line, group, linked group)
CHECKS = [
    ("# Sample", "#", 1, "briskComment", "Comment"),
    ("# Sample", "TODO", 1, "briskTodo", "Todo"),
    ("PROJECT =", "PROJECT", 1, "briskVariable", "Identifier"),
    ("PROJECT =", "=", 1, "briskOperator", "Operator"),
    # Right of an assignment keywords are plain words.
    ("PROJECT =", "when", 1, "briskValue", "Normal"),
    ("global CFLAGS", "global", 1, "briskKeyword", "Statement"),
    ("global CFLAGS", "CFLAGS", 1, "briskVariable", "Identifier"),
    ("global CFLAGS", "=+", 1, "briskOperator", "Operator"),
    ("global CFLAGS", "$(", 1, "briskRefDelim", "PreProc"),
    ("global CFLAGS", "ARCH", 1, "briskReference", "Identifier"),
    ("global CFLAGS", "[0]", 1, "briskSubscript", "Number"),
    ("global CFLAGS", "# trailing", 1, "briskComment", "Comment"),
    (".SRCPATH ?=", ".SRCPATH", 1, "briskBuiltin", "Constant"),
    (".SRCPATH ?=", "?=", 1, "briskOperator", "Operator"),
    ("NAMES =", ":S/", 1, "briskModifier", "Function"),
    ("NAMES =", "[debug]", 1, "briskSubscript", "Number"),
    ("NAMES =", ":glob", 1, "briskModifier", "Function"),
    # Nothing is a reference between single quotes.
    ("NAMES =", "RAW", 1, "briskSString", "String"),
    ("NAMES =", "q $(Q)", 1, "briskDString", "String"),
    ("NAMES =", "Q)", 1, "briskReference", "Identifier"),
    ("NAMES =", "\\t", 1, "briskEscape", "SpecialChar"),
    ("include toolchain", "include", 1, "briskInclude", "Include"),
    ("include toolchain", "when", 1, "briskConditional", "Conditional"),
    ("include toolchain", "exists", 1, "briskKeyword", "Statement"),
    ("when A ==", "==", 1, "briskOperator", "Operator"),
    ("when A ==", "&&", 1, "briskOperator", "Operator"),
    ("when A ==", "!", 1, "briskOperator", "Operator"),
    ("when A ==", "(", 1, "briskDelimiter", "Delimiter"),
    ("when A ==", "||", 1, "briskOperator", "Operator"),
    ("when A ==", "~=", 1, "briskOperator", "Operator"),
    ("when A ==", "{", 1, "briskBrace", "Delimiter"),
    ("echo built", ".CFFILE", 1, "briskBuiltin", "Constant"),
    ("echo built", ":dirname", 1, "briskModifier", "Function"),
    ("else {", "else", 1, "briskConditional", "Conditional"),
    ("X -= y", "X", 1, "briskVariable", "Identifier"),
    ("X -= y", "-=", 1, "briskOperator", "Operator"),
    # A with clause is not an assignment at the start of a line.
    ("with A = 1", "1", 1, "", ""),
    ("with A = 1", "+=", 1, "briskOperator", "Operator"),
    ("emit -now", "-now", 1, "briskOption", "Special"),
    ("emit -now", "-expand", 1, "briskOption", "Special"),
    ("emit -now", "-strip", 1, "briskOption", "Special"),
    ("emit -now", "-pretty", 1, "briskOption", "Special"),
    ("emit -now", "{", 1, "briskBrace", "Delimiter"),
    ("\tall: $(PROGRAM)", "all", 1, "briskEmitBody", "String"),
    ("\tall: $(PROGRAM)", "PROGRAM", 1, "briskReference", "Identifier"),
    ("\tall: $(PROGRAM)", "$@", 1, "briskMakeVar", "Special"),
    ("text when for", "when", 1, "briskEmitBody", "String"),
    ("template -strip", "template", 1, "briskKeyword", "Statement"),
    ("template -strip", "DEBUG", 1, "", ""),
    ("\t%.o : %.c", "%", 1, "briskStem", "Special"),
    ("\t%.o : %.c", ".o", 1, "briskTemplateTarget", "Type"),
    ("$(CC) -c", "-c", 1, "briskTemplateCommand", "String"),
    ("$(CC) -c", "CC", 1, "briskReference", "Identifier"),
    ("$(CC) -c", "$<", 1, "briskMakeVar", "Special"),
    ("function install-rule", "function", 1, "briskKeyword", "Statement"),
    ("|Column0", "|Column0", 1, "briskPrefixMarker", "PreProc"),
    ("emit -tag=INSTALL", "emit", 1, "briskKeyword", "Statement"),
    ("emit -tag=INSTALL", "-tag", 1, "briskOption", "Special"),
    ("emit -tag=INSTALL", "INSTALL", 1, "briskFunctionBody", "Normal"),
    ("install: $(PROGRAM)", "install", 1, "briskEmitBody", "String"),
    ("echo done", "echo", 1, "briskKeyword", "Statement"),
    ("echo done", "done", 1, "briskFunctionBody", "Normal"),
    ("postprocess -expand", "postprocess", 1, "briskKeyword", "Statement"),
    ("echo $(OBJS)", "OBJS", 1, "briskBuiltin", "Constant"),
    ("echo $(OBJS)", "\\", 1, "briskContinuation", "Special"),
    ("more", "more", 1, "briskPostprocessBody", "Normal"),
    ("for SOURCE in", "for", 1, "briskRepeat", "Repeat"),
    ("for SOURCE in", "new", 1, "briskKeyword", "Statement"),
    ("dynamic fake", "intermediate", 1, "briskKeyword", "Statement"),
    ("dynamic fake", "build", 1, "briskKeyword", "Statement"),
    ("dynamic fake", "CFLAGS", 1, "briskForBody", "Normal"),
    ("dynamic fake", "by", 1, "briskKeyword", "Statement"),
    ("dynamic fake", ":", 1, "briskDelimiter", "Delimiter"),
    ("call install-rule", "call", 1, "briskKeyword", "Statement"),
    ("call install-rule", "install-rule", 1, "", ""),
    ("current .DUMPVARS", ".DUMPVARS", 1, "briskKeyword", "Statement"),
    ("emit .EMIT to", "to", 1, "briskKeyword", "Statement"),
    ("error bad", "not", 1, "briskKeyword", "Statement"),
]

# Detection: (path under the temporary directory, text, file type expected).
DETECT = [
    ("proj/brisk.conf", "X = 1\n", "brisk"),
    ("proj/toolchain.conf", "CC ?= cc\n", "brisk"),
    ("proj/lib/sub/list.conf", "SOURCES = a.c\n", "brisk"),
    ("elsewhere/rules.conf", "# rules\ntemplate {\n%.o : %.c\n}\n", "brisk"),
    ("elsewhere/one.brisk", "X = 1\n", "brisk"),
    ("elsewhere/plain.conf", "# settings\nkey = value\n", "conf"),
    ("elsewhere/deep/a/b/c/far.conf", "# settings\nkey = value\n", "conf"),
]


def place(lines, key, text, nth):
    hits = [i for i, line in enumerate(lines) if key in line]
    if len(hits) != 1:
        sys.exit(f"sample.brisk: {len(hits)} lines hold {key!r}, expected 1")
    line = lines[hits[0]]
    col = -1
    for _ in range(nth):
        col = line.find(text, col + 1)
        if col < 0:
            sys.exit(f"sample.brisk: {text!r} not found on the line {line!r}")
    return hits[0] + 1, col + 1


def vim_string(text):
    return "'" + text.replace("'", "''") + "'"


def main():
    editors = os.path.abspath(sys.argv[1] if len(sys.argv) > 1
                              else os.path.join(os.path.dirname(__file__), ".."))
    vim = shutil.which("vim")
    if not vim:
        print("vim not found: the Vim syntax test is skipped")
        return SKIP
    sample = os.path.join(editors, "test", "sample.brisk")
    with open(sample) as f:
        lines = f.read().split("\n")
    places = [place(lines, key, text, nth) for key, text, nth, _, _ in CHECKS]

    with tempfile.TemporaryDirectory() as tmp:
        for path, text, _ in DETECT:
            full = os.path.join(tmp, path)
            os.makedirs(os.path.dirname(full), exist_ok=True)
            with open(full, "w") as f:
                f.write(text)
        result = os.path.join(tmp, "result")
        script = os.path.join(tmp, "check.vim")
        with open(script, "w") as f:
            f.write(f"""set nocompatible
let out = []
if !has('syntax')
  call writefile(['no syntax support'], {vim_string(result)})
  qa!
endif
let &runtimepath = {vim_string(os.path.join(editors, 'vim'))} . ',' . &runtimepath
filetype on
syntax on
""")
            for path, _, _ in DETECT:
                f.write(f"edit {os.path.join(tmp, path)}\n"
                        "call add(out, &filetype)\n")
            f.write(f"edit {sample}\n"
                    "let v:errmsg = ''\n"
                    "call add(out, b:current_syntax)\n")
            for line, col in places:
                f.write(f"let id = synID({line}, {col}, 1)\n"
                        "let name = synIDattr(id, 'name')\n"
                        "call add(out, name == '' ? '' : name . ' '\n"
                        "      \\ . matchstr(execute('highlight ' . name), 'links to \\zs\\S\\+'))\n")
            f.write(f"call add(out, v:errmsg)\ncall writefile(out, {vim_string(result)})\nqa!\n")
        run = subprocess.run([vim, "-Es", "-u", "NONE", "-N", "-i", "NONE", "-S", script],
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, text=True, timeout=60)
        if not os.path.exists(result):
            print(run.stdout)
            sys.exit("vim wrote no result")
        with open(result) as f:
            got = f.read().split("\n")[:-1]
    if got == ["no syntax support"]:
        print("vim has no syntax support: the Vim syntax test is skipped")
        return SKIP

    failures = []
    for (path, _, want), ft in zip(DETECT, got):
        if ft != want:
            failures.append(f"{path}: file type {ft!r}, expected {want!r}")
    got = got[len(DETECT):]
    if got[0] != "brisk":
        failures.append(f"sample.brisk: syntax {got[0]!r}, expected 'brisk'")
    for (key, text, nth, group, linked), (line, col), name in zip(CHECKS, places, got[1:]):
        want = f"{group} {linked}".strip()
        if name.strip() != want:
            failures.append(f"line {line} col {col} ({text!r} in {key!r}): {name.strip()!r}, expected {want!r}")
    if got[-1]:
        failures.append(f"vim reported: {got[-1]}")
    for failure in failures:
        print(failure)
    groups = {c[3] for c in CHECKS if c[3]}
    print(f"{len(CHECKS)} places, {len(groups)} groups, {len(DETECT)} file names: "
          f"{len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
