"""The programs of examples/courier, as they are, against hostile peers and failing disks."""

import os
import signal
import socket
import struct
import subprocess
import sys
import time
import unittest
import zlib
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "tests/support"), str(ROOT / "contrib/python")]

import zan_nbr  # noqa: E402
from courier_send import BEGIN, CHUNK, END, RECEIPT  # noqa: E402
from programs import BIN, PATIENCE, InTempDir, Running, seeded  # noqa: E402
from zan_frame import frame, frames  # noqa: E402

HOST = "127.0.0.1"


# The messages, laid by hand.
def message(kind, transfer, *fields):
    return frame(zan_nbr.encode_list([(0, "unsigned char", kind), (1, "Ulong", transfer),
                                      *((n, *field) for n, field in enumerate(fields, 2))]))


def begin(transfer, name, size):
    return message(BEGIN, transfer, ("istr", name.encode()), ("Ulonglong", size), ("Time", 10**12))


def chunk(transfer, offset, data):
    return message(CHUNK, transfer, ("Ulonglong", offset), ("istr", data))


def end(transfer, data):
    return message(END, transfer, ("Ulong", zlib.crc32(data)))


def whole(transfer, name, data):
    return begin(transfer, name, len(data)) + chunk(transfer, 0, data) + end(transfer, data)


class Peer:
    def __init__(self, test, port):
        self.socket = socket.create_connection((HOST, port), timeout=PATIENCE)
        test.addCleanup(self.socket.close)
        self.answers = frames(self.socket)

    def send(self, *messages):
        self.socket.sendall(b"".join(messages))

    def begin(self, name, size, data):
        """A file that is under way, as the server's answer says."""
        self.send(begin(1, name, size), chunk(1, 0, data))
        next(self.answers)

    def receipt(self):
        for payload in self.answers:
            fields = zan_nbr.decode(payload)
            if zan_nbr.read("unsigned char", fields.get(0)) == RECEIPT:
                stored = zan_nbr.read("bool", fields.get(2))
                return "stored" if stored else zan_nbr.read("String", fields.get(3))
        return "the connection ended"

    def at_end(self):
        try:
            return not self.socket.recv(1)
        except ConnectionResetError:
            return True


def run(*words, cwd):
    """Exit code, standard output, standard error of a program of examples."""
    result = subprocess.run([BIN / words[0], *words[1:]], cwd=cwd, capture_output=True, timeout=120)
    return result.returncode, result.stdout.decode(), result.stderr.decode(errors="replace")


class Server:
    def __init__(self, test, *options, prefix=()):
        self.dir = test.dir / "server"
        self.dir.mkdir()
        self.inbox = self.dir / "inbox"
        self.log = self.dir / "server.log"
        self.running = Running(test, *prefix, BIN / "courier_server", "--inbox", self.inbox, "--log", self.log,
                               *options, cwd=self.dir, stdin=subprocess.DEVNULL)
        self.signal = self.running.process.send_signal
        self.wait = self.running.process.wait
        self.port = int(self.running.until(b"\n").removeprefix(b"listening on "))

    def stop(self):
        self.signal(signal.SIGTERM)
        return self.wait()

    def stored(self):
        """Names, with their content, but for the index."""
        return {str(file.relative_to(self.inbox)): file.read_bytes() for file in self.inbox.rglob("*")
                if file.is_file() and file.name != "index.xml"}

    def count(self, text):
        return self.log.read_text(errors="replace").count(text)


class CourierTest(InTempDir):
    def sent(self, server, *paths, options=(), cwd=None):
        return run("courier_send", *options, HOST, str(server.port), *map(str, paths), cwd=cwd or self.dir)


class Delivery(CourierTest):
    def test_trees_of_files_arrive_under_their_names(self):
        server = Server(self)
        part = 256 * 1024
        rng = seeded()
        files = {"tree/ä \udcff.bin": b"a name that is no text", "single": b"one"}
        for size in (0, 1, part - 1, part, part + 1, 20 * part + 7):
            files[f"tree/deep er/file{size}"] = rng.randbytes(size)
        for name, data in files.items():
            self.put(name, data)
        old = time.time() - 3600000
        os.utime(self.dir / "single", (old, old))
        code, out, err = self.sent(server, "tree", "./single")
        self.assertEqual((0, f"{len(files)} files, ", ""), (code, out[:9], err))
        self.assertEqual(files, server.stored())
        self.assertAlmostEqual(old, (server.inbox / "single").stat().st_mtime, delta=1)
        # An absolute path keeps its last part only, and what was there is replaced.
        self.assertEqual(0, self.sent(server, self.put("single", "two"))[0])
        self.assertEqual(b"two", server.stored()["single"])
        self.assertEqual(0, server.stop())
        self.assertEqual(len(files) + 1, server.count("] stored ") + server.count("() stored "))
        self.assertEqual(0, server.count("not stored"))

    def test_what_cannot_be_sent_is_named_and_the_rest_arrives(self):
        server = Server(self)
        self.put("good", "good")
        code, _, err = self.sent(server, "missing", "good", "good", "/dev/null")
        self.assertEqual(1, code)
        for text in ("missing: No such file or directory", "good: another file has the same name",
                     "/dev/null: not a regular file"):
            self.assertIn(text, err)
        self.assertEqual({"good": b"good"}, server.stored())
        code, _, err = self.sent(server, "good", options=["--key", "k"])
        self.assertEqual((1, True), (code, "the server has no key" in err), err)
        self.assertEqual(0, server.stop())
        self.put("bad.pml", "courier(\n  port:x:y(1)\n")
        port = str(server.port)
        for words, code, out, err in (
                (("courier_send", HOST, port, "good"), 1, "", f"cannot connect to {HOST}:{port}"),
                (("courier_send",), 2, "", "usage: courier_send"),
                (("courier_send", HOST, "70000", "good"), 2, "", "usage: courier_send"),
                (("courier_send", "--what", HOST, port, "good"), 2, "", "usage: courier_send"),
                (("courier_send", "--help"), 0, "usage: courier_send", ""),
                (("courier_server", "--help"), 0, "usage: courier_server", ""),
                (("courier_server", "--config", "bad.pml"), 1, "", "file bad.pml, line 2, column 9"),
                (("courier_server", "--config", "none.pml"), 1, "", "no such file: none.pml")):
            result = run(*words, cwd=self.dir)
            self.assertEqual(code, result[0], words)
            self.assertTrue(result[1].startswith(out) and err in result[2], result)

    def test_folders_compressed_and_encrypted_with_a_report(self):
        tree = self.dir / "tree"
        files = {"tree/a/noise": seeded().randbytes(700000), "tree/a/lines": b"x" * 600000,
                 "tree/\udcff": b"no text", "tree/none": b""}
        for name, data in files.items():
            self.put(name, data)
        for name in ("empty/deeper", "b", "in"):
            (tree / name).mkdir(parents=True)
        for name, target in (("b/out", "/"), ("b/up", "../b"), ("dangling", "nowhere"), ("in/noise", "../a/noise")):
            (tree / name).symlink_to(target)
        files["tree/in/noise"] = files["tree/a/noise"]
        server = Server(self, "--key", "a secret")
        code, out, err = self.sent(server, "tree",
                                   options=["--gzip", "--key", "a secret", "--report", "report.xml"])
        self.assertEqual((0, files), (code, server.stored()), err)
        self.assertTrue((server.inbox / "tree/empty/deeper").is_dir() and (server.inbox / "tree/b").is_dir())
        self.assertIn("report: 7 entries in report.xml", out)
        for text in ("tree/b/out: a link to a folder", "tree/b/up: a link to a folder",
                     "tree/dangling: a link to a folder, out of the tree or to nowhere",
                     "tree/in/noise: a link, sent as what it leads to"):
            self.assertIn(text, err)
        # Another key, and none, are receipts.
        self.put("lines", "y" * 1000)
        for mode, text in (("--gzip", "damaged chunk, or another key"), ("--ping", "the CRC differs")):
            code, _, err = self.sent(server, "lines", options=[mode, "--key", "another"])
            self.assertEqual((1, True), (code, text in err), err)
        self.assertEqual((0, files), (server.stop(), server.stored()))
        index = (server.inbox / ".incoming/index.xml").read_bytes()
        self.assertIn(b'<file name="tree/a/lines">\n        <size>600000</size>\n        <stored>1</stored>\n'
                      b'        <md5>', index)

        # The sender's report has the same digest.
        def digest(xml):
            return xml[xml.index(b"<md5>", xml.index(b"tree/a/noise")):][:40]
        self.assertEqual(digest(index), digest((self.dir / "report.xml").read_bytes()))


class Refusal(CourierTest):
    def test_names_that_leave_the_inbox(self):
        server = Server(self)
        (server.inbox / "link").symlink_to("/tmp")
        peer = Peer(self, server.port)
        outside, backslash = "the name leaves its folder", "backslash in the name"
        names = {"": "empty name", "/etc/passwd": "absolute name", "/": "absolute name", "..": outside,
                 "../x": outside, "a/../../x": outside, "a/..": outside, "./x": outside,
                 "a//b": "empty component in the name", "a/": "empty component in the name",
                 "a\0b": "NUL in the name", "..\\x": backslash, "\\x": backslash, "c:\\x": backslash,
                 ".incoming/1": "the name is the server's own", "link/x": "the name leads through a link",
                 "a/good\nname": "stored"}
        for transfer, (name, answer) in enumerate(names.items()):
            peer.send(whole(transfer, name, b"abc"))
            self.assertEqual(answer, peer.receipt(), name)
        (server.inbox / "link").unlink()
        self.assertEqual({"a/good\nname": b"abc"}, server.stored())
        self.assertEqual(0, server.stop())
        self.assertEqual(len(names) - 1, server.count("not stored "))
        self.assertEqual(1, server.count("stored a/good\\x0Aname, 3 bytes from "))

    def test_files_that_are_not_what_they_claim(self):
        server = Server(self)
        peer = Peer(self, server.port)
        for messages, answers in (
                (chunk(1, 1, b"bc"), ["chunk at 1 where 0 was due"]),
                (chunk(1, 0, b"ab") * 2, ["chunk at 0 where 2 was due"]),
                (chunk(1, 0, b"abcd"), ["more bytes than announced"]),
                (chunk(1, 0, b"ab") + end(1, b"ab"), ["2 bytes where 3 were announced"]),
                (chunk(1, 0, b"abc") + end(1, b"abd"), ["the CRC differs"]),
                (begin(1, "other", 1) + end(1, b""),
                 ["another file began before its end", "0 bytes where 1 were announced"])):
            peer.send(begin(1, "name", 3), messages)
            self.assertEqual(answers, [peer.receipt() for _ in answers])
        # The same name at once, and once it is free again.
        other = Peer(self, server.port)
        peer.begin("name", 3, b"ab")
        other.send(begin(1, "name", 3))
        self.assertEqual("a file of this name is under way", other.receipt())
        peer.send(chunk(1, 2, b"c"), end(1, b"abc"))
        self.assertEqual("stored", peer.receipt())
        other.send(whole(2, "name", b""))
        self.assertEqual("stored", other.receipt())
        # Bytes that are no message end their connection, and the file under way with it.
        bad = (frame(b"\x25"), frame(b"what?"), frame(b""), message(9, 1), b"\xff\xff\xff\xff", b"\0")
        for data in bad:
            peer = Peer(self, server.port)
            peer.begin("half", 6, b"abc")
            peer.send(data)
            if len(data) == 1:
                peer.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                peer.socket.close()  # a reset
            else:
                self.assertTrue(peer.at_end())
        self.assertEqual(0, server.stop())
        self.assertEqual({"name": b""}, server.stored())
        self.assertEqual(len(bad), server.count(": the connection ended"))

    def test_a_full_disk_is_a_receipt(self):
        # Files of up to 64 KiB (128 blocks) as the stand-in for a disk.
        server = Server(self, prefix=("/bin/sh", "-c", "trap '' XFSZ; ulimit -f 128; exec \"$@\"", "sh"))
        code, _, err = self.sent(server, self.put("large", "x" * (1 << 20)), self.put("small", "small"))
        self.assertEqual((1, True), (code, "large: cannot write: (27) File too large" in err), err)
        self.assertEqual({"small": b"small"}, server.stored())
        self.assertEqual((0, 1), (server.stop(), server.count("not stored large from ")))


class Ends(CourierTest):
    def test_files_under_way_are_finished_and_none_is_begun(self):
        server = Server(self)
        peer, late = (Peer(self, server.port) for _ in range(2))
        peer.begin("slow", 6, b"abc")
        server.signal(signal.SIGTERM)
        # Refused from the signal on, which takes a moment to arrive.
        for transfer in range(10000):
            late.send(whole(transfer, "late", b""))
            answer = late.receipt()
            if answer != "stored":
                break
        self.assertEqual("the server is stopping", answer)
        peer.send(chunk(1, 3, b"def"), end(1, b"abcdef"))
        self.assertEqual(("stored", 0), (peer.receipt(), server.wait()))
        self.assertEqual(b"abcdef", server.stored()["slow"])

    def test_a_second_signal_ends_it_at_once_and_leaves_nothing_half(self):
        server = Server(self)
        Peer(self, server.port).begin("never", 6, b"abc")
        server.signal(signal.SIGINT)
        server.signal(signal.SIGTERM)
        self.assertEqual((0, {}), (server.wait(timeout=PATIENCE), server.stored()))

    def test_silent_connections_are_closed_by_a_timer(self):
        server = Server(self, "--config", self.put("short.pml", "c(idleTimeout(1))"))
        silent, talking = (Peer(self, server.port) for _ in range(2))
        talking.begin("half", 6, b"abc")
        self.assertTrue(silent.at_end() and talking.at_end())
        self.assertEqual((0, {}), (server.stop(), server.stored()))
        self.assertEqual((2, 1), (server.count(", idle"), server.count("not stored half")))


class AtATerminal(CourierTest):
    def test_sees_what_is_wrong_and_takes_commands(self):
        self.put("courier.pml", """courier(port(70000) idleTimeout(soon) adress(1) inbox(in)
            log(filename(c.log) debugOn(maybe) maxNumofMsg(many) zap(1)
            appLogs:map(COURIER.CHUNK(0) X(perhaps))))""")
        terminal = Running(self, BIN / "courier_server", cwd=self.dir, terminal=True)
        self.assertEqual(
            b"courier_server: courier/port: '70000' is no port, 0 stands in\n"
            b"courier_server: courier/idleTimeout: 'soon' is no number, 60 stands in\n"
            b"courier_server: courier/adress: unknown, ignored\n"
            b"courier_server: courier/log/debugOn: 'maybe' is neither true nor false, 1 stands in\n"
            b"courier_server: courier/log/maxNumofMsg: 'many' is no number, 100 stands in\n"
            b"courier_server: courier/log/zap: unknown, ignored\n"
            b"courier_server: courier/log/appLogs/X: 'perhaps' is neither true nor false, 0 stands in\n"
            b"listening on ", terminal.until(b"listening on "))
        peer = Peer(self, int(terminal.until(b"\n")))

        def answer(command, end):
            terminal.type(command + "\n")
            return terminal.until(end)
        answer("log on COURIER.CHUNK", b"COURIER.CHUNK is on\n")
        peer.begin("half", 6, b"abcd")
        status = answer("status", b"    }\n}\n")
        self.assertIn(b"@courier::Inbox{\n    folder_ = 'in'\n    stored_ = 0\n    failed_ = 0\n", status)
        self.assertRegex(status, rb"(?s)size = 6\n.*received = 4\n")
        answer("log off COURIER.CHUNK", b"COURIER.CHUNK is off\n")
        answer("log maybe", b"commands: status, log on NAME, log off NAME, quit\n")
        peer.send(chunk(1, 4, b"ef"), end(1, b"abcdef"))
        self.assertEqual("stored", peer.receipt())
        terminal.type("quit\n")
        self.assertEqual(0, terminal.process.wait(PATIENCE))
        self.assertEqual(b"abcdef", (self.dir / "in/half").read_bytes())
        log = (self.dir / "c.log").read_text()
        self.assertRegex(log, r"\[COURIER\.CHUNK\].*half, 4 of 6")
        self.assertNotIn("half, 6 of 6", log)
        self.assertIn("settings: courier/adress: unknown, ignored", log)


if __name__ == "__main__":
    sys.exit(77 if not (BIN / "courier_server").exists() else unittest.main())
