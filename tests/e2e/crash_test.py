"""Death without warning: whatever moment it comes at, the next run ends with exactly the tree and empty journals."""

import os
import random
import shutil
import subprocess
import time

from support import REFUSED, encode, indexed_paths, main, make_plain_tree, paths_of, serving

ROUNDS = int(os.environ.get("IIF_KILL_ROUNDS", "5"))
SEED = int(os.environ.get("IIF_KILL_SEED", str(random.randrange(10**6))))


def mend(scratch):
    """What an operator does after a crash; True when a cut line had to be repaired."""
    checked = scratch.run("journal", "check", scratch.state, expect=None)
    if checked.returncode != REFUSED:
        return False
    assert b"last line is incomplete" in checked.stdout, checked.stdout
    scratch.run("journal", "repair", scratch.state)
    return True


def killed_scans_converge(scratch):
    make_plain_tree(scratch.tree, 40, 150)
    begin = time.monotonic()
    scratch.once()
    whole_run = time.monotonic() - begin
    shutil.rmtree(scratch.state)
    dice = random.Random(SEED)
    kills = repairs = 0
    for _ in range(ROUNDS):
        host = scratch.start("up", scratch.tree, "--state", scratch.state, "--once")
        try:
            host.wait(dice.uniform(0, whole_run))
        except subprocess.TimeoutExpired:
            kills += 1
            host.kill()
            host.wait()
            repairs += mend(scratch)
        else:
            shutil.rmtree(scratch.state)  # it got through, so the next one has to be a first scan again
    print(f"seed {SEED}: {kills} kills, {repairs} repairs", flush=True)
    last = scratch.once()
    expected = {encode(path) for path in paths_of(scratch.tree)}
    assert last.objects == len(expected), last
    assert scratch.journal_lines() == 0
    again = scratch.once()
    assert again.changes == 0, again
    with serving(scratch):
        assert indexed_paths(scratch) == expected
    assert kills, "every scan was over before it could be killed"


if __name__ == "__main__":
    main(killed_scans_converge)
