#pragma once

#include <zan/zan.h>

// What travels between courier_send and courier_server. Each message is one frame, and each frame
// is one NBR value: a list whose child 0 says which message it is. A connection carries one file
// after the other:
//
//     sender    Begin, Chunk, Chunk, ... , End
//     server           Progress, ...        Receipt
//
// The server answers a Chunk with a Progress once it is on its disk, so the sender knows how much
// is under way, and ends each file with a Receipt, which may come at any time if something is
// wrong. What still arrives of that file is then ignored. A Folder stands alone and has a Receipt,
// too.

namespace courier {

enum Kind : unsigned char { BEGIN = 1, CHUNK = 2, END = 3, RECEIPT = 4, PROGRESS = 5, FOLDER = 6 };

// How many bytes of a file go into one Chunk, and how many of these may be under way.
constexpr unsigned long CHUNK_SIZE = 256 * 1024;
constexpr unsigned long WINDOW = 8 * CHUNK_SIZE;
// The longest frame that either side takes. Chunks of up to 1 MiB are legal.
constexpr unsigned long MAX_CHUNK = 1024 * 1024;
constexpr unsigned long MAX_FRAME = MAX_CHUNK + 64 * 1024;

// Which message a frame holds, 0 if it is none. Throws zan::nbr::DecodeException for bytes that are
// no NBR.
unsigned char kindOf(zan::istr const& frame);

// The base of all messages: its fields are children 1, 2, 3... A field that is missing on arrival
// keeps its value.
class Message : public zan::nbr::CodecInterface {
public:
    // The encoded message; valid until the stream is used again.
    zan::istr toFrame(zan::nbr::OutputStream& out);
    // Views in the message are then views of the frame.
    void fromFrame(zan::istr const& frame);

    // Which file on this connection, counted by the sender from 1.
    zan::Ulong transfer;

protected:
    explicit Message(Kind kind) : kind_(kind) {}
    void codec(zan::nbr::CodecStream& s) override;
    // Names each field once, for both directions.
    template <class T>
    static void field(zan::nbr::CodecStream& s, unsigned char id, T& value) {
        if (s.encoding())
            s.bos().write(id, value);
        else
            s.bis().read(id, value);
    }
    virtual void fields(zan::nbr::CodecStream& s) = 0;

private:
    Kind kind_;
};

struct Begin : Message {
    Begin() : Message(BEGIN) {}
    zan::istr name;  // relative, with '/'; bytes, since a file's name need not be text
    zan::Ulonglong size;
    zan::Time modified;
    zan::istr salt;  // of the encryption, empty without; see Coder

protected:
    void fields(zan::nbr::CodecStream& s) override;
};

struct Chunk : Message {
    enum : unsigned int { GZIPPED = 1, ENCRYPTED = 2 };

    Chunk() : Message(CHUNK) {}
    zan::Ulonglong offset;  // in the file, as it is before any coding
    zan::istr bytes;
    zan::Ulong coding;  // how the bytes were made, in the order of the bits
    zan::Ulong packed;  // their number ahead of the encryption, which fills up

protected:
    void fields(zan::nbr::CodecStream& s) override;
};

struct End : Message {
    End() : Message(END) {}
    zan::Ulong crc;  // of the whole content, as zlib has it
    zan::istr md5;   // the same, 16 bytes

protected:
    void fields(zan::nbr::CodecStream& s) override;
};

// A folder without files, which no name of a file tells of.
struct Folder : Message {
    Folder() : Message(FOLDER) {}
    zan::istr name;

protected:
    void fields(zan::nbr::CodecStream& s) override;
};

struct Receipt : Message {
    Receipt() : Message(RECEIPT) {}
    zan::Bit stored;
    zan::String text;  // what was stored, or why not

protected:
    void fields(zan::nbr::CodecStream& s) override;
};

struct Progress : Message {
    Progress() : Message(PROGRESS) {}
    zan::Ulonglong received;  // bytes of this file, all in all

protected:
    void fields(zan::nbr::CodecStream& s) override;
};

// The CRC of `bytes` behind what `crc` stands for; begins with 0.
unsigned int addCrc(unsigned int crc, zan::istr const& bytes);

// A name as it may stand in a line of text: what could end or colour the line is shown in
// hexadecimal.
zan::String shown(zan::istr const& name);

}  // namespace courier
