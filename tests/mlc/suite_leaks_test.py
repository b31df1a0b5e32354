#!/usr/bin/env python3
"""The tests themselves, under the checker of all allocations: the library forgets no block. What the
code of tests, GoogleTest or the system keeps to the end is left aside."""

import html
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))
from programs import BIN  # noqa: E402

CHECKER = Path(os.environ.get("ZAN_CHECKER", BIN.parent / "lib/libzanmlc.so"))
RUN_TIME = re.compile(r"/lib(c|stdc\+\+|gcc_s|m)\.so|/ld-linux")
FRAME = re.compile(r'decl="(.*?)" .*srcfile="(.*?)".* module="(.*?)"')


def who_asked(block):
    """The frame that called the run-time library."""
    for frame in FRAME.findall(block):
        if not RUN_TIME.search(frame[2]):
            return frame
    return "", "", ""


def is_library(frame):
    return "/libzan" in frame[2] or "src/zan/" in frame[1]


class Leaks(unittest.TestCase):
    def check(self, name):
        report = BIN / f"{name}.mem.xml-leaks"
        report.unlink(missing_ok=True)
        environment = os.environ | {"LD_PRELOAD": str(CHECKER), "ZAN_MEM_LEAK_CHECK": "on"}
        with tempfile.TemporaryDirectory() as scratch:
            done = subprocess.run([BIN / name, "--gtest_brief=1"], cwd=scratch, env=environment,
                                  capture_output=True, text=True, errors="replace")
        self.assertEqual(0, done.returncode, done.stdout[-4000:] + done.stderr[-4000:])
        text = report.read_text(errors="replace")
        self.assertTrue(text.rstrip().endswith("</MEMREPORT>"), "the report has no end")
        blocks = re.findall(r"<LEAK .*?</LEAK>", text, re.DOTALL)
        print(f"{name}: {len(blocks)} blocks of tests and of the system", file=sys.stderr)
        ours = [html.unescape(block) for block in blocks if is_library(who_asked(block))]
        self.assertEqual([], ours, "\n".join(ours))

    def test_of_the_library(self):
        self.check("zan_tests")

    def test_of_what_it_hides(self):
        self.check("zan_internal_tests")


if __name__ == "__main__":
    if not CHECKER.exists():
        sys.exit(77)
    unittest.main()
