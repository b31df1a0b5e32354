#include "messages.h"

#include <zlib.h>

namespace courier {

unsigned char kindOf(zan::istr const& frame) {
    zan::nbr::InputStream const in(frame, 0);
    zan::nbr::SimpleValue const* const value = in.getSimpleValue();
    unsigned char kind = 0;
    if (value != nullptr) value->read(kind);
    return kind;
}

zan::istr Message::toFrame(zan::nbr::OutputStream& out) {
    out.reset();
    encode(out);
    return out.str();
}

void Message::fromFrame(zan::istr const& frame) {
    zan::nbr::InputStream in(frame);
    decode(in);
}

void Message::codec(zan::nbr::CodecStream& s) {
    if (s.encoding()) {
        zan::nbr::OutputStream::Entry const entry(s.bos());
        s.bos().write(0, static_cast<unsigned char>(kind_));
        field(s, 1, transfer);
        fields(s);
    } else {
        field(s, 1, transfer);
        fields(s);
    }
}

void Begin::fields(zan::nbr::CodecStream& s) {
    field(s, 2, name);
    field(s, 3, size);
    field(s, 4, modified);
    field(s, 5, salt);
}

void Chunk::fields(zan::nbr::CodecStream& s) {
    field(s, 2, offset);
    field(s, 3, bytes);
    field(s, 4, coding);
    field(s, 5, packed);
}

void End::fields(zan::nbr::CodecStream& s) {
    field(s, 2, crc);
    field(s, 3, md5);
}

void Folder::fields(zan::nbr::CodecStream& s) {
    field(s, 2, name);
}

void Receipt::fields(zan::nbr::CodecStream& s) {
    field(s, 2, stored);
    field(s, 3, text);
}

void Progress::fields(zan::nbr::CodecStream& s) {
    field(s, 2, received);
}

unsigned int addCrc(unsigned int crc, zan::istr const& bytes) {
    return static_cast<unsigned int>(
        crc32_z(crc, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()));
}

zan::String shown(zan::istr const& name) {
    static char const HEX[] = "0123456789ABCDEF";
    zan::String text;
    for (char const c : name) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte >= 32 && byte != 127)
            text += c;
        else
            (text += "\\x") += std::string{HEX[byte >> 4], HEX[byte & 15]};
    }
    return text;
}

}  // namespace courier
