#!/usr/bin/python3
"""Changes one thing at a time in product code and looks whether a test notices: see scripts/mutants.sh."""
import concurrent.futures
import glob
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

from clang import cindex

FOLDERS = ["daemon", "packet", "support", "ftm", "factory", "buildinfo", "peripheral", "rdss", "vendorcfg",
           "platform/host", "tools/vdiag"]
TOP = os.getcwd()
HOME = os.path.join(TOP, "build", "mutants")
IGNORED = os.path.join(TOP, "tests", "mutants-ignored")
BUILD_SECONDS = 300
TEST_SECONDS = 240
LOG_CALLS = re.compile(r"\b(ALOG[A-Z]|__android_log_print|host_log\w*|printf|fputs|puts|perror)\b")
COMPARISONS = {"<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="]}
OTHERS = {"&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["+"], "|": ["&"], "&": ["|"],
          "+=": ["-="], "-=": ["+="]}
KIND = cindex.CursorKind


class Mutant:
    """One replacement of bytes `start` to `end` of `path` by `text`."""

    def __init__(self, path, start, end, text, kind, source):
        self.path, self.start, self.end, self.text, self.kind = path, start, end, text, kind
        self.line = source.count(b"\n", 0, start) + 1
        self.old = source[start:end].decode(errors="replace")

    def apply(self, source):
        return source[:self.start] + self.text.encode() + source[self.end:]

    def key(self):
        """What a list of ignored mutants names: independent of the line."""
        return "%s: %s: %s -> %s" % (self.path, self.kind, one_line(self.old), one_line(self.text))

    def __str__(self):
        return "%s:%d: %s: %s -> %s" % (self.path, self.line, self.kind, one_line(self.old), one_line(self.text))


def one_line(text):
    text = re.sub(r"\s+", " ", text)
    return text if len(text) <= 100 else text[:97] + "..."


class Finder:
    """Finds what can be changed in one file, on its syntax tree."""

    def __init__(self, path, unit):
        self.path, self.unit = path, unit
        with open(os.path.join(TOP, path), "rb") as file:
            self.source = file.read()
        self.found = []
        self.constants = {}  # type of a constant -> names in order of declaration

    def add(self, start, end, text, kind):
        self.found.append(Mutant(self.path, start, end, text, kind, self.source))

    def text(self, cursor):
        return self.source[cursor.extent.start.offset:cursor.extent.end.offset].decode(errors="replace")

    def mine(self, cursor):
        return cursor.location.file is not None and os.path.realpath(cursor.location.file.name) == os.path.join(
            TOP, self.path)

    def run(self):
        for cursor in self.unit.cursor.get_children():
            if self.mine(cursor):
                self.collect_constants(cursor)
        for cursor in self.unit.cursor.get_children():
            if self.mine(cursor):
                self.visit(cursor)
        unique = {(m.start, m.end, m.text): m for m in self.found if m.old != m.text}
        return list(unique.values())

    def collect_constants(self, cursor):
        if cursor.kind == KIND.VAR_DECL and re.match(r"k[A-Z]", cursor.spelling):
            self.constants.setdefault(cursor.type.get_canonical().spelling, []).append(cursor.spelling)
        elif cursor.kind in (KIND.NAMESPACE, KIND.UNEXPOSED_DECL, KIND.LINKAGE_SPEC):
            for child in cursor.get_children():
                self.collect_constants(child)

    def visit(self, cursor):
        if cursor.kind == KIND.STATIC_ASSERT:
            return
        if cursor.kind == KIND.CALL_EXPR and LOG_CALLS.match(cursor.spelling or ""):
            return
        if LOG_CALLS.match(self.text(cursor)):  # a macro's expansion
            return
        method = {KIND.BINARY_OPERATOR: self.operator, KIND.COMPOUND_ASSIGNMENT_OPERATOR: self.operator,
                  KIND.IF_STMT: self.condition, KIND.WHILE_STMT: self.condition, KIND.INTEGER_LITERAL: self.number,
                  KIND.STRING_LITERAL: self.string, KIND.CHARACTER_LITERAL: self.character,
                  KIND.RETURN_STMT: self.result, KIND.CALL_EXPR: self.arguments, KIND.COMPOUND_STMT: self.steps,
                  KIND.CXX_BOOL_LITERAL_EXPR: self.truth, KIND.DECL_REF_EXPR: self.sibling}.get(cursor.kind)
        if method is not None:
            method(cursor)
        for child in cursor.get_children():
            self.visit(child)

    def operator(self, cursor):
        sides = list(cursor.get_children())
        if len(sides) != 2:
            return
        start, end = sides[0].extent.end.offset, sides[1].extent.start.offset
        between = self.source[start:end].decode(errors="replace")
        token = between.strip()
        for other in COMPARISONS.get(token, []) + OTHERS.get(token, []):
            at = start + between.index(token)
            self.add(at, at + len(token), other, "operator")

    def condition(self, cursor):
        for child in cursor.get_children():
            if child.kind.is_expression():
                text = self.text(child)
                if child.kind == KIND.BINARY_OPERATOR and "&&" not in text and "||" not in text:
                    return  # a comparison, which is turned round as one
                self.add(child.extent.start.offset, child.extent.end.offset, "!(" + text + ")", "condition")
                return

    def number(self, cursor):
        text = self.text(cursor)
        match = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlLzZ]*)", text)
        if match:
            digits = match.group(1)
            octal = len(digits) > 1 and digits.isdigit() and digits[0] == "0"
            value = int(digits, 8 if octal else 0)
            for other in (value + 1, value - 1):
                if other > 0:
                    changed = "0%o" % other if octal else hex(other) if digits[:2].lower() == "0x" else str(other)
                    self.add(cursor.extent.start.offset, cursor.extent.end.offset, changed + match.group(2), "number")

    def string(self, cursor):
        text = self.text(cursor)
        letters = [i for i in range(1, len(text) - 1) if text[i].isalpha() and text[i - 1] not in "\\%" and
                   not re.search(r"%[^a-zA-Z%]*$", text[:i])]
        if text.startswith('"') and letters and " " not in text:  # a name or a path, no prose
            i = letters[len(letters) // 2]
            other = "q" if text[i] != "q" else "p"
            self.add(cursor.extent.start.offset, cursor.extent.end.offset, text[:i] + other + text[i + 1:], "string")

    def character(self, cursor):
        text = self.text(cursor)
        if re.fullmatch(r"'[ -~]'", text) and text != "'#'":
            self.add(cursor.extent.start.offset, cursor.extent.end.offset, "'#'", "character")

    def truth(self, cursor):
        text = self.text(cursor)
        if text in ("true", "false"):
            self.add(cursor.extent.start.offset, cursor.extent.end.offset, "false" if text == "true" else "true",
                     "truth")

    def result(self, cursor):
        text = self.text(cursor)
        for old, new in (("kFtmSuccess", "kFtmFailure"), ("kFtmFailure", "kFtmSuccess"), ("0", "-1"), ("-1", "0"),
                         ("1", "0")):
            if re.fullmatch(r"return\s+" + re.escape(old), text):
                self.add(cursor.extent.start.offset, cursor.extent.end.offset, "return " + new, "result")

    def sibling(self, cursor):
        names = self.constants.get(cursor.type.get_canonical().spelling, [])
        name = self.text(cursor)
        if name in names and len(names) > 1:
            other = names[(names.index(name) + 1) % len(names)]
            self.add(cursor.extent.start.offset, cursor.extent.end.offset, other, "constant")

    def arguments(self, cursor):
        arguments = [a for a in cursor.get_arguments() if a is not None]
        for left, right in zip(arguments, arguments[1:]):
            if left.type.get_canonical().spelling == right.type.get_canonical().spelling:
                first, second = self.text(left), self.text(right)
                between = self.source[left.extent.end.offset:right.extent.start.offset].decode(errors="replace")
                if first and second and first != second and left.extent.end.offset <= right.extent.start.offset:
                    self.add(left.extent.start.offset, right.extent.end.offset, second + between + first, "arguments")

    def steps(self, cursor):
        statements = list(cursor.get_children())
        for statement in statements:
            if self.is_step(statement):
                self.add(statement.extent.start.offset, statement.extent.end.offset, "", "dropped")
        for first, second in zip(statements, statements[1:]):
            if self.is_step(first) and self.is_step(second):
                end = self.source.index(b";", first.extent.end.offset - 1)
                between = self.source[first.extent.end.offset:second.extent.start.offset].decode(errors="replace")
                if end <= second.extent.start.offset:
                    self.add(first.extent.start.offset, second.extent.end.offset,
                             self.text(second) + between + self.text(first), "swapped")

    def is_step(self, cursor):
        """A call or an assignment whose value nobody uses, other than a line for the log."""
        text = self.text(cursor)
        return bool(text) and cursor.kind.is_expression() and not LOG_CALLS.match(text)


def candidates(folder, commands):
    result = []
    for path in sorted(p for p in commands if p.startswith(folder + "/")):
        index = cindex.Index.create()
        unit = index.parse(os.path.join(TOP, path), args=commands[path])
        fatal = [d for d in unit.diagnostics if d.severity >= cindex.Diagnostic.Error]
        if fatal:
            print("mutants: %s cannot be read: %s" % (path, fatal[0]), file=sys.stderr)
            continue
        result += Finder(path, unit).run()
    return result


def compile_commands(build):
    with open(os.path.join(build, "compile_commands.json")) as file:
        rows = json.load(file)
    result = {}
    for row in rows:
        path = os.path.relpath(os.path.join(row["directory"], row["file"]), os.path.dirname(build))
        words = row["command"].split()
        keep = [w for w in words if re.match(r"-(I|D|isystem|std|f(?!sanitize|no-sanitize))", w) or w.startswith("/usr/")]
        result.setdefault(path, [w for w in keep if not w.endswith(("c++", "g++", "ccache", "clang++-14"))])
    return result


class Worker:
    """A copy of the tree with a build of its own."""

    def __init__(self, number):
        self.tree = os.path.join(HOME, "w%d" % number)
        self.build = os.path.join(self.tree, "build")

    def prepare(self):
        os.makedirs(self.tree, exist_ok=True)
        files = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=TOP,
                               check=True, capture_output=True).stdout
        kept = {f for f in files.decode().split("\0") if f and os.path.lexists(os.path.join(TOP, f))}
        for base, dirs, names in os.walk(self.tree):
            if base == self.tree and "build" in dirs:
                dirs.remove("build")
            for name in names:
                path = os.path.join(base, name)
                if os.path.relpath(path, self.tree) not in kept:
                    os.remove(path)
        for name in kept:
            source, target = os.path.join(TOP, name), os.path.join(self.tree, name)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            if os.path.islink(source) or not same(source, target):
                if os.path.lexists(target):
                    os.remove(target)
                shutil.copy2(source, target, follow_symlinks=False)
        arguments = ["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                     "-DCMAKE_CXX_FLAGS=-O1 -w", "-DVENDORDIAG_SANITIZE=address,undefined"]
        status, output = command(arguments, BUILD_SECONDS)
        if status == 0:
            status, output = command(["cmake", "--build", self.build, "--parallel", "1"], 3600)
        if status != 0:
            sys.exit("mutants: the unchanged tree does not build:\n" + output[-2000:])

    def make(self, *targets):
        arguments = ["cmake", "--build", self.build, "--parallel", "1"]
        return command(arguments + (["--target", *targets] if targets else []), BUILD_SECONDS)[0] == 0

    def cases(self, path):
        """Runs the cases, those of the changed file's family first. Status, and the case that noticed."""
        stem = os.path.basename(path).split(".")[0]
        files = glob.glob(os.path.join(self.tree, "tests", "cases", "*.case"))
        files.sort(key=lambda file: -alike(os.path.basename(file).split(".")[0], stem))
        status, output = command([os.path.join(self.build, "vdiag"), "run", "--fresh", "--stop", "--timeout", "5s"] + files,
                                 TEST_SECONDS)
        failed = re.findall(r"^FAIL +\d+ ms +(.*)$", output, re.M)
        return status, failed[0] if failed else "time"

    def tests(self):
        arguments = ["ctest", "--test-dir", self.build, "--stop-on-failure", "--timeout", str(TEST_SECONDS), "-E", "^Cases"]
        status, output = command(arguments, 2 * TEST_SECONDS)
        failed = re.findall(r"^\s*\d+ - (.*?) \(", output, re.M)
        return status, failed[0] if failed else "time" if status == 124 else output[-2000:]

    def judge(self, mutant):
        """"killed", "survived" or "invalid", and the test that noticed."""
        path = os.path.join(self.tree, mutant.path)
        with open(path, "rb") as file:
            source = file.read()
        try:
            with open(path, "wb") as file:
                file.write(mutant.apply(source))
            if not self.make("vendordiag", "vdiag"):
                return "invalid", ""
            status, test = self.cases(mutant.path)
            if status == 0:
                if not self.make():
                    return "invalid", ""
                status, test = self.tests()
            return ("killed", test) if status != 0 else ("survived", "")
        finally:
            with open(path, "wb") as file:
                file.write(source)


def alike(family, stem):
    """How much a case file's name and a source file's have in common: words of one in the other."""
    return sum(word in stem for word in family.split("_")) + sum(word in family for word in stem.split("_"))


def same(left, right):
    if os.path.islink(right) or not os.path.isfile(right) or os.path.getsize(left) != os.path.getsize(right):
        return False
    if os.stat(left).st_mode != os.stat(right).st_mode:
        return False
    with open(left, "rb") as a, open(right, "rb") as b:
        return a.read() == b.read()


def command(arguments, seconds):
    """Status and output; a command that takes too long is ended with all that it started, and has failed."""
    environment = dict(os.environ, CMAKE_CXX_COMPILER_LAUNCHER="ccache", CCACHE_BASEDIR=HOME, CCACHE_NOHASHDIR="1",
                       GTEST_FAIL_FAST="1")
    process = subprocess.Popen(arguments, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                               stdin=subprocess.DEVNULL, env=environment)
    try:
        output, _ = process.communicate(timeout=seconds)
        return process.returncode, output.decode(errors="replace")
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return 124, "time-out"


def ignored():
    """Mutants that cannot matter: "KEY | reason" lines."""
    if not os.path.exists(IGNORED):
        return {}
    with open(IGNORED) as file:
        rows = [line.rstrip("\n").rsplit(" | ", 1) for line in file if line.strip() and not line.startswith("#")]
    return {row[0]: row[1] for row in rows if len(row) == 2}


def choose(folders, commands, count, seed):
    """An endless even mix over the folders: folder, then file, then kind of change, then place."""
    rng = random.Random(seed)
    pools = {folder: candidates(folder, commands) for folder in folders}
    for folder in folders:
        kinds = {}
        for mutant in pools[folder]:
            kinds.setdefault(mutant.kind, []).append(mutant)
        print("%-14s %6d places" % (folder, len(pools[folder])), flush=True)
        for rows in kinds.values():
            rng.shuffle(rows)
        order = []
        while kinds:  # kinds in turn, so that plentiful ones do not crowd out the rest
            for kind in sorted(kinds):
                order.append(kinds[kind].pop())
                if not kinds[kind]:
                    del kinds[kind]
        head = order[:max(40, 4 * count // len(folders))]
        rng.shuffle(head)
        pools[folder] = head
    while any(pools.values()):
        for folder in folders:
            if pools[folder]:
                yield folder, pools[folder].pop()


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 100
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else int(time.time())
    folders = sys.argv[3:] or FOLDERS
    workers = [Worker(i) for i in range(int(os.environ.get("MUTANTS_JOBS", os.cpu_count() or 1)))]
    for worker in workers:
        worker.prepare()
        for status, test in (worker.cases(""), worker.tests()):
            if status != 0:
                sys.exit("mutants: a test of the unchanged tree fails: " + test)
    commands = compile_commands(workers[0].build)
    print("== Seed %d, %d mutants" % (seed, count), flush=True)
    skip = ignored()
    stream = choose(folders, commands, count, seed)
    lock = threading.Lock()
    tally = {folder: {"killed": 0, "survived": 0, "ignored": 0} for folder in folders}
    survivors = []
    left = [count]

    def next_mutant():
        with lock:
            while left[0] > 0:
                row = next(stream, None)
                if row is None:
                    return None
                if row[1].key() in skip:
                    tally[row[0]]["ignored"] += 1
                    continue
                left[0] -= 1
                return row
        return None

    def run(worker):
        while True:
            row = next_mutant()
            if row is None:
                return
            begun = time.time()
            verdict, test = worker.judge(row[1])
            with lock:
                if verdict == "invalid":
                    left[0] += 1
                    continue
                tally[row[0]][verdict] += 1
                if verdict == "survived":
                    survivors.append(row[1])
                print("%-8s %3.0f s  %s%s" % (verdict, time.time() - begun, row[1], "  [%s]" % test if test else ""),
                      flush=True)

    with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
        for future in [pool.submit(run, worker) for worker in workers]:
            future.result()
    report(tally, survivors)


def report(tally, survivors):
    print("\n%-14s %8s %9s %8s" % ("folder", "killed", "survived", "ignored"))
    for folder, row in tally.items():
        print("%-14s %8d %9d %8d" % (folder, row["killed"], row["survived"], row["ignored"]))
    killed = sum(row["killed"] for row in tally.values())
    total = killed + len(survivors)
    for mutant in survivors:
        print("survived: %s" % mutant)
        print("          %s" % mutant.key())
    print("%d of %d killed, %.1f percent" % (killed, total, 100.0 * killed / max(total, 1)))


if __name__ == "__main__":
    main()
