#!/usr/bin/env python3
"""A share of a million objects through the whole product: built, asked, browsed, asked about the past, purged. Prints
what each took; checks every answer.

usage: [IIF_OBJECTS=N] tests/e2e/million_objects.py PROGRAM
"""

import collections
import os
import random
import statistics
import time

from control_test import Host, record
from support import Scratch, stop

OBJECTS = int(os.environ.get("IIF_OBJECTS", "1000000"))
FOLDERS = 10
CREATED, CHANGED, DELETED = 1_700_000_000, 1_700_100_000, 1_700_200_000
AHEAD = 100  # what the answers to them fit into the socket


class Clock:
    """Prints how long something took, and how much that was in a second."""

    def __init__(self, what, count=None):
        self.what, self.count = what, count

    def __enter__(self):
        self.begin = time.monotonic()

    def __exit__(self, kind, *_):
        if kind:
            return
        seconds = time.monotonic() - self.begin
        rate = f", {self.count / seconds:,.0f} a second" if self.count else ""
        print(f"{self.what}: {seconds:.2f} s{rate}", flush=True)


def name(number):
    return f"d{number % FOLDERS}", f"f{number}"


def changes(root, op, numbers, second, **fields):
    """Requests for a change of each of the files."""
    for number in numbers:
        folder, file = name(number)
        yield {"op": op, "props": record(f"o{number}", folder, f"/{folder}/{file}", second, mode=0o100644,
                                         **fields)}


def send_all(control, requests):
    """Sends requests ahead of their answers; those that are refused for now are sent again."""
    waiting = collections.deque()
    refused = []

    def take():
        request = waiting.popleft()
        answer = control.receive()
        assert answer.get("ret") in (0, 5), (request, answer)
        if answer["ret"]:
            refused.append(request)

    for request in requests:
        control.send(dict(request, share=control.share))
        waiting.append(request)
        if len(waiting) >= AHEAD:
            take()
    while waiting:
        take()
    if refused:
        time.sleep(0.2)
        send_all(control, refused)


def deliver(control, what):
    with Clock(what):
        assert control.ask("flush")["ret"] == 0


def ask_for(control, what, numbers, fields):
    """Finds of single objects, with the middle and the slow end of the times."""
    times = []
    for number in numbers:
        begin = time.monotonic()
        found = control.ask(what, fields=fields(number))
        times.append((time.monotonic() - begin) * 1e6)
        assert found["ret"] == 0 and found["props"]["object_guid"] == f"o{number}", (number, found)
    times.sort()
    print(f"{what}: median {statistics.median(times):.0f} µs, 99 % {times[len(times) * 99 // 100]:.0f} µs", flush=True)


def browse_all(control, what, count, second=None):
    then = {"before_time": second, "real_before_time": second * 10**9} if second else {}
    sizes = collections.Counter()
    with Clock(what, count):
        for folder in range(FOLDERS):
            items = control.ok("browse_by_path", fields={"path": f"/d{folder}", **then})["items"]
            assert len({item["path"] for item in items}) == len(items), "an entry is listed twice"
            sizes.update(item["size"] for item in items)
    assert sum(sizes.values()) == count, (what, sum(sizes.values()), count)
    return sizes


def million_objects(scratch):
    host = Host(scratch)
    host.start("large")
    control = host.connect("large")
    root = control.find("/")["object_guid"]
    changed, deleted = range(0, OBJECTS, 10), range(5, OBJECTS, 20)
    for folder in range(FOLDERS):
        control.ok("add_item", props=record(f"d{folder}", root, f"/d{folder}", CREATED, mode=0o40755, size=0))
    with Clock("built", OBJECTS):
        send_all(control, changes(root, "add_item", range(OBJECTS), CREATED, size=1))
        deliver(control, "of that, the last deliveries")
    with Clock("changed", len(changed)):
        send_all(control, changes(root, "update_item", changed, CHANGED, size=2))
        deliver(control, "of that, the last deliveries")
    with Clock("deleted", len(deleted)):
        send_all(control, changes(root, "delete_item", deleted, DELETED, dtime=DELETED))
        deliver(control, "of that, the last deliveries")

    dice = random.Random(1)
    numbers = [number for number in dice.sample(range(OBJECTS), 2000) if number not in deleted]
    ask_for(control, "find_by_path", numbers, lambda n: {"path": "/" + "/".join(name(n))})
    ask_for(control, "find_by_guid", numbers, lambda n: {"object_guid": f"o{n}"})
    sizes = browse_all(control, "browsed", OBJECTS - len(deleted))
    assert sizes[2] == len(changed)
    before = CREATED + 1
    assert browse_all(control, "browsed at a past moment", OBJECTS, before)[1] == OBJECTS
    assert browse_all(control, "browsed between change and deletion", OBJECTS, CHANGED + 1)[2] == len(changed)
    stop(host.process)

    size = os.path.getsize(os.path.join(host.data, "index.db"))
    print(f"index: {size / 1e6:,.0f} MB, {size / OBJECTS:,.0f} bytes an object", flush=True)
    administer = ["--server", host.url, "--admin-token-file", os.path.join(host.data, "admin_token")]
    with Clock("purged", len(changed) + len(deleted)):
        scratch.run("admin", "purge", "--older-than", str(DELETED + 1), "--share", "large", *administer, timeout=3600)
    with Clock("checked", OBJECTS):
        scratch.run("admin", "check", "--share", "large", *administer, timeout=3600)
    host.start("large")
    control = host.connect("large")
    assert browse_all(control, "browsed after the purge", OBJECTS - len(deleted)) == sizes
    ask_for(control, "find_by_path", numbers, lambda n: {"path": "/" + "/".join(name(n))})
    stop(host.process)
    stop(host.server)


if __name__ == "__main__":
    scratch = Scratch()
    try:
        million_objects(scratch)
    finally:
        scratch.close()
