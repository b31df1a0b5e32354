#pragma once

#include <zan/zan.h>

#include <filesystem>
#include <vector>

namespace courier {

// What became of one file.
struct Record : zan::XMLCodecBase {
    zan::String name;  // bytes, since a file's name need not be text
    zan::Ulonglong size;
    zan::Bit stored;
    zan::String md5;   // in hexadecimal
    zan::String text;  // why it was not stored
    zan::Time time;

    void codecXml(zan::XMLStream& s) override;
};

// A list of files as XML: the sender's report, and the index that the server keeps of its inbox.
//
//     <courier host="127.0.0.1:4711">
//         <file name="docs/tcp.md">
//             <size>3180</size>
//             ...
struct Records : zan::XMLCodecBase {
    zan::String host;
    std::vector<Record> files;

    void codecXml(zan::XMLStream& s) override;

    // Written beside the file and moved to its name, so that whoever looks there sees the whole of
    // one state. Gives the reason why it failed, or nothing.
    zan::String save(std::filesystem::path const& path) const;
    // False for a file that is not there or has another content; the records are then empty.
    bool load(std::filesystem::path const& path);
};

}  // namespace courier
