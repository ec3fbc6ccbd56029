"""The index server's database, seen past the server: its rows, and a lock that keeps the server from writing."""

import os
import sqlite3
import subprocess


def open_database(scratch, server):
    return PostgreSQL(scratch.database) if scratch.database else SQLite(os.path.join(server.data, "index.db"))


class SQLite:
    def __init__(self, path):
        self.connection = sqlite3.connect(path, isolation_level=None, check_same_thread=False)

    def versions(self):
        """The GUIDs of all versions and of their objects."""
        return self.connection.execute(
            "SELECT guid, version_guid FROM version JOIN object ON object.id = version.object").fetchall()

    def hold(self):
        self.connection.execute("BEGIN IMMEDIATE")

    def let_go(self):
        self.connection.execute("ROLLBACK")

    def close(self):
        self.connection.close()


class PostgreSQL:
    def __init__(self, settings):
        self.client = subprocess.Popen(["psql", "-XAtq", "-v", "ON_ERROR_STOP=1", settings], text=True,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def ask(self, sql):
        self.client.stdin.write(f"{sql};\n\\echo end\n")
        self.client.stdin.flush()
        return list(iter(lambda: self.line(), "end"))

    def line(self):
        line = self.client.stdout.readline()
        assert line, "psql has ended"
        return line.rstrip("\n")

    def versions(self):
        return [tuple(row.split("|")) for row in self.ask(
            "SELECT encode(guid, 'escape'), encode(version_guid, 'escape') "
            "FROM version JOIN object ON object.share = version.share AND object.id = version.object")]

    def hold(self):
        self.ask("BEGIN; LOCK TABLE version IN EXCLUSIVE MODE")

    def let_go(self):
        self.ask("ROLLBACK")

    def close(self):
        self.client.stdin.close()
        self.client.wait()
