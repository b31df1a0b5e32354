#!/usr/bin/env python3
"""courier_send.py HOST PORT FILE...: sends files to a courier_server and prints its receipts.

A peer in another language, made from docs/courier.md and docs/formats/. The exit code is 0 if the
server has stored every file, 1 if not. --gzip compresses each part where that makes it smaller.
"""

import argparse
import gzip
import hashlib
import os
import socket
import sys
import zlib

import zan_frame
import zan_nbr

BEGIN, CHUNK, END, RECEIPT, PROGRESS, FOLDER = range(1, 7)
PART = 256 * 1024
UNDER_WAY = 2 * 1024 * 1024
LIMIT = 1024 * 1024 + 64 * 1024


class Courier:
    """A connection; one file after the other."""

    def __init__(self, host, port):
        self._socket = socket.create_connection((host, port), timeout=60)
        self._answers = zan_frame.frames(self._socket, LIMIT)
        self._transfer = 0

    def close(self):
        self._socket.close()

    def folder(self, name):
        """Whether the folder was made, and the server's words."""
        self._transfer += 1
        self._message(FOLDER, (2, "istr", os.fsencode(name)))
        return self._receipt()

    def file(self, name, path, compress=False):
        """Whether the file was stored, and the server's words."""
        self._transfer += 1
        with open(path, "rb") as file:
            status = os.fstat(file.fileno())
            self._message(BEGIN, (2, "istr", os.fsencode(name)), (3, "Ulonglong", status.st_size),
                          (4, "Time", status.st_mtime_ns // 1000), (5, "istr", b""))
            crc, md5, sent, received = 0, hashlib.md5(), 0, 0
            for part in iter(lambda: file.read(PART), b""):
                while sent + len(part) - received > UNDER_WAY:
                    kind, answer = self._answer()
                    if kind == RECEIPT:
                        return self._words(answer)  # it will not have more of this file
                    received = zan_nbr.read("Ulonglong", answer.get(2))
                coded, coding = part, 0
                if compress and len(packed := gzip.compress(part)) < len(part):
                    coded, coding = packed, 1
                self._message(CHUNK, (2, "Ulonglong", sent), (3, "istr", coded), (4, "Ulong", coding),
                              (5, "Ulong", len(coded)))
                crc = zlib.crc32(part, crc)
                md5.update(part)
                sent += len(part)
        self._message(END, (2, "Ulong", crc), (3, "istr", md5.digest()))
        return self._receipt()

    def _message(self, kind, *fields):
        body = [(0, "unsigned char", kind), (1, "Ulong", self._transfer), *fields]
        self._socket.sendall(zan_frame.frame(zan_nbr.encode_list(body)))

    def _answer(self):
        """The next answer for this file: its kind and its fields."""
        for payload in self._answers:
            fields = zan_nbr.decode(payload)
            if zan_nbr.read("Ulong", fields.get(1)) == self._transfer:
                return zan_nbr.read("unsigned char", fields.get(0)), fields
        raise ConnectionError("the server has closed the connection")

    def _receipt(self):
        while True:
            kind, fields = self._answer()
            if kind == RECEIPT:
                return self._words(fields)

    @staticmethod
    def _words(receipt):
        return zan_nbr.read("bool", receipt.get(2)), zan_nbr.read("String", receipt.get(3))


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    options.add_argument("--gzip", action="store_true", help="compress each part")
    options.add_argument("host")
    options.add_argument("port", type=int)
    options.add_argument("file", nargs="+")
    options = options.parse_args()
    courier = Courier(options.host, options.port)
    stored_all = True
    for path in options.file:
        if os.path.isdir(path):
            stored, words = courier.folder(path)
        else:
            stored, words = courier.file(path, path, options.gzip)
        print(f"{path}: {'stored' if stored else 'NOT STORED'}: {words}")
        stored_all = stored_all and stored
    courier.close()
    sys.exit(0 if stored_all else 1)


if __name__ == "__main__":
    main()
