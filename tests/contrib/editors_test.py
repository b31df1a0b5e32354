"""What the editors' grammars of PML see in the corpus, character by character, beside what the
format says: vim runs itself, the TextMate grammar is run by the few rules of such grammars here."""

import json
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tests/support"))

from programs import seeded  # noqa: E402

VIM = ROOT / "contrib/vim"
GRAMMAR = ROOT / "contrib/textmate/pml.tmLanguage.json"

# The class of a character: comment, string, escape, punctuation, name, type, constant or text.
C, S, E, P, N, T, K, X = "CSEPNTKX"


TOKEN = re.compile(r"""(?P<comment>\(\*) | (?P<mark>[():]) | (?P<escape>\^.?) | (?P<plain>[^():^'"]+)
    | (?P<quoted>(?P<quote>['"])(?:\^.?|(?!(?P=quote))[^^])*(?P=quote)?)""", re.VERBOSE | re.DOTALL)


def end_of_comment(text, at):
    depth = 0
    for mark in re.compile(r"\(\*|\*\)").finditer(text, at):
        depth += 1 if mark[0] == "(*" else -1
        if depth == 0:
            return mark.end()
    return len(text)


def expected(text):
    """By the table of tokens in docs/formats/pml.md."""
    out = [X] * len(text)
    at, before = 0, ""  # the place, and what ended the token before
    plain, cut = 0, False  # where the token's last plain run begins, and whether it is a part only
    while at < len(text):
        match = TOKEN.match(text, at)
        kind, end = match.lastgroup, match.end()
        if kind == "mark":
            begin, stop, color = looks(text[plain:at], before, text[at], cut)
            out[plain + begin:plain + stop] = [color] * (stop - begin)
            out[at] = P
            before, plain, cut = text[at], end, False
        elif kind != "plain":
            if kind == "comment":
                end = end_of_comment(text, at)
            out[at:end] = {"comment": C, "escape": E, "quoted": S}[kind] * (end - at)
            if kind == "quoted":
                for escape in re.compile(r"\^.?", re.DOTALL).finditer(text, at, end):
                    out[escape.start():escape.end()] = E * len(escape[0])
            plain, cut = end, True
        at = end
    return out


def looks(run, before, mark, cut):
    """Which part of a plain run has what class, by the marks around it."""
    stop = len(run.rstrip())
    # Editors see one line at a time: a plain run, on the line of its end, is what they know.
    line = run.rfind("\n", 0, stop) + 1
    begin = stop - len(run[line:stop].lstrip())
    if mark != ")" and "\n" not in run[stop:]:
        if before != ":" or mark == ":":
            return begin, stop, N
        return begin, stop, None if cut or "\n" in run else T  # of several pieces: left open
    number = re.fullmatch(r"[-+]?\d+(\.\d+)?|true|false", run.strip())
    return begin, stop, K if number and (before, mark, cut) == ("(", ")", False) and "\n" not in run else X


class TextMate:
    CLASSES = {"comment": C, "string": S, "constant.character": E, "punctuation": P, "entity": N,
               "storage": T, "constant.numeric": K, "constant.language": K}

    def __init__(self):
        grammar = json.loads(GRAMMAR.read_text())
        self.repository = grammar["repository"]
        self.root = self.flat(grammar["patterns"])

    def flat(self, patterns):
        out = []
        for p in patterns:
            if "include" in p:
                p = self.repository[p["include"][1:]]
            out += self.flat(p["patterns"]) if "match" not in p and "begin" not in p else [p]
        return out

    def classOf(self, name):
        return next(c for start, c in self.CLASSES.items() if name.startswith(start))

    def classes(self, text):
        out = []
        stack = []  # rules that have begun
        for line in text.splitlines(keepends=True):
            marks = [self.classOf(stack[-1]["name"]) if stack else X] * len(line)
            at = 0
            while at < len(line):
                rule = stack[-1] if stack else None
                found = [(m, p) for p in (self.flat(rule["patterns"]) if rule else self.root)
                         if (m := re.compile(p.get("match") or p["begin"]).search(line, at))]
                end = re.compile(rule["end"]).search(line, at) if rule else None
                # The earliest; the end before others, and then the order of the patterns.
                first = min(found, key=lambda f: f[0].start(), default=None)
                if end and (first is None or end.start() <= first[0].start()):
                    stack.pop()
                    at = end.end()
                    outer = self.classOf(stack[-1]["name"]) if stack else X
                    marks[at:] = outer * (len(line) - at)
                    continue
                if first is None:
                    break
                match, pattern = first
                if "begin" in pattern:
                    stack.append(pattern)
                    marks[match.start():] = self.classOf(pattern["name"]) * (len(line) - match.start())
                else:
                    if "name" in pattern:
                        marks[match.start():match.end()] = self.classOf(pattern["name"]) * len(match[0])
                    for n, capture in pattern.get("captures", {}).items():
                        first, last = match.span(int(n))
                        if first >= 0:
                            marks[first:last] = self.classOf(capture["name"]) * (last - first)
                at = max(match.end(), at + (match.end() == match.start()))
            out += marks
        return out


def corpus():
    """Texts without NUL bytes and without what editors convert."""
    texts = [(ROOT / "examples/courier/courier.pml").read_text()]
    for file in sorted((ROOT / "fuzz/corpus").glob("pml_parser_fuzz/*")):
        data = file.read_bytes()
        if data.isascii() and not set(data) & set(b"\0\r\x0b\x0c\x1c\x1d\x1e"):
            texts.append(data.decode())
    rng = seeded()
    words = ["a", "port", "b c", ":int", "(", ")", "(", ")", " ", "\n    ", "(* x ' *)", "(* (* y *) ^ *)",
             "'q(:'", "\"d^\"e\"", "^(", "80", "true", "x*", "-1.5"]
    for _ in range(200):
        texts.append("u(" + "".join(rng.choice(words) for _ in range(rng.randrange(30))) + ")\n")
    return texts


class Editors(unittest.TestCase):
    def compare(self, text, got):
        for at, (ours, theirs) in enumerate(zip(expected(text), got)):
            # White space has no looks of its own outside of comments and strings.
            if ours is None or text[at] == '\n' or text[at].isspace() and ours in (X, N, T, K, E):
                continue
            if ours != theirs:
                line = text.count("\n", 0, at) + 1
                self.fail(f"{text!r}\nline {line}, {text[at]!r} at {at}: {theirs} instead of {ours}")

    def test_textmate(self):
        grammar = TextMate()
        for text in corpus():
            self.compare(text, grammar.classes(text))

    @unittest.skipUnless(shutil.which("vim"), "there is no vim")
    def test_vim(self):
        classes = {"Comment": C, "Todo": C, "String": S, "Escape": E, "Punctuation": P, "Name": N, "Type": T,
                   "Number": K, "Boolean": K, "": X}
        with tempfile.TemporaryDirectory() as folder:
            folder = Path(folder)
            texts = corpus()
            for n, text in enumerate(texts):
                (folder / f"{n}.pml").write_text(text)
            (folder / "other.pml").write_text("/* a model */\nproctype P() { skip }\n")
            # Each line as the names of its characters' items.
            script = folder / "script.vim"
            script.write_text(f"""
set nocompatible runtimepath^={VIM}
filetype plugin on
syntax on
edit {folder}/other.pml
if &filetype != 'promela'
  cquit
endif
for n in range({len(texts)})
  execute 'edit {folder}/' . n . '.pml'
  if &filetype != 'pml'
    cquit
  endif
  let rows = []
  for row in range(1, line('$'))
    let names = map(range(1, len(getline(row))), 'synIDattr(synID(row, v:val, 1), "name")[3:]')
    call add(rows, join(names, ','))
  endfor
  call writefile(rows, '{folder}/' . n . '.out')
endfor
quitall!
""")
            subprocess.run(["vim", "-N", "-u", "NONE", "-i", "NONE", "-n", "-es", "-S", script], check=True,
                           stdin=subprocess.DEVNULL, timeout=120)
            for n, text in enumerate(texts):
                rows = (folder / f"{n}.out").read_text().split("\n")
                got = []
                for row, line in zip(rows, text.split("\n")):
                    got += [classes[name] for name in row.split(",")] if line else []
                    got.append(X)  # the line feed, which has none
                self.compare(text, [None if c == "\n" else g for c, g in zip(text, got)])


if __name__ == "__main__":
    unittest.main()
