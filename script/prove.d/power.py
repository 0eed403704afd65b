"""What a power failure leaves of a folder, from the record that proofs/faults.cpp makes of a process: every write that was not
synced is kept or dropped, at random; names are as they were at the latest sync of anything, or as they are now."""

import os
import shutil
import struct
import time
from pathlib import Path

CHANGE = struct.Struct("=c7xQQII")  # struct Change


class Disk:
    """The files of a folder as a process finds them, all of them synced."""

    def __init__(self, folder):
        self.folder, self.contents, self.unsynced, self.names = folder, {}, {}, {}
        self.changed, self.now = {}, time.time_ns()  # when each file was, in the order of the record
        for path in folder.rglob("*") if folder.exists() else []:
            if path.is_file() and not path.name.endswith("-shm"):  # mapped; made anew from the log
                self.names[str(path)] = path.stat().st_ino
                self.contents[path.stat().st_ino] = path.read_bytes()
                self.changed[path.stat().st_ino] = path.stat().st_mtime_ns
        self.synced_names = dict(self.names)

    def replay(self, record):
        data, place = record.read_bytes() if record.exists() else b"", 0
        while place + CHANGE.size <= len(data):
            what, file, offset, path_length, length = CHANGE.unpack_from(data, place)
            place += CHANGE.size
            path = data[place:place + path_length].decode()
            content = data[place + path_length:place + path_length + length]
            place += path_length + length
            self.change(what.decode(), file, offset, path, content)

    def change(self, what, file, offset, path, content):
        if what in "owc":
            self.now += 1000
            self.changed[file] = self.now
        if what == "o" and path.startswith(str(self.folder)) and self.names.get(path) != file:
            self.names[path] = file
            self.contents[file], self.unsynced[file] = b"", []
        elif what in "wc" and file in self.contents:
            self.unsynced.setdefault(file, []).append((what, offset, content))
        elif what == "r" and (old := path.split("\0")[0]) in self.names:
            self.names[path.split("\0")[1]] = self.names.pop(old)
        elif what == "u":
            self.names.pop(path, None)
        elif what == "s" and file in self.contents:
            self.contents[file] = applied(self.contents[file], self.unsynced.pop(file, []))
            self.synced_names = dict(self.names)

    def fail(self, source):
        """Writes what is left to the folder. Some failures take all that was not synced, others what chance says."""
        share = source.choice((0, 0.5, 0.9))
        names = self.synced_names if source.random() < 0.5 else self.names
        shutil.rmtree(self.folder, ignore_errors=True)
        for path, file in names.items():
            kept = [change for change in self.unsynced.get(file, []) if source.random() < share]
            Path(path).parent.mkdir(parents=True, exist_ok=True)
            Path(path).write_bytes(applied(self.contents.get(file, b""), kept))
            os.utime(path, ns=(self.now, self.changed.get(file, self.now)))


def applied(content, changes):
    result = bytearray(content)
    for what, offset, written in changes:
        if what == "c":
            del result[offset:]
        result.extend(bytes(max(0, offset + len(written) - len(result))))
        result[offset:offset + len(written)] = written
    return bytes(result)
