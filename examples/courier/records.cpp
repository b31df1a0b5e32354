#include "records.h"

#include <utility>

namespace courier {

namespace fs = std::filesystem;

namespace {

template <class T>
void child(zan::XMLStream& s, char const* name, T& value) {
    if (s.isInputting())
        zan::XMLStream(zan::in_t(), name, s) >> value;
    else
        zan::XMLStream(zan::out_t(), name, s) << value;
}

// An attribute keeps every byte, where the text of an element loses blanks at its ends.
void attribute(zan::XMLStream& s, char const* name, zan::String& value) {
    if (s.isInputting())
        value = std::as_const(s).attr(name).value();
    else
        s.attr(name).value(value);
}

}  // namespace

void Record::codecXml(zan::XMLStream& s) {
    s.enter("file");
    attribute(s, "name", name);
    child(s, "size", size);
    child(s, "stored", stored);
    child(s, "md5", md5);
    child(s, "text", text);
    child(s, "time", time);
}

void Records::codecXml(zan::XMLStream& s) {
    s.enter("courier");
    attribute(s, "host", host);
    if (s.isInputting()) {
        files.clear();
        std::vector<zan::XMLNode*> nodes;
        std::as_const(s).node().getChildren("file", nodes);
        for (zan::XMLNode const* const node : nodes)
            files.emplace_back().decodeXml(zan::XMLInStream(*node));
    } else {
        for (Record const& file : files) {
            zan::XMLOutStream out(*s.node().addChildNode("file"));
            file.encodeXml(out);
        }
    }
}

zan::String Records::save(fs::path const& path) const {
    fs::path beside = path;
    beside += ".new";
    zan::FileWriter file(zan::libraryName(beside.native()));
    if (!file.valid() || !file.write(toXml(true))) return "cannot write: " + zan::getLastErrorMsg();
    file.close();
    std::error_code error;
    fs::rename(beside, path, error);
    return error ? zan::String(error.message()) : zan::String();
}

bool Records::load(fs::path const& path) {
    *this = Records();
    zan::FileReader file(zan::libraryName(path.native()));
    zan::Bytes text;
    if (!file.valid() || !file.readAll(text)) return false;
    zan::XMLParser parser(text);
    if (parser.rootNode() == nullptr || parser.rootNode()->name() != "courier") return false;
    fromXml(text);
    return true;
}

}  // namespace courier
