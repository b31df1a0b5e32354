#pragma once

#include <functional>
#include <memory>

namespace bench_tcp {

// An echo server of frames on 127.0.0.1: 4 bytes of size, most significant first, and the payload.
// Each client gets a thread, Nagle's algorithm is off, and buffers have the system's sizes.
class EchoServer {
public:
    virtual ~EchoServer() = default;
    virtual unsigned short port() const = 0;
};

using MakeServer = std::unique_ptr<EchoServer> (*)();

std::unique_ptr<EchoServer> makeRaw();
std::unique_ptr<EchoServer> makeRawAhead();
std::unique_ptr<EchoServer> makePoco();
std::unique_ptr<EchoServer> makeAsio();

}  // namespace bench_tcp
