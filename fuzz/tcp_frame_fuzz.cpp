// The input is a limit and a stream of bytes. Whatever it holds, the frames that come out are those
// that a plain reading of the format gives, wherever the stream is cut, and memory follows the
// bytes that have arrived.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "require.h"
#include "zan/tcp/connection.h"

namespace {

using Frames = std::vector<std::string>;
using zan::tcp::FrameBuffer;

unsigned long sizeAt(std::string const& s, unsigned long at) {
    unsigned long size = 0;
    for (unsigned long i = 0; i < 4; ++i) size = size << 8 | static_cast<unsigned char>(s[at + i]);
    return size;
}

Frames model(std::string const& stream, unsigned long limit) {
    Frames frames;
    for (unsigned long at = 0; stream.size() - at >= 4;) {
        unsigned long const size = sizeAt(stream, at);
        if (size > limit || stream.size() - at - 4 < size) break;
        frames.push_back(stream.substr(at + 4, size));
        at += 4 + size;
    }
    return frames;
}

// The bytes of the stream themselves say where it is cut.
Frames inPieces(std::string const& stream, unsigned long limit) {
    Frames frames;
    FrameBuffer buffer;
    unsigned long fed = 0;
    unsigned long most = 0;  // bytes that were there at once
    auto const fill = [&](unsigned long need) {
        while (buffer.available() < need) {
            if (fed == stream.size()) return false;
            zan::ostr room = buffer.room(need);
            require(!room.empty());
            unsigned long n = 1 + static_cast<unsigned char>(stream[fed]) % 61;
            n = std::min({n, room.max_size(), stream.size() - fed});
            std::memcpy(room.buffer(), stream.data() + fed, n);
            fed += n;
            buffer.arrived(n);
            most = std::max(most, buffer.available());
            require(buffer.capacity() <= std::max(FrameBuffer::FIRST_SIZE, 2 * most));
            if (n % 7 == 0) buffer.trim();
        }
        return true;
    };
    while (fill(FrameBuffer::HEADER_SIZE)) {
        unsigned long const size = buffer.announced();
        if (size > limit || !fill(FrameBuffer::HEADER_SIZE + size)) break;
        frames.emplace_back(buffer.data() + FrameBuffer::HEADER_SIZE, size);
        buffer.drop(FrameBuffer::HEADER_SIZE + size);
    }
    return frames;
}

Frames overSocket(std::string const& stream, unsigned long limit) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    require(write(ends[0], stream.data(), stream.size()) == static_cast<ssize_t>(stream.size()));
    close(ends[0]);
    zan::tcp::Connection connection(limit);
    connection.stream().set_handle(ends[1]);
    connection.opened(zan::TcpAddr());
    Frames frames;
    zan::istr data;
    while (connection.recv(data)) frames.push_back(data);
    return frames;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0 || size > 64 * 1024) return 0;
    unsigned long const limit = data[0] == 255 ? zan::TcpChannel::MAX_FRAME_SIZE : data[0] * 16ul;
    std::string const stream(reinterpret_cast<char const*>(data) + 1, size - 1);
    Frames const want = model(stream, limit);
    require(inPieces(stream, limit) == want);
    require(overSocket(stream, limit) == want);
    return 0;
}
