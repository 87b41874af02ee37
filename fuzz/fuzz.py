#!/usr/bin/env python3
"""The fuzzing campaign: generated and mutated inputs through the sanitizer
build, out of process, for a given time.

    fuzz.py --minutes N --binary PROGRAM [--seed S] [--timeout SEC]
            [--corpus DIR] [--crashes DIR] [--seeds DIR] [--no-coverage]
    fuzz.py --minimize CASE --binary PROGRAM     shrink one input, same class
    fuzz.py --cmin --binary PROGRAM              keep the corpus inputs that
                                                 cover the most edges

Every run is classified (see fuzzlib.classify and README.md). A fault that is
new (by class and key) is minimised and filed in the crashes directory; an
input that reaches new edges of the edge map (with brisk-fuzz) or shows a new
behaviour signature (other programs) joins the queue, and, when it is small
and quick, the corpus.
"""
import argparse
import hashlib
import os
import random
import re
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
from fuzzlib import FAULTS, classify, formatCase, readCase, readCases, runCase, signature, writeCase  # noqa: E402
from generate import generate  # noqa: E402
from mutate import mutate  # noqa: E402

# AFL's hit-count classes: a map byte becomes one bit per count range.
BUCKETS = bytes([0, 1, 2, 4, 8, 8, 8, 8] + [16] * 8 + [32] * 16 + [64] * 96 + [128] * 128)


MAP_SIZE = 1 << 16


def bucketed(coverage):
    return int.from_bytes(coverage.translate(BUCKETS), "little")


def edgeCount(bits):
    """Distinct edges and edge hit-count classes in a union of bucketed maps."""
    edges = sum(1 for b in bits.to_bytes(MAP_SIZE, "little") if b)
    return f"{edges} edges ({bits.bit_count()} with hit-count classes)"


# --- Properties beyond crashes ---------------------------------------------

def checkProperties(binary, case, result, timeout):
    """Faults that do not crash: a write error that goes unnoticed, and the
    program's own directory lost."""
    if result.status == 0 and not result.timedOut:
        for opt in ("-o", "-M"):
            if any(a == opt and b == "/dev/full" for a, b in zip(case.args, case.args[1:])) or \
                    f"{opt}/dev/full" in case.args:
                probe = case.copy()
                probe.args = [("{DIR}/full.out" if a == "/dev/full" else
                               "%s{DIR}/full.out" % opt if a == f"{opt}/dev/full" else a)
                              for a in case.args]
                r = runCase(binary, probe, timeout)
                if r.status == 0 and r.outputs.get("full.out", 0) > 0:
                    return "silent-loss", f"write-error-ignored{opt}"
    # Only when the program is surely found along PATH in its own directory
    # and the generator's probe line is intact.
    probe = b'echo "BRISK_DIR=$(BRISK_DIR)"'
    if case.argv0 == "brisk" and "{BIN}" in case.env.get("PATH", "") \
            and any(probe in body for body in case.files.values()) \
            and not any(os.path.basename(n) == "brisk" for n in case.files):
        m = re.search(rb"^BRISK_DIR=(.*)$", result.stdout, re.M)
        if m:
            want = {os.path.dirname(os.path.abspath(binary)), os.path.dirname(os.path.realpath(binary))}
            if m.group(1).decode("latin-1") not in want:
                return "wrong-value", "BRISK_DIR"
    return None


def neutralised(case):
    """The input with every way of referring to itself taken away: escaped
    references that would be stored in values, a "$" that could make one with
    the text after it, references in options and the environment, and calls
    inside function bodies; and without endless input
    (a device such as /dev/full named as the configuration)."""
    c = case.copy()

    def fix(body):
        # A lone "$" can meet a "(" read after it ("$$()(B)" stores "$(B)").
        body = body.replace(b"\\$", b"\\%").replace(b"'$(", b"'%(")
        body = re.sub(rb"\$(?!\()", b"%", body)
        out, depth, inFunction = [], 0, False
        for line in body.split(b"\n"):
            s = line.strip()
            if not inFunction and re.match(rb"function\b.*\{$", s):
                inFunction, depth = True, 0
            if inFunction:
                depth += s.count(b"{") - s.count(b"}")
                if re.match(rb"call\b", s):
                    continue
                if depth <= 0:
                    inFunction = False
            out.append(line)
        return b"\n".join(out)

    c.files = {k: fix(v) for k, v in c.files.items()}
    if c.stdin is not None:
        c.stdin = fix(c.stdin)
    c.args = [a.replace("$", "%") for i, a in enumerate(c.args)
              if not (a.startswith("/dev/") and (i == 0 or c.args[i - 1] not in ("-o", "-M")))]
    c.env = {k: v.replace("$", "%") for k, v in c.env.items()}
    return c


class Campaign:
    def __init__(self, a):
        self.a = a
        self.binary = a.binary
        self.useMap = not a.no_coverage and os.path.basename(a.binary).startswith("brisk-fuzz")
        self.rng = random.Random(a.seed)
        self.queue = []          # cases worth mutating
        self.seen = 0            # union of bucketed edge maps
        self.signatures = set()
        self.faultKeys = set()
        self.stats = {"executions": 0, "generated": 0, "mutated": 0, "corpus-added": 0,
                      "deliberate-hangs": 0, "faults": 0}
        self.classes = {}
        self.start = time.monotonic()
        self.log = open(a.log, "a") if a.log else None
        # Faults filed by earlier campaigns are not filed again.
        if os.path.isdir(a.crashes):
            for n in os.listdir(a.crashes):
                if n.endswith(".case"):
                    notes = readCase(os.path.join(a.crashes, n)).comments
                    cls = next((x[7:] for x in notes if x.startswith("class: ")), None)
                    key = next((x[5:] for x in notes if x.startswith("key: ")), None)
                    if cls and key is not None:
                        self.faultKeys.add((cls, key))

    def say(self, text):
        line = f"[{time.monotonic() - self.start:7.0f}s] {text}"
        print(line, flush=True)
        if self.log:
            self.log.write(line + "\n")
            self.log.flush()

    def run(self, case, timeout=None):
        self.stats["executions"] += 1
        return runCase(self.binary, case, timeout or self.a.timeout, coverage=self.useMap)

    def verdict(self, case, result, timeout=None):
        """(class, key), with hangs that self-reference explains set apart."""
        cls, key = classify(result)
        if cls == "exit":
            prop = checkProperties(self.binary, case, result, timeout or self.a.timeout)
            if prop:
                return prop
        if cls == "hang":
            r = self.run(neutralised(case), timeout)
            if classify(r)[0] != "hang":
                return "deliberate-hang", ""
        return cls, key

    def novel(self, case, result):
        if self.useMap and result.coverage:
            bits = bucketed(result.coverage)
            new = bits & ~self.seen
            if new:
                self.seen |= bits
                return True
            return False
        sig = signature(result)
        if sig not in self.signatures:
            self.signatures.add(sig)
            return True
        return False

    def loadSeeds(self):
        for d in self.a.seeds + [self.a.corpus]:
            if not os.path.isdir(d):
                continue
            for n in sorted(os.listdir(d)):
                if not n.endswith(".case"):
                    continue
                for case in readCases(os.path.join(d, n)):
                    r = self.run(case)
                    if classify(r)[0] not in FAULTS:
                        self.novel(case, r)
                        self.queue.append(case)
        self.say(f"{len(self.queue)} seed inputs, {edgeCount(self.seen)}")

    def one(self):
        if not self.queue or self.rng.random() < self.a.generate:
            case = generate(self.rng)
            self.stats["generated"] += 1
            origin = "generated"
        else:
            parent = self.rng.choice(self.queue[-400:] if self.rng.random() < 0.5 else self.queue)
            donors = [b for c in self.rng.sample(self.queue, min(3, len(self.queue))) for b in c.files.values()]
            case = mutate(self.rng, parent, donors)
            self.stats["mutated"] += 1
            origin = "mutated"
        r = self.run(case)
        cls, key = self.verdict(case, r)
        self.classes[cls] = self.classes.get(cls, 0) + 1
        if cls == "deliberate-hang":
            self.stats["deliberate-hangs"] += 1
            return
        if cls in FAULTS:
            self.fault(case, cls, key, origin)
            return
        if self.novel(case, r):
            self.queue.append(case)
            if case.size() <= 2048 and r.seconds < 1.0:
                self.save(case, self.a.corpus, "corpus", origin)
                self.stats["corpus-added"] += 1

    def save(self, case, directory, prefix, note):
        os.makedirs(directory, exist_ok=True)
        data = formatCase(case)
        h = hashlib.sha1(data).hexdigest()[:10]
        path = os.path.join(directory, f"{prefix}-{h}.case")
        case = case.copy()
        case.comments = [note] if isinstance(note, str) else list(note)
        writeCase(case, path)
        return path

    def fault(self, case, cls, key, origin):
        if (cls, key) in self.faultKeys:
            # Kept unminimised beside the log, to look at by hand.
            if self.a.log:
                self.save(case, os.path.join(os.path.dirname(self.a.log), "fuzz-repeats"),
                          f"{cls}", [f"class: {cls}", f"key: {key}", f"found: {origin}"])
            return
        # A hang must also hang with a longer time limit.
        if cls == "hang":
            r = self.run(case, self.a.timeout * 2.5)
            cls2, key2 = self.verdict(case, r, self.a.timeout * 2.5)
            if cls2 != "hang":
                return
        self.faultKeys.add((cls, key))
        self.stats["faults"] += 1
        self.say(f"fault {cls} {key} ({origin}); minimising")
        small = minimise(self, case, cls, key)
        r = self.run(small, self.a.timeout * 2)
        err = [ln for ln in r.stderr.decode("latin-1").splitlines() if ln.strip()][:6]
        notes = [f"class: {cls}", f"key: {key}", f"found: {origin}, {time.strftime('%Y-%m-%d %H:%M')}",
                 f"reproduce: python3 fuzz/replay.py -v BINARY THIS.case"]
        notes += ["stderr: " + ln[:160] for ln in err]
        slug = re.sub(r"[^\w.-]+", "_", key)[:40]
        path = self.save(small, self.a.crashes, f"{cls}-{slug}", notes)
        self.say(f"filed {path}")

    def report(self):
        el = time.monotonic() - self.start
        s = self.stats
        cov = f", {edgeCount(self.seen)}" if self.useMap else f", signatures {len(self.signatures)}"
        self.say(f"{s['executions']} executions in {el:.0f}s ({s['executions'] / max(el, 1):.1f}/s), "
                 f"generated {s['generated']}, mutated {s['mutated']}, queue {len(self.queue)}, "
                 f"corpus +{s['corpus-added']}, faults {s['faults']}{cov}; classes {self.classes}")


def ddmin(items, test, budget):
    """Removes chunks of items while test(candidate) holds."""
    n = 2
    while len(items) >= 2 and budget():
        chunk = max(1, len(items) // n)
        removed = False
        i = 0
        while i < len(items) and budget():
            cand = items[:i] + items[i + chunk:]
            if test(cand):
                items = cand
                removed = True
            else:
                i += chunk
        if not removed:
            if chunk == 1:
                break
            n = min(len(items), n * 2)
    return items


def minimise(campaign, case, cls, key, seconds=240):
    """Smaller input with the same class (and key, except for hangs): files,
    options and environment first, then lines, then bytes."""
    deadline = time.monotonic() + seconds
    timeout = campaign.a.timeout

    def same(c):
        r = campaign.run(c, timeout)
        got = campaign.verdict(c, r, timeout)
        return got[0] == cls and (cls == "hang" or got[1] == key)

    budget = lambda: time.monotonic() < deadline  # noqa: E731
    cur = case.copy()
    for name in list(cur.files):
        c = cur.copy()
        del c.files[name]
        if budget() and same(c):
            cur = c
    for k in list(cur.env):
        c = cur.copy()
        del c.env[k]
        if budget() and same(c):
            cur = c
    for attr in ("cwd", "argv0"):
        if getattr(cur, attr):
            c = cur.copy()
            setattr(c, attr, None)
            if budget() and same(c):
                cur = c
    i = 0
    while i < len(cur.args) and budget():
        for width in (2, 1):
            c = cur.copy()
            del c.args[i:i + width]
            if i + width <= len(cur.args) and same(c):
                cur = c
                break
        else:
            i += 1
    targets = list(cur.files) + (["<stdin>"] if cur.stdin is not None else [])
    for level in ("lines", "bytes"):
        for t in targets:
            body = cur.stdin if t == "<stdin>" else cur.files[t]
            if level == "lines":
                items = body.split(b"\n")
                join = b"\n".join
            else:
                if len(body) > 4000:
                    continue
                items = [body[k:k + 1] for k in range(len(body))]
                join = b"".join

            def test(cand, t=t, join=join):
                c = cur.copy()
                if t == "<stdin>":
                    c.stdin = join(cand)
                else:
                    c.files[t] = join(cand)
                return same(c)
            items = ddmin(items, test, budget)
            if t == "<stdin>":
                cur.stdin = join(items)
            else:
                cur.files[t] = join(items)
    return cur


def cmin(a):
    """Keeps few corpus inputs that together reach every edge and hit-count
    class the corpus reaches (greedy: most new first, the smaller input on a
    tie), besides the keep-*.case reproductions of fixed faults; drops
    inputs that are faults, deliberate hangs or take more than a second."""
    c = Campaign(a)
    entries, aborts = [], []
    for n in sorted(os.listdir(a.corpus)):
        # keep-*.case are reproductions of fixed faults: never thinned.
        if not n.endswith(".case") or n.startswith("keep-"):
            continue
        p = os.path.join(a.corpus, n)
        case = readCase(p)
        r = c.run(case)
        cls, _ = c.verdict(case, r)
        if cls == "abort-istring":
            aborts.append((os.path.getsize(p), p))
            continue
        if cls in FAULTS or cls == "deliberate-hang" or r.seconds > 1.0 or not r.coverage:
            print(f"drop {n}: {cls}, {r.seconds:.2f}s{'' if r.coverage else ', no edge map'}")
            os.remove(p)
            continue
        entries.append((os.path.getsize(p), p, bucketed(r.coverage)))
    keep, have = [], 0
    while True:
        best = max(entries, key=lambda e: ((e[2] & ~have).bit_count(), -e[0]), default=None)
        if best is None or not best[2] & ~have:
            break
        keep.append(best[1])
        have |= best[2]
    for _, p, _ in entries:
        if p not in keep:
            os.remove(p)
    # The deliberate abort leaves no map; the smallest few stay, so that the
    # replay sees the abort stay an abort.
    aborts.sort()
    for _, p in aborts[10:]:
        os.remove(p)
    print(f"corpus: kept {len(keep)} of {len(entries)}, {edgeCount(have)}, "
          f"and {min(len(aborts), 10)} of {len(aborts)} inputs ending in the deliberate abort")


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--binary", required=True)
    ap.add_argument("--minutes", type=float, default=1.0)
    ap.add_argument("--seed", type=int, default=int(time.time()))
    ap.add_argument("--timeout", type=float, default=2.0, help="seconds per run (hangs are confirmed at 2.5x)")
    ap.add_argument("--generate", type=float, default=0.3, help="share of generated inputs")
    ap.add_argument("--corpus", default=os.path.join(HERE, "corpus"))
    ap.add_argument("--crashes", default=os.path.join(HERE, "crashes"))
    ap.add_argument("--seeds", nargs="*", default=[os.path.join(os.path.dirname(HERE), "tests", "e2e")])
    ap.add_argument("--no-coverage", action="store_true")
    ap.add_argument("--log")
    ap.add_argument("--minimize")
    ap.add_argument("--cmin", action="store_true")
    a = ap.parse_args()
    if a.cmin:
        cmin(a)
        return
    c = Campaign(a)
    if a.minimize:
        case = readCase(a.minimize)
        cls, key = c.verdict(case, c.run(case))
        print(f"class {cls} {key}")
        small = minimise(c, case, cls, key)
        sys.stdout.buffer.write(formatCase(small))
        return
    c.say(f"seed {a.seed}, program {a.binary}, {'edge map' if c.useMap else 'signatures'}")
    c.loadSeeds()
    deadline = c.start + a.minutes * 60
    last = time.monotonic()
    while time.monotonic() < deadline:
        try:
            c.one()
        except Exception as e:  # a fault of the fuzzer must not end the campaign
            c.say(f"fuzzer error: {e!r}")
        if time.monotonic() - last > 60:
            c.report()
            last = time.monotonic()
    c.report()


if __name__ == "__main__":
    main()
