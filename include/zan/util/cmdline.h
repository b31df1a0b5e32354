#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "zan/base/base_type_string.h"
#include "zan/log/log_dumper.h"

namespace zan {

// A program's command line, converted once.
//
// Ownership: the vector of arguments is not owned and must outlive the object's dump().
class ZAN_EXPORT CmdLine {
public:
    CmdLine() { init(0, nullptr); }
    CmdLine(int argc, wchar_t** argv) { init(argc, argv); }

    // With `argc` of 0, the program's name and the arguments stay as they are.
    CmdLine& init(int argc, wchar_t** argv);

    // The program's file name, without directories.
    std::wstring& cmd() { return cmd_; }
    std::wstring const& cmd() const { return cmd_; }
    // Without the program's name.
    std::vector<String>& args() { return args_; }
    std::vector<String> const& args() const { return args_; }

    dumper& dump(dumper& d) const;
    std::ostream& dump(std::ostream& os) const;

private:
    int argc_ = 0;
    wchar_t** argv_ = nullptr;
    std::wstring cmd_;
    std::vector<String> args_;
};

// Wide arguments for UowMain, from those of an ordinary main(): decoded by the locale's charset,
// UTF-8 where that is "C". Bytes that are no text come back unchanged in file names.
//
//     int main(int argc, char** argv) {
//         zan::WideArgs const args(argc, argv);
//         Program program(args.argc(), args.argv());
class ZAN_EXPORT WideArgs {
public:
    WideArgs(int argc, char** argv);
    WideArgs(WideArgs const&) = delete;
    WideArgs& operator=(WideArgs const&) = delete;
    int argc() const { return static_cast<int>(texts_.size()); }
    // Valid as long as this object; a null pointer follows the last argument.
    wchar_t** argv() const { return pointers_.data(); }

private:
    std::vector<std::wstring> texts_;
    mutable std::vector<wchar_t*> pointers_;
};

}  // namespace zan
