"""TCP frames in Python, made from docs/formats/frame.md.

    connection.sendall(zan_frame.frame(payload))
    for payload in zan_frame.frames(connection):
        ...
"""

import struct

HEAD = struct.Struct(">I")


class FrameError(ValueError):
    """A length above the reader's limit: nothing behind it can be read."""


def frame(payload):
    if len(payload) >= 1 << 32:
        raise OverflowError("a payload has at most 2**32 - 1 bytes")
    return HEAD.pack(len(payload)) + payload


class Frames:
    """Cuts a stream into payloads. Keeps what has arrived, and reserves nothing for what was only
    announced."""

    def __init__(self, limit=0xFFFFFFFF):
        self._limit = limit
        self._bytes = bytearray()

    def add(self, data):
        self._bytes += data

    def next(self):
        """The next payload, or None where it is not complete."""
        if len(self._bytes) < HEAD.size:
            return None
        size, = HEAD.unpack_from(self._bytes)
        if size > self._limit:
            raise FrameError(f"a frame of {size} bytes")
        if len(self._bytes) < HEAD.size + size:
            return None
        payload = bytes(self._bytes[HEAD.size:HEAD.size + size])
        del self._bytes[:HEAD.size + size]
        return payload

    def inside(self):
        """Whether a frame has begun."""
        return bool(self._bytes)


def frames(connection, limit=0xFFFFFFFF):
    """The payloads that come from a socket, until it ends. A frame that has begun is left out then."""
    stream = Frames(limit)
    while True:
        payload = stream.next()
        if payload is not None:
            yield payload
            continue
        data = connection.recv(1 << 16)
        if not data:
            return
        stream.add(data)
