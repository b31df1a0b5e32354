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

// As a program uses it: opened once, a result of its own for each text.
class Iconv {
public:
    Iconv(char const* to, char const* from) : handle_(iconv_open(to, from)) {}
    ~Iconv() { iconv_close(handle_); }
    Iconv(Iconv const&) = delete;
    Iconv& operator=(Iconv const&) = delete;

    template <class Out>
    void run(void const* in, unsigned long size, unsigned long room, Out& out) {
        out.resize(room);
        auto* from = static_cast<char*>(const_cast<void*>(in));
        auto* to = reinterpret_cast<char*>(out.data());
        unsigned long left = room * sizeof out[0];
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        iconv(handle_, &from, &size, &to, &left);
        out.resize(room - left / sizeof out[0]);
    }

private:
    iconv_t handle_;
};

// Each measures `convert(out)` and stops if the results are not the same.
template <class Out, class Convert, class Expected>
void measure(benchmark::State& state, Convert const& convert, Expected const& expected) {
    for (auto _ : state) {
        Out out;
        convert(out);
        benchmark::DoNotOptimize(out.data());
    }
    Out out;
    convert(out);
    using View = std::conditional_t<std::is_same_v<Out, std::wstring>, zan::iwstr, zan::istr>;
    if (View(out) != View(expected)) state.SkipWithError("another text came out");
    state.SetBytesProcessed(state.iterations() * static_cast<long>(SIZE));
}

void utf8ToWideZan(benchmark::State& state) {
    std::string const& in = utf8Text();
    measure<std::wstring>(
        state, [&](std::wstring& out) { zan::utf8ToWstring(in, out); }, wideText());
}
void utf8ToWideIconv(benchmark::State& state) {
    std::string const& in = utf8Text();
    Iconv iconv("WCHAR_T", "UTF-8");
    measure<std::wstring>(
        state, [&](std::wstring& out) { iconv.run(in.data(), in.size(), in.size(), out); },
        wideText());
}
BENCHMARK(utf8ToWideZan)->Name("utf8_to_wide/zan");
BENCHMARK(utf8ToWideIconv)->Name("utf8_to_wide/iconv");

void wideToUtf8Zan(benchmark::State& state) {
    std::wstring const& in = wideText();
    measure<zan::Bytes>(
        state, [&](zan::Bytes& out) { zan::wstringToUtf8(in, out); }, utf8Text());
}
void wideToUtf8Iconv(benchmark::State& state) {
    std::wstring const& in = wideText();
    Iconv iconv("UTF-8", "WCHAR_T");
    measure<std::string>(
        state,
        [&](std::string& out) {
            iconv.run(in.data(), in.size() * sizeof(wchar_t), in.size() * 4, out);
        },
        utf8Text());
}
BENCHMARK(wideToUtf8Zan)->Name("wide_to_utf8/zan");
BENCHMARK(wideToUtf8Iconv)->Name("wide_to_utf8/iconv");

void cp936ToUtf8Zan(benchmark::State& state) {
    std::string const& in = gbkText();
    measure<zan::Bytes>(
        state, [&](zan::Bytes& out) { zan::ansiToUtf8(in, out, 936); }, utf8Text());
}
void cp936ToUtf8Iconv(benchmark::State& state) {
    std::string const& in = gbkText();
    Iconv iconv("UTF-8", "CP936");
    measure<std::string>(
        state, [&](std::string& out) { iconv.run(in.data(), in.size(), in.size() * 3, out); },
        utf8Text());
}
BENCHMARK(cp936ToUtf8Zan)->Name("cp936_to_utf8/zan");
BENCHMARK(cp936ToUtf8Iconv)->Name("cp936_to_utf8/iconv");

}  // namespace
