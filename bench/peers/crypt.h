#pragma once

#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "zan/zan.h"

#ifdef ZAN_PEER_OPENSSL
#include <openssl/evp.h>
#endif

// AES-128-CBC for the two programs that measure it.
namespace bench_crypt {

using benchmark::State;

constexpr std::size_t MB = 1 << 20;
constexpr unsigned char KEY[17] = "0123456789abcdef";
constexpr unsigned char IV[17] = "fedcba9876543210";

inline std::string const& raw() {
    static std::string const bytes = [] {
        std::mt19937_64 random(1);
        std::string s(MB, 0);
        for (char& c : s) c = static_cast<char>(random());
        return s;
    }();
    return bytes;
}

inline unsigned char const* bytesOf(std::string const& s) {
    return reinterpret_cast<unsigned char const*>(s.data());
}

inline void setBytes(State& state, std::size_t n) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

struct Work {
    zan::AesCipher::Path path;
    bool encrypt;
    bool setUp;  // a new key for each text
    std::size_t size;
};

inline std::string made(Work const& work) {
    zan::AesCipher cipher(work.path);
    cipher.setKey(KEY, 16);
    cipher.setIv(IV);
    std::string out(work.size, 0);
    auto* const to = reinterpret_cast<unsigned char*>(&out[0]);
    if (work.encrypt)
        cipher.encrypt(bytesOf(raw()), to, work.size, zan::AesCipher::CBC);
    else
        cipher.decrypt(bytesOf(raw()), to, work.size, zan::AesCipher::CBC);
    return out;
}

inline void aesZan(State& state, Work const& work) {
    std::string out(work.size, 0);
    auto* const to = reinterpret_cast<unsigned char*>(&out[0]);
    auto const run = [&](zan::AesCipher const& cipher) {
        if (work.encrypt)
            cipher.encrypt(bytesOf(raw()), to, work.size, zan::AesCipher::CBC);
        else
            cipher.decrypt(bytesOf(raw()), to, work.size, zan::AesCipher::CBC);
        benchmark::DoNotOptimize(to);
        benchmark::ClobberMemory();
    };
    if (work.setUp) {
        for (auto _ : state) {
            zan::AesCipher cipher(work.path);
            cipher.setKey(KEY, 16);
            cipher.setIv(IV);
            run(cipher);
        }
    } else {
        zan::AesCipher cipher(work.path);
        cipher.setKey(KEY, 16);
        cipher.setIv(IV);
        for (auto _ : state) run(cipher);
    }
    setBytes(state, work.size);
}

#ifdef ZAN_PEER_OPENSSL
inline void aesOpenssl(State& state, Work const& work) {
    std::string out(work.size, 0);
    auto* const to = reinterpret_cast<unsigned char*>(&out[0]);
    EVP_CIPHER_CTX* const ctx = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(ctx, EVP_aes_128_cbc(), nullptr, KEY, IV, work.encrypt ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    int n = 0;
    for (auto _ : state) {
        EVP_CipherInit_ex(ctx, nullptr, nullptr, work.setUp ? KEY : nullptr, IV, -1);
        EVP_CipherUpdate(ctx, to, &n, bytesOf(raw()), static_cast<int>(work.size));
        EVP_CipherFinal_ex(ctx, to + n, &n);
        benchmark::DoNotOptimize(to);
        benchmark::ClobberMemory();
    }
    EVP_CIPHER_CTX_free(ctx);
    if (out != made(work)) state.SkipWithError("other result");
    setBytes(state, work.size);
}
#endif

// Rows "<name>_encrypt/4096", "<name>_decrypt/1048576" and, with `setUp`, "<name>_set_up/64".
inline void registerAes(std::string const& name, zan::AesCipher::Path path, bool setUp) {
    auto const add = [](std::string const& row, std::string const& args, Work const& work) {
        benchmark::RegisterBenchmark((row + "/zan/" + args).c_str(), aesZan, work);
#ifdef ZAN_PEER_OPENSSL
        benchmark::RegisterBenchmark((row + "/openssl/" + args).c_str(), aesOpenssl, work);
#endif
    };
    for (std::size_t const size : {std::size_t{4096}, MB}) {
        add(name + "_encrypt", std::to_string(size), {path, true, false, size});
        add(name + "_decrypt", std::to_string(size), {path, false, false, size});
    }
    if (setUp) add(name + "_set_up", "64", {path, true, true, 64});
}

inline int runAll(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace bench_crypt
