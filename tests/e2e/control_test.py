"""Every operation of the library through the control socket of `iif host`, as a program in another language uses it."""

import json
import os
import socket

from support import CANNOT_REACH, NOT_FOUND, USAGE, Server, main, output_of, stop, wait_for_text

NOT_READY = -107
SECOND = 10**9


class Control:
    """One connection to a control socket."""

    def __init__(self, path, share=None):
        self.share = share
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)
        self.answers = self.socket.makefile("rb")

    def send(self, line):
        self.socket.sendall(line if isinstance(line, bytes) else json.dumps(line).encode() + b"\n")

    def receive(self):
        return json.loads(self.answers.readline())

    def ask(self, op, **members):
        if self.share:
            members.setdefault("share", self.share)
        self.send({"op": op, **members})
        return self.receive()

    def ok(self, op, **members):
        answer = self.ask(op, **members)
        assert answer.get("ret") == 0, (op, members, answer)
        return answer

    def find(self, path, **more):
        """The object at the path, None when there is none."""
        answer = self.ask("find_by_path", fields={"path": path, **more})
        assert answer["ret"] in (0, 2), answer
        return answer.get("props")

    def names(self, path, **more):
        items = self.ok("browse_by_path", fields={"path": path, **more})["items"]
        return sorted(item["path"].rsplit("/", 1)[1] for item in items)

    def close(self):
        self.socket.close()


class Host:
    """An index server and an `iif host` of shares without directories."""

    def __init__(self, scratch):
        self.scratch = scratch
        self.server = Server(scratch)
        self.url = self.server.url

    def start(self, *shares, admin=True, arguments=()):
        names = [part for share in shares for part in ("--share", share)]
        token = ["--admin-token-file", os.path.join(self.server.data, "admin_token")] if admin else []
        self.process = self.scratch.start("host", *names, "--server", self.url, "--state", self.scratch.state, *token,
                                          *arguments)
        wait_for_text(self.process, f"^share {shares[-1]} at ")
        return self.process

    def where(self, share):
        return os.path.join(self.scratch.state, share)

    def connect(self, share, to=None):
        return Control(os.path.join(self.where(to or share), "control.sock"), share)


def record(guid, parent, path, second, **more):
    return {"object_guid": guid, "parent_guid": parent, "path": path, "version_guid": f"{guid}@{second}",
            "vtime": second * SECOND, "ctime": second, **more}


def every_operation(scratch):
    host = Host(scratch)
    host.start("docs", arguments=("--log-level", "4"))
    control = host.connect("docs")
    assert control.ok("get_flush_status_msg")["text"] in ("waiting", "operational")
    root = control.find("/")["object_guid"]

    def change(op, *arguments, more={}, **fields):
        return control.ok(op, props=record(*arguments, **fields), **more)

    folder, file = dict(mode=0o40755, size=0), dict(mode=0o100644)
    assert change("add_item", "d", root, "/d", 100, **folder)["vtime_sec"] == 100
    change("add_item", "f", "d", "/d/f", 110, size=5, custom_props={"colour": "red"}, **file)
    change("add_item", "g", "d", "/d/g", 120, size=6, **file)
    # What is pending is seen before it is delivered.
    assert control.find("/d/f")["custom_props"] == {"colour": "red"}
    assert control.names("/d") == ["f", "g"]
    assert control.ok("find_by_guid", fields={"object_guid": "f"})["props"]["path"] == "/d/f"
    listed = control.ok("browse_by_guid", fields={"object_guid": "d"})["items"]
    assert sorted(item["object_guid"] for item in listed) == ["f", "g"]

    change("update_item", "f", "d", "/d/f", 130, size=7, **file)
    assert control.find("/d/f")["size"] == 7
    control.ok("delete_item", props=record("g", "d", "/d/g", 140, dtime=140))
    assert control.find("/d/g") is None
    control.ok("flush")
    assert control.find("/d/g", before_time=125)["size"] == 6
    assert control.find("/d/f", before_time=115)["size"] == 5

    # A rename hides the old path at once, and delivered it shows at the new one, with all that is below it.
    change("rename_item", "d", root, "/moved", 150, more={"old_parent_guid": root, "old_path": "/d"}, **folder)
    assert control.find("/d") is None
    change("rename_item", "f", root, "/f", 160, size=7,
           more={"old_parent_guid": "d", "old_path": "/moved/f", "flush_now": True}, **file)
    assert control.find("/f")["object_guid"] == "f" and control.find("/moved")["object_guid"] == "d"
    assert control.find("/d") is None and control.names("/moved") == []
    assert control.find("/d/f", before_time=145)["size"] == 7
    assert control.names("/d", before_time=125) == ["f", "g"] and control.names("/") == ["f", "moved"]

    extents_of_a_file(control)
    counters = control.ok("get_counters")["counters"]
    assert [counters["index." + name] for name in ("adds", "updates", "deletes", "renames")] == ["6", "1", "1", "2"]
    assert int(counters["index.flush_successes"]) >= 2 and len(counters) == 10, counters
    control.ok("clear_counters")
    assert set(control.ok("get_counters")["counters"].values()) == {"0"}
    assert control.ok("get_flush_status_msg")["text"] == control.ok("get_query_status_msg")["text"] == "operational"
    # The library's own refusals are results and no errors.
    assert control.ask("add_item", props={"path": "/a"})["ret"] == 22
    assert control.ask("find_by_guid", fields={"object_guid": ""})["ret"] == 22
    change("add_item", "h", root, "/h", 170, size=1, **file)
    control.ok("dump_caches")
    control.ok("log_perf_counters", text="asked by a test")
    assert control.ok("get_num_async_browses")["ret"] == 0
    control.ok("stop_async_browses")
    assert "items in cache" in output_of(host.process) and "asked by a test" in output_of(host.process)

    cleanup_discards_what_waits(host, control, root)


def extents_of_a_file(control):
    for number, second, size in (0, 200, 4096), (1, 201, 100), (1, 202, 200):
        control.ok("add_item", props={"object_guid": f"x{number}", "parent_guid": "f", "version_guid": f"v{second}",
                                      "vtime": second * SECOND, "is_extent": 1, "extent_number": number, "size": size})
    found = control.ok("browse_file_extents", fields={"object_guid": "f"})["items"]
    assert [(one["extent_number"], one["extent_size"], one["is_extent"]) for one in found] == [(0, 4096, 1), (1, 200, 1)]
    assert len(control.ok("browse_extents_not_backedup", fresh_ms=10000)["items"]) == 2
    assert control.find("/f")["size"] == 7, "an extent never answers for its file"


def cleanup_discards_what_waits(host, control, root):
    """The one operation that loses accepted changes, and says so by ending the share."""
    hook = host.connect("docs")
    # Delivered up to here; the next change is still on its way when the share ends.
    control.ok("flush")
    control.send(b'{"op":"add_item","props":%s}\n{"op":"cleanup"}\n' %
                 json.dumps(record("lost", root, "/lost", 300)).encode())
    assert control.receive()["ret"] == 0 and control.receive()["ret"] == 0
    for op in "flush", "cleanup", "get_counters", "dump_caches", "browse_extents_not_backedup":
        assert hook.ask(op)["ret"] == NOT_READY, op
    assert not os.path.exists(os.path.join(host.where("docs"), "journal", "docs"))
    stop(host.process)
    host.start("docs", admin=False)
    again = host.connect("docs")
    assert again.find("/h")["size"] == 1
    # What was accepted while the server was away stays in the journal when the host has to leave, and arrives later.
    host.server.kill()
    again.ok("add_item", props=record("late", root, "/late", 310, size=3))
    assert again.ask("flush")["ret"] != 0
    stop(host.process)
    host.server.start()
    host.start("docs", admin=False)
    assert host.connect("docs").find("/late")["size"] == 3
    stop(host.process)


def several_shares_in_one_process(scratch):
    host = Host(scratch)
    scratch.run("host", "--share", "a/b", "--server", host.url, "--state", scratch.state, expect=CANNOT_REACH)
    scratch.run("host", "--share", "one", "--server", host.url, "--state", scratch.state, expect=USAGE)
    scratch.run("host", "--share", "one", "--share", "one", "--server", host.url, expect=USAGE)
    host.start("one")
    stop(host.process)
    host.start("one", "two")
    stop(host.process)
    host.start("two", "one", admin=False)
    for share in "one", "two":
        control = host.connect(share, to="one" if share == "two" else "two")
        root = control.find("/")["object_guid"]
        control.ok("add_item", props=record("same", root, "/only in " + share, 10, size=len(share)))
        control.ok("flush")  # a listing of the root alone does not see to that by itself
        assert control.names("/") == ["only in " + share]
        assert "share is missing" in Control(os.path.join(host.where("one"), "control.sock")).ask("flush")["error"]
    stop(host.process)


def extents_wait_for_a_backup(host, control, printed):
    """The list goes over more than one page, and ends with the mark."""
    for number in range(1000):
        control.ok("add_item", props={"object_guid": f"y{number}", "parent_guid": "g", "version_guid": "v",
                                      "vtime": 130 * SECOND, "is_extent": 1, "extent_number": number, "size": 1})
    waiting = printed("extents", "--not-backed-up").splitlines()
    assert len(set(waiting)) == len(waiting) == 1001 and "4 9 f" in waiting and "999 1 g" in waiting, waiting[:5]
    assert all(line.endswith((" f", " g")) for line in printed("extents", "--not-backed-up", "--long").splitlines())
    files = [json.loads(line)["parent_guid"] for line in printed("extents", "--not-backed-up", "--json").splitlines()]
    assert files.count("g") == 1000 and files.count("f") == 1
    for other in ("--at", "105"), ("--guid", "f"), ("/d",):
        printed("extents", "--not-backed-up", *other, expect=USAGE)
    host.scratch.run("admin", "backup-mark", "--share", "docs", "--backup-id", "7", "--server", host.url,
                     "--admin-token-file", os.path.join(host.server.data, "admin_token"))
    assert printed("extents", "--not-backed-up") == "" and printed("extents", "--guid", "f") == "4 9\n"


def the_program_is_a_client(scratch):
    host = Host(scratch)
    host.start("docs")
    control = host.connect("docs")
    root = control.find("/")["object_guid"]
    control.ok("add_item", props=record("d", root, "/d", 100, mode=0o40755))
    control.ok("add_item", props=record("f", "d", "/d/f%0A", 110, mode=0o100644, size=3))
    control.ok("add_item", props={"object_guid": "x", "parent_guid": "f", "version_guid": "v", "vtime": 120 * SECOND,
                                  "is_extent": 1, "extent_number": 4, "size": 9})
    state = ("--state", host.where("docs"))

    def printed(*arguments, expect=0):
        return scratch.run(*arguments, *state, expect=expect).stdout.decode()

    assert json.loads(printed("status", "--json"))["backlog"]["changes"] == 3
    printed("flush")
    assert json.loads(printed("status", "--json"))["backlog"]["changes"] == 0
    assert printed("find", "--guid", "f") == "/d/f\n\n" and printed("ls", "--guid", "d") == "f\n\n"
    assert json.loads(printed("find", "--guid", "f", "--json"))["size"] == 3
    assert printed("extents", "/d/f\n") == printed("extents", "--guid", "f") == "4 9\n"
    assert printed("extents", "/d") == ""
    for arguments in ("find", "--guid", "none"), ("ls", "--guid", "none"), ("extents", "/none"):
        printed(*arguments, expect=NOT_FOUND)
    printed("find", "--guid", "f", "--at", "105", expect=NOT_FOUND)
    printed("find", "/d", "--guid", "d", expect=USAGE)
    extents_wait_for_a_backup(host, control, printed)
    assert "index.adds 1003\n" in printed("counters", "--clear")
    assert json.loads(printed("counters", "--json"))["index.adds"] == "0"
    assert "host       running" in printed("status")
    stop(host.process)

    # Without a host a flush and a query start what they need, and what only a host can tell is not made up.
    assert printed("extents", "--not-backed-up") == ""
    assert json.loads(printed("find", "--guid", "f", "--json"))["path"] == "/d/f%0A"
    printed("flush")
    printed("counters", expect=CANNOT_REACH)
    assert json.loads(printed("status", "--json", expect=CANNOT_REACH))["running"] is False


if __name__ == "__main__":
    main(every_operation, several_shares_in_one_process, the_program_is_a_client)
