// AES on tables, ours and OpenSSL's. OpenSSL looks at the processor when it is loaded, so the
// program sets the mask, which takes away its AES and vector instructions, and starts itself again.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>

#include "peers/crypt.h"

int main(int argc, char** argv) {
    if (std::getenv("OPENSSL_ia32cap") == nullptr) {
        setenv("OPENSSL_ia32cap", "~0x1200020200000000:~0xFFFFFFFF", 1);
        execv("/proc/self/exe", argv);
    }
    bench_crypt::registerAes("aes_tables", zan::AesCipher::TABLES, true);
    return bench_crypt::runAll(argc, argv);
}
