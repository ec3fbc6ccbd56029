"""Administration of an index server from the command line."""

import json
import os
import sqlite3
import stat
import time

from servers_test import Server
from support import CANNOT_REACH, DATABASE, DONE, NOT_FOUND, REFUSED, USAGE, main, stop


class Admin:
    """`iif admin` against one server."""

    def __init__(self, scratch, server):
        self.scratch = scratch
        self.where = ["--server", server.url, "--admin-token-file", os.path.join(server.data, "admin_token")]

    def run(self, *arguments, expect=DONE):
        return self.scratch.run("admin", *arguments, *self.where, expect=expect)

    def text(self, *arguments, expect=DONE):
        return self.run(*arguments, expect=expect).stdout.decode()

    def entries(self, *arguments, expect=DONE):
        """The objects that --json prints."""
        return [json.loads(line) for line in self.text(*arguments, "--json", expect=expect).splitlines()]


def write(*parts, text="content"):
    with open(os.path.join(*parts), "w") as file:
        file.write(text)


def shares_come_and_go(scratch):
    server = Server(scratch)
    admin = Admin(scratch, server)
    assert "token for docs" in admin.text("share", "add", "docs")
    admin.run("share", "add", "docs", expect=REFUSED)
    admin.run("share", "add", "a/b", expect=REFUSED)
    issued, = admin.entries("share", "token", "docs", "--revoke")
    write(scratch.path, "docs.json", text=json.dumps(issued))
    write(scratch.tree, "file")
    scratch.run("share", scratch.tree, "--server", server.url, "--state", scratch.state, "--token-file",
                os.path.join(scratch.path, "docs.json"), "--once")
    shown, = admin.entries("share", "show", "docs")
    assert shown["objects"] == 2 and shown["tokens"] == 1 and "token" not in shown, shown
    done = admin.entries("transactions", "--share", "docs")
    assert done[0]["state"] == "completed" and any(one["lines"] == 2 for one in done), done
    assert "completed" in admin.text("transactions") and "docs" in admin.text("share", "list")

    assert "--yes" in admin.run("share", "remove", "docs", expect=USAGE).stderr.decode()
    admin.run("share", "remove", "docs", "--yes")
    assert not admin.entries("share", "list")
    admin.run("share", "show", "docs", expect=NOT_FOUND)

    stop(server.process)
    admin.run("share", "list", expect=CANNOT_REACH)
    scratch.run("admin", "share", "list", expect=USAGE)
    write(scratch.path, "wrong", text="0" * 64)
    server.start()
    scratch.run("admin", "share", "list", "--server", server.url, "--admin-token-file",
                os.path.join(scratch.path, "wrong"), expect=REFUSED)


def history_is_purged_and_an_index_checked_and_copied(scratch):
    server = Server(scratch)
    admin = Admin(scratch, server)
    settings = os.path.join(scratch.path, "iif.ini")
    write(settings, text=f"[server]\nurl = {server.url}\nadmin_token_file = {server.data}/admin_token\n")
    host = ["share", scratch.tree, "--server", server.url, "--state", scratch.state, "--share", "docs",
            "--admin-token-file", os.path.join(server.data, "admin_token"), "--once"]
    write(scratch.tree, "kept")
    write(scratch.tree, "dropped")
    scratch.run(*host)
    # Versions within one second are one version.
    time.sleep(1.1)
    os.remove(os.path.join(scratch.tree, "dropped"))
    write(scratch.tree, "kept", text="other content")
    scratch.run(*host)
    time.sleep(1.1)
    moment = str(int(time.time()))
    before = scratch.names("/"), scratch.find("/kept")
    purged, = admin.entries("purge", "--older-than", moment)
    assert purged["objects"] == 1 and purged["versions"] >= 3, purged
    assert (scratch.names("/"), scratch.find("/kept")) == before
    assert scratch.find("/kept", "--at", moment)["size"] == len("other content")
    assert admin.entries("purge", "--older-than", "1 day", "--share", "docs")[0]["versions"] == 0
    admin.run("purge", "--older-than", "yesterday evening", expect=USAGE)
    admin.run("purge", "--older-than", "1 day", "--share", "other", expect=NOT_FOUND)
    assert b"0 findings" in scratch.run("admin", "check", "--config", settings).stdout
    assert admin.entries("backup-mark", "--share", "docs", "--backup-id", "7")[0]["marked"] == 0

    copy = os.path.join(scratch.path, "copy", "index.db")
    os.makedirs(os.path.dirname(copy))
    if DATABASE:
        assert b"pg_dump" in admin.run("backup", copy, expect=REFUSED).stderr
        return
    admin.run("backup", copy)
    assert stat.S_IMODE(os.stat(copy).st_mode) == 0o600
    admin.run("backup", copy, expect=REFUSED)
    admin.run("backup", copy, "--force")

    # A fault that only a spoilt file can have.
    stop(server.process)
    with sqlite3.connect(os.path.join(server.data, "index.db")) as database:
        database.execute("UPDATE version SET parent = 99999 WHERE name = 'kept' AND state = 0")
    database.close()
    server.start()
    findings = admin.entries("check", expect=NOT_FOUND)
    assert [one["kind"] for one in findings] == ["orphan"], findings
    # The copy put in its place is sound again.
    stop(server.process)
    os.replace(copy, os.path.join(server.data, "index.db"))
    for side in ("index.db-wal", "index.db-shm"):
        if os.path.exists(os.path.join(server.data, side)):
            os.remove(os.path.join(server.data, side))
    server.start()
    admin.run("check")
    assert (scratch.names("/"), scratch.find("/kept")) == before


if __name__ == "__main__":
    main(shares_come_and_go, history_is_purged_and_an_index_checked_and_copied)
