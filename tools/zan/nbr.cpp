#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>

#include "tool.h"

namespace tool {

namespace {

namespace nbr = zan::nbr;

// Steps over one value as a reader does, and finds what a reader is silent about.
class Walk {
public:
    explicit Walk(zan::istr const& data) : data_(data) {
        bool const any = value();
        while (any && !fault_ && depth_ != 0) {
            if (left() == 0) {
                fault_ = {at_, std::to_string(depth_) + (depth_ == 1 ? " list does" : " lists do") +
                                   " not end"};
            } else if (mark(0x29)) {
                at_ += 3;
                --depth_;
            } else {
                ++at_;
                value();
            }
        }
    }

    unsigned long size() const { return at_; }
    std::optional<Finding> const& fault() const { return fault_; }

private:
    unsigned char byte(unsigned long i) const { return static_cast<unsigned char>(data_[i]); }
    unsigned long left() const { return data_.size() - at_; }
    bool mark(unsigned char kind) const {
        return left() >= 3 && byte(at_) == 0xFF && byte(at_ + 1) == 1 && byte(at_ + 2) == kind;
    }
    bool fail(unsigned long offset, std::string text) {
        fault_ = {offset, std::move(text)};
        return false;
    }

    bool value() {
        if (left() == 0) return fail(at_, "the input ends where a value is due");
        if (mark(0x28)) {
            at_ += 3;
            ++depth_;
            return true;
        }
        unsigned char const head = byte(at_);
        if (head == 0xFF) return fail(at_, "a mark that is none");
        unsigned char const width = head & 0x0F;
        if (((head >> 4) != 0 && (head >> 4) != 0xF) || width > 4)
            return fail(at_, "a length byte cannot be " + std::to_string(head));
        ++at_;
        if (left() < width) return fail(at_, "the input ends in the size of a value");
        unsigned long size = 0;
        for (unsigned long i = 0; i != width; ++i)
            size |= static_cast<unsigned long>(byte(at_ + i)) << 8 * i;
        at_ += width;
        if (left() < size) {
            unsigned long const missing = size - left();
            at_ = data_.size();
            return fail(at_, "the input ends in a value, " + std::to_string(missing) +
                                 " bytes are missing");
        }
        at_ += size;
        return true;
    }

    zan::istr data_;
    unsigned long at_ = 0;
    unsigned long depth_ = 0;
    std::optional<Finding> fault_;
};

struct Dump {
    std::vector<std::string> files;
    bool frames = false;
    bool all = false;
    bool hex = false;
    bool compact = false;

    int operator()() const {
        return forEach(files, [this](Input& input) {
            if (frames && !hex) return dumpFrames(input, nullptr);
            zan::String bytes = input.readAll();
            if (hex) bytes = fromHex(input.name(), bytes);
            if (frames) return dumpFrames(input, &bytes);
            return dumpValues(input.name(), bytes, 0);
        });
    }

    static int wrong(std::string const& name, Finding const& f) {
        complain(name + ": byte " + std::to_string(f.offset) + ": " + f.text);
        return WRONG;
    }

    // Digits in pairs; white space between them does not count.
    static zan::String fromHex(std::string const& name, zan::String const& text) {
        zan::String digits;
        for (unsigned long i = 0; i != text.size(); ++i) {
            char const c = text[i];
            if (zan::Hex16::isHexChar(c)) {
                digits += c;
            } else if (!zan::CharIsSpace(c)) {
                Place const place(text, i);
                throw Trouble(name + ":" + std::to_string(place.line) + ":" +
                                  std::to_string(place.column) +
                                  ": no hexadecimal digit: " + inQuotes(zan::istr(&text[i], 1)),
                              WRONG);
            }
        }
        if (digits.size() % 2 != 0) throw Trouble(name + ": half a byte at the end", WRONG);
        zan::Bytes bytes;
        zan::Hex16::decode(digits, bytes);
        return zan::String(zan::istr(bytes));
    }

    // `offset` is that of the bytes in their input.
    int dumpValues(std::string const& name, zan::istr data, unsigned long offset) const {
        int result = OK;
        do {
            Walk const walk(data);
            show(name, data, walk);
            if (walk.fault())
                return wrong(name, {offset + walk.fault()->offset, walk.fault()->text});
            data = data.removeLeft(walk.size());
            offset += walk.size();
        } while (all && !data.empty());
        if (!data.empty())
            result = wrong(name, {offset, std::to_string(data.size()) +
                                              " bytes behind the value, which readers ignore"});
        return result;
    }

    void show(std::string const& name, zan::istr const& data, Walk const& walk) const {
        try {
            std::unique_ptr<nbr::ValueBase> const tree(nbr::parser::from(data));
            zan::dumper d(compact);
            if (tree != nullptr)
                tree->dump(d);
            else if (!walk.fault())
                d << zan::rawstring("null");
            else
                return;
            zan::String text = d.str();
            if (!text.empty() && text.front() == '\n') text.erase(0, 1);
            write(text << "\n");
        } catch (nbr::DecodeException const& e) {
            // The walk has found the place, unless it errs.
            if (!walk.fault()) throw Trouble(name + ": " + e.msg(), WRONG);
        }
    }

    // One frame after the other, as they arrive. The size that a frame announces reserves nothing.
    int dumpFrames(Input& input, zan::String const* bytes) const {
        constexpr unsigned long HEAD = 4;
        zan::String waiting;
        unsigned long offset = 0;
        unsigned long number = 0;
        int result = OK;
        zan::Bytes chunk;
        bool more = true;
        while (more) {
            if (bytes != nullptr) {
                waiting = *bytes;
                more = false;
            } else {
                more = input.read(chunk);
                if (more) waiting += zan::istr(chunk);
            }
            unsigned long done = 0;
            while (waiting.size() - done >= HEAD) {
                zan::octets<HEAD> head(zan::istr(waiting).substr(done, HEAD));
                unsigned long const size = zan::ntoh(head);
                if (waiting.size() - done - HEAD < size) break;
                zan::istr const payload = zan::istr(waiting).substr(done + HEAD, size);
                write(zan::String("frame ") << ++number << ", " << size << " bytes\n");
                if (size != 0)
                    result =
                        std::max(result, dumpValues(input.name(), payload, offset + done + HEAD));
                done += HEAD + size;
            }
            waiting.erase(0, done);
            offset += done;
            flushOutput();
        }
        if (!waiting.empty())
            result = wrong(input.name(), {offset + waiting.size(),
                                          "the input ends in a frame that began at byte " +
                                              std::to_string(offset)});
        return result;
    }
};

}  // namespace

void addNbr(CLI::App& app) {
    CLI::App* const group = addGroup(app, "nbr", "NBR, the binary encoding of messages");
    auto const dump = std::make_shared<Dump>();
    CLI::App* const command = addCommand(
        *group, "dump",
        "Print the tree of a value. Text stands in quotes, bytes in hexadecimal digits.",
        "echo 'FF 01 28 01 01 01 05 FF 01 29' | zan nbr dump --hex", [dump] { return (*dump)(); });
    command->add_flag("-x,--hex", dump->hex, "The input is text: hexadecimal digits");
    command->add_flag("-f,--frames", dump->frames,
                      "The input is a connection: frames with a value in each");
    command->add_flag("-a,--all", dump->all, "The input is one value behind the other");
    command->add_flag("-c,--compact", dump->compact, "One line for each value");
    addFiles(*command, dump->files);
}

}  // namespace tool
