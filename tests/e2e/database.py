"""A PostgreSQL of the test's own for the end-to-end tests: a private directory, a Unix socket in it, gone with the test."""

import atexit
import ctypes
import os
import pwd
import shutil
import signal
import subprocess
import tempfile
import time

PR_SET_PDEATHSIG = 1


class Database:
    """One server; each `make` gives a fresh database of it as a connection string."""

    def __init__(self, programs):
        self.programs = programs
        # It refuses to be run by root.
        root = os.geteuid() == 0
        self.user = {"user": "postgres" if has_user("postgres") else "nobody", "extra_groups": []} if root else {}
        self.path = tempfile.mkdtemp(prefix="iif-postgresql-", dir="/tmp")
        atexit.register(self.close)
        if root:
            shutil.chown(self.path, self.user["user"])
        self.process = None
        self.count = 0
        self.run("initdb", "-D", self.data(), "-U", "iif", "--auth=trust", "--no-sync", "-E", "UTF8", "--locale=C.UTF-8")
        self.start()

    def data(self):
        return os.path.join(self.path, "data")

    def program(self, name):
        return os.path.join(self.programs, name)

    def run(self, name, *arguments):
        subprocess.run([self.program(name), *arguments], check=True, capture_output=True, cwd="/", **self.user)

    def start(self):
        die_with_parent = ctypes.CDLL(None).prctl
        self.process = subprocess.Popen(
            [self.program("postgres"), "-D", self.data(), "-k", self.path, "-c", "listen_addresses=", "-c", "fsync=off",
             "-c", "max_connections=200"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd="/",
            preexec_fn=lambda: die_with_parent(PR_SET_PDEATHSIG, signal.SIGQUIT), **self.user)
        deadline = time.monotonic() + 60
        while subprocess.run([self.program("pg_isready"), "-q", "-h", self.path], check=False).returncode != 0:
            assert time.monotonic() < deadline and self.process.poll() is None, "PostgreSQL does not start"
            time.sleep(0.05)

    def stop(self):
        """Ends it at once, as a crash does."""
        self.process.send_signal(signal.SIGQUIT)
        self.process.wait()

    def make(self):
        self.count += 1
        self.run("createdb", "-h", self.path, "-U", "iif", f"test{self.count}")
        return f"host={self.path} user=iif dbname=test{self.count}"

    def close(self):
        if self.process and self.process.poll() is None:
            self.stop()
        shutil.rmtree(self.path, ignore_errors=True)


def has_user(name):
    try:
        return bool(pwd.getpwnam(name))
    except KeyError:
        return False
