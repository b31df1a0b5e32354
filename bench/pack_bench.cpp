// Compression of a text, and of screen images.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zan/zan.h"

#ifdef ZAN_PEER_ZLIB
#include <zlib.h>
#endif

namespace {

using benchmark::State;

constexpr unsigned long TEXT = 4 << 20;

// Words as often as they are in texts: few of them very often.
std::string const& text() {
    static std::string const made = [] {
        std::mt19937_64 random(1);
        std::vector<std::string> words(5000);
        for (auto& word : words)
            for (auto n = 2 + random() % 9; n != 0; --n)
                word += static_cast<char>('a' + random() % 26);
        std::string s;
        while (s.size() < TEXT) {
            auto const rank = random() % 5000 * (random() % 5000) / 5000;
            s += words[rank] + (random() % 12 == 0 ? ".\n" : " ");
        }
        s.resize(TEXT);
        return s;
    }();
    return made;
}

std::string packedText() {
    int size = static_cast<int>(TEXT);
    unsigned char* out = nullptr;
    zan::gzlib::comp(text().data(), out, size);
    std::string const packed(reinterpret_cast<char*>(out), static_cast<std::size_t>(size));
    delete[] out;
    return packed;
}

void gzipZan(State& state) {
    for (auto _ : state) {
        int size = static_cast<int>(TEXT);
        unsigned char* out = nullptr;
        if (!zan::gzlib::comp(text().data(), out, size)) state.SkipWithError("failed");
        benchmark::DoNotOptimize(out);
        delete[] out;
    }
}
BENCHMARK(gzipZan)->Name("gzip/zan");

void gunzipZan(State& state) {
    std::string const packed = packedText();
    for (auto _ : state) {
        int size = static_cast<int>(packed.size());
        char* out = nullptr;
        if (!zan::gzlib::uncomp(packed.data(), out, size)) state.SkipWithError("failed");
        benchmark::DoNotOptimize(out);
        delete[] out;
    }
}
BENCHMARK(gunzipZan)->Name("gunzip/zan");

void deflateZan(State& state) {
    for (auto _ : state) {
        zan::Bytes out;
        if (!zan::zlib::compress(text(), out)) state.SkipWithError("failed");
        benchmark::DoNotOptimize(out.buffer());
    }
}
BENCHMARK(deflateZan)->Name("deflate/zan");

void inflateZan(State& state) {
    zan::Bytes packed;
    zan::zlib::compress(text(), packed);
    for (auto _ : state) {
        zan::Bytes out;
        if (!zan::zlib::uncompress(packed, out, TEXT)) state.SkipWithError("failed");
        benchmark::DoNotOptimize(out.buffer());
    }
}
BENCHMARK(inflateZan)->Name("inflate/zan");

#ifdef ZAN_PEER_ZLIB
// Each into a new block of the size that is known to do.
Bytef* bytesOf(std::string const& s) {
    return reinterpret_cast<Bytef*>(const_cast<char*>(s.data()));
}

void gzipZlib(State& state) {
    std::size_t size = 0;
    for (auto _ : state) {
        z_stream z{};
        deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
        unsigned long const room = deflateBound(&z, TEXT);
        std::unique_ptr<unsigned char[]> const out(new unsigned char[room]);
        z.next_in = bytesOf(text());
        z.avail_in = TEXT;
        z.next_out = out.get();
        z.avail_out = static_cast<uInt>(room);
        if (deflate(&z, Z_FINISH) != Z_STREAM_END) state.SkipWithError("failed");
        size = z.total_out;
        deflateEnd(&z);
        benchmark::DoNotOptimize(out.get());
    }
    if (size != packedText().size()) state.SkipWithError("other result");
}
BENCHMARK(gzipZlib)->Name("gzip/zlib");

void gunzipZlib(State& state) {
    std::string const packed = packedText();
    for (auto _ : state) {
        z_stream z{};
        inflateInit2(&z, 16 + MAX_WBITS);
        std::unique_ptr<unsigned char[]> const out(new unsigned char[TEXT]);
        z.next_in = bytesOf(packed);
        z.avail_in = static_cast<uInt>(packed.size());
        z.next_out = out.get();
        z.avail_out = TEXT;
        if (inflate(&z, Z_FINISH) != Z_STREAM_END) state.SkipWithError("failed");
        inflateEnd(&z);
        benchmark::DoNotOptimize(out.get());
    }
}
BENCHMARK(gunzipZlib)->Name("gunzip/zlib");

void deflateZlib(State& state) {
    for (auto _ : state) {
        uLongf room = compressBound(TEXT);
        std::unique_ptr<unsigned char[]> const out(new unsigned char[room]);
        if (compress(out.get(), &room, bytesOf(text()), TEXT) != Z_OK)
            state.SkipWithError("failed");
        benchmark::DoNotOptimize(out.get());
    }
}
BENCHMARK(deflateZlib)->Name("deflate/zlib");

void inflateZlib(State& state) {
    zan::Bytes packed;
    zan::zlib::compress(text(), packed);
    for (auto _ : state) {
        uLongf room = TEXT;
        std::unique_ptr<unsigned char[]> const out(new unsigned char[TEXT]);
        if (uncompress(out.get(), &room, packed.data(), packed.size()) != Z_OK)
            state.SkipWithError("failed");
        benchmark::DoNotOptimize(out.get());
    }
}
BENCHMARK(inflateZlib)->Name("inflate/zlib");
#endif

// --- Screens of 1920 x 1080

constexpr unsigned long PIXELS = 1920ul * 1080;

// Windows of one colour, a tenth of it text, and a picture.
std::string const& screen() {
    static std::string const made = [] {
        std::mt19937_64 random(1);
        std::string s;
        for (unsigned long y = 0; y < 1080; ++y)
            for (unsigned long x = 0; x < 1920; ++x) {
                unsigned v = x < 300 ? 0x303030 : 0xF0F0F0;
                if (y % 20 < 12 && x > 320 && x < 1200 && (x / 90 + y / 20) % 3 != 0)
                    v = (x * 7 + y * 13) % 11 < 2 ? 0x101010 : 0xFFFFFF;
                if (x > 1500 && y > 700) v = static_cast<unsigned>(random() & 0xFFFFFF);
                s += {static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16)};
            }
        return s;
    }();
    return made;
}

zan::StringBuffer const& screen15() {
    static zan::StringBuffer const made = [] {
        zan::StringBuffer out;
        zan::toBmp15Data(screen(), 24, out);
        return out;
    }();
    return made;
}

void copyOf(State& state, zan::istr const& in) {
    std::string out(in.size(), 0);
    for (auto _ : state) {
        std::memcpy(&out[0], in.data(), in.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

void pixelsZan(State& state) {
    zan::StringBuffer out;
    for (auto _ : state) {
        out.psize(0);
        zan::toBmp15Data(screen(), 24, out);
        benchmark::DoNotOptimize(out.data());
    }
    if (out.size() != 2 * PIXELS) state.SkipWithError("other result");
}
BENCHMARK(pixelsZan)->Name("to_bmp15/zan");
void pixelsCopy(State& state) {
    copyOf(state, screen());
}
BENCHMARK(pixelsCopy)->Name("to_bmp15/memcpy");

void runsZan(State& state) {
    zan::StringBuffer out;
    for (auto _ : state) {
        out.psize(0);
        zan::compressBmp15Data(screen15(), out);
        benchmark::DoNotOptimize(out.data());
    }
    if (out.empty() || out.size() > PIXELS) state.SkipWithError("other result");
}
BENCHMARK(runsZan)->Name("compress_bmp15/zan");
void runsCopy(State& state) {
    copyOf(state, screen15());
}
BENCHMARK(runsCopy)->Name("compress_bmp15/memcpy");

}  // namespace
