#include "zan/tcp/tcp_client.h"

#include "zan/base/mlcheck.h"
#include "zan/log/log_tracer.h"
#include "zan/tcp/tcp_client_impl.h"
#include "zan/tcp/tcp_log.h"

namespace zan {

namespace tcp {

class ClientImpl : noncopyable {
public:
    bool open(TcpAddr const& addr, Handle<TcpCallback> const& callback, int timeout, int bufferSize,
              unsigned long maxFrameSize) {
        MutexLock const opening(openMutex_);
        close();
        try {
            Handle<TcpClientImpl> const client(
                ZAN_NEW(TcpClientImpl(addr, callback, timeout, bufferSize, maxFrameSize)));
            set(client);
            client->startAndWait(0);
            // What the server does behind its accept is for onClose to tell.
            return client->localPort() != 0;
        } catch (std::exception const& e) {
            ZAN_TCP_ERROR("no thread to connect to " << addr << ": " << e.what());
            return false;
        }
    }

    void close() {
        if (Handle<TcpClientImpl> const client = set(nullptr)) client->stop();
    }

    Handle<TcpClientImpl> get() const {
        MutexLock const guard(mutex_);
        return client_;
    }

private:
    // Gives the former one.
    Handle<TcpClientImpl> set(Handle<TcpClientImpl> client) {
        MutexLock const guard(mutex_);
        client_.swap(client);
        return client;
    }

    Mutex openMutex_;
    Mutex mutex_;  // guards client_
    Handle<TcpClientImpl> client_;
};

}  // namespace tcp

TcpClient::TcpClient() : impl_(ZAN_NEW(tcp::ClientImpl)) {}

TcpClient::~TcpClient() {
    close();
    ZAN_DELETE(impl_);
}

bool TcpClient::open(TcpAddr const& addr, Handle<TcpCallback> callback, int timeout,
                     int bufferSize) {
    ZAN_TRACE_ENTRY_INFO(detail::zanLogger(), addr);
    return impl_->open(addr, callback, timeout, bufferSize, maxFrameSize_);
}

void TcpClient::close() {
    ZAN_TRACE_ENTRY(detail::zanLogger());
    impl_->close();
}

bool TcpClient::send(istr const& data, int timeout) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    if (Handle<TcpClientImpl> const client = impl_->get()) return client->send(data, timeout);
    ZAN_TCP_LINE(tcp::INFO, "null tcp client impl");
    return false;
}

unsigned short TcpClient::getLocalPort() const {
    Handle<TcpClientImpl> const client = impl_->get();
    return client ? client->localPort() : static_cast<unsigned short>(0);
}

}  // namespace zan
