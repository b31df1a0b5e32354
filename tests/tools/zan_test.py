"""The program zan, run as its users run it. ZAN_BIN is the folder that it lies in."""

import hashlib
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))

from programs import BIN, ROOT, InTempDir, Running, seeded  # noqa: E402

ZAN = BIN / "zan"
COURIER = ROOT / "examples/courier/courier.pml"
FINE = (0, b"", "")


def zan(*words, data=b"", cwd=None, env=None):
    """Exit code, standard output, standard error."""
    data = data if isinstance(data, bytes) else data.encode()
    run = subprocess.run([ZAN, *map(str, words)], input=data, capture_output=True, cwd=cwd,
                         env={**os.environ, **(env or {})}, timeout=120)
    return run.returncode, run.stdout, run.stderr.decode(errors="replace")


def corpus(target):
    return [file.read_bytes() for file in sorted((ROOT / "fuzz/corpus").glob(f"{target}_fuzz/*"))]


class ZanTest(InTempDir):
    def refused(self, words, data, *messages):
        code, out, err = zan(*words, data=data)
        self.assertEqual((1, b""), (code, out), data)
        for message in messages:
            self.assertIn(message, err, data)


class ExitCodes(ZanTest):
    def test_usage_is_2_and_says_where_help_is(self):
        for words in ([], ["pml"], ["nonsense"], ["pml", "get"], ["pml", "format", "--layout", "x"],
                      ["log", "follow"], ["log", "filter", "--since", "soon"], ["codepage", "936"],
                      ["codepage", "936", "4711"], ["codepage", "x", "0"],
                      ["pml", "format", "-i", "--check", "f"], ["pml", "format", "-i", "-"]):
            code, out, err = zan(*words)
            self.assertEqual((2, b""), (code, out), words)
            self.assertRegex(err, "^zan: ", words)

    def test_each_command_has_help_with_an_example(self):
        man = zan("generate", "man")[1].decode()
        commands = re.findall(r"^\.SS zan ([a-z ]*[a-z])", man, re.MULTILINE)
        self.assertEqual(11, len(commands))
        for command in commands:
            code, out, err = zan(*command.split(), "--help")
            self.assertEqual((0, ""), (code, err), command)
            self.assertIn(f"Usage: zan {command} [OPTION]...".encode(), out)
            self.assertRegex(out, rb"\nExample:\n  .*zan ")
            self.assertLessEqual(max(map(len, out.splitlines())), 100, command)

    def test_no_file_is_2_and_the_others_are_done_all_the_same(self):
        code, out, err = zan("digest", self.dir / "none", self.put("f", "abc"), self.dir)
        self.assertEqual((2, hashlib.md5(b"abc").hexdigest().encode()), (code, out[:32]))
        self.assertIn("none: No such file or directory", err)
        self.assertIn("Is a directory", err)

    @unittest.skipUnless(Path("/dev/full").exists(), "no /dev/full")
    def test_a_full_disk_is_2(self):
        with open("/dev/full", "wb") as full:
            run = subprocess.run([ZAN, "pml", "format", COURIER], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(2, run.returncode)
        self.assertIn(b"No space left on device", run.stderr)

    def test_a_broken_configuration_beside_it_does_not_matter(self):
        self.put("p2p_config.pml", "cfg(codepage(936) codepage(1)")
        self.assertEqual((0, b"zan 2.0.3\n", ""), zan("version", cwd=self.dir))
        self.assertEqual("é中\n".encode(), zan("pml", "get", "/", data="a(é中)", cwd=self.dir)[1])


class Findings(ZanTest):
    XML = "<?xml version='1.0'?>\n<!-- c -->\n<a x='1&lt;'>\n <b>t</b><c/> u\n</a>"
    NBR = bytes.fromhex("FF 01 28 01 01 01 05 02 F1 02 61 62 07 FF 01 28 03 01 02 FF FF FF 01 29 FF 01 29")

    def test_pml(self):
        for text, place, words in (
                ("", "1:1", "no unit here"),
                ("a(b(1) (* c *)", "1:15", "ends in the unit 'a' of line 1"),
                ("a(\n b(1\n c(2)\n)", "2:4", "a name of several lines"),
                ("a(b(1)\n  b(2))", "2:3", "a second unit 'b'"),
                ("a(b(1) c)", "1:8", "'c' has no value"),
                ("a(b('1) c(2))", "1:5", "this quote does not end"),
                ("a(b(1) (* c(2))", "1:8", "this comment does not end"),
                ("a:t)", "1:4", "a type is followed by '('"),
                ("a:t", "1:4", "the input ends in a type"),
                (")", "1:1", "')' where a unit begins"),
                ("a(1) (* fine *)\n b(2)", "2:2", "this is not read"),
                ("a(1\0)", "1:4", "a NUL")):
            self.refused(["pml", "check"], text, f"<stdin>:{place}: ", words)

    def test_xml(self):
        for text, place, words in (
                ("", "1:1", "no element here"),
                ("<a>\n<b>\n</a>", "3:1", "</a> stands where </b> of line 2 is due"),
                ("<a>\n<b>", "2:4", "the input ends in <b> of line 2"),
                ("<a></a></b>", "1:8", "</b> ends no element"),
                ("<a/><b/>", "1:5", "a second root element"),
                ("<a/>x", "1:5", "text outside"),
                ("<a>&nbsp;</a>", "1:4", "nobody knows"),
                ("<a>a & b</a>", "1:6", "& alone"),
                ("<a>&#x4E2D;</a>", "1:4", "low eight bits"),
                ("<a x=1/>", "1:6", "a value without quotes"),
                ("<a x/>", "1:4", "an attribute without ="),
                ("<a x='1' x='2'/>", "1:10", "a second attribute 'x'"),
                ("<a x='1'y='2'/>", "1:9", "a blank is missing"),
                ("<a", "1:1", "does not end"),
                ("<a><!-- </a>", "1:4", "this comment does not end"),
                ("<a>\0</a>", "1:4", "a NUL"),
                ("<!DOCTYPE a [<!ENTITY b '>'> ]><a>\n<</a>", "2:1", "< alone")):
            self.refused(["xml", "check"], text, f"<stdin>:{place}: ", words)
        # What the library reads otherwise.
        self.refused(["xml", "check"], "<!DOCTYPE a [<!ENTITY b '<c>x</c>'> ]><a><d/></a>", " of 2 elements")
        self.refused(["xml", "check"], "<!DOCTYPE[<x ]><a></a>", "<stdin>: the library reads none of it: ")

    def test_nbr(self):
        for text, words in (("10 01 05", "byte 0: a length byte cannot be 16"),
                            ("FF 01 28 01 05", "byte 4: a length byte cannot be 5"),
                            ("01 01 05 00", "byte 3: 1 bytes behind"), ("01 02 05", "1 bytes are missing"),
                            ("01 0", "half a byte"), ("01\n 0x", ":2:3: no hexadecimal digit: 'x'")):
            code, _, err = zan("nbr", "dump", "--hex", data=text)
            self.assertEqual((1, True), (code, words in err), err)
        # A frame that announces 4 GiB takes no memory for them.
        self.refused(["nbr", "dump", "-f"], b"\xff\xff\xff\xffabc", "the input ends in a frame that began at byte 0")

    def test_each_truncation(self):
        pml = COURIER.read_bytes().rstrip()
        for kind, command, data in (("pml", "check", pml), ("xml", "check", self.XML.encode()),
                                    ("nbr", "dump", self.NBR)):
            files = [self.put(f"{kind}{n:05}", data[:n]) for n in range(len(data))]
            code, _, err = zan(kind, command, *files)
            self.assertEqual((1, {str(f) for f in files}), (code, set(re.findall(rf"{self.dir}/\w+", err))))
            self.assertEqual((0, ""), zan(kind, command, data=data)[::2])

    def test_any_bytes_end_well_and_have_a_place(self):
        rng = seeded()
        damage = (b"", b"(", b")", b"'", b"<", b">", b"&", b"\xff\1", b"(*", b"^")
        for kind, target, commands, place in (
                ("pml", "pml_parser", ("check", "format", "format -l mixed", "get /"), r":\d+:\d+: "),
                ("xml", "xml_parser", ("check", "format"), r":\d+:\d+: "),
                ("nbr", "nbr_parse", ("dump", "dump -f", "dump -a"), r": byte \d+: ")):
            seeds = corpus(target)
            texts = corpus(f"{kind}_*")
            for _ in range(400):
                data = bytearray(rng.choice(seeds) + rng.choice(seeds))
                for _ in range(rng.randrange(8)):
                    at = rng.randrange(len(data) + 1)
                    data[at:at + rng.randrange(3)] = rng.choice((*damage, bytes([rng.randrange(256)])))
                texts.append(bytes(data))
            files = [self.put(f"{kind}{n}", text) for n, text in enumerate(texts)]
            for command in commands:
                code, _, err = zan(kind, *command.split(), *files)
                self.assertIn(code, (0, 1), command)
                for line in err.splitlines():
                    # Of XML some is left to say for the library, which knows no places.
                    self.assertRegex(line, place + "|the library reads|read back differently")

    def test_cost_is_linear_and_depth_no_limit(self):
        for command, wanted, data in (
                ("xml check", 1, b"<a>" * 200000 + b"</b>" * 200000), ("pml check", 1, b"a(" + b"b(1)" * 300000),
                ("xml check", 0, b"<a " + b"".join(b"x%d='' " % n for n in range(100000)) + b"/>"),
                ("nbr dump -c", 0, b"\xff\x01\x28\x01" * 20000 + b"\x00" + b"\xff\x01\x29" * 20000)):
            code, _, err = zan(*command.split(), data=data)
            self.assertEqual(wanted, code, command)
            self.assertLessEqual(err.count("\n"), 101, command)


class Pml(ZanTest):
    def test_layouts_read_back_as_they_were(self):
        compact = zan("pml", "format", "-l", "compact", COURIER)[1]
        self.assertTrue(compact.startswith(b"courier(address(127.0.0.1)port(0)"), compact)
        for layout in ("simple", "mixed", "formatted"):
            code, out, err = zan("pml", "format", "--layout", layout, COURIER)
            self.assertEqual(0, code)
            self.assertIn(":1:1: 8 comments are left out", err)
            self.assertEqual((0, compact, ""), zan("pml", "format", "-l", "compact", data=out))
            self.assertEqual(0, zan("pml", "format", "--check", "-l", layout, data=out)[0])
        self.assertIn(b"(* /log/infoOn *) infoOn(true)",
                      zan("pml", "format", "-l", "formatted", "--paths", "--drop-comments", COURIER)[1])
        self.assertEqual(1, zan("pml", "format", "--check", COURIER)[0])
        for text in ("a(b^(c(1))", 'a(^"a:b^^(x^)))'):  # the second would not be read at all
            self.refused(["pml", "format", "-l", "simple"], text, "would read back differently")
        self.assertEqual((0, b"a(b^(c(1))\n"), zan("pml", "format", data="a(b^(c(1))")[:2])

    def test_tidy_changes_white_space_only(self):
        rng = seeded()
        words = ["port", ":int", "(", ")", "(", ")", " ", "\n", "\n\n  ", "(* x ' *)", "(*\n  (* y *)\n   ^ *)",
                 "'q(:'", '"d^"\n  e"', "^(", "^\n", "80", "\u00e9", "b\n  c", "\t"]
        texts = [COURIER.read_bytes()] + corpus("pml_parser")
        for _ in range(1500):
            pieces, depth = ["u("], 1
            while depth and len(pieces) < 25:
                pieces.append(f"n{len(pieces)}(" if rng.random() < 0.25 else rng.choice(words))
                depth += pieces[-1].endswith("(") - (pieces[-1] == ")")
            texts.append("".join(pieces + [")"] * depth).encode())
        files = {self.put(f"{n:05}.pml", text): text for n, text in enumerate(texts)}
        for line in zan("pml", "check", *files)[2].splitlines():
            files.pop(Path(line.split(":")[0]), None)
        self.assertGreater(len(files), 200)
        before = zan("pml", "format", "-l", "compact", "--drop-comments", *files)[1]
        self.assertEqual(FINE, zan("pml", "format", "--in-place", *files))
        self.assertEqual(before, zan("pml", "format", "-l", "compact", "--drop-comments", *files)[1])
        for file, text in files.items():
            self.assertEqual(b"".join(text.split()), b"".join(file.read_bytes().split()), text)
        self.assertEqual(FINE, zan("pml", "format", "--check", *files))

    def test_tidy_puts_comments_beside_what_they_are_about(self):
        text = """(* head *)

a( (* why *)
  port(80) (* one *)
  p(8)  (* two *)


     (* three
        four *)
 x:t( "^"" ) y(z(1))
  (* last *)
)"""
        self.assertEqual("""(* head *)

a(  (* why *)
    port(80)  (* one *)
    p(8)      (* two *)

    (* three
       four *)
    x:t("^"")
    y(z(1))
    (* last *)
)
""", zan("pml", "format", data=text)[1].decode())

    def test_in_place_keeps_comments_and_links_and_permissions(self):
        text = b"a( (* why *) b(1))"
        file = self.put("c.pml", text)
        self.assertEqual(1, zan("pml", "format", "-i", "-l", "simple", file)[0])
        self.assertEqual(text, file.read_bytes())
        file.chmod(0o640)
        link = self.dir / "link"
        link.symlink_to(file)
        self.assertEqual(FINE, zan("pml", "format", "-i", "-l", "simple", "--drop-comments", link))
        self.assertEqual(b"a(b(1))\n", file.read_bytes())
        self.assertTrue(link.is_symlink())
        self.assertEqual(0o640, file.stat().st_mode & 0o777)
        self.assertEqual(["c.pml", "link"], sorted(os.listdir(self.dir)))

    def test_get(self):
        for path, out in (("log/filename", "courier.log"), ("/log/infoOn", "true"),
                          ("log/appLogs/TCP.INFO", "false"), ("[1]", "0"), ("key", "")):
            self.assertEqual((0, f"{out}\n".encode(), ""), zan("pml", "get", path, COURIER), path)
        self.assertEqual(b"COURIER.CHUNK\nTCP.INFO\nTCP.DEBUG\n",
                         zan("pml", "get", "-k", "log/appLogs", COURIER)[1])
        self.refused(["pml", "get", "log/none", COURIER], "", "there is no 'log/none'")


class NbrAndXml(ZanTest):
    def test_forms_of_input_give_one_output(self):
        tree = Findings.NBR
        out = zan("nbr", "dump", data=tree)[1]
        self.assertIn(b"'ab'", out)
        self.assertEqual((0, out, ""), zan("nbr", "dump", "-x", data=tree.hex(" ")))
        self.assertEqual((0, out + out, ""), zan("nbr", "dump", "-a", data=tree * 2))
        frame = struct.pack(">I", len(tree)) + tree
        self.assertEqual((0, b"frame 1, 27 bytes\n" + out + b"frame 2, 0 bytes\nframe 3, 27 bytes\n" + out, ""),
                         zan("nbr", "dump", "--frames", data=frame + bytes(4) + frame))
        self.assertEqual(1, zan("nbr", "dump", "--compact", data=tree)[1].count(b"\n"))

    def test_xml_format(self):
        code, out, err = zan("xml", "format", "-c", data=Findings.XML)
        self.assertEqual((0, b'<a x="1&lt;"><b>t</b><c/>u\n</a>\n'), (code, out))
        self.assertIn("<stdin>:1:1: comments, instructions", err)
        self.assertIn("<stdin>:4:15: text beside an element", err)
        out = zan("xml", "format", data="<a><b>1</b></a>")[1]
        self.assertEqual((0, out, ""), zan("xml", "format", data=out))
        self.assertEqual(0, zan("xml", "format", "--check", data=out)[0])
        self.assertEqual(1, zan("xml", "format", "--check", data="<a/>  ")[0])


class Digest(ZanTest):
    def test_lists_are_those_of_md5sum(self):
        odd = self.put("a\nb\\c", b"abc")
        code, out, _ = zan("digest", odd)
        self.assertEqual((0, b"\\900150983cd24fb0d6963f7d28e17f72  "), (code, out[:35]))
        self.assertEqual(FINE, zan("digest", "-c", "-q", data=out))
        if shutil.which("md5sum"):
            self.assertEqual(out, subprocess.run(["md5sum", odd], capture_output=True).stdout)
        files = [self.put(f"{n}", os.urandom(n)) for n in (0, 1, 64, 70000)]
        wanted = "".join(f"{hashlib.md5(f.read_bytes()).hexdigest()}  {f}\n" for f in files)
        self.assertEqual((0, wanted.encode(), ""), zan("digest", *files))
        sums = self.put("sums", wanted.upper().replace(str(self.dir).upper(), str(self.dir)))
        self.assertEqual(FINE, zan("digest", "-c", "-q", sums))
        files[2].write_bytes(b"other")
        code, out, _ = zan("digest", "--check", sums)
        self.assertEqual((1, 3, 1), (code, out.count(b": OK\n"), out.count(b": differs\n")))
        files[1].unlink()
        self.assertEqual(2, zan("digest", "-c", sums)[0])
        for text in ("nonsense\n", ""):
            self.assertEqual(1, zan("digest", "-c", data=text)[0])


class Codepage(ZanTest):
    def test_text_of_any_length_goes_there_and_back(self):
        text = "".join(f"\u4e2d\u6587 {n}\n" for n in range(40000)) + "\0\u4e2d\0"
        # UTF-7 has more than one form.
        for page, name in ((936, "gbk"), (932, "cp932"), (54936, "gb18030"), (65000, None)):
            code, out, err = zan("codepage", "utf8", page, data=text)
            self.assertEqual((0, ""), (code, err[:500]))
            self.assertEqual(text.encode(name) if name else out, out, page)
            self.assertEqual((0, text.encode(), ""), zan("codepage", page, 65001, data=out), page)

    def test_what_is_lost_is_named(self):
        self.assertEqual((1, b"ok?\n\x80??\n", "zan: <stdin>:2: characters that are not in code page 1252\n"),
                         zan("codepage", "65001", "1252", data="ok?\n\u20ac\u4e2d?\n"))
        code, _, err = zan("codepage", "65001", "0", data=b"a\n\xff\xef\xbf\xbd\n")
        self.assertEqual((1, "zan: <stdin>:2: bytes that are no text in code page 65001\n"), (code, err))
        self.assertEqual((0, ""), zan("codepage", "65001", "utf8", data=b"\xef\xbf\xbd")[::2])
        self.assertIn(b"\n936\n", zan("codepage", "--list")[1])


def line(time, thread, rest, logger="app"):
    return f"2026-01-31 {time}{thread}[{logger}]{rest}\n"


def framed(time, title):
    head = line(time, "<1.2>", f"[{title}] ".ljust(80, "-"))
    return f"\n{head}{title:>110}\n     CAUSE: no route\n{'-' * 118}\n\n"


class Log(ZanTest):
    ENTRIES = [
        line("10:00:00.000", "<  1.   2>", " zan startup..."),
        line("10:00:00.001", "{1.3}", "[INFO]{timer}SimpleThread::run_i() begin"),
        line("10:00:00.002", "<1.2>", "[NOTICE]f() one\ntwo"),
        line("10:00:01.000", "<1.2>", "[TCP.INFO]f() category"),
        framed("10:00:02.000", "<ERROR>"),
        framed("10:00:02.001", "THROWING"),
        line("10:01:00.000", "<1.2>", "[<TCP.ERROR>]f() lost"),
        line("10:01:00.001", "<1.2>", "[MY.TAG][a::f] debug"),
        line("10:02:00.000", "<1.2>", " TRACE  f() ....", "ZAN"),
    ]

    def log(self):
        return self.put("app.log", "".join(self.ENTRIES))

    def test_each_field_selects(self):
        log = self.log()
        for words, wanted in ((["-l", "trace"], range(9)), (["-l", "debug"], range(8)),
                              (["-l", "info"], range(7)), (["-l", "notice"], [2, 4, 5, 6]),
                              (["-l", "warning"], [4, 5, 6]), (["-l", "error"], [4, 6]),
                              (["-n", "ZAN"], [8]), (["--logger", "ZAN", "--logger", "app"], range(9)),
                              (["-t", "3"], [1]), (["-t", "timer"], [1]), (["-t", "1.3"], [1]),
                              (["-g", "TCP.ERROR", "-g", "MY.TAG"], [6, 7]), (["-e", "two"], [2]),
                              (["-s", "10:01"], [6, 7, 8]), (["-u", "10:00:00"], [0, 1, 2]),
                              (["-s", "2026-01-31T10:00:02.001", "-u", "2026-01-31 10:01:00.000"], [5, 6]),
                              (["-s", "2026-02"], []), (["-u", "2026"], range(9)), (["-s", "1d"], [])):
            text = "".join(self.ENTRIES[n] for n in wanted).encode()
            code = 0 if wanted else 1
            self.assertEqual((code, text, ""), zan("log", "filter", *words, log), words)
            self.assertEqual((code, b"%d\n" % len(wanted), ""),
                             zan("log", "filter", "--count", *words, data=log.read_bytes()), words)

    def test_any_bytes_pass_through_unchanged(self):
        data = b"first\n\n\n" + "".join(self.ENTRIES).encode() + os.urandom(5000) + b"x" * 3000000 + b"\n\n\ncut"
        last = data[data.index(self.ENTRIES[8].encode()):]
        for words, wanted in (([], data), (["-n", "ZAN"], last)):
            code, out, _ = zan("log", "filter", *words, data=data)
            self.assertEqual((0, True), (code, wanted + b"\n" == out))

    def test_backup_comes_first_and_several_logs_are_merged(self):
        for name, entries in (("app.log.bak", slice(0, 3)), ("app.log", slice(3, 6)), ("b.log", slice(6, 7)),
                              ("app.debug.log", slice(7, 8)), ("b.log.bak", slice(0))):
            self.put(name, "".join(self.ENTRIES[entries]))
        names = [self.dir / n for n in ("app.debug.log", "b.log", "app.log")]
        self.assertEqual("".join(self.ENTRIES[:8]), zan("log", "filter", *names)[1].decode())
        self.assertEqual("".join(self.ENTRIES[3:6]), zan("log", "filter", "--no-bak", names[2])[1].decode())

    def test_colours_on_a_terminal_only(self):
        log = self.log()
        self.assertNotIn(b"\033", zan("log", "filter", log)[1])
        asked = zan("log", "filter", "--color", "always", log, env={"NO_COLOR": "1"})[1]
        self.assertIn(b"\033[31m", asked)
        for env, coloured in (({}, True), ({"NO_COLOR": "1"}, False), ({"TERM": "dumb"}, False)):
            shown = Running(self, ZAN, "log", "filter", "-e", "lost", log, terminal=True,
                            env={**os.environ, "TERM": "xterm", "NO_COLOR": "", **env}).until(b"lost")
            self.assertEqual(coloured, b"\033" in shown, env)


class Follow(ZanTest):
    def setUp(self):
        super().setUp()
        self.log = self.dir / "app.log"

    def follow(self, *words):
        return Running(self, ZAN, "log", "follow", *words, self.log)

    def append(self, text):
        with open(self.log, "ab") as out:
            out.write(text.encode())

    def rotate(self):
        os.replace(self.log, self.dir / "app.log.bak")

    def test_over_rotations_and_without_a_file(self):
        first = self.follow("-L", "2")
        wanted = b""
        for n in range(30):
            entry = line(f"10:00:{n:02}.000", "<1.2>", f"[INFO]f() {n}")
            self.append(entry)
            wanted += entry.encode()
            if n == 0:
                first.until(entry.encode())
            if n % 3 == 0:
                self.rotate()
            if n % 3 == 1:
                first.until(entry.encode())  # nobody could follow two rotations at once
        first.until(entry.encode())
        self.assertEqual(wanted, first.seen)
        # The newest entries are found in the backup, too.
        self.rotate()
        last = b"".join(wanted.splitlines(True)[-2:])
        self.assertEqual(last, self.follow("-L", "2").until(last))

    def test_what_was_not_read_before_two_rotations(self):
        texts = [line(f"10:00:0{n}.000", "<1.2>", f"[INFO]f() {n}") for n in range(3)]
        self.append(texts[0])
        follower = self.follow()
        follower.until(texts[0].encode())
        os.kill(follower.process.pid, signal.SIGSTOP)
        for text in texts[1:]:
            self.rotate()
            self.append(text)
        os.kill(follower.process.pid, signal.SIGCONT)
        self.assertEqual("".join(texts[1:]).encode(), follower.until(texts[2].encode()))

    def test_filters_and_whole_lines_and_emptied_files(self):
        self.append("")
        follower = self.follow("-l", "warning")
        other = line("10:00:00.000", "<1.2>", "[INFO]f() no")
        error = framed("10:00:01.000", "<ERROR>")
        self.append(other + error[:150])
        self.append(error[150:])
        self.assertEqual(error.encode(), follower.until(error[-20:].encode()))
        lost = line("10:00:02.000", "<1.2>", "[<TCP.ERROR>]f() lost")
        self.log.write_bytes(b"")
        self.append(other + lost)
        self.assertEqual(lost.encode(), follower.until(lost[-20:].encode()))

    @unittest.skipUnless((BIN / "courier_server").exists(), "without examples")
    def test_the_log_of_a_server_as_it_is_written(self):
        follower = self.follow("--last", "1000")
        server = Running(self, BIN / "courier_server", "--log", self.log, cwd=self.dir, stdin=subprocess.DEVNULL)
        self.assertRegex(server.until(b"\n"), rb"listening on \d+\n")
        server.process.terminate()
        server.process.wait()
        data = self.log.read_bytes()
        self.assertEqual(data, follower.until(data[-200:]))
        prefix = rb"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}[<{] *\d+\. *\d+[>}]\[\w+\]"
        self.assertEqual(b"%d\n" % len(re.findall(prefix, data, re.MULTILINE)),
                         zan("log", "filter", "-c", self.log)[1])


class Pages(ZanTest):
    @unittest.skipUnless(shutil.which("man"), "no man")
    def test_man_page(self):
        page = self.put("zan.1", zan("generate", "man")[1])
        run = subprocess.run(["man", "--warnings", "-l", page], capture_output=True,
                             env={**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8", "TERM": "dumb"})
        self.assertEqual((0, b""), (run.returncode, run.stderr))
        self.assertIn(b"zan log filter", run.stdout)

    def test_bash_completes(self):
        script = self.put("zan", zan("generate", "bash")[1])
        self.put("courier.pml", "")
        for words, wanted in (("zan ", "pml nbr xml log digest codepage version -h --help --version"),
                              ("zan pml f", "format"), ("zan pml format --l", "--layout"),
                              ("zan pml format --layout m", "mixed"), ("zan log filter -l n", "notice"),
                              ("zan pml get x cour", "courier.pml"), ("zan digest cour", "courier.pml"),
                              ("zan digest --ch", "--check")):
            run = subprocess.run(
                ["bash", "-c", f'. "{script}"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _zan; '
                 'echo "${COMPREPLY[*]}"', "bash", *words.split(" ")], capture_output=True, cwd=self.dir)
            self.assertEqual((wanted + "\n", b""), (run.stdout.decode(), run.stderr), words)

    @unittest.skipUnless(shutil.which("zsh"), "no zsh")
    def test_zsh_completes(self):
        self.put("_zan", zan("generate", "zsh")[1])
        # Completion runs only at a terminal.
        shell = Running(self, "zsh", "-f", "-i", terminal=True, cwd=self.dir,
                        env={**os.environ, "TERM": "xterm", "PS1": "> "})
        shell.type(f"fpath=({self.dir} $fpath); autoload -U compinit; compinit -u -d dump; echo rea''dy\n")
        shell.until(b"ready\n")
        shell.type("zan pml form\t--lay\tcom\t")
        shell.until(b" --layout")
        shell.until(b"compact")


if __name__ == "__main__":
    unittest.main()
