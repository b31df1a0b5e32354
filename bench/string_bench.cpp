// Conversions of 1 MB of text as a log or a protocol has it: English and Chinese, numbers and
// punctuation, a run of each not longer than a few words.

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <random>
#include <string>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_string.h"

namespace {

constexpr unsigned long SIZE = 1 << 20;

std::wstring const& wideText() {
    static std::wstring const text = [] {
        wchar_t const* const words[] = {L"the quick brown fox ",
                                        L"connection accepted ",
                                        L"12345, ",
                                        L"caf\u00e9: ",
                                        L"\u4e2d\u6587\u6587\u672c\u8f6c\u6362\uff0c",
                                        L"\u6d4b\u8bd5\u6570\u636e",
                                        L"\u6587\u4ef6\u540d"};
        std::mt19937 random(20140611);
        std::wstring result;
        unsigned long bytes = 0;
        while (bytes < SIZE) {
            std::wstring const word = words[random() % 7];
            for (wchar_t c : word) bytes += c < 0x80 ? 1 : c < 0x800 ? 2 : 3;
            result += word;
        }
        return result;
    }();
    return text;
}

std::string const& utf8Text() {
    static std::string const text = [] {
        zan::Bytes bytes;
        zan::wstringToUtf8(wideText(), bytes);
        return std::string(zan::istr(bytes));
    }();
    return text;
}

std::string const& gbkText() {
    static std::string const text = [] {
        zan::String bytes;
        zan::wstringToAnsi(wideText(), bytes, 936);
        return std::string(bytes);
    }();
    return text;
}

// Opened once. The room for the result is made once too, as all is measured with results that are
// used again.
class Iconv {
public:
    Iconv(char const* to, char const* from) : handle_(iconv_open(to, from)) {}
    ~Iconv() { iconv_close(handle_); }
    Iconv(Iconv const&) = delete;
    Iconv& operator=(Iconv const&) = delete;

    template <class Out>
    void run(void const* in, unsigned long size, unsigned long room, Out& out) {
        if (out.size() < room) out.resize(room);
        auto* from = static_cast<char*>(const_cast<void*>(in));
        auto* to = reinterpret_cast<char*>(out.data());
        unsigned long left = room * sizeof out[0];
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        iconv(handle_, &from, &size, &to, &left);
        written = room - left / sizeof out[0];
    }

    unsigned long written = 0;

private:
    iconv_t handle_;
};

// Measures `convert`, which gives a view of its result, and stops if that is not what is expected.
template <class View, class Convert>
void measure(benchmark::State& state, Convert const& convert, View const& expected) {
    for (auto _ : state) benchmark::DoNotOptimize(convert().data());
    if (View(convert()) != expected) state.SkipWithError("another text came out");
    state.SetBytesProcessed(state.iterations() * static_cast<long>(SIZE));
}

void utf8ToWideZan(benchmark::State& state) {
    std::string const& in = utf8Text();
    std::wstring out;
    auto const convert = [&] {
        zan::utf8ToWstring(in, out);
        return zan::iwstr(out);
    };
    measure(state, convert, zan::iwstr(wideText()));
}
void utf8ToWideIconv(benchmark::State& state) {
    std::string const& in = utf8Text();
    std::wstring out;
    Iconv iconv("WCHAR_T", "UTF-8");
    auto const convert = [&] {
        iconv.run(in.data(), in.size(), in.size(), out);
        return zan::iwstr(out.data(), iconv.written);
    };
    measure(state, convert, zan::iwstr(wideText()));
}
BENCHMARK(utf8ToWideZan)->Name("utf8_to_wide/zan");
BENCHMARK(utf8ToWideIconv)->Name("utf8_to_wide/iconv");

void wideToUtf8Zan(benchmark::State& state) {
    std::wstring const& in = wideText();
    zan::Bytes out;
    auto const convert = [&] {
        zan::wstringToUtf8(in, out);
        return zan::istr(out);
    };
    measure(state, convert, zan::istr(utf8Text()));
}
void wideToUtf8Iconv(benchmark::State& state) {
    std::wstring const& in = wideText();
    std::string out;
    Iconv iconv("UTF-8", "WCHAR_T");
    auto const convert = [&] {
        iconv.run(in.data(), in.size() * sizeof(wchar_t), in.size() * 4, out);
        return zan::istr(out.data(), iconv.written);
    };
    measure(state, convert, zan::istr(utf8Text()));
}
BENCHMARK(wideToUtf8Zan)->Name("wide_to_utf8/zan");
BENCHMARK(wideToUtf8Iconv)->Name("wide_to_utf8/iconv");

void cp936ToUtf8Zan(benchmark::State& state) {
    std::string const& in = gbkText();
    zan::Bytes out;
    auto const convert = [&] {
        zan::ansiToUtf8(in, out, 936);
        return zan::istr(out);
    };
    measure(state, convert, zan::istr(utf8Text()));
}
void cp936ToUtf8Iconv(benchmark::State& state) {
    std::string const& in = gbkText();
    std::string out;
    Iconv iconv("UTF-8", "CP936");
    auto const convert = [&] {
        iconv.run(in.data(), in.size(), in.size() * 3, out);
        return zan::istr(out.data(), iconv.written);
    };
    measure(state, convert, zan::istr(utf8Text()));
}
BENCHMARK(cp936ToUtf8Zan)->Name("cp936_to_utf8/zan");
BENCHMARK(cp936ToUtf8Iconv)->Name("cp936_to_utf8/iconv");

}  // namespace
