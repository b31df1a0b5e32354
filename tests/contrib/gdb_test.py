"""The printers of contrib/gdb, in gdb, on a program that stops with one of everything."""

import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BIN = Path(os.environ.get("ZAN_BIN", ROOT / "build/release/bin")).resolve()

WANTED = {
    "text": r'"a \"quoted\"\n\001"',
    "part": '"a"',
    "none": "<null>",
    "wide": 'L"\u4e2d\u6587"',
    "buffer": '"cut" in 16 bytes',
    "string": '"caf\u00e9"',
    "big": "'x' <repeats 200 times>...",
    "bytes": "3 of 3 bytes: 00 FF 41",
    "noBytes": "0 of 0 bytes",
    "job": re.compile(r"Handle to UrgentJob, 2 in all = \{object = .*number = 42.*level = 3"),
    "noJob": "null Handle to Job",
    "point": "2014-06-16 22:13:07.125000",
    "span": "1.500000 s",
    "forever": "forever",
    "bit": "true",
    "number": "-7",
    "unit": 'server, 3 units = {[0] = port:int("80"), [1] = log, 2 units = {[0] = file("a:b"), '
            '[1] = level("3")}, [2] = empty("")}',
    "emptyUnit": "()",
    "typed": "typed(IntegerValue) = {data = 5}",
    "node": '<order id="7" x="<">, 2 children = {[0] = <item> "bolt", [1] = <item>}',
    "attribute": 'key="value"',
    # Shown by the compiler's library, where its printers are.
    "strings": re.compile('"one"'),
}


class Printers(unittest.TestCase):
    def gdb(self, *commands):
        words = [word for command in commands for word in ("-ex", command)]
        run = subprocess.run(["gdb", "-nx", "-batch", "-ex", "set width 0", *words, BIN / "gdb_subject"],
                             capture_output=True, timeout=120,
                             env={**os.environ, "TZ": "CST-8", "LC_ALL": "C.UTF-8", "DEBUGINFOD_URLS": ""})
        return run.stdout.decode() + run.stderr.decode()

    def stopped(self):
        return ["set host-charset UTF-8", "break here", "run", "up"]

    def test_each_type_shows_what_it_holds_and_damage_is_an_error_in_its_place_only(self):
        out = self.gdb(f"source {ROOT}/contrib/gdb/zan_printers.py", *self.stopped(),
                       *(f"print {name}" for name in WANTED),
                       "set var *(void**)&bytes = 8", "print bytes", "set var *(void**)&unit = 8",
                       "print unit", "print string")
        if "ptrace: Operation not permitted" in out or "Could not trace" in out:
            self.skipTest("gdb may not trace here")
        self.assertNotIn("Traceback", out)
        shown = re.findall(r"^\$\d+ = (.*)$", out, re.MULTILINE)
        self.assertEqual(len(WANTED) + 3, len(shown), out)
        self.assertEqual(WANTED["string"], shown[-1])
        for (name, wanted), got in zip(WANTED.items(), shown):
            if isinstance(wanted, re.Pattern):
                self.assertRegex(got, wanted, name)
            else:
                self.assertEqual(wanted, got, name)

    def test_loads_by_itself_beside_the_library(self):
        library = Path(os.environ["ZAN_LIB"]) if "ZAN_LIB" in os.environ else BIN.parent / "lib/libzan.so"
        folder = library.resolve().parent
        out = self.gdb(f"add-auto-load-safe-path {folder}", *self.stopped(), "print number", "info pretty-printer")
        self.assertIn("$1 = -7", out)
        self.assertRegex(out, r"objfile .*libzand?\.so.* pretty-printers:\n  zan\n")


if __name__ == "__main__":
    if not shutil.which("gdb"):
        print("skipped: there is no gdb")
        sys.exit(77)
    unittest.main()
