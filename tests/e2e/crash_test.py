"""Death without warning: whatever moment it comes at, the next run ends with exactly the tree and empty journals."""

import json
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


def undelivered_changes_are_readable_and_delivered_once_a_cut_line_is_repaired(scratch):
    scratch.once()
    root = scratch.find("/")["object_guid"]
    journals = os.path.join(scratch.state, "journal", "tree")
    [name] = [name for name in os.listdir(journals) if name.startswith("collect_file_")]
    # What a crash between a change and its delivery leaves behind. A folder id has ten digits.
    with open(os.path.join(journals, name), "w") as file:
        file.write("*??|<ADD>|<SHOW>|<VTIM>1700000000000000000|<VTMS>1700000000|<ADDV>1|<VGID>V|<BAP>O|"
                   f"<EPG>{root}|<OTYP>1|<FS>7|<MODE>33188|<ERP>/0123456789/odd%7Cname|\n*??|<ADD>|<SHOW>|<VTIM>17")
    for command in ("up", scratch.tree, "--once"), ("find", "/"):
        refused = scratch.run(*command, "--state", scratch.state, expect=REFUSED)
        assert f"iif journal repair {journals}".encode() in refused.stderr, refused.stderr
    assert b"incomplete" in scratch.run("journal", "list", scratch.state).stdout
    scratch.run("journal", "check", journals, expect=REFUSED)
    assert b"25 bytes" in scratch.run("journal", "repair", journals).stdout
    shown = scratch.run("journal", "cat", scratch.state).stdout.decode()
    assert "ADD /0123456789/odd|name" in shown and "FS=7" in shown, shown
    [entry] = map(json.loads, scratch.run("journal", "cat", "--json", scratch.state).stdout.splitlines())
    assert (entry["operation"], entry["fields"]["FS"], entry["fields"]["BAP"]) == ("ADD", 7, "O"), entry
    scratch.run("journal", "check", scratch.state)

    assert scratch.names("/") == ["odd%7Cname"]
    assert scratch.journal_lines() == 0
    last = scratch.once()
    assert (last.deleted, last.changes) == (1, 1), "the tree has no such file"
    with serving(scratch):
        held = scratch.run("journal", "repair", scratch.state, expect=REFUSED)
        assert b"process" in held.stderr, held.stderr


if __name__ == "__main__":
    main(killed_scans_converge, undelivered_changes_are_readable_and_delivered_once_a_cut_line_is_repaired)
