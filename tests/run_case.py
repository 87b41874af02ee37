#!/usr/bin/env python3
"""Run one end-to-end case against the brisk binary.

A case file is a header of `key: value` lines followed by sections that each
start with a line `--- kind [name]`:

    args: -o - conf          arguments (split on blanks; quote with '...')
    env: NAME=value          environment entry (repeatable)
    --- file NAME            a file created before the run
    --- stdin                standard input
    --- status               expected exit status (default 0)
    --- stdout               expected standard output (default: empty)
    --- stderr               expected standard error (default: empty)
    --- output NAME          expected content of a file after the run
    --- absent NAME          the file must not exist after the run

Section names may be quoted as in a shell (`--- file 'a b'`); unquoted names
keep their backslashes. Section bodies
are taken line by line; a section whose kind is followed by
`noeol` loses its final newline. `{DIR}` anywhere stands for the temporary
directory the case runs in. Lines of the header starting with '#' are comments.
"""
import os
import shlex
import subprocess
import sys
import tempfile


def parse(path):
    header, sections, current = [], [], None
    with open(path, encoding="latin-1", newline="") as f:
        for line in f:
            if line.startswith("--- "):
                rest = line[4:]
                # Quotes group a name with blanks; backslashes stay literal.
                words = shlex.split(rest) if ("'" in rest or '"' in rest) else rest.split()
                current = {"kind": words[0], "args": words[1:], "lines": []}
                sections.append(current)
            elif current is None:
                header.append(line.rstrip("\n"))
            else:
                current["lines"].append(line)
    for s in sections:
        body = "".join(s["lines"])
        if "noeol" in s["args"] and body.endswith("\n"):
            body = body[:-1]
        s["body"] = body
        s["name"] = next((a for a in s["args"] if a != "noeol"), None)
    return header, sections


def main():
    brisk, case = os.path.abspath(sys.argv[1]), sys.argv[2]
    header, sections = parse(case)
    with tempfile.TemporaryDirectory(prefix="brisk-e2e-") as tmp:
        tmp = os.path.realpath(tmp)
        sub = lambda s: s.replace("{DIR}", tmp)
        env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": tmp, "LC_ALL": "C"}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                env[name] = os.environ[name]
        args = []
        for line in header:
            if not line.strip() or line.startswith("#"):
                continue
            key, _, value = line.partition(":")
            value = sub(value.strip())
            if key == "args":
                args = shlex.split(value)
            elif key == "env":
                name, _, val = value.partition("=")
                env[name] = val
            elif key == "unsetenv":
                env.pop(value, None)
            else:
                sys.exit(f"{case}: unknown header key {key}")
        stdin = b""
        expect = {"status": "0", "stdout": "", "stderr": ""}
        outputs, absent = {}, []
        for s in sections:
            kind, body = s["kind"], sub(s["body"])
            if kind == "file":
                path = os.path.join(tmp, s["name"])
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "w", encoding="latin-1", newline="") as f:
                    f.write(body)
            elif kind == "stdin":
                stdin = body.encode("latin-1")
            elif kind in ("status", "stdout", "stderr"):
                expect[kind] = body
            elif kind == "output":
                outputs[s["name"]] = body
            elif kind == "absent":
                absent.append(s["name"])
            else:
                sys.exit(f"{case}: unknown section {kind}")
        proc = subprocess.run([brisk] + args, input=stdin, cwd=tmp, env=env,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
        failures = []

        def check(what, want, got):
            if want != got:
                failures.append(f"{what} differs\n--- expected\n{want!r}\n--- actual\n{got!r}")

        check("status", int(expect["status"].strip()), proc.returncode)
        check("stdout", expect["stdout"], proc.stdout.decode("latin-1"))
        check("stderr", expect["stderr"], proc.stderr.decode("latin-1"))
        for name, want in outputs.items():
            path = os.path.join(tmp, name)
            if not os.path.exists(path):
                failures.append(f"{name} was not written")
                continue
            with open(path, encoding="latin-1", newline="") as f:
                check(name, want, f.read())
        for name in absent:
            if os.path.exists(os.path.join(tmp, name)):
                failures.append(f"{name} exists but should not")
        if failures:
            print(f"{case}:\n" + "\n".join(failures))
            sys.exit(1)


if __name__ == "__main__":
    main()
