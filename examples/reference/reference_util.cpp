#include "example.h"

EXAMPLE(File) {
    // also: FileReader, FileWriter, FileReadWriter, FileAppender
    zan::FileWriter out(L"notes.txt", true);
    out.writeLine("one");
    out.writeLine("two");
    out.close();
    zan::FileReader in(L"notes.txt");
    zan::String line;
    while (in.readLine(line)) std::cout << line << '\n';
}

EXAMPLE(Directory) {
    // also: DirItem, TriBool
    zan::Directory::createFile(L"empty.txt", true);
    std::cout << zan::Directory::isDirectory(L"empty.txt").isTrue()
              << zan::Directory::isDirectory(L"missing").valid()
              << zan::Directory::isEmptyFile(L"empty.txt") << '\n';
}

EXAMPLE(Filename) {
    zan::Filename name(L"logs\\today.log");
    name.file(L"yesterday.log");
    std::cout << zan::String(name.full()) << '\n';
}

EXAMPLE(Funcname) {
    zan::Funcname const name("app::Server::open");
    std::cout << name.ns() << ' ' << name.func() << '\n';
}

EXAMPLE(MultiString) {
    zan::MultiString path("bin:lib", ":");
    path.add("share");
    std::cout << path.full() << ", " << path.list().size() << " elements\n";
}

EXAMPLE(MD5) {
    zan::String digest, text;
    zan::MD5("abc").getDigest(digest);
    zan::Hex16::encode(digest, text);
    std::cout << text << '\n';
}

EXAMPLE(Base64) {
    zan::String text;
    zan::Base64::encode("hello", text, false);
    zan::Bytes back;
    zan::Base64::decode(text, back);
    std::cout << text << ' ' << zan::istr(back) << '\n';
}

EXAMPLE(Hex16) {
    zan::String text;
    zan::Hex16::encode("Az", text);
    std::cout << text << '\n';
}

EXAMPLE(AES) {
    zan::AES const cipher("0123456789abcdef", "fedcba9876543210");
    zan::Bytes secret, text;
    cipher.encrypt("the text", secret);
    cipher.decrypt(secret, text);
    std::cout << secret.size() << " bytes, " << zan::istr(text).leftstr(8) << '\n';
}

EXAMPLE(AesCipher) {
    unsigned char const key[16] = {1, 2, 3};
    unsigned char block[zan::AesCipher::BLOCK_SIZE] = {9};
    zan::AesCipher cipher;
    cipher.setKey(key, 16);
    cipher.encrypt(block, block, sizeof block, zan::AesCipher::ECB);
    cipher.decrypt(block, block, sizeof block, zan::AesCipher::ECB);
    std::cout << int(block[0]) << ", " << cipher.rounds() << " rounds\n";
}

EXAMPLE(des3) {
    zan::Bytes secret, text;
    zan::des3::encode("the text", secret, "a key");
    zan::des3::decode(secret, text, "a key");
    std::cout << zan::istr(text) << '\n';
}

EXAMPLE(zlib) {
    zan::String const text(zan::istr("abcdefgh"));
    zan::Bytes packed, back;
    if (zan::zlib::compress(text, packed) && zan::zlib::uncompress(packed, back, text.size()))
        std::cout << zan::istr(back) << '\n';
}

EXAMPLE(gzlib) {
    // also: GZlibCompressor
    zan::String const text("abcdefgh");
    int size = static_cast<int>(text.size());
    unsigned char* packed = nullptr;
    char* back = nullptr;
    if (zan::gzlib::comp(text.data(), packed, size) &&
        zan::gzlib::uncomp(reinterpret_cast<char const*>(packed), back, size))
        std::cout << zan::istr(back, static_cast<unsigned long>(size)) << '\n';
    delete[] packed;
    delete[] back;
}

EXAMPLE(BinaryOutStream) {
    // also: BinaryInStream, BinaryStream, BinaryDecodeException
    zan::BinaryOutStream out;
    out.write(short(7)).write(zan::String("dock"));
    short count = 0;
    zan::String name;
    zan::BinaryInStream in(out.str());
    in.read(count).read(name);
    std::cout << count << ' ' << name << ", " << out.str().size() << " bytes\n";
}

EXAMPLE(Printf) {
    zan::Printf greeting("Hello ${name}, you are number ${id}", '$', '{', '}', '\\');
    std::cout << greeting.replaceNext("Anna").replaceNext("7").str() << '\n';
    std::cout << greeting.reset().replaceNext("Otto").str() << '\n';
}

EXAMPLE(Str) {
    char memory[16] = "";
    zan::Str text(memory, sizeof memory);
    text = "Mode";
    text += ": on";
    std::cout << text.text() << ' ' << text.is("MODE: ON") << ' ' << text.left() << '\n';
}

EXAMPLE(Mem) {
    char memory[4];
    zan::Mem block(memory, sizeof memory);
    block.fill('-').copy("ab");
    std::cout << zan::istr(block) << '\n';
}

namespace {
struct Registry {
    int entries = 0;
};
}  // namespace

EXAMPLE(Singleton) {
    // also: CreateByAllocate
    // struct Registry { int entries = 0; };
    using Holder = zan::Singleton<Registry>;
    ++Holder::instance(ZAN_HERE)->entries;
    std::cout << Holder::peek()->entries << '\n';
    Holder::destroy();
    std::cout << (Holder::peek() == nullptr) << '\n';
}

EXAMPLE(WideArgs) {
    // also: CmdLine
    char program[] = "bin/app", option[] = "--fast";
    char* argv[] = {program, option};
    zan::WideArgs const args(2, argv);
    zan::CmdLine const line(args.argc(), args.argv());
    std::cout << zan::String(line.cmd()) << ' ' << line.args()[0] << '\n';
}

namespace {
class Program : public zan::UowMain {
public:
    using UowMain::UowMain;
    void on_loop() override {
        std::cout << argCurrent() << '\n';
        stop(3);
    }
};
}  // namespace

EXAMPLE(UowMain) {
    // also: UnitOfWork, main_uow, QuitHandler
    // void Program::on_loop() { std::cout << argCurrent() << '\n'; stop(3); }
    char name[] = "app", argument[] = "all";
    char* argv[] = {name, argument};
    zan::WideArgs const args(2, argv);
    Program program(args.argc(), args.argv());
    int const code = program.start();
    std::cout << "ends with " << code << '\n';
}

EXAMPLE(UowTest) {
    // also: TestCase, TestItem, TestCaseFn, TestFnBase, TestFnMember, TestFnCall, Context, tester
    char name[] = "tests", first[] = "sum", last[] = "exit";
    char* argv[] = {name, first, last};
    zan::WideArgs const args(3, argv);
    zan::test::UowTest tests(args.argc(), args.argv());
    tests.add("sum", "two and two", zan::test::testFn([] { std::cout << 2 + 2 << '\n'; }));
    int const code = tests.start();
    std::cout << "ends with " << code << '\n';
}

EXAMPLE(CmdLineQueue) {
    // also: CmdLineCallback, CmdLineThread
    zan::CmdLineQueue commands;  // commands.open(L"> ") would read them from the console
    std::wstring line;
    std::cout << commands.get(line, zan::Time()) << '\n';
}

EXAMPLE(Util) {
    std::vector<zan::String> parts;
    zan::Util::split("a, b, c", parts, ',', false);
    std::cout << parts.size() << ' ' << parts[1] << '\n';
}

int main() {
    return reference::run("reference_util.log");
}
