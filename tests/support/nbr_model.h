#pragma once

#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "zan/nbr/lsd.h"

// A second opinion on NBR: the rules of the format in the plainest code, recursive and slow.
namespace zan_test {

struct NbrNode {
    bool complex = false;
    bool text = false;
    std::string data;
    // Children that are null included: direct look-up stops at them.
    std::vector<std::pair<unsigned char, std::optional<NbrNode>>> children;
};

class NbrModel {
public:
    explicit NbrModel(std::string bytes) : in_(std::move(bytes)) {}

    // Throws std::runtime_error, with the text of the library's exception.
    std::optional<NbrNode> value() {
        if (at_ == in_.size()) return {};
        if (!marked('(')) return simple();
        at_ += 3;
        NbrNode node;
        node.complex = true;
        while (at_ != in_.size() && !marked(')')) {
            unsigned char const id = take();
            if (at_ == in_.size()) return node;
            node.children.emplace_back(id, value());
        }
        if (at_ != in_.size()) at_ += 3;
        return node;
    }

private:
    bool marked(char last) const {
        return in_.compare(at_, 3, std::string("\xFF\x01") + last) == 0;
    }
    unsigned char take() { return static_cast<unsigned char>(in_[at_++]); }

    std::optional<NbrNode> simple() {
        unsigned const head = take();
        if (at_ == in_.size() || head == 0xFF) return {};
        std::ostringstream os;
        os << "zan::nbr::DecodeException: maybe not nbr: invalid ";
        if (head / 16 != 0 && head / 16 != 15) {
            os << "high part of lengthOfSize " << std::hex << head;
            throw std::runtime_error(os.str());
        }
        unsigned const width = head % 16;
        if (width == 0) return {};
        if (width > 4) {
            os << "lengthOfSize " << width;
            throw std::runtime_error(os.str());
        }
        if (in_.size() - at_ < width) return {};
        unsigned long size = 0;
        for (unsigned i = 0, shift = 0; i < width; ++i, shift += 8)
            size += static_cast<unsigned long>(take()) << shift;
        NbrNode node;
        node.text = head / 16 != 0;
        if (size == 0) return node;
        if (at_ == in_.size()) return {};
        node.data = in_.substr(at_, size);
        at_ += node.data.size();
        return node;
    }

    std::string in_;
    std::size_t at_ = 0;
};

// The place where the tree is not as the model says, empty where it is.
inline std::string nbrDifference(std::optional<NbrNode> const& want,
                                 zan::nbr::ValueBase const* got) {
    if (!want) return got == nullptr ? "" : " not null";
    if (got == nullptr) return " null";
    if (want->complex == got->simple()) return " of the other kind";
    if (!want->complex) {
        auto const* const simple = static_cast<zan::nbr::SimpleValue const*>(got);
        return zan::istr(want->data) == simple->data() ? "" : " other data";
    }
    auto const* const list = static_cast<zan::nbr::ComplexValue const*>(got);
    auto item = list->begin();
    for (auto const& [id, child] : want->children) {
        if (!child) continue;
        if (item == list->end()) return " too few children";
        if (item->id != id) return " other id";
        std::string const below = nbrDifference(child, item->value);
        if (!below.empty()) return " [" + std::to_string(id) + "]" + below;
        ++item;
    }
    if (item != list->end()) return " too many children";
    for (int id = 0; id < 256; ++id) {
        zan::nbr::ValueBase const* last = nullptr;
        for (auto const& i : *list)
            if (i.id == id) last = i.value;
        if (list->get(static_cast<unsigned char>(id)) != last) return " other child by id";
    }
    return "";
}

// Direct look-up: what the first child with this id is, where it is simple.
inline std::optional<NbrNode> nbrLookup(std::optional<NbrNode> const& tree, unsigned char id) {
    if (!tree || !tree->complex) return {};
    for (auto const& [childId, child] : tree->children) {
        if (childId != id) continue;
        if (!child || child->complex) return {};
        return child;
    }
    return {};
}

}  // namespace zan_test
