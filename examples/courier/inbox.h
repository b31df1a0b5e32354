#pragma once

#include <zan/zan.h>

#include <condition_variable>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "coder.h"
#include "messages.h"
#include "records.h"

namespace courier {

// Stores the files that arrive on the connections of one server. A file is written under a name of
// its own in the folder ".incoming" of the inbox, and moved to its place when it is complete and
// its CRC agrees; what goes wrong in between leaves nothing behind. A file that was there before is
// replaced. ".incoming/index.xml" lists the files as Records.
//
// Threads: called on the connections' threads. Each has its own Session, so only the tables that
// all share are locked.
class Inbox : public zan::TcpCallback {
public:
    // Makes the folders, reads the index, and removes what an earlier run may have left unfinished.
    // `key` is for files that come encrypted. Throws std::filesystem::filesystem_error.
    Inbox(zan::TcpServer& server, std::filesystem::path const& folder, zan::istr const& key);

    void onRecv(zan::TcpAddr const& peer, zan::istr const& data) override;
    void onClose(zan::TcpAddr const& peer) override;

    // By the monotonic clock; Time() where nothing has come from there.
    zan::Time lastHeard(zan::TcpAddr const& peer);
    // What is under way, and what has been.
    zan::dumper& dump(zan::dumper& d);

    // Writes the index if something was stored since; a failure is one line in the log.
    void saveIndex();

    // From now on no new file is begun.
    void drain();
    // Waits until none is under way; false after `seconds` without one of them ending or moving on.
    bool waitIdle(int seconds);
    // Lets waitIdle() return.
    void giveUp();

private:
    // One connection, and the file that is on its way there.
    struct Session {
        explicit Session(zan::istr const& key) : coder(key, false) {}

        unsigned int transfer = 0;
        zan::String name;
        std::filesystem::path temporary;  // empty: no file is on its way
        zan::FileWriter file;
        zan::uint64 size = 0;
        zan::uint64 received = 0;
        unsigned int crc = 0;
        std::optional<zan::MD5> md5;
        Coder coder;
        zan::Time modified;
        zan::Time lastHeard;  // guarded by the inbox's mutex
        bool begun() const { return !temporary.empty(); }

        zan::nbr::OutputStream out;  // its memory is used again for each answer
    };
    // A file as others see it.
    struct UnderWay {
        zan::TcpAddr from;
        zan::uint64 size = 0;
        zan::uint64 received = 0;
        zan::dumper& dump(zan::dumper& d) const;
    };
    using SessionPtr = std::shared_ptr<Session>;

    // These give the reason why the file cannot be stored, or nothing.
    zan::String begin(Session& session, zan::TcpAddr const& peer, Begin const& message);
    zan::String add(Session& session, Chunk const& message);
    zan::String finish(Session& session, End const& message);
    zan::String makeFolder(zan::istr const& name);
    void remember(Session const& session, zan::istr const& digest);

    zan::String checkName(zan::istr const& name) const;
    void close(Session& session);
    void left(bool stored);
    void fail(Session& session, zan::TcpAddr const& peer, zan::String const& reason);
    void send(Session& session, zan::TcpAddr const& peer, Message& message);

    zan::TcpServer& server_;
    std::filesystem::path const folder_;
    std::filesystem::path const incoming_;
    zan::String const key_;

    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    std::map<zan::TcpAddr, SessionPtr> sessions_;
    std::map<std::string, UnderWay> underWay_;  // by name
    std::map<zan::String, Record> index_;       // by name
    bool indexChanged_ = false;
    unsigned long stored_ = 0;
    unsigned long failed_ = 0;
    unsigned long active_ = 0;  // files begun whose receipts have not been sent
    unsigned long nextFile_ = 0;
    unsigned long steps_ = 0;  // grows with each chunk and each end
    bool draining_ = false;
    bool givenUp_ = false;
};

}  // namespace courier
