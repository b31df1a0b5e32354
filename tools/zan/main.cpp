// zan: looks at, checks and converts what programs on the zan library read and write.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

#include "help.h"
#include "tool.h"

namespace {

// "wrong arguments: ...", and where help is.
int usage(CLI::App const& app, CLI::ParseError const& error) {
    CLI::App const* command = &app;
    std::string name = "zan";
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += ' ' + command->get_name();
    }
    std::vector<std::string> const left = command->remaining();
    if (dynamic_cast<CLI::RequiredError const*>(&error) != nullptr && !left.empty())
        tool::complain("unknown command: " + left.front());
    else
        tool::complain(error.what());
    std::fprintf(stderr, "Try '%s --help'.\n", name.c_str());
    return tool::TROUBLE;
}

int run(int argc, char** argv) {
    CLI::App app("Looks at, checks and converts what programs on the zan library read and write.",
                 "zan");
    app.require_subcommand(1);
    app.formatter(std::make_shared<tool::Help>());
    app.set_version_flag("--version", "zan " ZAN_TOOL_VERSION, "Print the version and exit");
    app.footer(
        "Exit codes:\n"
        "  0  all is well\n"
        "  1  the input is wrong, differs, or has not what was asked for\n"
        "  2  it could not be looked at: wrong arguments, no such file, a full disk\n\n"
        "Example:\n"
        "  zan pml get log/filename courier.pml");
    tool::addPml(app);
    tool::addNbr(app);
    tool::addXml(app);
    tool::addLog(app);
    tool::addDigest(app);
    tool::addCodepage(app);
    tool::addVersion(app);

    std::string kind;
    CLI::App* const pages = app.add_subcommand("generate", "Print the man page or a completion");
    pages->group("");  // for the build, not for users
    pages->add_option("KIND", kind)->required()->check(CLI::IsMember({"man", "bash", "zsh"}));
    pages->callback([&] { tool::write(tool::generate(app, kind)); });

    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& e) {
        if (e.get_exit_code() != 0) return usage(app, e);
        app.exit(e);
    }
    tool::flushOutput();
    return tool::exitCode();
}

}  // namespace

int main(int argc, char** argv) {
    // A configuration file in the working directory is input here, and may be a broken one: it does
    // not configure this program. Nor is the log of the library meant for its user.
    setenv("QOV_CLI_CFG_FILE", "/dev/null", 1);
    zan::console::setOn(false);
    try {
        return run(argc, argv);
    } catch (std::bad_alloc const&) {
        tool::complain("out of memory");
    } catch (std::exception const& e) {
        tool::complain(e.what());
    }
    return tool::TROUBLE;
}
