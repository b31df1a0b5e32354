#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "tool.h"

namespace tool {

namespace {

std::string digestOf(Input& input) {
    zan::MD5 md5;
    zan::Bytes chunk;
    while (input.read(chunk)) md5.update(chunk);
    md5.finish();
    zan::String digest;
    zan::String text;
    md5.getDigest(digest);
    zan::Hex16::encode(digest, text);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// As md5sum writes a name that has a line feed or a backslash: escaped, with a backslash ahead of
// the line.
std::string escaped(std::string const& name) {
    std::string out;
    for (char const c : name) out += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
    return out;
}

std::string unescaped(std::string const& name) {
    std::string out;
    for (unsigned long i = 0; i != name.size(); ++i) {
        bool const escape = name[i] == '\\' && i + 1 != name.size();
        if (escape) ++i;
        out += escape && name[i] == 'n' ? '\n' : name[i];
    }
    return out;
}

struct Digest {
    std::vector<std::string> files;
    bool check = false;
    bool quiet = false;

    int operator()() const {
        return forEach(files, [this](Input& input) {
            if (check) return checkList(input);
            std::string const name = input.standardInput() ? "-" : input.name();
            std::string const shown = escaped(name);
            write(zan::String(shown == name ? "" : "\\")
                  << digestOf(input) << "  " << shown << "\n");
            return int(OK);
        });
    }

    // Lines as this command and md5sum print them: 32 digits, two blanks or a blank and '*', a
    // name.
    int checkList(Input& list) const {
        constexpr unsigned long DIGITS = 32;
        zan::String const text = list.readAll();
        int worst = OK;
        unsigned long line = 0;
        for (unsigned long at = 0; at < text.size();) {
            unsigned long const end = std::min(text.find('\n', at), text.size());
            bool const escapes = text[at] == '\\';
            std::string const row = text.substr(at + escapes, end - at - escapes);
            at = end + 1;
            ++line;
            bool const fits = row.size() > DIGITS + 2 && row[DIGITS] == ' ' &&
                              (row[DIGITS + 1] == ' ' || row[DIGITS + 1] == '*') &&
                              std::all_of(row.begin(), row.begin() + DIGITS, zan::Hex16::isHexChar);
            if (!fits) {
                complain(list.name() + ":" + std::to_string(line) + ":1: no line of digests");
                worst = std::max<int>(worst, WRONG);
                continue;
            }
            std::string wanted = row.substr(0, DIGITS);
            std::transform(wanted.begin(), wanted.end(), wanted.begin(), [](char c) {
                return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
            });
            std::string const shown = row.substr(DIGITS + 2);
            std::string const name = escapes ? unescaped(shown) : shown;
            worst = std::max(worst, forEach({name}, [&](Input& input) {
                                 bool const same = digestOf(input) == wanted;
                                 if (!same || !quiet)
                                     write(zan::String(shown) << (same ? ": OK\n" : ": differs\n"));
                                 return int(same ? OK : WRONG);
                             }));
        }
        if (line == 0) {
            complain(list.name() + ": no line of digests");
            worst = std::max<int>(worst, WRONG);
        }
        return worst;
    }
};

}  // namespace

void addDigest(CLI::App& app) {
    auto const digest = std::make_shared<Digest>();
    CLI::App* const command = addCommand(
        app, "digest",
        "Print MD5 digests, or compare files with a list of them. The lists are those of md5sum. "
        "MD5 finds damage; it is no protection against somebody who means harm.",
        "zan digest *.log > sums && zan digest --check sums", [digest] { return (*digest)(); });
    CLI::Option* const check = command->add_flag(
        "-c,--check", digest->check, "The inputs are lists; name each file in them as OK or not");
    command->add_flag("-q,--quiet", digest->quiet, "Name only files that differ")->needs(check);
    addFiles(*command, digest->files);
}

}  // namespace tool
