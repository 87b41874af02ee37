#!/usr/bin/env python3
"""Run the end-to-end runs of one case file against the brisk binary.

    run_case.py BRISK CASE [RUN]     all runs of CASE, or only the one named RUN

The case file format is described in docs/testing.md.
"""
import os
import shlex
import subprocess
import sys
import tempfile

SOURCE_TREE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def parse(path):
    """The runs, each as (name, header lines, sections), shared parts included."""
    blocks, current = [[None, [], []]], None
    with open(path, encoding="latin-1", newline="") as f:
        for line in f:
            block = blocks[-1]
            if line.startswith("=== run "):
                blocks.append([line[8:].strip(), [], []])
                current = None
            elif line.startswith("--- "):
                rest = line[4:]
                # Quotes group a name with blanks; backslashes stay literal.
                words = shlex.split(rest) if ("'" in rest or '"' in rest) else rest.split()
                current = {"kind": words[0], "args": words[1:], "lines": []}
                block[2].append(current)
            elif current:
                current["lines"].append(line)
            elif line.strip() and not line.startswith("#"):
                key, _, value = line.rstrip("\n").partition(":")
                if key in ("stdin", "stdout", "stderr", "status", "absent"):
                    block[2].append({"kind": key, "args": [value.strip()], "lines": [value[1:] + "\n"]})
                else:
                    block[1].append((key, value.strip()))
    for block in blocks:
        for s in block[2]:
            s["body"] = "".join(s["lines"])
            if "noeol" in s["args"] and s["body"].endswith("\n"):
                s["body"] = s["body"][:-1]
            s["name"] = next((a for a in s["args"] if a != "noeol"), None)
    shared = blocks[0]
    if len(blocks) == 1:
        return [(os.path.splitext(os.path.basename(path))[0], shared[1], shared[2])]
    return [(name, shared[1] + header, shared[2] + sections) for name, header, sections in blocks[1:]]


def expanded(name, header, sections):
    """The run itself, or one run per line of its errors table."""
    rows = [line for s in sections if s["kind"] == "errors" for line in s["lines"]
            if line.strip() and not line.startswith("#")]
    if not rows:
        return [(name, header, sections)]
    on_command_line = any(s["kind"] == "errors" and "args" in s["args"] for s in sections)
    prefix = "".join(s["body"] for s in sections if s["kind"] == "stdin")
    kept = [s for s in sections if s["kind"] not in ("errors", "stdin")]
    runs = []
    for row in rows:
        given, _, message = row.rstrip("\n").partition(" => ")
        expect = [{"kind": "status", "body": "1"}, {"kind": "stderr", "body": message + "\n"}]
        if on_command_line:
            runs.append((f"{name}: {given}", header + [("args", given)], kept + expect))
        else:
            expect.append({"kind": "stdin", "body": prefix + given + "\n"})
            runs.append((f"{name}: {given}", header, kept + expect))
    return runs


def run(brisk, case, header, sections):
    """The differences between what the run expects and what it did."""
    with tempfile.TemporaryDirectory(prefix="brisk-e2e-") as tmp:
        tmp = os.path.realpath(tmp)
        sub = lambda s: s.replace("{DIR}", tmp).replace("{SRC}", SOURCE_TREE)
        env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": tmp, "LC_ALL": "C"}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                env[name] = os.environ[name]
        args = []
        for key, value in header:
            value = sub(value)
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
        return failures


def main():
    brisk, case = os.path.abspath(sys.argv[1]), sys.argv[2]
    only = sys.argv[3] if len(sys.argv) > 3 else None
    runs = [r for r in parse(case) if only in (None, r[0])]
    if not runs:
        sys.exit(f"{case}: no run named {only}")
    failed = False
    for name, header, sections in (one for r in runs for one in expanded(*r)):
        failures = run(brisk, case, header, sections)
        if failures:
            print(f"{case}: run {name}\n" + "\n".join(failures))
            failed = True
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
