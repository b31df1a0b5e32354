#pragma once

#include "zan/base/base_type_value.h"
#include "zan/mt/mutex.h"
#include "zan/pml/pml_stream.h"

namespace zan {

class dumper;

// The library's configuration: one PML file, read at the first use of any service that asks for it.
// The top level is one unit of any name, with the keys as its children:
//
//     cfg(
//         enable(1)            (* 0 makes the configuration look empty *)
//         codepage(936)        (* of 8-bit text, for all conversions that name no other *)
//         log(filename(server.log) debugOn(0))
//     )
//
// The file is the one that the environment variable QOV_CLI_CFG_FILE names, else "p2p_config.pml"
// in the working directory. Without a file the defaults hold.
//
// Threads: instance() may be called by any thread, and builds once. load() takes no lock: call it
//   while nobody else reads the configuration, as at the start.
// Errors: a file that does not parse is a DecodeException, or a DuplicatedUnitException for a key
//   that stands there twice, with the file's name, the line and the column in the message. From
//   instance() it goes to the first caller only; after that the defaults hold until the file is
//   in order or load() names another one.
class ZAN_EXPORT ConfigFile : noncopyable {
public:
    static ConfigFile& instance();
    // The next instance() reads the file anew.
    static void destroy();
    // 65001, UTF-8, unless the configuration says otherwise.
    static unsigned long codepage();

    // Loads.
    ConfigFile();

    // Reads the file again. A key that is missing leaves the code page as it was.
    ConfigFile& load();
    ConfigFile& load(istr const& fileName);

    // What the file holds; an empty stream where it says enable(0). Take it at the moment of
    // reading, and keep no reference.
    pml::stream const& mps() const { return mps_[enable_ ? 0 : 1]; }
    // Nothing was loaded, not even the defaults.
    bool empty() const { return mps_[0].unit().empty(); }
    dumper& dump(dumper& d) const;

private:
    struct Unread {};
    struct Policy;

    explicit ConfigFile(Unread);
    void readKeys();

    Bit enable_;
    String config_;
    pml::stream mps_[2];
    Ulong codepage_ = 65001u;
};

}  // namespace zan
