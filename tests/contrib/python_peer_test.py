"""The Python peers of contrib/python, over the shared vectors, against the C++ side's own view of
the same bytes, and over a socket against courier_server. ZAN_BIN is the folder of the programs."""

import os
import random
import socket
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PEER = ROOT / "contrib/python"
sys.path[:0] = [str(PEER), str(ROOT / "tests/support")]

import courier_send  # noqa: E402
import zan_frame  # noqa: E402
import zan_nbr  # noqa: E402
from programs import BIN, InTempDir, Running, seeded  # noqa: E402


def digits(text):
    out = b""
    for word in text.replace("-", "").split():
        byte, _, times = word.partition("*")
        out += bytes.fromhex(byte) * int(times or 1)
    return out


def vectors(file, kind):
    for number, line in enumerate((ROOT / "tests/vectors" / file).read_text().splitlines(), 1):
        if line.startswith(kind + " "):
            yield number, [field.strip() for field in line[len(kind):].split("|")]


def value(kind, text):
    if kind in ("bool", "Bit"):
        return text == "true"
    if kind in zan_nbr.BYTES:
        return digits(text)
    if kind == "String" or kind in zan_nbr.WIDE or not text:
        return text
    return float(text) if kind in zan_nbr.FLOATS else int(text)


class Vectors(unittest.TestCase):
    def test_nbr(self):
        for line, (kind, text, wire) in vectors("nbr.txt", "write"):
            self.assertEqual(digits(wire), zan_nbr.encode(kind, value(kind, text)), line)
        for line, (kind, wire, text) in vectors("nbr.txt", "read"):
            got = zan_nbr.read(kind, zan_nbr.decode(digits(wire)))
            if kind == "float":
                self.assertAlmostEqual(value(kind, text), got, delta=abs(got) / 10000, msg=line)
            else:
                self.assertEqual(value(kind, text), got, line)
        for line, (wire, dump) in vectors("nbr.txt", "tree"):
            self.assertEqual(dump, zan_nbr.dump(zan_nbr.decode(digits(wire))).decode().strip(), line)
        for line, (id, wire, dump) in vectors("nbr.txt", "find"):
            self.assertEqual(dump, zan_nbr.dump(zan_nbr.find(digits(wire), int(id))).decode(), line)
        for line, (wire,) in vectors("nbr.txt", "fail"):
            with self.assertRaises(zan_nbr.DecodeError, msg=line):
                zan_nbr.decode(digits(wire))

    def test_frames_however_they_are_cut(self):
        for line, (payload, wire) in vectors("frame.txt", "frame"):
            self.assertEqual(digits(wire), zan_frame.frame(digits(payload)), line)
        for line, (wire, *payloads) in vectors("frame.txt", "stream"):
            for step in (1, 2, 3, 1000):
                stream, got = zan_frame.Frames(), []
                for at in range(0, len(digits(wire)), step):
                    stream.add(digits(wire)[at:at + step])
                    while (payload := stream.next()) is not None:
                        got.append(payload)
                self.assertEqual([digits(p) for p in payloads], got, line)
        stream = zan_frame.Frames(limit=3)
        stream.add(b"\0\0\0\3abc\0\0\0\4")
        self.assertEqual(b"abc", stream.next())
        with self.assertRaises(zan_frame.FrameError):
            stream.next()

    def test_what_does_not_fit_is_refused(self):
        for kind, number in (("short", 32768), ("Byte", 256), ("unsigned long", -1), ("long", 1 << 31),
                             ("char", 128), ("Wchar", 65536), ("__int64", 1 << 63)):
            with self.assertRaises((OverflowError, ValueError), msg=kind):
                zan_nbr.encode(kind, number)


class SecondOpinion(unittest.TestCase):
    """The same random bytes, as Python and as C++ dump them."""

    def values(self):
        rng = seeded()
        pieces = [zan_nbr.BEGIN, zan_nbr.END, b"\0", b"\xf0", b"\x01\x01\x07", b"\xf1\x02ab",
                  b"\x02\x02\x00xy", b"\xff", b"\x05", b"\x29", b"\x04\x01\x00\x00\x00q"]
        for n in range(3000):
            data = zan_nbr.BEGIN if n % 4 else b""
            for _ in range(rng.randrange(12)):
                data += rng.choice(pieces) if rng.random() < 0.5 else bytes([rng.randrange(256)])
                data += rng.choice(pieces[2:7]) if rng.random() < 0.7 else b""
            yield data

    @unittest.skipUnless((BIN / "zan").exists(), "without tools")
    def test_of_random_bytes(self):
        wire, wanted, number = b"", b"", 0
        for data in self.values():
            try:
                dump = zan_nbr.dump(zan_nbr.decode(data))
            except zan_nbr.DecodeError:
                continue
            # Of bytes that give no value the program says so elsewhere.
            if not data or dump == b"null":
                continue
            number += 1
            wire += zan_frame.frame(data)
            wanted += b"frame %d, %d bytes\n" % (number, len(data))
            wanted += dump + b"\n"
        run = subprocess.run([BIN / "zan", "nbr", "dump", "--frames", "--compact"], input=wire,
                             capture_output=True, timeout=120)
        self.assertGreater(number, 1000)
        got = run.stdout.split(b"frame ")
        for ours, theirs in zip(wanted.split(b"frame "), got):
            self.assertEqual(ours, theirs)
        self.assertEqual(wanted, run.stdout)

    def test_depth_is_no_limit(self):
        depth = 100000
        deep = zan_nbr.BEGIN + (b"\1" + zan_nbr.BEGIN) * depth
        self.assertEqual(depth + 1, zan_nbr.dump(zan_nbr.decode(deep)).count(b"{"))


@unittest.skipUnless((BIN / "courier_server").exists(), "without examples")
class CourierOverASocket(InTempDir):
    def setUp(self):
        super().setUp()
        self.inbox = self.dir / "inbox"
        self.server = Running(self, BIN / "courier_server", "--port", "0", "--inbox", self.inbox, cwd=self.dir)
        self.server.until(b"listening on ")
        self.port = int(self.server.until(b"\n"))

    def test_files_and_folders_arrive(self):
        files = {"empty": b"", "a.txt": b"abc\n", "sub/big": random.randbytes(3 << 20) + bytes(3 << 20),
                 "n\udcff": b"a name that is no text"}
        for name, data in files.items():
            self.put(name, data)
        (self.dir / "sub/empty").mkdir()
        for flag in ([], ["--gzip"]):
            run = subprocess.run([sys.executable, PEER / "courier_send.py", *flag, "127.0.0.1",
                                  str(self.port), *files, "sub/empty"],
                                 cwd=self.dir, capture_output=True, timeout=120,
                                 env={**os.environ, "PYTHONIOENCODING": "utf-8:surrogateescape"})
            self.assertEqual((0, b""), (run.returncode, run.stderr))
            self.assertEqual(len(files) + 1, run.stdout.count(b": stored: "), run.stdout)
            for name, data in files.items():
                self.assertEqual(data, (self.inbox / name).read_bytes(), name)
                (self.inbox / name).unlink()
            self.assertTrue((self.inbox / "sub/empty").is_dir())
        self.server.process.terminate()
        self.assertEqual(0, self.server.process.wait())

    def test_refusals_come_with_their_reason_and_the_connection_goes_on(self):
        file = self.put("f", b"x" * (5 << 20))
        courier = courier_send.Courier("127.0.0.1", self.port)
        for name in ("../f", "/f", "a//b", ""):
            stored, words = courier.file(name, file)
            self.assertFalse(stored, name)
            self.assertTrue(words)
        self.assertEqual(True, courier.file("f", file)[0])
        courier.close()

    def test_answers_are_well_formed_frames(self):
        with socket.create_connection(("127.0.0.1", self.port), timeout=30) as peer:
            peer.sendall(zan_frame.frame(zan_nbr.encode_list(
                [(0, "unsigned char", courier_send.FOLDER), (1, "Ulong", 7), (2, "istr", b"x")])))
            answer = next(zan_frame.frames(peer))
            fields = zan_nbr.decode(answer)
            self.assertEqual([0, 1, 2, 3], [id for id, _ in fields.children])
            self.assertEqual(7, zan_nbr.read("Ulong", fields.get(1)))
            self.assertTrue(zan_nbr.read("Bit", fields.get(2)))


if __name__ == "__main__":
    unittest.main()
