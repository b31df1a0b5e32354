#include "inbox.h"

#include <chrono>

namespace courier {

namespace fs = std::filesystem;

namespace {

// How long an answer may take to leave, in seconds. A sender that reads none is given up.
constexpr int SEND_TIMEOUT = 30;
char const INCOMING[] = ".incoming";
char const INDEX[] = "index.xml";

zan::logger& log() {
    return zan::logger_factory::instance(zan::LOGGER_ID);
}

fs::file_time_type toFileTime(zan::Time const& time) {
    // The two clocks have different beginnings.
    auto const now = std::chrono::system_clock::now();
    std::chrono::system_clock::time_point const point{
        std::chrono::microseconds(time.toMicroSeconds())};
    return fs::file_time_type::clock::now() +
           std::chrono::duration_cast<fs::file_time_type::duration>(point - now);
}

}  // namespace

Inbox::Inbox(zan::TcpServer& server, fs::path const& folder, zan::istr const& key)
    : server_(server), folder_(folder), incoming_(folder / INCOMING), key_(key) {
    fs::create_directories(incoming_);
    Records known;
    fs::path const index = incoming_ / INDEX;
    if (!known.load(index) && fs::exists(index))
        ZAN_WARNING(log(), "the index does not parse, a new one is begun");
    for (Record& file : known.files) {
        std::error_code none;
        if (fs::exists(folder_ / std::string(file.name), none)) index_[file.name] = file;
    }
    for (auto const& left : fs::directory_iterator(incoming_))
        if (left.path() != index) fs::remove(left);
}

// --- Messages

void Inbox::onRecv(zan::TcpAddr const& peer, zan::istr const& data) {
    SessionPtr session;
    {
        std::lock_guard<std::mutex> const guard(mutex_);
        SessionPtr& entry = sessions_[peer];
        if (!entry) entry = std::make_shared<Session>(key_);
        session = entry;
        session->lastHeard = zan::Time::now(zan::Time::Monotonic);
        ++steps_;
    }
    // An exception, for instance of bytes that are no NBR, may leave this function: the library
    // reports it and ends the connection, and onClose tidies up.
    unsigned char const kind = kindOf(data);
    if (kind == BEGIN) {
        Begin message;
        message.fromFrame(data);
        if (session->begun()) fail(*session, peer, "another file began before its end");
        session->transfer = message.transfer;
        session->name = message.name;
        session->coder.begin(message.salt);
        zan::String const reason = begin(*session, peer, message);
        if (!reason.empty()) fail(*session, peer, reason);
    } else if (kind == CHUNK) {
        Chunk message;
        message.fromFrame(data);
        if (!session->begun() || message.transfer != session->transfer) return;
        zan::String const reason = add(*session, message);
        if (!reason.empty()) return fail(*session, peer, reason);
        Progress progress;
        progress.transfer = message.transfer;
        progress.received = session->received;
        send(*session, peer, progress);
    } else if (kind == END) {
        End message;
        message.fromFrame(data);
        if (!session->begun() || message.transfer != session->transfer) return;
        zan::String const reason = finish(*session, message);
        if (!reason.empty()) return fail(*session, peer, reason);
        ZAN_INFO(log(), "stored " << shown(session->name) << ", " << session->size << " bytes from "
                                  << peer);
        Receipt receipt;
        receipt.transfer = message.transfer;
        receipt.stored = true;
        receipt.text = session->name;
        close(*session);
        send(*session, peer, receipt);
        left(true);
    } else if (kind == FOLDER) {
        Folder message;
        message.fromFrame(data);
        Receipt receipt;
        receipt.transfer = message.transfer;
        receipt.text = makeFolder(message.name);
        receipt.stored = receipt.text.empty();
        ZAN_INFO(log(), (receipt.stored ? "made folder " : "not made folder ")
                            << shown(message.name) << " from " << peer << receipt.text);
        send(*session, peer, receipt);
    } else {
        ZAN_USER_THROW_MSG(log(), zan::InvalidDataException,
                           "unexpected message " << static_cast<int>(kind));
    }
}

void Inbox::onClose(zan::TcpAddr const& peer) {
    SessionPtr session;
    {
        std::lock_guard<std::mutex> const guard(mutex_);
        auto const it = sessions_.find(peer);
        if (it == sessions_.end()) return;
        session = it->second;
        sessions_.erase(it);
    }
    if (!session->begun()) return;
    ZAN_INFO(log(),
             "not stored " << shown(session->name) << " from " << peer << ": the connection ended");
    close(*session);
    left(false);
}

// --- A file

zan::String Inbox::begin(Session& session, zan::TcpAddr const& peer, Begin const& message) {
    zan::String const reason = checkName(session.name);
    if (!reason.empty()) return reason;
    {
        std::lock_guard<std::mutex> const guard(mutex_);
        if (draining_) return "the server is stopping";
        if (!underWay_.insert({session.name, {peer, message.size, 0}}).second)
            return "a file of this name is under way";
        session.temporary = incoming_ / std::to_string(++nextFile_);
        ++active_;
    }
    session.size = message.size;
    session.modified = message.modified;
    session.received = 0;
    session.crc = 0;
    session.md5.emplace();
    if (!session.file.open(zan::libraryName(session.temporary.native())))
        return "cannot write: " + zan::getLastErrorMsg();
    return zan::String();
}

// A name must stay below the inbox, whatever the folder holds.
zan::String Inbox::checkName(zan::istr const& name) const {
    if (name.empty()) return "empty name";
    fs::path place = folder_;
    unsigned long begin = 0;
    for (unsigned long i = 0; i <= name.size(); ++i) {
        if (i < name.size() && name[i] == 0) return "NUL in the name";
        // A separator on other systems, and in this library's own names.
        if (i < name.size() && name[i] == '\\') return "backslash in the name";
        if (i < name.size() && name[i] != '/') continue;
        std::string const part = name.substr(begin, i - begin);
        if (part.empty()) return begin == 0 ? "absolute name" : "empty component in the name";
        if (part == "." || part == "..") return "the name leaves its folder";
        if (begin == 0 && part == INCOMING) return "the name is the server's own";
        begin = i + 1;
        if (i == name.size()) break;
        place /= part;
        std::error_code none;
        if (fs::is_symlink(place, none)) return "the name leads through a link";
    }
    return zan::String();
}

zan::String Inbox::add(Session& session, Chunk const& message) {
    if (message.offset != session.received)
        return zan::String() << "chunk at " << message.offset.value() << " where "
                             << session.received << " was due";
    zan::istr bytes;
    zan::String const reason = session.coder.decode(message, bytes);
    if (!reason.empty()) return reason;
    if (bytes.size() > session.size - session.received) return "more bytes than announced";
    if (!session.file.write(bytes)) return "cannot write: " + zan::getLastErrorMsg();
    session.crc = addCrc(session.crc, bytes);
    session.md5->update(bytes);
    session.received += bytes.size();
    ZAN_APP_INFO(log(), "COURIER.CHUNK",
                 shown(session.name) << ", " << session.received << " of " << session.size);
    std::lock_guard<std::mutex> const guard(mutex_);
    underWay_[session.name].received = session.received;
    return zan::String();
}

zan::String Inbox::finish(Session& session, End const& message) {
    if (session.received != session.size)
        return zan::String() << session.received << " bytes where " << session.size
                             << " were announced";
    zan::String digest;
    session.md5->update(zan::istr());  // an empty file has a digest, too
    session.md5->finish();
    session.md5->getDigest(digest);
    if (message.crc != session.crc) return "the CRC differs";
    if (!message.md5.empty() && message.md5 != zan::istr(digest)) return "the MD5 differs";
    session.file.close();
    fs::path const place = folder_ / std::string(session.name);
    std::error_code error;
    fs::last_write_time(session.temporary, toFileTime(session.modified), error);
    fs::create_directories(place.parent_path(), error);
    if (!error) fs::rename(session.temporary, place, error);
    if (error) return "cannot store: " + zan::String(error.message());
    remember(session, digest);
    return zan::String();
}

zan::String Inbox::makeFolder(zan::istr const& name) {
    zan::String const reason = checkName(name);
    if (!reason.empty()) return reason;
    fs::path const place = folder_ / std::string(name);
    std::error_code error;
    fs::create_directories(place, error);
    if (!error && fs::is_symlink(place)) return "the name leads through a link";
    return error ? "cannot store: " + zan::String(error.message()) : zan::String();
}

// --- The index

void Inbox::remember(Session const& session, zan::istr const& digest) {
    Record file;
    file.name = session.name;
    file.size = session.size;
    file.stored = true;
    zan::Hex16::encode(digest, file.md5);
    file.time = zan::Time::now();
    std::lock_guard<std::mutex> const guard(mutex_);
    index_[file.name] = file;
    indexChanged_ = true;
}

void Inbox::saveIndex() {
    Records records;
    {
        std::lock_guard<std::mutex> const guard(mutex_);
        if (!indexChanged_) return;
        indexChanged_ = false;
        for (auto const& file : index_) records.files.push_back(file.second);
    }
    zan::String const reason = records.save(incoming_ / INDEX);
    if (!reason.empty()) ZAN_WARNING(log(), "the index: " << reason);
}

// Whatever has become of the file: what is left of its writing goes.
void Inbox::close(Session& session) {
    session.file.close();
    // Where the name was refused it may be another session's.
    if (!session.begun()) return;
    std::error_code none;
    fs::remove(session.temporary, none);
    session.temporary.clear();
    std::lock_guard<std::mutex> const guard(mutex_);
    underWay_.erase(session.name);
}

// A file that was begun has its receipt, or nobody to get one.
void Inbox::left(bool stored) {
    std::lock_guard<std::mutex> const guard(mutex_);
    ++(stored ? stored_ : failed_);
    --active_;
    ++steps_;
    changed_.notify_all();
}

void Inbox::fail(Session& session, zan::TcpAddr const& peer, zan::String const& reason) {
    ZAN_INFO(log(), "not stored " << shown(session.name) << " from " << peer << ": " << reason);
    Receipt receipt;
    receipt.transfer = session.transfer;
    receipt.text = reason;
    bool const begun = session.begun();
    close(session);
    send(session, peer, receipt);
    if (begun) left(false);
}

void Inbox::send(Session& session, zan::TcpAddr const& peer, Message& message) {
    // A failure is in the log already, and ends the connection.
    server_.send(peer, message.toFrame(session.out), SEND_TIMEOUT);
}

// --- What others see

zan::Time Inbox::lastHeard(zan::TcpAddr const& peer) {
    std::lock_guard<std::mutex> const guard(mutex_);
    auto const it = sessions_.find(peer);
    return it == sessions_.end() ? zan::Time() : it->second->lastHeard;
}

zan::dumper& Inbox::UnderWay::dump(zan::dumper& d) const {
    zan::dumper::_Entry const entry(d, "courier::UnderWay");
    d << zan::indent << zan::namestring("from") << (zan::String() << from) << zan::endline;
    d << zan::indent << zan::namestring("size") << size << zan::endline;
    d << zan::indent << zan::namestring("received") << received << zan::endline;
    return d;
}

zan::dumper& Inbox::dump(zan::dumper& d) {
    std::lock_guard<std::mutex> const guard(mutex_);
    zan::dumper::_Entry const entry(d, "courier::Inbox");
    d << zan::indent << zan::namestring("folder_") << folder_.native() << zan::endline;
    d << zan::indent << zan::namestring("stored_") << stored_ << zan::endline;
    d << zan::indent << zan::namestring("failed_") << failed_ << zan::endline;
    d << zan::indent << zan::namestring("underWay_") << underWay_ << zan::endline;
    return d;
}

// --- The end

void Inbox::drain() {
    std::lock_guard<std::mutex> const guard(mutex_);
    draining_ = true;
}

bool Inbox::waitIdle(int seconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (active_ != 0 && !givenUp_) {
        unsigned long const before = steps_;
        changed_.wait_for(lock, std::chrono::seconds(seconds),
                          [&] { return active_ == 0 || givenUp_; });
        if (before == steps_) break;
    }
    return active_ == 0;
}

void Inbox::giveUp() {
    std::lock_guard<std::mutex> const guard(mutex_);
    givenUp_ = true;
    changed_.notify_all();
}

}  // namespace courier
