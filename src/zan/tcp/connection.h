#pragma once

#include <ace/SOCK_Stream.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "zan/tcp/frame_buffer.h"
#include "zan/tcp/frame_io.h"
#include "zan/tcp/tcp_impl_base.h"

namespace zan::tcp {

// A connected socket with all that its two sides share: whole frames in both directions, senders
// kept apart, and an end that any thread may bring about.
//
// The descriptor's number stays taken until close(), so no thread can meet another connection
// under it.
//
// A loop over recv() may take MESSAGES_IN_A_ROW before it comes back to its thread, whose own work
// for each pass is as much as a small message is worth.
//
// Threads: one thread, the owner, receives and closes. Any may send and end.
class Connection : noncopyable {
public:
    static constexpr int MESSAGES_IN_A_ROW = 32;

    // `server` is what the connections of one server have in common, to compare with; a client has
    // none.
    explicit Connection(unsigned long maxFrameSize, void const* server = nullptr)
        : maxFrameSize_(maxFrameSize), server_(server) {}
    ~Connection() { close(); }

    // The connection whose owner the calling thread is, or null.
    static Connection* own() { return own_; }
    // Says that the calling thread is the owner, or none any more.
    void adopt() { own_ = this; }
    static void abandon() { own_ = nullptr; }
    void const* server() const { return server_; }

    ACE_SOCK_Stream& stream() { return stream_; }
    // Once the stream is connected, before other threads know of it.
    void opened(TcpAddr const& peer);
    // Sets the options that both sides have; their failures cost speed at the most.
    void setOptions(int bufferSize);
    TcpAddr const& peer() const { return peer_; }

    // The next message; the view dies at the next call. False is the end of the connection, with
    // its reason in the log.
    bool recv(istr& data);
    // As TcpServer::send has it.
    bool send(istr const& data, int timeout);

    // Ends both directions: whoever reads or writes here comes back at once. The peer sees the end.
    void end();
    bool ended() const { return (state_.load(std::memory_order_acquire) & ENDED) != 0; }
    // end(), waits for senders to leave, and frees the descriptor. May be repeated.
    void close();

private:
    enum class Turn { Mine, Closed, Busy };
    // Bits of state_.
    enum : unsigned { SENDING = 1, WAITING = 2, ENDED = 4, NOT_OPEN = 8 };

    // The logging and the rarer cases stand apart, so that the few lines of code that each frame
    // takes stay together in the processor's cache.
    [[gnu::noinline]] bool recvMore(istr& data);
    [[gnu::noinline, gnu::cold]] bool recvSlowly(istr& data);
    bool sendFrame(istr frame, int timeout);
    [[gnu::noinline]] bool compose(istr const& data, int timeout);
    [[gnu::noinline, gnu::cold]] bool sendSlowly(istr const& data, int timeout);
    [[gnu::noinline, gnu::cold]] bool sendRest(istr frame, ssize_t sent, int timeout);
    [[gnu::noinline, gnu::cold]] bool finishSend(istr const& data, Sent sent);
    // Whether that is the message given out last, and its frame.
    bool gaveOut(istr const& data) const {
        return data.size() + FrameBuffer::HEADER_SIZE == taken_ &&
               data.data() == buffer_.data() + FrameBuffer::HEADER_SIZE;
    }
    istr lastFrame() const { return istr(buffer_.data(), taken_); }
    // Gives out the message at the buffer's front, if it is whole and allowed.
    bool giveOut(istr& data) {
        unsigned long const available = buffer_.available();
        if (available < FrameBuffer::HEADER_SIZE) return false;
        unsigned long const size = buffer_.announced();
        if (size > maxFrameSize_ || size > available - FrameBuffer::HEADER_SIZE) return false;
        taken_ = FrameBuffer::HEADER_SIZE + size;
        data = istr(buffer_.data() + FrameBuffer::HEADER_SIZE, size);
        return true;
    }
    bool fill(unsigned long need, char const* name);
    bool readMore(unsigned long need, char const* name);
    bool arrived(ssize_t n, int error, unsigned long need, char const* name);
    bool isLarge() const { return buffer_.capacity() > FrameBuffer::QUIET_SIZE; }
    void trimWhenQuiet(bool on);

    void giveTurn() {
        unsigned alone = SENDING;
        if (__builtin_expect(!state_.compare_exchange_strong(alone, 0), 0)) handOverTurn();
    }
    Turn waitForTurn(Deadline& deadline);
    void handOverTurn();

    static __thread Connection* own_ __attribute__((tls_model("initial-exec")));

    // What each frame needs comes first, and side by side.
    ACE_SOCK_Stream stream_;
    // A sender with nobody beside it takes and gives its turn by one exchange each. Whoever waits
    // for SENDING to go sets WAITING, or finds ENDED, under the lock: the sender then comes there.
    std::atomic<unsigned> state_{NOT_OPEN};
    unsigned long const maxFrameSize_;
    void const* const server_;
    // These three are the owner's.
    bool quietTimer_ = false;  // SO_RCVTIMEO is set
    unsigned long taken_ = 0;  // of the buffer's front, by the message that was given out last
    FrameBuffer buffer_;

    TcpAddr peer_;
    std::mutex mutex_;
    std::condition_variable changed_;
};

}  // namespace zan::tcp
