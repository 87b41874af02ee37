"""Shared pieces of the fuzzing tools: the input format, running one input
out of process, and sorting the result into classes.

One input is a case in the format of tests/e2e/*.case (header lines
`args:`, `env:`, `unsetenv:`, `stdin:`; sections `--- file NAME` and
`--- stdin`; a case file with `=== run` lines gives one input per run), read
and written as bytes through latin-1. Two header keys are added:

    argv0: NAME     run the program under this argv[0] (a bare `brisk` makes
                    it search PATH for its own directory)
    cwd: SUBDIR     run in this subdirectory of the scratch directory

`{DIR}` stands for the scratch directory, `{SRC}` for the source tree and
`{BIN}` for the directory of the program under test. Expectation sections (status, stdout, ...) are ignored:
the fuzzer only asks whether the program crashed, hung or reported.
"""
import ctypes
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import tempfile
import time

# The program keeps its memory until exit, so leak reports are off; the
# resident-size limit turns runaway growth into a report we can recognise
# long before the machine runs out; huge requests return null so the
# program's own "memory exhausted" exit is seen instead of an allocator report;
# an abort prints the stack, which is how a hang shows where it loops.
ASAN_OPTIONS = ("detect_leaks=0:abort_on_error=0:exitcode=86:hard_rss_limit_mb=768:"
                "allocator_may_return_null=1:handle_abort=1:symbolize=1")
UBSAN_OPTIONS = "print_stacktrace=1:halt_on_error=1:exitcode=87"
OUTPUT_CAP = 1 << 20          # bytes of stdout/stderr kept
FILE_SIZE_LIMIT = 64 << 20    # larger output files or streams count as a runaway

SANITIZER_STATUS = (86, 87)
SOURCE_TREE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


class Case:
    def __init__(self):
        self.comments = []
        self.args = []
        self.env = {}
        self.unsetenv = []
        self.files = {}      # name -> bytes
        self.stdin = None    # bytes or None
        self.argv0 = None
        self.cwd = None

    def copy(self):
        c = Case()
        c.comments = list(self.comments)
        c.args = list(self.args)
        c.env = dict(self.env)
        c.unsetenv = list(self.unsetenv)
        c.files = dict(self.files)
        c.stdin = self.stdin
        c.argv0 = self.argv0
        c.cwd = self.cwd
        return c

    def size(self):
        return (sum(len(b) for b in self.files.values()) + len(self.stdin or b"")
                + sum(len(a) for a in self.args) + sum(len(k) + len(v) for k, v in self.env.items()))


def _section_words(rest):
    return shlex.split(rest) if ("'" in rest or '"' in rest) else rest.split()


def readCase(path):
    """The first (usually the only) run of a case file."""
    return readCases(path)[0]


def readCases(path):
    with open(path, "rb") as f:
        return parseCases(f.read())


def parseCases(data):
    """Every run of a case file. Lines `=== run NAME` start runs; what comes
    before the first is shared by all of them. One-line `stdin: TEXT` headers
    are read too; expectations are ignored."""
    blocks, current = [[[], []]], None
    for line in data.decode("latin-1").splitlines(keepends=True):
        if line.startswith("=== run "):
            blocks.append([[], []])
            current = None
        elif line.startswith("--- "):
            words = _section_words(line[4:])
            current = {"kind": words[0] if words else "", "args": words[1:], "lines": []}
            blocks[-1][1].append(current)
        elif current is not None:
            current["lines"].append(line)
        else:
            blocks[-1][0].append(line.rstrip("\n"))
    runs = blocks[1:] or [[[], []]]
    return [_case(blocks[0][0] + header, blocks[0][1] + sections)
            for header, sections in runs]


def parseCase(data):
    return parseCases(data)[0]


def _case(header, sections):
    case = Case()
    for line in header:
        if line.startswith("#"):
            case.comments.append(line[1:].strip())
            continue
        if not line.strip():
            continue
        key, _, value = line.partition(":")
        if key == "stdin":
            case.stdin = (value[1:] + "\n").encode("latin-1")
            continue
        value = value.strip()
        if key == "args":
            case.args = shlex.split(value)
        elif key == "env":
            name, _, val = value.partition("=")
            case.env[name] = val
        elif key == "unsetenv":
            case.unsetenv.append(value)
        elif key == "argv0":
            case.argv0 = value
        elif key == "cwd":
            case.cwd = value
    for s in sections:
        body = "".join(s["lines"])
        if "noeol" in s["args"] and body.endswith("\n"):
            body = body[:-1]
        name = next((a for a in s["args"] if a != "noeol"), None)
        if s["kind"] == "file" and name:
            case.files[name] = body.encode("latin-1")
        elif s["kind"] == "stdin":
            case.stdin = body.encode("latin-1")
    return case


_SECTION_LINE = re.compile(rb"(^|[\r\n])(---|===) ")


def safeBody(body):
    """A body may not contain a line that reads as a section header."""
    return _SECTION_LINE.sub(rb"\1\2\t", body)


def _header_value(s):
    return s.replace("\n", " ").replace("\r", " ").replace("\0", "").strip()


def formatCase(case):
    out = []
    for c in case.comments:
        out.append("# " + c.replace("\n", " ") + "\n")
    if case.args:
        out.append("args: " + " ".join(shlex.quote(_header_value(a)) if a else "''"
                                       for a in case.args) + "\n")
    for k, v in case.env.items():
        out.append(f"env: {_header_value(k)}={_header_value(v)}\n")
    for k in case.unsetenv:
        out.append(f"unsetenv: {k}\n")
    if case.argv0:
        out.append(f"argv0: {case.argv0}\n")
    if case.cwd:
        out.append(f"cwd: {case.cwd}\n")

    def section(kind, name, body):
        body = safeBody(body).decode("latin-1")
        words = [kind] + ([shlex.quote(name) if re.search(r"[\s'\"]", name) else name] if name else [])
        if not body.endswith("\n"):
            words.append("noeol")
            body += "\n"
        out.append("--- " + " ".join(words) + "\n" + body)

    for name, body in case.files.items():
        section("file", name, body)
    if case.stdin is not None:
        section("stdin", None, case.stdin)
    return "".join(out).encode("latin-1")


def writeCase(case, path):
    with open(path, "wb") as f:
        f.write(formatCase(case))


class Result:
    def __init__(self):
        self.status = None      # exit status, or -signal
        self.timedOut = False
        self.stdout = b""
        self.stderr = b""
        self.seconds = 0.0
        self.outputs = {}       # files left in the scratch directory -> size
        self.coverage = None    # edge map bytes when the program writes one
        self.kept = {}          # contents of the output files asked for by name


try:
    _libc = ctypes.CDLL(None)
except OSError:
    _libc = None
ADDR_NO_RANDOMIZE = 0x0040000


def _limits():
    # Addresses decide the order of pointer-keyed hash buckets: with them
    # fixed, one input takes the same edges every time.
    if _libc is not None:
        _libc.personality(ADDR_NO_RANDOMIZE)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    # A self-including file ends at "Too many open files"; with the usual
    # limit it gets there at once, with tens of thousands it takes seconds.
    resource.setrlimit(resource.RLIMIT_NOFILE, (1024, 1024))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE_LIMIT, FILE_SIZE_LIMIT))


def _read_capped(path):
    try:
        with open(path, "rb") as f:
            return f.read(OUTPUT_CAP)
    except OSError:
        return b""


def runCase(binary, case, timeout=5.0, coverage=False, scratch=None, keep=()):
    """Runs one input in a fresh scratch directory and returns a Result; the
    contents of the output files named in `keep` (up to OUTPUT_CAP) too."""
    binary = os.path.abspath(binary)
    bindir = os.path.dirname(binary)
    tmp = os.path.realpath(tempfile.mkdtemp(prefix="brisk-fuzz-", dir=scratch))
    try:
        def sub(s):
            return s.replace("{DIR}", tmp).replace("{BIN}", bindir).replace("{SRC}", SOURCE_TREE)

        def subb(b):
            return subb_(b).replace(b"{SRC}", SOURCE_TREE.encode())

        def subb_(b):
            return b.replace(b"{DIR}", tmp.encode()).replace(b"{BIN}", bindir.encode())

        io = os.path.join(tmp, ".io")
        os.mkdir(io)
        cwd = tmp
        if case.cwd:
            cwd = os.path.join(tmp, sub(case.cwd).lstrip("/"))
            try:
                os.makedirs(cwd, exist_ok=True)
            except OSError:
                cwd = tmp
        inputs = set()
        for name, body in case.files.items():
            path = os.path.join(tmp, sub(name))
            if not os.path.realpath(path).startswith(tmp + "/"):
                continue
            try:
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "wb") as f:
                    f.write(subb(body))
                inputs.add(os.path.realpath(path))
            except OSError:
                pass
        env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": tmp, "LC_ALL": "C",
               "ASAN_OPTIONS": ASAN_OPTIONS, "UBSAN_OPTIONS": UBSAN_OPTIONS}
        for k, v in case.env.items():
            if k and "=" not in k and "\0" not in k + v:
                env[k] = sub(v)
        for k in case.unsetenv:
            env.pop(k, None)
        mapfile = os.path.join(io, "map")
        if coverage:
            env["BRISK_FUZZ_MAP"] = mapfile
        with open(os.path.join(io, "in"), "wb") as f:
            f.write(subb(case.stdin or b""))
        args = [sub(a).replace("\0", "") for a in case.args]
        argv = [case.argv0 or binary] + args
        r = Result()
        start = time.monotonic()
        with open(os.path.join(io, "in"), "rb") as fin, \
                open(os.path.join(io, "out"), "wb") as fout, \
                open(os.path.join(io, "err"), "wb") as ferr:
            proc = subprocess.Popen(argv, executable=binary, stdin=fin, stdout=fout, stderr=ferr,
                                    cwd=cwd, env=env, start_new_session=True, preexec_fn=_limits)
            try:
                r.status = proc.wait(timeout=timeout)
            except subprocess.TimeoutExpired:
                r.timedOut = True
                try:
                    os.kill(proc.pid, signal.SIGABRT)
                    r.status = proc.wait(timeout=5)
                except (ProcessLookupError, subprocess.TimeoutExpired):
                    pass
                try:
                    os.killpg(proc.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                r.status = proc.wait()
        r.seconds = time.monotonic() - start
        r.stdout = _read_capped(os.path.join(io, "out"))
        r.stderr = _read_capped(os.path.join(io, "err"))
        for name in keep:
            path = os.path.join(cwd, name)
            if os.path.isfile(path):
                r.kept[name] = _read_capped(path)
        if coverage and os.path.exists(mapfile):
            with open(mapfile, "rb") as f:
                r.coverage = f.read()
        for root, dirs, names in os.walk(tmp):
            if root.startswith(io):
                continue
            for n in names:
                p = os.path.join(root, n)
                if os.path.realpath(p) not in inputs:
                    try:
                        r.outputs[os.path.relpath(p, tmp)] = os.path.getsize(p)
                    except OSError:
                        pass
        return r
    finally:
        shutil.rmtree(tmp, ignore_errors=True)


# --- Classification -------------------------------------------------------

_ASAN = re.compile(rb"ERROR: AddressSanitizer: ([\w-]+)")
_UBSAN = re.compile(rb"([\w./-]+):(\d+):\d+: runtime error: ([^\n]*)")
_FRAME = re.compile(rb"#\d+ 0x[0-9a-f]+ in (\S+) (\S+)")

# Classes. The first two are faults of the program; the rest are expected.
FAULTS = ("sanitizer", "signal", "hang", "silent-loss", "wrong-value")


def _frames(stderr):
    """The stack frames of the first report inside the program's own code,
    innermost first."""
    names = []
    for m in _FRAME.finditer(stderr):
        where = m.group(2)
        name = m.group(1).decode("latin-1").split("(")[0]
        if name.startswith("#") or name == "main" and names:
            break
        if b"/libsanitizer/" in where or b"sanitizer_common" in where or where.startswith(b"(/lib") \
                or name.startswith("__") or name in ("_start", "main"):
            continue
        names.append(name)
    return names


def _frame(stderr):
    names = _frames(stderr)
    return names[0] if names else "?"


def _phase(stderr):
    """Where a hang loops, coarsely: the two outermost frames below the
    program's entry (the parse, or the writing of one section)."""
    names = [n for n in _frames(stderr) if n != "briskMain"]
    return ">".join(reversed(names[-2:])) if names else "?"


def classify(result):
    """Returns (class, key). Faults: sanitizer, signal, hang, silent-loss,
    wrong-value. Expected: exit (any status), abort-istring (the deliberate
    "Not a istring" abort)."""
    err = result.stderr
    if b"hard rss limit exhausted" in err or b"rss-limit-exceeded" in err:
        return "hang", "memory-runaway"
    if result.timedOut:
        return "hang", "timeout@" + _phase(err)
    m = _ASAN.search(err)
    if m and m.group(1) == b"ABRT":
        if b"Not a istring" in err:
            return "abort-istring", ""
        return "signal", "SIGABRT@" + _frame(err)
    if m:
        return "sanitizer", m.group(1).decode() + "@" + _frame(err)
    m = _UBSAN.search(err)
    if m:
        kind = re.sub(rb"[0-9]+|'[^']*'", b"N", m.group(3))[:60].decode("latin-1")
        return "sanitizer", f"ubsan@{os.path.basename(m.group(1).decode())}:{m.group(2).decode()}:{kind}"
    if result.status in SANITIZER_STATUS:
        return "sanitizer", f"status-{result.status}"
    if result.status < 0:
        sig = -result.status
        if sig == signal.SIGXFSZ:
            return "hang", "output-runaway"
        if sig == signal.SIGABRT and b"Not a istring" in err:
            return "abort-istring", ""
        try:
            name = signal.Signals(sig).name
        except ValueError:
            name = str(sig)
        return "signal", name
    return "exit", str(result.status)


def signature(result):
    """A coarse behaviour signature for inputs run without a coverage map:
    the class, the status and the first line of standard error with digits
    and quoted or path-like words blurred."""
    cls, key = classify(result)
    first = result.stderr.split(b"\n", 1)[0][:120]
    first = re.sub(rb"[0-9]+", b"N", first)
    first = re.sub(rb"^[^ :]*:N ", b"F:N ", first)
    return (cls, key, result.status if cls == "exit" else 0, first)


def hasArg(case, value):
    return value in case.args
