#include "zan/util/cmdline.h"

#include <cstring>

#include "zan/platform/native_path.h"
#include "zan/util/names.h"

namespace zan {

CmdLine& CmdLine::init(int argc, wchar_t** argv) {
    argc_ = argc;
    argv_ = argv;
    if (argc <= 0) return *this;
    cmd_ = Filename(iwstr(argv[0])).file();
    args_.resize(static_cast<std::size_t>(argc - 1));
    for (std::size_t i = 0; i < args_.size(); ++i)
        args_[i] = static_cast<wchar_t const*>(argv[i + 1]);
    return *this;
}

dumper& CmdLine::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::CmdLine");
    std::vector<std::wstring> const texts(argv_, argv_ + argc_);
    d << indent << namestring("argc_") << argc_ << endline;
    d << indent << namestring("argv");
    detail::dumpIndexed(d, "zan::array", texts) << endline;
    d << indent << namestring("cmd_") << cmd_ << endline;
    d << indent << namestring("args_") << args_ << endline;
    return d;
}

std::ostream& CmdLine::dump(std::ostream& os) const {
    dumper d(os);
    dump(d);
    return os;
}

WideArgs::WideArgs(int argc, char** argv) {
    for (int i = 0; i < argc; ++i)
        texts_.push_back(platform::libraryPath(argv[i], std::strlen(argv[i])));
    for (std::wstring& text : texts_) pointers_.push_back(text.data());
    pointers_.push_back(nullptr);
}

}  // namespace zan
