#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>

#include "support/text.h"
#include "support/vectors.h"
#include "zan/nbr/stream.h"

namespace {

using namespace zan_test;
namespace nbr = zan::nbr;

// The text of a value as the vectors have it, and back.
template <class T>
T valueOf(std::string const& text) {
    using D = zan::String;
    if constexpr (std::is_same_v<T, bool>)
        return text == "true";
    else if constexpr (std::is_same_v<T, std::wstring>)
        return zan::toWstring(zan::utf8(text));
    else if constexpr (std::is_same_v<T, D>)
        return D(text);
    else if constexpr (std::is_same_v<T, zan::Bytes>)
        return zan::Bytes(zan::istr(fromDigits(text)));
    else if constexpr (std::is_same_v<T, zan::Time>)
        return zan::Time::microSeconds(std::strtoll(text.c_str(), nullptr, 10));
    else if constexpr (std::is_floating_point_v<T>)
        return static_cast<T>(std::strtod(text.c_str(), nullptr));
    else if constexpr (std::is_unsigned_v<T>)
        return static_cast<T>(std::strtoull(text.c_str(), nullptr, 10));
    else
        return static_cast<T>(std::strtoll(text.c_str(), nullptr, 10));
}

struct Type {
    std::function<void(nbr::OutputStream&, std::string const&)> write;
    // Whether the value is the one of the text.
    std::function<bool(nbr::SimpleValue const&, std::string const&)> reads;
};

template <class T, class Wrapper = T>
Type typeOf() {
    Type t;
    t.write = [](nbr::OutputStream& out, std::string const& text) {
        out << Wrapper(valueOf<T>(text));
    };
    t.reads = [](nbr::SimpleValue const& value, std::string const& text) {
        std::conditional_t<std::is_same_v<T, wchar_t>, zan::Wchar, T> read{};
        value.read(read);
        if constexpr (std::is_same_v<T, float>)  // a few digits are enough
            return std::abs(read - valueOf<T>(text)) <= std::abs(read) / 10000;
        else if constexpr (std::is_same_v<T, zan::Bytes>)
            return zan::istr(read) == zan::istr(valueOf<T>(text));
        else
            return read == valueOf<T>(text);
    };
    return t;
}

template <class T>
Type constant() {
    return {[](nbr::OutputStream& out, std::string const&) { out << T(); }, nullptr};
}

Type const& type(std::string const& name) {
    static std::map<std::string, Type> const all = {
        {"null_type", constant<zan::null_type>()},
        {"empty_type", constant<zan::empty_type>()},
        {"bool", typeOf<bool>()},
        {"Bit", typeOf<bool, zan::Bit>()},
        {"unsigned char", typeOf<unsigned char>()},
        {"Byte", typeOf<unsigned char, zan::Byte>()},
        {"char", typeOf<char>()},
        {"Char", typeOf<char, zan::Char>()},
        {"short", typeOf<short>()},
        {"unsigned short", typeOf<unsigned short>()},
        {"Ushort", typeOf<unsigned short, zan::Ushort>()},
        {"Wchar", typeOf<wchar_t, zan::Wchar>()},
        {"int", typeOf<int>()},
        {"long", typeOf<long>()},
        {"unsigned int", typeOf<unsigned int>()},
        {"unsigned long", typeOf<unsigned long>()},
        {"Ulong", typeOf<unsigned int, zan::Ulong>()},
        {"__int64", typeOf<__int64>()},
        {"Longlong", typeOf<__int64, zan::Longlong>()},
        {"unsigned __int64", typeOf<zan::uint64>()},
        {"Ulonglong", typeOf<zan::uint64, zan::Ulonglong>()},
        {"float", typeOf<float>()},
        {"Float", typeOf<float, zan::Float>()},
        {"double", typeOf<double>()},
        {"Double", typeOf<double, zan::Double>()},
        {"Time", typeOf<zan::Time>()},
        {"String", typeOf<zan::String>()},
        {"std::wstring", typeOf<std::wstring>()},
        {"istr", typeOf<zan::Bytes>()},
        {"Bytes", typeOf<zan::Bytes>()}};
    return all.at(name);
}

void expectTree(nbr::ValueBase* made, std::string const& text, unsigned long line) {
    std::unique_ptr<nbr::ValueBase> const tree(made);
    EXPECT_EQ(text, dumped(tree.get(), true)) << "line " << line;
}

TEST(NbrVectors, WritersMakeTheseBytes) {
    for (Vector const& v : vectors("nbr.txt", "write")) {
        nbr::OutputStream out;
        type(v.fields[0]).write(out, v.fields[1]);
        EXPECT_EQ(zan::istr(fromDigits(v.fields[2])), out.str()) << "line " << v.line;
    }
}

TEST(NbrVectors, ReadersGetTheseValues) {
    for (Vector const& v : vectors("nbr.txt", "read")) {
        std::string const bytes = fromDigits(v.fields[1]);
        nbr::InputStream const in{zan::istr(bytes)};
        ASSERT_NE(nullptr, in.getSimpleValue()) << "line " << v.line;
        EXPECT_TRUE(type(v.fields[0]).reads(*in.getSimpleValue(), v.fields[2]))
            << "line " << v.line;
    }
}

TEST(NbrVectors, TreesAndLookUpsAndRefusals) {
    for (Vector const& v : vectors("nbr.txt", "tree")) {
        std::string const bytes = fromDigits(v.fields[0]);
        expectTree(nbr::parser::from(bytes), v.fields[1], v.line);
    }
    for (Vector const& v : vectors("nbr.txt", "find")) {
        std::string const bytes = fromDigits(v.fields[1]);
        auto const id = static_cast<unsigned char>(std::stoi(v.fields[0]));
        expectTree(nbr::parser::from(bytes, id), v.fields[2], v.line);
    }
    for (Vector const& v : vectors("nbr.txt", "fail")) {
        std::string const bytes = fromDigits(v.fields[0]);
        EXPECT_THROW(delete nbr::parser::from(bytes), nbr::DecodeException) << "line " << v.line;
    }
}

}  // namespace
