// Ciphers, on random bytes, with what the processor has.
#include <benchmark/benchmark.h>

#include "peers/crypt.h"

#ifdef ZAN_PEER_NETTLE
#include <nettle/des.h>
#endif

namespace {

using namespace bench_crypt;

void desZan(State& state) {
    zan::istr const in(raw().data(), MB);
    zan::Bytes out;
    for (auto _ : state) {
        zan::des3::encode(in, out, "the key.");
        benchmark::DoNotOptimize(out.buffer());
    }
    setBytes(state, MB);
}

#ifdef ZAN_PEER_NETTLE
void desNettle(State& state) {
    zan::Bytes want;
    zan::des3::encode(zan::istr(raw().data(), MB), want, "the key.");
    std::string out(MB, 0);
    auto* const to = reinterpret_cast<unsigned char*>(&out[0]);
    for (auto _ : state) {
        des_ctx ctx;
        des_set_key(&ctx, reinterpret_cast<unsigned char const*>("the key."));
        des_encrypt(&ctx, MB, to, bytesOf(raw()));
        benchmark::DoNotOptimize(to);
    }
    if (zan::istr(out) != zan::istr(want)) state.SkipWithError("other result");
    setBytes(state, MB);
}
#endif

}  // namespace

int main(int argc, char** argv) {
    registerAes("aes_instructions", zan::AesCipher::FASTEST, false);
    benchmark::RegisterBenchmark("des/zan", desZan);
#ifdef ZAN_PEER_NETTLE
    benchmark::RegisterBenchmark("des/nettle", desNettle);
#endif
    return runAll(argc, argv);
}
