#pragma once

#include <algorithm>
#include <cstring>
#include <list>
#include <memory>
#include <vector>

#include "zan/base/base_type_view.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan {

// Lines waiting for their file, in order of arrival. The text of many lines stands in one block, so
// a line costs its text and eight bytes, needs no allocation of its own, and a run of lines goes to
// the file in one write.
//
// Threads: none of its own; the logger's cache lock guards it.
class LineCache {
public:
    LineCache() = default;
    LineCache(LineCache&&) noexcept = default;
    LineCache& operator=(LineCache&&) noexcept = default;

    bool empty() const { return lines_ == 0; }
    unsigned long lines() const { return lines_; }
    unsigned long bytes() const { return bytes_; }
    // How many lines keep() has dropped since the last resetDropped().
    unsigned long dropped() const { return dropped_; }
    void resetDropped() { dropped_ = 0; }

    void add(istr const& line) {
        if (blocks_.empty() || !blocks_.back().fits(line.size())) addBlock(line.size());
        blocks_.back().add(line);
        ++lines_;
        bytes_ += line.size();
    }

    // Drops the oldest lines, as long as more than `bytes` and more than `lines` remain.
    void keep(unsigned long bytes, unsigned long lines) {
        while (bytes_ > bytes && lines_ > lines) {
            Block& block = blocks_.front();
            bytes_ -= block.line(block.first).size();
            --lines_;
            ++dropped_;
            if (++block.first == block.ends.size()) blocks_.pop_front();
        }
    }

    // Calls `line(istr)` for each line. Consecutive calls within a block are adjacent in memory.
    template <class Function>
    void forEach(Function line) const {
        for (Block const& block : blocks_)
            for (unsigned long i = block.first; i < block.ends.size(); ++i) line(block.line(i));
    }

    // Forgets the lines, and keeps a block or two for the next ones.
    void recycle() {
        lines_ = bytes_ = 0;
        while (blocks_.size() > KEPT_BLOCKS) blocks_.pop_back();
        for (auto it = blocks_.begin(); it != blocks_.end();) {
            if (it->capacity == BLOCK) {
                it->clear();
                ++it;
            } else {
                it = blocks_.erase(it);
            }
        }
        spare_.splice(spare_.end(), blocks_);
    }
    // Takes over the other's spare blocks.
    void takeSpare(LineCache& other) {
        if (spare_.size() < KEPT_BLOCKS) spare_.splice(spare_.end(), other.spare_);
        other.spare_.clear();
    }

    dumper& dump(dumper& d) const {
        dumper::_Entry const entry(d, "zan::list");
        forEach([&d](istr const& line) { d << indent << line << endline; });
        return d;
    }

private:
    static constexpr unsigned long BLOCK = 32 * 1024;
    static constexpr unsigned long KEPT_BLOCKS = 32;

    struct Block {
        explicit Block(unsigned long size) : text(new char[size]), capacity(size) {}
        bool fits(unsigned long n) const { return n <= capacity - used(); }
        unsigned long used() const { return ends.empty() ? 0 : ends.back(); }
        void add(istr const& line) {
            unsigned long const begin = used();
            if (!line.empty()) std::memcpy(text.get() + begin, line.data(), line.size());
            if (ends.size() == ends.capacity()) {
                UncheckedBlocks const lifelong;
                ends.reserve(std::max(ends.size() * 2, 8ul));
            }
            ends.push_back(begin + line.size());
        }
        istr line(unsigned long i) const {
            unsigned long const begin = i == 0 ? 0 : ends[i - 1];
            return istr(text.get() + begin, ends[i] - begin);
        }
        void clear() {
            ends.clear();
            first = 0;
        }

        std::unique_ptr<char[]> text;
        unsigned long capacity;
        std::vector<unsigned long> ends;
        unsigned long first = 0;  // the lines before it were dropped
    };

    // The blocks grow from small ones, so that a quiet logger stays small.
    void addBlock(unsigned long need) {
        if (!spare_.empty() && need <= BLOCK) {
            blocks_.splice(blocks_.end(), spare_, spare_.begin());
            return;
        }
        UncheckedBlocks const lifelong;  // what is never written stays with the logger
        unsigned long size = blocks_.empty() ? 2 * 1024 : BLOCK;
        blocks_.emplace_back(need > size ? need : size);
    }

    std::list<Block> blocks_;
    std::list<Block> spare_;
    unsigned long lines_ = 0;
    unsigned long bytes_ = 0;
    unsigned long dropped_ = 0;
};

}  // namespace zan
