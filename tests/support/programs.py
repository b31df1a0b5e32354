"""What the tests share that run programs of the build, which lie in ZAN_BIN."""

import os
import pty
import random
import re
import select
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BIN = Path(os.environ.get("ZAN_BIN", ROOT / "build/release/bin")).resolve()
PATIENCE = 30  # seconds before a test gives up


def seeded():
    seed = int(os.environ.get("ZAN_TEST_SEED", random.SystemRandom().getrandbits(32)))
    print(f"ZAN_TEST_SEED={seed}", file=sys.stderr)
    return random.Random(seed)


class InTempDir(unittest.TestCase):
    def setUp(self):
        self.dir = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.dir)

    def put(self, name, data):
        file = self.dir / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(data if isinstance(data, bytes) else data.encode())
        return file


class Running:
    """A program whose output a test reads while it runs: from a pipe, or at a terminal as a person
    sees it, who does not look at the prompts."""

    def __init__(self, test, *words, terminal=False, **how):
        self.fd, end = pty.openpty() if terminal else os.pipe()
        self.terminal = terminal
        if terminal:
            how |= {"stdin": end, "stderr": end, "start_new_session": True}
        self.process = subprocess.Popen([*map(str, words)], stdout=end, **how)
        os.close(end)
        for cleanup in (lambda: os.close(self.fd), self.process.wait, self.process.kill):
            test.addCleanup(cleanup)
        self.seen = b""
        self.told = 0

    def type(self, text):
        os.write(self.fd, text.encode())

    def until(self, end):
        """What has come since the last call, up to `end` and with it."""
        while (at := self.seen.find(end, self.told)) < 0:
            if not select.select([self.fd], [], [], PATIENCE)[0]:
                raise AssertionError(f"{end} did not come, but {self.seen[self.told:]}")
            self.seen += os.read(self.fd, 100000)
            if self.terminal:
                self.seen = re.sub(rb"\r|> ", b"", self.seen)
        self.told, begin = at + len(end), self.told
        return self.seen[begin:self.told]
