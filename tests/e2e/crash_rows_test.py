"""A host killed at each point where a crash leaves something else on the disk. The next start brings every change that was
answered with 0 into the index, none of them twice."""

import contextlib
import fcntl
import json
import os
import resource
import termios
import threading

from control_test import Host, record
from database import open_database
from servers_test import Front
from support import REFUSED, main, wait_for

SUBMIT = "/collect/transactions?"


class Crash:
    """A share without a directory behind a front that sees all answers of the server."""

    def __init__(self, scratch):
        self.scratch = scratch
        self.host = Host(scratch)
        self.front = Front(self.host.server.port)
        self.host.url = self.front.url
        self.answers = []
        self.held = threading.Event()
        self.watch(lambda path, text: False)
        self.host.start("s")
        self.control = self.host.connect("s")
        self.journals = os.path.join(self.host.where("s"), "journal", "s")
        self.root = self.control.find("/")["object_guid"]
        self.second = 1000
        self.sizes, self.versions = {}, set()
        self.change("add_item", "d", self.root, "/d", mode=0o40755, size=0)
        self.control.ok("flush")
        self.make_changes("a")

    def watch(self, holds_back):
        """Answers for which `holds_back` is true never arrive; `held` says that one has come."""
        def look(path, status, text):
            self.answers.append((path, status))
            if holds_back(path, text):
                self.held.set()
                threading.Event().wait()
        self.front.watch = look

    def change(self, op, guid, parent, path, ret=0, more={}, **fields):
        self.second += 1
        props = record(guid, parent, path, self.second, **fields)
        answer = self.control.ask(op, props=props, **more)
        assert answer["ret"] == ret, (op, props, answer)
        if ret == 0:
            self.versions.add((guid, props["version_guid"]))
            self.sizes[guid] = (path, fields.get("size"))

    def make_changes(self, prefix, count=40):
        """Files come, change, move and go; all of it is accepted."""
        for number in range(count):
            guid = f"{prefix}{number}"
            self.change("add_item", guid, "d", f"/d/{guid}", mode=0o100644, size=number)
            if number % 4 == 1:
                self.change("update_item", guid, "d", f"/d/{guid}", size=number + 1000, mode=0o100644)
            if number % 4 == 2:
                self.change("rename_item", guid, "d", f"/d/{guid} moved", size=number, mode=0o100644,
                            more={"old_parent_guid": "d", "old_path": f"/d/{guid}"})
            if number % 4 == 3:
                self.versions.add((guid, f"{guid}@{self.second}"))
                props = record(guid, "d", f"/d/{guid}", self.second, dtime=self.second + 1)
                assert self.control.ask("delete_item", props=props)["ret"] == 0
                del self.sizes[guid]

    def begin_flush(self):
        self.host.connect("s").send({"op": "flush", "share": "s"})

    def kill(self, journals):
        """Ends the host at once; `journals` is how many lines each journal then has to hold, None for any."""
        self.host.process.kill()
        self.host.process.wait()
        lines = []
        for name in sorted(name for name in os.listdir(self.journals) if name.startswith("collect_file_")):
            with open(os.path.join(self.journals, name), "rb") as file:
                lines.append(file.read().count(b"\n"))
        assert len(lines) == len(journals), lines
        assert all(there > 0 if wanted is None else there == wanted for there, wanted in zip(lines, journals)), lines

    def restart(self):
        self.watch(lambda path, text: False)
        self.answers.clear()
        self.host.start("s", admin=False)
        self.check()

    def submits(self):
        return [status for path, status in self.answers if path.startswith(SUBMIT)]

    def check(self):
        self.control = self.host.connect("s")
        listed = self.control.ok("browse_by_path", fields={"path": "/d"}, fresh_ms=20000)["items"]
        found = sorted((item["object_guid"], item["path"], item["size"]) for item in listed)
        assert found == sorted((guid, path, size) for guid, (path, size) in self.sizes.items() if guid != "d"), found
        with contextlib.closing(self.database()) as database:
            rows = [row for row in database.versions() if row[0] not in ("", self.root)]
        assert len(rows) == len(set(rows)) and set(rows) == self.versions, set(rows) ^ self.versions
        assert self.scratch.journal_lines(self.host.where("s")) == 0

    def database(self):
        return open_database(self.scratch, self.host.server)

    def collect_file(self):
        with open(os.path.join(self.host.where("s"), "share.json")) as file:
            identity = json.load(file)
        return os.path.join(self.journals, f"lumo_index_{identity['subclient_id']}_{identity['client_id']}_0.zyf")


def within_a_line(scratch):
    crash = Crash(scratch)
    journal = max(os.path.join(crash.journals, name) for name in os.listdir(crash.journals))
    room = os.path.getsize(journal) + 40
    resource.prlimit(crash.host.process.pid, resource.RLIMIT_FSIZE, (room, room))
    crash.change("add_item", "cut", "d", "/d/cut", ret=5, size=1)
    crash.change("add_item", "next", "d", "/d/next", ret=5, size=1)
    crash.kill([None])
    refused = scratch.run("host", "--share", "s", "--server", crash.host.url, "--state", scratch.state, expect=REFUSED)
    assert b"iif journal repair" in refused.stderr, refused.stderr
    assert b"incomplete" in scratch.run("journal", "list", crash.host.where("s")).stdout
    scratch.run("journal", "repair", crash.host.where("s"))
    first, *_ = scratch.run("journal", "cat", "--json", crash.host.where("s")).stdout.splitlines()
    assert json.loads(first)["operation"] == "ADD", first
    crash.restart()


def between_a_line_and_the_rotation(scratch):
    crash = Crash(scratch)
    crash.kill([None])
    crash.restart()
    assert crash.submits() == [201]


def before_and_within_the_collect_file(scratch):
    crash = Crash(scratch)
    # A pipe in the place of the collect file holds the delivery at its opening, and then where a page is full.
    os.mkfifo(crash.collect_file())
    for within in False, True:
        part = None
        if within:
            part = os.open(crash.collect_file(), os.O_RDONLY | os.O_NONBLOCK)
            fcntl.fcntl(part, fcntl.F_SETPIPE_SZ, 4096)
        crash.begin_flush()
        wait_for(lambda: len([name for name in os.listdir(crash.journals) if name.startswith("collect")]) == 2,
                 "the rotation")
        if within:
            wait_for(lambda: int.from_bytes(fcntl.ioctl(part, termios.FIONREAD, bytes(4)), "little") > 3500, "lines")
        crash.kill([None, 0])
        os.remove(crash.collect_file())
        if within:
            with open(crash.collect_file(), "wb") as file:
                file.write(os.read(part, 4096))
            os.close(part)
        crash.restart()
        if not within:
            crash.make_changes("b")
            os.mkfifo(crash.collect_file())


def between_the_submission_and_the_outcome(scratch):
    crash = Crash(scratch)
    crash.watch(lambda path, text: path.startswith(SUBMIT))
    crash.begin_flush()
    assert crash.held.wait(60)
    crash.make_changes("b")
    crash.kill([None, None])
    crash.restart()
    # Both batches go, the older one a second time.
    assert crash.submits() == [201, 201], crash.answers


def with_the_transaction_still_open(scratch):
    crash = Crash(scratch)
    database = crash.database()
    database.hold()  # the server cannot work on what it is given
    crash.begin_flush()
    spool = os.path.join(crash.host.server.data, "spool")
    wait_for(lambda: os.listdir(spool), "the file in the server's spool")
    crash.kill([None, 0])

    def free_the_server():
        wait_for(lambda: 409 in crash.submits(), "a refused submission")
        database.let_go()
    freeing = threading.Thread(target=free_the_server)
    freeing.start()
    crash.restart()
    freeing.join()
    database.close()
    # The refused attempt closed what was open, so the next one went through.
    assert crash.submits()[0] == 409 and crash.submits()[-1] == 201, crash.answers
    assert any(path.endswith("/close") for path, _ in crash.answers), crash.answers


def between_the_outcome_and_the_end_of_the_journal(scratch):
    crash = Crash(scratch)
    crash.watch(lambda path, text: "/wait?" in path and json.loads(text)["status"] == 3)
    crash.begin_flush()
    assert crash.held.wait(60)
    crash.kill([None, 0])
    crash.restart()
    assert crash.submits() == [201], crash.answers


def after_the_end_of_the_journal(scratch):
    crash = Crash(scratch)
    crash.control.ok("flush")
    crash.kill([0])
    crash.restart()
    assert crash.submits() == []


if __name__ == "__main__":
    main(within_a_line, between_a_line_and_the_rotation, before_and_within_the_collect_file,
         between_the_submission_and_the_outcome, with_the_transaction_still_open,
         between_the_outcome_and_the_end_of_the_journal, after_the_end_of_the_journal)
