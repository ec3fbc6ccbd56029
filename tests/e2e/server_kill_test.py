"""An index server that dies without warning under load from two shares: each index ends up equal to what its host did."""

import os
import random
import threading
import time

from control_test import Host, SECOND, record
from support import main, stop, wait_for

ROUNDS = int(os.environ.get("IIF_KILL_ROUNDS", "5"))
SEED = int(os.environ.get("IIF_KILL_SEED", str(random.randrange(10**6))))
SHARES = ("docs", "mail")
FOLDERS = 5


class Writer(threading.Thread):
    """Changes one share as fast as its host takes it, and keeps the model of what the index has to be in the end: for
    each object its parent, name and size, and what each was at some moments of the past."""

    def __init__(self, host, share, seed):
        super().__init__(daemon=True)
        self.share = share
        self.dice = random.Random(seed)
        self.control = host.connect(share)
        self.root = self.control.find("/")["object_guid"]
        self.second = 1000
        self.made = 0
        self.files = {}  # GUID -> (folder, name, size)
        self.history = {}  # moment -> {"/folder/name": size}
        self.failure = None
        self.leaving = threading.Event()
        for number in range(FOLDERS):
            self.change("add_item", f"d{number}", self.root, f"/d{number}", mode=0o40755, size=0)

    def change(self, op, guid, parent, path, more={}, **fields):
        self.second += 1
        props = record(guid, parent, path, self.second, **fields)
        while True:
            answer = self.control.ask(op, props=props, **more)
            assert answer.get("ret") in (0, 5), (op, props, answer)
            if answer["ret"] == 0:
                return
            # Refused for now, because too much waits for the dead server.
            time.sleep(0.05)

    def step(self):
        kind = self.dice.random()
        if kind < 0.5 or len(self.files) < 20:
            self.made += 1
            place, name = f"d{self.dice.randrange(FOLDERS)}", f"f{self.made}"
            self.put("add_item", f"{self.share}-{self.made}", place, name)
            return
        guid = self.dice.choice(sorted(self.files))
        place, name, _ = self.files[guid]
        if kind < 0.75:
            self.put("update_item", guid, place, name)
        elif kind < 0.9:
            fresh = f"d{self.dice.randrange(FOLDERS)}"
            self.put("rename_item", guid, fresh, f"{name}x"[:200],
                     more={"old_parent_guid": place, "old_path": f"/{place}/{name}", "flush_now": False})
        else:
            self.change("delete_item", guid, place, f"/{place}/{name}", mode=0o100644, dtime=self.second + 1)
            del self.files[guid]

    def put(self, op, guid, place, name, more={}):
        size = self.dice.randrange(10**6)
        self.change(op, guid, place, f"/{place}/{name}", more, mode=0o100644, size=size)
        self.files[guid] = (place, name, size)

    def run(self):
        try:
            while not self.leaving.is_set():
                for _ in range(self.dice.randrange(1, 300)):
                    self.step()
                self.history[self.second] = self.model()
        except Exception as failure:
            self.failure = failure

    def model(self):
        return {f"/{place}/{name}": size for place, name, size in self.files.values()}

    def indexed(self, moment=None):
        then = {"before_time": moment, "real_before_time": moment * SECOND} if moment else {}
        found = {}
        for number in range(FOLDERS):
            items = self.control.ok("browse_by_path", fields={"path": f"/d{number}", **then})["items"]
            for item in items:
                assert item["path"] not in found, f"{item['path']} is listed twice"
                found[item["path"]] = item["size"]
        return found


def killed_server_ends_with_what_its_hosts_did(scratch):
    host = Host(scratch)
    host.start(*SHARES)
    dice = random.Random(SEED)
    print(f"seed {SEED}", flush=True)
    writers = [Writer(host, share, f"{SEED} {share}") for share in SHARES]
    for writer in writers:
        writer.start()
    for _ in range(ROUNDS):
        time.sleep(dice.uniform(0, 1.5))
        # Deliveries are what a death can hurt, so one is nearly always under way.
        flushes = [threading.Thread(target=host.connect(share).ask, args=("flush",), kwargs={"timeout_ms": 1000},
                                    daemon=True) for share in SHARES]
        for flush in flushes:
            flush.start()
        time.sleep(dice.uniform(0, 0.3))
        host.server.kill()
        time.sleep(dice.uniform(0, 0.5))
        host.server.start()
    for writer in writers:
        writer.leaving.set()
        writer.join()
        assert not writer.failure, writer.failure
    for writer in writers:
        wait_for(lambda: writer.control.ask("flush", timeout_ms=10000)["ret"] == 0, "the last delivery", host.process)
        assert writer.indexed() == writer.model(), writer.share
        moments = dice.sample(sorted(writer.history), min(5, len(writer.history)))
        for moment in moments:
            assert writer.indexed(moment) == writer.history[moment], (writer.share, moment)
        print(f"{writer.share}: {writer.second} changes, {len(writer.files)} files", flush=True)
    stop(host.process)
    # Nothing hangs: what was spooled is applied or failed, and nothing stays behind.
    assert os.listdir(os.path.join(host.server.data, "spool")) == []
    stop(host.server.process)


if __name__ == "__main__":
    main(killed_server_ends_with_what_its_hosts_did)
