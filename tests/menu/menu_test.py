"""examples/menu as it is, by hand at a terminal; its script `demo` runs it in batch."""

import sys
import unittest
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / "support"))

from programs import BIN, InTempDir, Running  # noqa: E402

LAST_ROW = b"    exit: exit program (*)\n"


@unittest.skipUnless((BIN / "menu").exists(), "without examples")
class MenuProgram(InTempDir):
    def test_by_hand_through_its_menus(self):
        menu = Running(self, BIN / "menu", terminal=True, cwd=self.dir)
        self.assertIn(b"\nmenu:\n(/main) {}\n    net: framed TCP\n", menu.until(LAST_ROW))
        for typed, *shown in (("net", b"(/main/net) "),
                              ("echo", b" ~echo\n", b"(/main/net) "),
                              ("/text/base64", b" ~base64\n", b"quit\n", b"(/main/net) "),
                              ("nosuch", b"Function not found for =="),
                              ("quit", b"(/main) {}\n"),
                              ("quit", b"At top level already.\n")):
            menu.type(typed + "\n")
            for text in (*shown, LAST_ROW):
                menu.until(text)
        menu.type("\4")  # the end of the input
        menu.until(b"exit\n")
        self.assertEqual(0, menu.process.wait())


if __name__ == "__main__":
    unittest.main()
