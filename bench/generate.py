#!/usr/bin/env python3
"""Writes large brisk configurations for timing runs.

    bench/generate.py [--builds N] [--templates N] [--assignments N] OUTDIR

creates
  OUTDIR/builds.conf     4,000 build statements over 200 templates, each with
                         with-clauses, .SRCPATH changing every 20 builds
  OUTDIR/scopes.conf     20,000 assignments in ten nested scopes, every one
                         referring to a variable of an enclosing scope and
                         to a global one
  OUTDIR/combined.conf   both of the above in one file
"""
import argparse
import os

TEMPLATES = 200
BUILDS = 4000
SCOPES = 10
ASSIGNMENTS = 20000


def builds_text():
    lines = ["# 4,000 builds over 200 templates", "CC = cc", "CFLAGS = -O2", ""]
    # Template k compiles sources with the suffix .c<k>; its commands
    # refer to the with-clause variables and to the stem.
    for k in range(TEMPLATES):
        lines += [
            "template {",
            f"%.o : %.c{k}",
            f"\t$(CC) $(CFLAGS) $(DEFS) $(KDEFS) -DT{k} -DSTEM=$(.MATCH) -c -o $@ $<",
            "}",
        ]
    lines.append("")
    per_path = max(1, BUILDS // TEMPLATES)
    for i in range(BUILDS):
        if i % per_path == 0:
            # Short source directories keep .DEPFILES well under its limit.
            lines.append(f".SRCPATH = d{i // per_path % 10}/")
        k = i % TEMPLATES
        lines.append(f"build a{i}.c{k} with CFLAGS = -O{i % 4} with DEFS = -DN{i} with KDEFS = -DK{k}")
    lines += [
        "",
        "emit {",
        "\tall: $(OBJS)",
        "}",
        "",
    ]
    return "\n".join(lines)


def scopes_text():
    lines = ["# 20,000 assignments and references in ten nested scopes"]
    for g in range(100):
        lines.append(f"G{g} = global-{g}")
    per_scope = ASSIGNMENTS // SCOPES
    for d in range(SCOPES):
        indent = "\t" * d
        lines.append(f"{indent}in new scope {{")
        inner = indent + "\t"
        for i in range(per_scope):
            if d == 0:
                source = f"$(G{i % 100})"
            else:
                # A variable of the outermost scope and one of the scope
                # just outside this one.
                source = f"$(V0_{i}) $(V{d - 1}_{(i * 7) % per_scope})"
            lines.append(f"{inner}V{d}_{i} = {source} $(G{(i + d) % 100}) {d}.{i}")
        lines.append(f"{inner}emit -expand {{")
        lines.append(f"{inner}\tLEVEL{d} = $(V{d}_0) $(V{d}_{per_scope - 1})")
        lines.append(f"{inner}}}")
    for d in reversed(range(SCOPES)):
        lines.append("\t" * d + "}")
    lines.append("")
    return "\n".join(lines)


def main():
    global BUILDS, TEMPLATES, ASSIGNMENTS
    parser = argparse.ArgumentParser(description="Write large brisk configurations.")
    parser.add_argument("--builds", type=int, default=BUILDS)
    parser.add_argument("--templates", type=int, default=TEMPLATES)
    parser.add_argument("--assignments", type=int, default=ASSIGNMENTS)
    parser.add_argument("outdir")
    args = parser.parse_args()
    BUILDS, TEMPLATES, ASSIGNMENTS = args.builds, args.templates, args.assignments
    out = args.outdir
    os.makedirs(out, exist_ok=True)
    builds = builds_text()
    scopes = scopes_text()
    for name, text in (("builds.conf", builds), ("scopes.conf", scopes), ("combined.conf", builds + scopes)):
        with open(os.path.join(out, name), "w") as f:
            f.write(text)


if __name__ == "__main__":
    main()
