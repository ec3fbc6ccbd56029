"""One process that serves a directory: what the passes report, and what find and ls answer."""

import os
import socket
import stat
import subprocess
import time

from support import (NOT_FOUND, REFUSED, USAGE, encode, indexed_paths, main, paths_of, serving, wait_for)

ODD_NAMES = [b"with space", b"pi|pe", b"<tag>", b"100%", b"%41", b"new\nline", b"bad\xff\xfeutf8", b"cut\xe2\x82",
             "süß 中文".encode(), b"back\\slash", b"*??|<DEL>|<BAP>x|", b"-dash", b"tab\tbell\x07", b"q'\"uote",
             b".hidden"]


def make_odd_tree(tree):
    """One of everything that a directory can hold without privileges."""
    def at(*names):
        return os.path.join(os.fsencode(tree), *names)
    for name in ODD_NAMES:
        with open(at(name), "wb") as file:
            file.write(name)
    os.makedirs(at(b"dir", b"new\nline dir", b"deep"))
    os.mkdir(at(b"empty"))
    with open(at(b"dir", b"new\nline dir", b"deep", b"leaf"), "w"):
        pass
    with open(at(b"dir", b"first name"), "w") as file:
        file.write("one inode")
    os.link(at(b"dir", b"first name"), at(b"dir", b"second name"))
    os.link(at(b"dir", b"first name"), at(b"empty", b"third name"))
    os.symlink(b"dir/first name", at(b"link"))
    os.symlink(b"no|where\n", at(b"dangling"))
    os.symlink(b"..", at(b"dir", b"loop"))
    os.mkfifo(at(b"fifo"))
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(at(b"socket"))


def counted_by_find(tree):
    return subprocess.run(["find", tree, "-printf", "."], capture_output=True, check=True).stdout.count(b".")


def every_object_is_indexed_once_and_found(scratch):
    make_odd_tree(scratch.tree)
    count = counted_by_find(scratch.tree)
    first = scratch.once()
    assert first.objects == count, (first.objects, count)
    assert (first.updated + first.added, first.deleted, first.gaps, first.refused) == (first.changes, 0, 0, 0)
    assert first.changes in (count - 1, count), "only the root may be known before"
    assert first.batches >= 1
    second = scratch.once()
    assert (second.objects, second.changes, second.batches) == (count, 0, 0), second
    assert scratch.journal_lines() == 0

    with serving(scratch) as host:
        assert indexed_paths(scratch) == {encode(path) for path in paths_of(scratch.tree)}
        check_answers(scratch)
        second = scratch.run("up", scratch.tree, "--state", scratch.state, "--once", expect=REFUSED)
        assert str(host.pid) in second.stderr.decode(), second.stderr
    assert not os.path.exists(os.path.join(scratch.state, "control.sock"))


def check_answers(scratch):
    for name in ODD_NAMES:
        path = b"/" + name
        entry = scratch.find(path)
        assert entry["path"] == "/" + encode(name) and entry["size"] == len(name), entry
        assert scratch.run("find", path, "--state", scratch.state).stdout == path + b"\n"
    kinds = {"/": "directory", "/empty": "directory", "/fifo": "fifo", "/socket": "socket", "/link": "link",
             "/dir/second name": "file", "/dir/new\nline dir/deep/leaf": "file", "//dir//first name": "file",
             "/dir/": "directory"}
    for path, kind in kinds.items():
        assert scratch.find(path)["type"] == kind, path
    status = os.lstat(os.path.join(scratch.tree, "dir", "second name"))
    entry = scratch.find("/dir/second name")
    for field in "mode", "uid", "gid", "size", "mtime", "ctime":
        assert entry[field] == int(getattr(status, "st_" + field)), field
    assert scratch.find("/dangling")["link_target"] == "no%7Cwhere%0A"
    guids = {scratch.find(path)["object_guid"] for path in ("/dir/first name", "/dir/second name", "/empty/third name")}
    assert len(guids) == 3, "each name of an inode is an object of its own"
    listing = scratch.run("ls", "/dir", "--long", "--state", scratch.state).stdout.decode()
    assert "loop -> .." in listing and stat.filemode(status.st_mode) in listing, listing
    for path in "/nothing", "/dir/nothing", "/fifo/x", "/dir/First name":
        assert scratch.find(path, expect=NOT_FOUND) is None
        scratch.run("ls", path, "--state", scratch.state, expect=NOT_FOUND)


def the_past_stays_as_it_was(scratch):
    os.makedirs(os.path.join(scratch.tree, "from/sub"))
    for file in "touched", "removed", "from/sub/file":
        with open(os.path.join(scratch.tree, file), "w") as content:
            content.write(file)
    scratch.once()
    guid = scratch.find("/from/sub/file")["object_guid"]
    before = int(time.time()) + 1
    # The times of files come from a clock that stands still for some milliseconds between its ticks.
    wait_for(lambda: time.time() > before + 1.1, "a later second")
    with open(os.path.join(scratch.tree, "touched"), "a") as content:
        content.write(" and more")
    os.remove(os.path.join(scratch.tree, "removed"))
    os.rename(os.path.join(scratch.tree, "from/sub"), os.path.join(scratch.tree, "moved"))
    # The times of both directories changed with their entries; the file below the moved one was not touched.
    second = scratch.once()
    assert (second.added, second.updated, second.deleted, second.moved) == (0, 3, 1, 1), second

    with serving(scratch):
        assert indexed_paths(scratch) == {encode(path) for path in paths_of(scratch.tree)}
        assert scratch.find("/touched")["size"] == len("touched and more")
        assert scratch.find("/moved/file")["object_guid"] == guid
        then = ("--at", str(before))
        assert sorted(scratch.names("/", *then)) == ["from", "removed", "touched"]
        assert scratch.find("/touched", *then)["size"] == len("touched")
        assert scratch.find("/from/sub/file", *then)["object_guid"] == guid


def shares_are_chosen_by_name(scratch):
    other = scratch.make("other")
    assert b"iif up" in scratch.run("find", "/", expect=USAGE).stderr
    scratch.run("up", scratch.tree, "--once")
    scratch.run("find", "/")
    scratch.run("up", other, "--once")
    assert b"other" in scratch.run("find", "/", expect=USAGE).stderr
    assert scratch.find("/", "--share", "other")["path"] == "/"


if __name__ == "__main__":
    main(every_object_is_indexed_once_and_found, the_past_stays_as_it_was, shares_are_chosen_by_name)
