#!/usr/bin/env python3
"""A share of a million objects through the whole product: built, asked, browsed, asked about the past, purged. Prints
what each took; checks every answer.

usage: [IIF_OBJECTS=N] tests/e2e/million_objects.py PROGRAM
"""

import collections
import contextlib
import os
import random
import time

from control_test import Host, record
from support import main, stop

OBJECTS = int(os.environ.get("IIF_OBJECTS", "1000000"))
FOLDERS = 10
CREATED, CHANGED, DELETED = 1_700_000_000, 1_700_100_000, 1_700_200_000
AHEAD = 100  # what the answers to them fit into the socket


@contextlib.contextmanager
def timed(what, count):
    begin = time.monotonic()
    yield
    seconds = time.monotonic() - begin
    print(f"{what}: {seconds:.2f} s, {count / seconds:,.0f} a second", flush=True)


def path_of(number):
    return f"/d{number % FOLDERS}/f{number}"


def change_all(control, op, numbers, second, **fields):
    """Changes each of the files, and delivers that; changes that are refused for now are sent again."""
    with timed(op, len(numbers)):
        while numbers:
            refused = []
            for begin in range(0, len(numbers), AHEAD):
                some = numbers[begin:begin + AHEAD]
                for number in some:
                    props = record(f"o{number}", f"d{number % FOLDERS}", path_of(number), second, mode=0o100644, **fields)
                    control.send({"op": op, "share": control.share, "props": props})
                for number in some:
                    answer = control.receive()
                    assert answer.get("ret") in (0, 5), (number, answer)
                    if answer["ret"]:
                        refused.append(number)
            numbers = refused
            time.sleep(0.2 if refused else 0)
        assert control.ask("flush")["ret"] == 0


def browse_all(control, what, count, second=None):
    """How many files there are of each size."""
    then = {"before_time": second, "real_before_time": second * 10**9} if second else {}
    sizes = collections.Counter()
    with timed("browse " + what, count):
        for folder in range(FOLDERS):
            items = control.ok("browse_by_path", fields={"path": f"/d{folder}", **then})["items"]
            assert len({item["path"] for item in items}) == len(items), "an entry is listed twice"
            sizes.update(item["size"] for item in items)
    assert sum(sizes.values()) == count, (what, sizes, count)
    return sizes


def million_objects(scratch):
    host = Host(scratch)
    host.start("large")
    control = host.connect("large")
    root = control.find("/")["object_guid"]
    changed, deleted = range(0, OBJECTS, 10), range(5, OBJECTS, 20)
    for folder in range(FOLDERS):
        control.ok("add_item", props=record(f"d{folder}", root, f"/d{folder}", CREATED, mode=0o40755, size=0))
    change_all(control, "add_item", range(OBJECTS), CREATED, size=1)
    change_all(control, "update_item", changed, CHANGED, size=2)
    change_all(control, "delete_item", deleted, DELETED, dtime=DELETED)

    numbers = [number for number in random.Random(1).sample(range(OBJECTS), 2000) if number not in deleted]
    with timed("find_by_path", len(numbers)):
        assert all(control.find(path_of(number))["object_guid"] == f"o{number}" for number in numbers)
    sizes = browse_all(control, "now", OBJECTS - len(deleted))
    assert sizes[2] == len(changed)
    assert browse_all(control, "before the change", OBJECTS, CREATED + 1)[1] == OBJECTS
    assert browse_all(control, "between change and deletion", OBJECTS, CHANGED + 1)[2] == len(changed)
    stop(host.process)

    administer = ["--share", "large", "--server", host.url, "--admin-token-file",
                  os.path.join(host.server.data, "admin_token")]
    with timed("purge", len(changed) + len(deleted)):
        scratch.run("admin", "purge", "--older-than", str(DELETED + 1), *administer, timeout=3600)
    with timed("check", OBJECTS):
        scratch.run("admin", "check", *administer, timeout=3600)
    host.start("large")
    assert browse_all(host.connect("large"), "after the purge", OBJECTS - len(deleted)) == sizes
    stop(host.process)
    stop(host.server.process)


if __name__ == "__main__":
    main(million_objects)
