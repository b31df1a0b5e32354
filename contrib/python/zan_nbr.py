"""NBR in Python: a reference decoder and encoder, made from docs/formats/nbr.md.

    message = zan_nbr.encode_list([(1, "long", 5), (2, "String", "ab")])
    fields = zan_nbr.decode(message)            # a List
    number = zan_nbr.read("long", fields.get(1))

A value is a Simple or a List; null and all that is cut short is None. Types go by the names of the
page. Depth is no limit: nothing here recurses.
"""

import struct

BEGIN = b"\xff\x01\x28"
END = b"\xff\x01\x29"


class DecodeError(ValueError):
    """A length byte that cannot be one."""


class Simple:
    """Bytes, and whether a dump shows them as text."""

    __slots__ = ("data", "text")

    def __init__(self, data, text=False):
        self.data = bytes(data)
        self.text = text

    def __eq__(self, other):
        return isinstance(other, Simple) and (self.data, self.text) == (other.data, other.text)


class List:
    """Children in order: pairs of an id and a value."""

    __slots__ = ("children",)

    def __init__(self, children=()):
        self.children = list(children)

    def get(self, id):
        """The child that came last under the id, or None."""
        for key, value in reversed(self.children):
            if key == id:
                return value
        return None


# --- Writing

# The number of bytes that an integer is cut to.
CAPS = {
    "char": 2, "Char": 2, "short": 2, "unsigned short": 2, "Short": 2, "Ushort": 2, "Wchar": 2,
    "int": 4, "long": 4, "unsigned int": 4, "unsigned long": 4, "Long": 4, "Ulong": 4,
    "__int64": 8, "unsigned __int64": 8, "Longlong": 8, "Ulonglong": 8, "Time": 8,
}
ONE_BYTE = ("bool", "unsigned char", "Bit", "Byte")
FLOATS = {"float": "<f", "Float": "<f", "double": "<d", "Double": "<d"}
BYTES = ("istr", "Bytes")
WIDE = ("std::wstring", "iwstr")
SIGNED = ("short", "Short", "int", "long", "Long", "__int64", "Longlong", "Time")


def pack(number, cap):
    """The bytes of an integer: low byte first, as few as the rule allows."""
    number &= (1 << 64) - 1
    out = bytearray()
    while True:
        out.append(number & 0xFF)
        number >>= 8
        if len(out) == cap or (number == 0 and out[-1] < 0x80):
            return bytes(out)


def simple(data, text=False, id=None):
    """A simple value; under `id` where that is given."""
    if len(data) >= 1 << 32:
        raise OverflowError("a value holds at most 2**32 - 1 bytes")
    size = pack(len(data), 4)
    if id == 255 and not text and size == b"\x29":
        size += b"\0"  # else it would read as the end of the list
    head = bytes([len(size) | (0xF0 if text else 0)])
    return (b"" if id is None else bytes([id])) + head + size + data


def encode(kind, value=None, id=None):
    """The bytes of a value of a type; of a child where there is an id."""
    if kind == "null_type":
        return (b"" if id is None else bytes([id])) + b"\0"
    if kind == "empty_type":
        return simple(b"", False, id)
    if kind in ONE_BYTE:
        return simple(bytes([int(value)]), False, id)
    if kind in CAPS:
        cap = CAPS[kind]
        # A char counts as one byte with a sign, and is packed as a short.
        bits = 8 if kind in ("char", "Char") else cap * 8
        low = -(1 << bits - 1) if kind in SIGNED + ("char", "Char") else 0
        high = 1 << (bits - 1 if low else bits)
        if not low <= value < high:
            raise OverflowError(f"{value} is no {kind}")
        return simple(pack(value, cap), False, id)
    if kind in FLOATS:
        data = struct.pack(FLOATS[kind], value)
        return simple(pack(int.from_bytes(data, "little"), len(data)), False, id)
    if kind == "String":
        return simple(value.encode(), True, id)
    if kind in WIDE:
        return simple(value.encode(), False, id)
    if kind in BYTES:
        return simple(bytes(value), False, id)
    raise TypeError(f"there is no type {kind}")


def encode_list(children):
    """A list of (id, type, value); under the type "list" the value is such a list in bytes."""
    out = bytearray(BEGIN)
    for id, kind, value in children:
        out += bytes([id]) + value if kind == "list" else encode(kind, value, id)
    return bytes(out + END)


# --- Reading

def _simple_at(data, at):
    """A simple value, or None, and the place behind it."""
    if at == len(data):
        return None, at
    head = data[at]
    at += 1
    if at == len(data) or head == 0xFF:
        return None, at
    width = head & 0x0F
    if head >> 4 not in (0, 0xF) or width > 4:
        raise DecodeError(f"byte {at - 1}: a length byte cannot be {head}")
    if width == 0 or len(data) - at < width:
        return None, at
    size = int.from_bytes(data[at:at + width], "little")
    at += width
    if size != 0 and at == len(data):
        return None, at
    return Simple(data[at:at + size], head >> 4 == 0xF), min(at + size, len(data))


def decode(data):
    """The value at the start of the bytes; what follows is ignored."""
    data = bytes(data)
    if not data.startswith(BEGIN):
        return _simple_at(data, 0)[0]
    root = List()
    open_lists = [root]
    at = 3
    while open_lists:
        if at == len(data) or data.startswith(END, at):
            # At the end of the input the place stays, and all lists end.
            at = min(at + 3, len(data))
            open_lists.pop()
            continue
        id = data[at]
        at += 1
        if data.startswith(BEGIN, at):
            at += 3
            inner = List()
            open_lists[-1].children.append((id, inner))
            open_lists.append(inner)
            continue
        value, at = _simple_at(data, at)
        if value is not None:
            open_lists[-1].children.append((id, value))
    return root


def find(data, wanted):
    """Direct look-up: the first child with the id in the top list, where it is simple."""
    data = bytes(data)
    if not data.startswith(BEGIN):
        return None
    at, depth = 3, 1
    while depth and at < len(data):
        if data.startswith(END, at):
            at += 3
            depth -= 1
            continue
        found = depth == 1 and data[at] == wanted
        at += 1
        if data.startswith(BEGIN, at):
            if found:
                return None
            at += 3
            depth += 1
            continue
        value, at = _simple_at(data, at)
        if found:
            return value
    return None


def read(kind, value):
    """What a simple value holds for a reader who knows its type."""
    if not isinstance(value, Simple):
        raise TypeError("no simple value")
    data = value.data
    if kind in ONE_BYTE:
        number = data[0] if data else 0
        return number != 0 if kind in ("bool", "Bit") else number
    if kind in ("char", "Char"):
        return int.from_bytes(data[:1], "little", signed=True)
    if kind in CAPS:
        width = CAPS[kind]
        return int.from_bytes(data[:width].ljust(width, b"\0"), "little", signed=kind in SIGNED)
    if kind in FLOATS:
        width = struct.calcsize(FLOATS[kind])
        return struct.unpack(FLOATS[kind], data[:width].ljust(width, b"\0"))[0]
    if kind == "String" or kind in WIDE:
        return data.decode(errors="replace")
    if kind in BYTES:
        return data
    raise TypeError(f"there is no type {kind}")


def dump(value):
    """On one line, in bytes: text in quotes, other data in hexadecimal digits."""
    if value is None:
        return b"null"
    out = []
    # Each list with the place of its next child.
    todo = [(value, 0)]
    while todo:
        node, at = todo.pop()
        if isinstance(node, Simple):
            if node.data:
                out.append(b"'" + node.data + b"'" if node.text else node.data.hex(" ").upper().encode())
            continue
        if at == 0:
            out.append(b"{")
        if at == len(node.children):
            out.append(b"}")
            continue
        id, child = node.children[at]
        out.append((b" " if at else b"") + b"[%d] " % id)
        todo += [(node, at + 1), (child, 0)]
    return b"".join(out)
