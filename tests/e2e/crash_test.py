"""Death without warning: whatever moment it comes at, the next run ends with exactly the tree and empty journals."""

import os
import random
import signal
import subprocess

from support import DONE, REFUSED, encode, indexed_paths, main, make_plain_tree, paths_of, serving

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
    dice = random.Random(SEED)
    kills = repairs = 0
    for _ in range(ROUNDS):
        host = scratch.start("up", scratch.tree, "--state", scratch.state, "--once")
        try:
            host.wait(dice.uniform(0.2, 4))
        except subprocess.TimeoutExpired:
            kills += 1
        host.send_signal(signal.SIGKILL)
        host.wait()
        repairs += mend(scratch)
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


def a_cut_line_is_refused_until_it_is_repaired(scratch):
    make_plain_tree(scratch.tree, 2, 5)
    scratch.once()
    journals = os.path.join(scratch.state, "journal", "tree")
    [name] = [name for name in os.listdir(journals) if name.startswith("collect_file_")]
    journal = os.path.join(journals, name)
    with open(journal, "ab") as file:
        file.write(b"*??|<ADD>|<SHOW>|<VTIM>17")
    refused = scratch.run("up", scratch.tree, "--state", scratch.state, "--once", expect=REFUSED)
    assert f"iif journal repair {journals}".encode() in refused.stderr, refused.stderr
    asked = scratch.run("find", "/", "--state", scratch.state, expect=REFUSED)
    assert b"iif journal repair" in asked.stderr, asked.stderr

    assert b"incomplete" in scratch.run("journal", "list", scratch.state).stdout
    scratch.run("journal", "check", journals, expect=REFUSED)
    repaired = scratch.run("journal", "repair", journals).stdout
    assert b"25 bytes" in repaired, repaired
    scratch.run("journal", "check", journals)
    again = scratch.once()
    assert again.changes == 0, again


def changes_that_a_crash_left_in_the_journal_are_readable(scratch):
    with open(os.path.join(scratch.tree, "odd|name"), "w") as file:
        file.write("x")
    host = scratch.start("up", scratch.tree, "--state", scratch.state, "--rescan", "3600")
    # With the host stopped short of its delivery the lines stay; which of them is a matter of luck, so write some.
    host.send_signal(signal.SIGKILL)
    host.wait()
    scratch.once()
    journals = os.path.join(scratch.state, "journal", "tree")
    [name] = [name for name in os.listdir(journals) if name.startswith("collect_file_")]
    line = b"*??|<UPD>|<ADDV>1|<VGID>V|<BAP>O|<OTYP>1|<FS>1|<ERP>/1/odd%7Cname|\n"
    with open(os.path.join(journals, name), "ab") as file:
        file.write(line * 3)
    shown = scratch.run("journal", "cat", scratch.state).stdout.decode()
    assert shown.count("UPD /1/odd|name") == 3 and "FS=1" in shown, shown
    scratch.run("journal", "check", scratch.state)
    with serving(scratch):
        held = scratch.run("journal", "repair", scratch.state, expect=REFUSED)
        assert b"process" in held.stderr, held.stderr


if __name__ == "__main__":
    main(killed_scans_converge, a_cut_line_is_refused_until_it_is_repaired,
         changes_that_a_crash_left_in_the_journal_are_readable)
