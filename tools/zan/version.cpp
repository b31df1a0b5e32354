#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>

#include "tool.h"

namespace tool {

void addVersion(CLI::App& app) {
    auto const details = std::make_shared<bool>(false);
    CLI::App* const command =
        addCommand(app, "version", "Print the version, and how the library was made",
                   "zan version --details", [details] {
                       write("zan " ZAN_TOOL_VERSION "\n");
                       if (!*details) return OK;
                       std::ostringstream os;
                       os << zan::show_version();
                       write(os.str());
                       return OK;
                   });
    command->add_flag("-d,--details", *details,
                      "The library's own report too: its version, times and compile switches");
}

}  // namespace tool
