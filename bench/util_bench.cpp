// Digest and text encoders, on random bytes; filling placeholders.
#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "zan/zan.h"

#ifdef ZAN_PEER_OPENSSL
#include <openssl/crypto.h>
#include <openssl/evp.h>
#endif
#ifdef ZAN_PEER_NETTLE
#include <nettle/md5.h>
#endif
#ifdef ZAN_PEER_GLIB
#include <glib.h>
#endif
#ifdef ZAN_PEER_FMT
#include <fmt/format.h>
#endif

namespace {

using benchmark::State;

constexpr std::size_t MB = 1 << 20;

std::string const& raw() {
    static std::string const bytes = [] {
        std::mt19937_64 random(1);
        std::string s(MB, 0);
        for (char& c : s) c = static_cast<char>(random());
        return s;
    }();
    return bytes;
}

std::string const& base64Text() {
    static std::string const text = [] {
        zan::String s;
        zan::Base64::encode(raw(), s, false);
        return s;
    }();
    return text;
}

std::string const& hexText() {
    static std::string const text = [] {
        zan::String s;
        zan::Hex16::encode(raw(), s);
        return s;
    }();
    return text;
}

zan::istr input(State const& state) {
    return zan::istr(raw().data(), static_cast<unsigned long>(state.range(0)));
}

[[maybe_unused]] unsigned char const* bytesOf(zan::istr const& s) {
    return reinterpret_cast<unsigned char const*>(s.data());
}

// Shows the work to be the same: each peer hands in what it made.
void expect(State& state, zan::istr const& made, zan::istr const& want) {
    if (made != want) state.SkipWithError("other result");
}

[[maybe_unused]] std::string digestOf(zan::istr const& in) {
    zan::String digest;
    zan::MD5(in).getDigest(digest);
    return digest;
}

void md5Zan(State& state) {
    zan::istr const in = input(state);
    zan::String digest;
    for (auto _ : state) {
        zan::MD5(in).getDigest(digest);
        benchmark::DoNotOptimize(digest.data());
    }
}
BENCHMARK(md5Zan)->Name("md5/zan")->Arg(64)->Arg(MB);

#ifdef ZAN_PEER_NETTLE
void md5Nettle(State& state) {
    zan::istr const in = input(state);
    unsigned char digest[16];
    for (auto _ : state) {
        md5_ctx context;
        md5_init(&context);
        md5_update(&context, in.size(), bytesOf(in));
        md5_digest(&context, sizeof digest, digest);
        benchmark::DoNotOptimize(digest);
    }
    expect(state, zan::istr(digest, 16), digestOf(in));
}
BENCHMARK(md5Nettle)->Name("md5/nettle")->Arg(64)->Arg(MB);
#endif

#ifdef ZAN_PEER_OPENSSL
void md5Openssl(State& state) {
    zan::istr const in = input(state);
    unsigned char digest[16];
    for (auto _ : state) {
        EVP_Digest(in.data(), in.size(), digest, nullptr, EVP_md5(), nullptr);
        benchmark::DoNotOptimize(digest);
    }
    expect(state, zan::istr(digest, 16), digestOf(in));
}
BENCHMARK(md5Openssl)->Name("md5/openssl")->Arg(64)->Arg(MB);
#endif

void base64EncodeZan(State& state) {
    zan::String text;
    for (auto _ : state) {
        zan::Base64::encode(raw(), text, false);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(base64EncodeZan)->Name("base64_encode/zan");

void base64DecodeZan(State& state) {
    zan::Bytes bytes;
    for (auto _ : state) {
        zan::Base64::decode(base64Text(), bytes);
        benchmark::DoNotOptimize(bytes.data());
    }
    expect(state, bytes, raw());
}
BENCHMARK(base64DecodeZan)->Name("base64_decode/zan");

void hexEncodeZan(State& state) {
    zan::String text;
    for (auto _ : state) {
        zan::Hex16::encode(raw(), text);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(hexEncodeZan)->Name("hex_encode/zan");

void hexDecodeZan(State& state) {
    zan::Bytes bytes;
    for (auto _ : state) {
        zan::Hex16::decode(hexText(), bytes);
        benchmark::DoNotOptimize(bytes.data());
    }
    expect(state, bytes, raw());
}
BENCHMARK(hexDecodeZan)->Name("hex_decode/zan");

#ifdef ZAN_PEER_OPENSSL
void base64EncodeOpenssl(State& state) {
    std::string text(MB / 3 * 4 + 8, 0);
    int n = 0;
    for (auto _ : state) {
        n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]), bytesOf(raw()), MB);
        benchmark::DoNotOptimize(text.data());
    }
    expect(state, zan::istr(text.data(), static_cast<unsigned long>(n)), base64Text());
}
BENCHMARK(base64EncodeOpenssl)->Name("base64_encode/openssl");

void base64DecodeOpenssl(State& state) {
    std::string bytes(MB + 8, 0);
    for (auto _ : state) {
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(&bytes[0]), bytesOf(base64Text()),
                        static_cast<int>(base64Text().size()));
        benchmark::DoNotOptimize(bytes.data());
    }
    expect(state, zan::istr(bytes.data(), MB), raw());
}
BENCHMARK(base64DecodeOpenssl)->Name("base64_decode/openssl");

void hexEncodeOpenssl(State& state) {
    std::string text(2 * MB + 1, 0);
    std::size_t n = 0;
    for (auto _ : state) {
        OPENSSL_buf2hexstr_ex(&text[0], text.size(), &n, bytesOf(raw()), MB, '\0');
        benchmark::DoNotOptimize(text.data());
    }
    expect(state, zan::istr(text.data(), 2 * MB), hexText());
}
BENCHMARK(hexEncodeOpenssl)->Name("hex_encode/openssl");

void hexDecodeOpenssl(State& state) {
    std::string bytes(MB, 0);
    std::size_t n = 0;
    for (auto _ : state) {
        OPENSSL_hexstr2buf_ex(reinterpret_cast<unsigned char*>(&bytes[0]), bytes.size(), &n,
                              hexText().c_str(), '\0');
        benchmark::DoNotOptimize(bytes.data());
    }
    expect(state, bytes, raw());
}
BENCHMARK(hexDecodeOpenssl)->Name("hex_decode/openssl");
#endif

#ifdef ZAN_PEER_GLIB
void base64EncodeGlib(State& state) {
    for (auto _ : state) {
        gchar* const text = g_base64_encode(bytesOf(raw()), MB);
        benchmark::DoNotOptimize(text);
        g_free(text);
    }
}
BENCHMARK(base64EncodeGlib)->Name("base64_encode/glib");

void base64DecodeGlib(State& state) {
    for (auto _ : state) {
        gsize n = 0;
        guchar* const bytes = g_base64_decode(base64Text().c_str(), &n);
        benchmark::DoNotOptimize(bytes);
        if (n != MB) state.SkipWithError("other result");
        g_free(bytes);
    }
}
BENCHMARK(base64DecodeGlib)->Name("base64_decode/glib");
#endif

// --- Eight placeholders, as of a line of a log or of a page

constexpr char const* WORDS[8] = {"GET",   "/index.html", "HTTP/1.1",    "200",
                                  "51234", "192.168.1.7", "Mozilla/5.0", "0.125"};
constexpr char const* FILLED =
    "method=GET path=/index.html version=HTTP/1.1 status=200 bytes=51234 from=192.168.1.7 "
    "agent=Mozilla/5.0 seconds=0.125\n";

void printfZan(State& state) {
    zan::Printf line(
        "method=${m} path=${p} version=${v} status=${s} bytes=${b} from=${f} agent=${a} "
        "seconds=${t}\n",
        '$', '{', '}', '\\');
    for (auto _ : state) {
        line.reset();
        for (char const* word : WORDS) line.replaceNext(word);
        benchmark::DoNotOptimize(line.str().data());
    }
    expect(state, line.str(), FILLED);
}
BENCHMARK(printfZan)->Name("printf/zan");

#ifdef ZAN_PEER_FMT
void printfFmt(State& state) {
    auto const& w = WORDS;
    std::string out;
    for (auto _ : state) {
        out = fmt::format(
            "method={} path={} version={} status={} bytes={} from={} agent={} seconds={}\n", w[0],
            w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
        benchmark::DoNotOptimize(out.data());
    }
    expect(state, out, FILLED);
}
BENCHMARK(printfFmt)->Name("printf/fmt");
#endif

}  // namespace
