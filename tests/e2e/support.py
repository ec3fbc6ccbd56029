"""Runs the program for the end-to-end tests: scratch directories, processes that end with the test, trees to index."""

import contextlib
import itertools
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import traceback

PROGRAM = os.path.abspath(sys.argv[1])
# The connection string of fresh databases, without the number that ends it. When it is given, every index server of the
# test keeps its index there.
DATABASE = os.environ.get("IIF_TEST_POSTGRESQL")
NUMBERS = itertools.count(1)
DONE, NOT_FOUND, USAGE, CANNOT_REACH, REFUSED = range(5)

SUMMARY = re.compile(
    r"^(\d+) objects?, (\d+) changes?(?: \((\d+) added, (\d+) updated, (\d+) deleted(?:, (\d+) moved)?\))?, "
    r"(\d+) batch(?:es)?, .*, [\d.]+ s(?:, (\d+) gaps?)?(?:, (\d+) refused)?$")


class Summary:
    """The summary line of a pass, taken apart."""

    def __repr__(self):
        return self.line

    def __init__(self, line):
        self.line = line
        found = SUMMARY.match(line)
        assert found, f"no summary line: {line!r}"
        numbers = [int(text or 0) for text in found.groups()]
        (self.objects, self.changes, self.added, self.updated, self.deleted, self.moved, self.batches, self.gaps,
         self.refused) = numbers


class Scratch:
    """A directory for one test, with the tree to serve in `tree` and a state in `state`; gone with the test."""

    def __init__(self):
        self.path = tempfile.mkdtemp(prefix="iif-e2e-")
        self.tree = self.make("tree")
        self.state = os.path.join(self.path, "state")
        self.processes = []
        self.database = f"{DATABASE}{next(NUMBERS)}" if DATABASE else None
        self.config = self.write_config() if DATABASE else None

    def write_config(self):
        """The settings under which the programs find the database."""
        path = os.path.join(self.path, "settings.ini")
        with open(path, "w") as settings:
            settings.write(f"[server]\nengine = postgresql\npostgresql = {self.database}\n")
        return path

    def make(self, name):
        path = os.path.join(self.path, name)
        os.makedirs(path)
        return path

    def environment(self):
        found = dict(os.environ, XDG_STATE_HOME=os.path.join(self.path, "home"))
        return dict(found, INDEX_IFACE_CONFIG=self.config) if self.config else found

    def run(self, *arguments, expect=DONE, timeout=120):
        """Runs the program to its end and returns what it did; its exit code has to be `expect` unless that is None."""
        result = subprocess.run([PROGRAM, *arguments], capture_output=True, timeout=timeout, env=self.environment())
        if expect is not None and result.returncode != expect:
            raise AssertionError(f"iif {arguments} ended with {result.returncode}, not {expect}\n"
                                 f"{result.stdout[-2000:]}\n{result.stderr[-4000:]}")
        return result

    def start(self, *arguments):
        """Starts the program; its output goes to the process's `log` file."""
        log = os.path.join(self.path, f"log-{len(self.processes)}")
        with open(log, "wb") as output:
            process = subprocess.Popen([PROGRAM, *arguments], stdout=output, stderr=subprocess.STDOUT,
                                       env=self.environment())
        process.log = log
        self.processes.append(process)
        return process

    def once(self, *arguments):
        """`iif up --once` on the tree; its summary."""
        return Summary(self.run("up", self.tree, "--state", self.state, "--once", *arguments).stdout.decode().strip())

    def find(self, path, *arguments, expect=DONE):
        """The object at the path as a dictionary, None when there is none and that is expected."""
        result = self.run("find", path, "--json", *self.where(arguments), *arguments, expect=expect)
        return json.loads(result.stdout) if result.returncode == DONE else None

    def names(self, path, *arguments):
        """The encoded names that a listing gives, as a list."""
        lines = self.run("ls", path, "--json", *self.where(arguments), *arguments).stdout.decode().splitlines()
        return [json.loads(line)["path"].rsplit("/", 1)[1] for line in lines]

    def where(self, arguments):
        return [] if {"--state", "--share"} & set(arguments) else ["--state", self.state]

    def journal_lines(self, state=None):
        """How many lines the journals of a state hold."""
        count = 0
        for folder, _, files in os.walk(os.path.join(state or self.state, "journal")):
            for name in files:
                if name.startswith("collect_file_"):
                    with open(os.path.join(folder, name), "rb") as journal:
                        count += len(journal.read().splitlines())
        return count

    def close(self):
        for process in self.processes:
            if process.poll() is None:
                process.kill()
            process.wait()
        shutil.rmtree(self.path, ignore_errors=True)


def output_of(process):
    with open(process.log, "rb") as log:
        return log.read().decode(errors="replace")


def wait_for(condition, what, process=None, seconds=60):
    """Polls until the condition holds; a process that ends meanwhile fails the wait."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        log = output_of(process) if process else ""
        assert not process or process.poll() is None, f"ended while waiting for {what}: {process.returncode}\n{log}"
        assert time.monotonic() < deadline, f"no {what} in {seconds} s\n{log}"
        time.sleep(0.05)


def wait_for_text(process, text, seconds=60):
    """Waits until the process has written a text that matches; returns the match."""
    return wait_for(lambda: re.search(text, output_of(process), re.MULTILINE), repr(text), process, seconds)


def stop(process, code=DONE):
    """Asks the process to leave, which it does in order."""
    process.send_signal(signal.SIGTERM)
    process.wait(60)
    assert process.returncode == code, f"left with {process.returncode}\n{output_of(process)}"


@contextlib.contextmanager
def serving(scratch, *arguments):
    """A host that serves the scratch tree after one pass and then only answers."""
    host = scratch.start("up", scratch.tree, "--state", scratch.state, "--rescan", "3600", *arguments)
    wait_for_text(host, SUMMARY.pattern)
    yield host
    stop(host)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Server:
    """An index server on a port that stays the same over restarts."""

    def __init__(self, scratch):
        self.scratch = scratch
        self.data = os.path.join(scratch.path, "data")
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}/"
        self.start()

    def start(self):
        self.process = self.scratch.start("server", "--data", self.data, "--port", str(self.port))
        wait_for_text(self.process, r"admin token file")

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    def share(self, tree, state, *arguments, url=None):
        return self.scratch.start("share", tree, "--server", url or self.url, "--state", state, "--admin-token-file",
                                  os.path.join(self.data, "admin_token"), *arguments)


def paths_of(tree):
    """Every name in the tree as bytes relative to it, the root as an empty one."""
    top = os.fsencode(tree)
    paths = {b""}
    for folder, directories, files in os.walk(top):
        paths.update(os.path.relpath(os.path.join(folder, name), top) for name in directories + files)
    return paths


def encode(name):
    """A name as the index holds it."""
    text = ""
    for piece in name.decode(errors="surrogateescape"):
        if ord(piece) in range(0xDC80, 0xDD00):
            text += f"%{ord(piece) - 0xDC00:02X}"
        elif piece in "|<>%\x7f" or piece < " ":
            text += f"%{ord(piece):02X}"
        else:
            text += piece
    return text


def indexed_paths(scratch, *arguments, path="/"):
    """Every path that listings reach from the root, in the form of paths_of, encoded."""
    found, waiting = {""}, [""]
    while waiting:
        folder = waiting.pop()
        lines = scratch.run("ls", "/" + folder, "--json", *scratch.where(arguments), *arguments).stdout.splitlines()
        for entry in map(json.loads, lines):
            inner = entry["path"].lstrip("/")
            assert inner not in found, f"{inner} is listed twice"
            found.add(inner)
            if entry.get("type") == "directory":
                waiting.append(os.fsdecode(decode(inner)))
    return found


def decode(text):
    return re.sub(rb"%([0-9A-F]{2})", lambda match: bytes([int(match[1], 16)]), text.encode())


def make_plain_tree(tree, directories, files):
    """`directories` directories with `files` small files each."""
    for number in range(directories):
        folder = os.path.join(tree, f"d{number:03}")
        os.makedirs(folder, exist_ok=True)
        for file in range(files):
            with open(os.path.join(folder, f"f{file:04}"), "w") as content:
                content.write("x" * (file % 50))


def main(*tests):
    """Runs the tests one after the other, each in a scratch directory of its own."""
    failed = 0
    for test in tests:
        scratch = Scratch()
        try:
            begin = time.monotonic()
            test(scratch)
            print(f"ok {test.__name__} ({time.monotonic() - begin:.1f} s)", flush=True)
        except Exception:
            failed += 1
            print(f"FAILED {test.__name__}", flush=True)
            traceback.print_exc()
            for process in scratch.processes:
                print(f"--- {process.args[1:]}\n{output_of(process)[-3000:]}", flush=True)
        finally:
            scratch.close()
    sys.exit(1 if failed else 0)
