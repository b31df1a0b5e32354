"""Shows the library's types in gdb as what they hold.

gdb loads it by itself with an installed library (see docs/debugging.md); by hand:

    (gdb) source contrib/gdb/zan_printers.py

Nothing is called in the program, so core files do as well. What was freed or never made shows as an
error in its place, as everywhere in gdb. Units, XML nodes and the counts of handles need the debug
information of the library: a compiler describes such classes only where they are defined.
"""

import datetime

import gdb
import gdb.printing

# How much of a text is fetched when gdb's own limit is off.
LONGEST = 1 << 20

UNKNOWN = "<needs the debug information of libzan>"


def limit():
    elements = gdb.parameter("print elements")
    return LONGEST if elements is None or elements == 0 else elements


def text(pointer, size, encoding="utf-8"):
    """A string that gdb shows with quotes and escapes, cut at its limit."""
    shown = min(int(size), LONGEST)
    return pointer.cast(gdb.lookup_type("char" if encoding == "utf-8" else "wchar_t").const().pointer()) \
        .lazy_string(encoding if encoding == "utf-8" else "", shown)


def plain(pointer, size):
    """The same as a Python string, for a line made of several."""
    if int(pointer) == 0 or int(size) == 0:
        return ""
    shown = min(int(size), limit())
    data = gdb.selected_inferior().read_memory(int(pointer), shown).tobytes()
    return data.decode("utf-8", "backslashreplace") + ("..." if shown < int(size) else "")


def quoted(string):
    out = "".join(c if c >= " " and c != "\x7f" else f"\\{ord(c):03o}" for c in string)
    return '"' + out.replace('"', '\\"') + '"'


def std_string(value):
    """Pointer and length of a std::string, or of what is derived from it."""
    while value.type.strip_typedefs().name and "basic_string" not in value.type.strip_typedefs().name:
        value = value.cast(value.type.strip_typedefs().fields()[0].type)
    return value["_M_dataplus"]["_M_p"], value["_M_string_length"]


def plain_string(value):
    return plain(*std_string(value))


def elements(vector):
    """The elements of a std::vector."""
    at, end = vector["_M_impl"]["_M_start"], vector["_M_impl"]["_M_finish"]
    while at != end:
        yield at.dereference()
        at += 1


def count(vector):
    return int(vector["_M_impl"]["_M_finish"] - vector["_M_impl"]["_M_start"])


class Incomplete:
    """A class that only the debug information of the library describes."""

    def __init__(self, value):
        pass

    def to_string(self):
        return UNKNOWN


def where_described(printer):
    def choose(value):
        if value.type.strip_typedefs().code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value = value.referenced_value()
        return (printer if value.type.strip_typedefs().fields() else Incomplete)(value)

    return choose


class View:
    """istr and iwstr."""

    def __init__(self, value, wide=False):
        self._value, self._wide = value, wide

    def to_string(self):
        if int(self._value["data_"]) == 0:
            return "<null>"
        return text(self._value["data_"], self._value["size_"], "wide" if self._wide else "utf-8")

    def display_hint(self):
        return None if int(self._value["data_"]) == 0 else "string"


class Buffer:
    """ostr: the text in a buffer, which ends at a NUL."""

    def __init__(self, value):
        self._value = value

    def to_string(self):
        size = int(self._value["max_size_"])
        if int(self._value["buffer_"]) == 0:
            return "<null>"
        data = gdb.selected_inferior().read_memory(int(self._value["buffer_"]), min(size, limit())).tobytes()
        return f"{quoted(data.split(bytes(1))[0].decode('utf-8', 'backslashreplace'))} in {size} bytes"


class String:
    def __init__(self, value):
        self._value = value

    def to_string(self):
        return text(*std_string(self._value))

    def display_hint(self):
        return "string"


class Bytes:
    """Size, capacity and the first bytes in hexadecimal digits."""

    SHOWN = 32

    def __init__(self, value):
        self._value = value

    def to_string(self):
        size, room = int(self._value["size_"]), int(self._value["max_size_"])
        head = f"{size} of {room} bytes"
        if size == 0:
            return head
        shown = min(size, self.SHOWN)
        data = gdb.selected_inferior().read_memory(int(self._value["data_"]), shown).tobytes()
        return f"{head}: {data.hex(' ').upper()}{' ...' if shown < size else ''}"


class Handle:
    """What it points to, and how many handles do."""

    def __init__(self, value):
        self._value = value
        self._object = value["ptr_"]

    def to_string(self):
        kind = self._value.type.strip_typedefs().template_argument(0)
        if int(self._object) == 0:
            return f"null Handle to {kind}"
        try:
            shared = self._object.dynamic_cast(gdb.lookup_type("zan::Shared").pointer())
            holders = int(shared["count_"]["_M_i"])
            return f"Handle to {self._object.dynamic_type.target()}, {holders} in all"
        except (gdb.error, RuntimeError):
            return f"Handle to {kind}"

    def children(self):
        if int(self._object) != 0:
            yield "object", self._object.cast(self._object.dynamic_type).dereference()


class Time:
    """A point in local time, a span that cannot be one, or both."""

    def __init__(self, value):
        self._us = int(value["us_"])

    def to_string(self):
        us = self._us
        if us == 0:
            return "0"
        if us == (1 << 63) - 1:
            return "forever"
        if abs(us) < 366 * 86400 * 1000000:
            return f"{us / 1000000:.6f} s"
        try:
            point = datetime.datetime.fromtimestamp(us // 1000000)
        except (OverflowError, ValueError, OSError):
            return f"{us} microseconds"
        return f"{point:%Y-%m-%d %H:%M:%S}.{us % 1000000:06}"


class Scalar:
    """Bit, Long, Char and their family."""

    def __init__(self, value):
        self._value = value

    def to_string(self):
        return self._value["value_"]


class Unit:
    """A PML unit: name, type, and its text or its units."""

    def __init__(self, value):
        self._value = value
        pointer = value["value_"]
        self._held = None if int(pointer) == 0 else pointer.cast(pointer.dynamic_type).dereference()
        kind = "" if self._held is None else self._held.type.strip_typedefs().name
        self._list = self._held["data_"] if kind == "zan::pml::ntv::ListValue" else None
        self._kind = kind
        known = self._held is not None and any(f.name == "data_" for f in self._held.type.fields())
        self._other = self._held["data_"] if known else None

    def to_string(self):
        head = plain_string(self._value["name_"])
        kind = plain_string(self._value["type_"])
        if kind:
            head += ":" + kind
        if self._held is None:
            return head + "()"
        if self._list is not None:
            units = count(self._list)
            return f"{head}, {units} unit{'' if units == 1 else 's'}"
        if self._kind == "zan::pml::ntv::StringValue" and self._other is not None:
            return f"{head}({quoted(plain_string(self._held['data_']))})"
        return f"{head}({UNKNOWN if self._other is None else self._kind.split('::')[-1]})"

    def children(self):
        if self._list is not None:
            for n, unit in enumerate(elements(self._list)):
                yield f"[{n}]", unit.dereference()
        elif self._other is not None and self._kind != "zan::pml::ntv::StringValue":
            yield "data", self._other


class XMLNode:
    """An element: its start tag, text and children."""

    def __init__(self, value):
        self._value = value

    def _attributes(self):
        attrs = self._value["attrs_"]["_M_b"]["_M_p"]
        if int(attrs) == 0:
            return ""
        try:
            attrs = attrs.dereference()
            order = [attrs["order_"][n] for n in range(int(attrs["size_"]))]
        except gdb.error:
            return " ..."  # their list is known to the debug information of the library only
        return "".join(f" {plain_string(a['name_'])}={quoted(plain_string(a['value_']))}" for a in order)

    def to_string(self):
        out = f"<{plain_string(self._value['name_'])}{self._attributes()}>"
        nodes = count(self._value["children_"])
        if nodes:
            out += f", {nodes} child{'' if nodes == 1 else 'ren'}"
        text = self._value["text_"]["_M_b"]["_M_p"]  # the character data lies behind it
        cdata = plain(text + 1, text["size"]) if int(text) else plain_string(self._value["cdata_"])
        return f"{out} {quoted(cdata)}" if cdata else out

    def children(self):
        for n, node in enumerate(elements(self._value["children_"])):
            yield f"[{n}]", node.dereference()


class XMLAttr:
    def __init__(self, value):
        self._value = value

    def to_string(self):
        return f"{plain_string(self._value['name_'])}={quoted(plain_string(self._value['value_']))}"


def build():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("zan")
    for name, pattern, printer in (
            ("istr", "(istr|istr_cp|rawstring|namestring)", View),
            ("iwstr", "(iwstr|iwstr_cp)", lambda value: View(value, True)),
            ("ostr", "ostr", Buffer),
            ("String", "String", String),
            ("Bytes", "Bytes", Bytes),
            ("Handle", "Handle<.*>", Handle),
            ("Time", "Time", Time),
            ("Scalar", "(Bit|Byte|Char|Wchar|Short|Ushort|Long|Ulong|Longlong|Ulonglong|Float|Double)", Scalar),
            ("Unit", "pml::ntv::Unit", where_described(Unit)),
            ("XMLNode", "XMLNode", where_described(XMLNode)),
            ("XMLAttr", "XMLAttr", where_described(XMLAttr))):
        printers.add_printer(name, f"^zan::{pattern}$", printer)
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), build(), replace=True)
