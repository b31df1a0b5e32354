#include "example.h"

EXAMPLE(istr) {
    // also: iwstr
    zan::istr const line("  key = value\n");
    zan::istr const text = line.trim();
    std::cout << text.leftstr(3) << " / " << text.rightstr(5) << '\n';
    std::cout << text.beginWith("key") << text.endWith("key") << '\n';
}

EXAMPLE(ostr) {
    // also: owstr
    char memory[16] = "abc";
    zan::ostr buffer(memory, sizeof memory);
    std::cout << buffer.size() << " of " << buffer.max_size() << '\n';
    buffer.buffer()[1] = 0;
    std::cout << buffer.size() << '\n';
}

EXAMPLE(String) {
    zan::String text;
    text << "disk " << 3 << " at " << 97.5 << '%';
    text.replace("disk", "volume");
    std::cout << text << '\n';
}

EXAMPLE(utf8) {
    // also: ansi, wstr
    std::wstring const wide = zan::toWstring(zan::utf8("\xC3\xA9t\xC3\xA9"));
    std::cout << wide.size() << " characters, " << zan::toUtf8(zan::wstr(wide)).size()
              << " bytes\n";
}

EXAMPLE(Bytes) {
    zan::Bytes frame(64);
    frame += zan::istr(zan::hton(5u));
    frame += "hello";
    std::cout << frame.size() << " bytes, the first of them " << int(frame[0]) << '\n';
}

EXAMPLE(base64) {
    zan::Bytes const bytes(zan::base64("aGVsbG8="));
    std::cout << zan::istr(bytes) << '\n';
}

EXAMPLE(Time) {
    zan::Time t = zan::Time::seconds(90061);
    t += zan::Time::milliSeconds(500);
    std::cout << t.toDuration() << " = " << t.toMilliSeconds() << " ms\n";
    std::cout << (t < zan::Time::forever()) << '\n';
}

EXAMPLE(Stopwatch) {
    zan::Stopwatch watch;
    zan::Time::milliSeconds(20).sleep();
    watch.stop();
    std::cout << (watch.elapsed() >= zan::Time::milliSeconds(20)) << "\n";
}

EXAMPLE(Byte) {
    zan::Byte flags(0x41);
    flags[1] = true;
    std::cout << int(flags.value()) << ": low " << int(flags.low()) << ", high "
              << int(flags.high()) << ", bit 6 " << flags.get(6) << '\n';
}

EXAMPLE(Ushort) {
    // also: Short, Ulong, Longlong, Ulonglong
    zan::Ushort port(0x90, 0x1F);
    std::cout << port.value() << " of " << zan::Ushort::MAX_VAL << '\n';
    port.high(0);
    std::cout << port.value() << '\n';
}

EXAMPLE(Long) {
    try {
        zan::Long const id(5000000000L);
    } catch (zan::OutOfRangeException const& e) {
        std::cout << e.name() << '\n';
    }
}

EXAMPLE(Bit) {
    // also: Float, Double
    zan::Bit const on(7);
    zan::dumper d(std::cout, true);
    d << on << zan::rawstring(" and ") << zan::Double(0.5);
    std::cout << '\n';
}

EXAMPLE(Char) {
    // also: Wchar
    zan::Char c('f');
    std::cout << c.isXdigit() << ' ' << int(c.toHex()) << ' ' << c.toUpper().value() << '\n';
}

EXAMPLE(CharBuffer) {
    // also: WcharBuffer
    zan::CharBuffer name(32);
    zan::MemCopy(name.buffer(), "unit-7", 7);
    std::cout << zan::istr(name) << '\n';
}

EXAMPLE(Exception) {
    // also: NullHandleException, QuitHandlerException
    try {
        ZAN_USER_THROW_MSG(zan::logger_factory::instance("app"), zan::InvalidDataException,
                           "no number: "
                               << "x7");
    } catch (zan::Exception const& e) {
        std::cout << e.msg() << '\n';
        std::cout << e.func() << '\n';
    }
}

EXAMPLE(CallStack) {
    // also: Current, stack
    zan::TraceEntry const frame(zan::logger_factory::instance("app"), ZAN_HERE);
    zan::CallStack const copy = zan::tracer::instance()->callStack();
    std::cout << copy.container().top().func() << '\n';
}

EXAMPLE(logger_factory) {
    zan::logger& log = zan::logger_factory::instance("app");
    ZAN_INFO(log, "listening on port " << 8080);
    std::cout << (&log == &zan::logger_factory::instance("app")) << '\n';
}

EXAMPLE(Version) {
    zan::Version const needed(2, 3);
    std::cout << needed << ' ' << (needed < zan::Version(2, 10)) << '\n';
}

EXAMPLE(System) {
    // also: InitFini
    // One object at the top of main() brings the library up:
    //     zan::InitFini const library("app.log");
    while (!zan::System::closing()) {
        std::cout << "at work\n";
        break;
    }
}

EXAMPLE(BitPos) {
    // also: BitsSub
    zan::BitPos const at(19);
    std::cout << "byte " << at.byte_no() << ", bit " << int(at.bit_no()) << '\n';
}

EXAMPLE(ByteRef) {
    zan::StringSlice frame("\x25rest");
    unsigned char kind = 0;
    frame >> zan::ByteRef(kind, 0x0F);
    std::cout << int(kind) << ", then " << frame.readAllLeft() << '\n';
}

EXAMPLE(MemLeakChecker) {
    // also: UncheckedBlocks
    zan::logger_factory::instance(zan::LOGGER_ID).setAppLog("MLC", true);
    {
        zan::MemLeakChecker::Helper const checked;  // its end writes the report to the log
        auto* const text = ZAN_NEW(zan::String("tracked"));
        std::cout << zan::MemLeakChecker::running() << '\n';
        ZAN_DELETE(text);
    }
    std::cout << zan::MemLeakChecker::running() << '\n';
}

EXAMPLE(SE_Exception) {
    zan::SE_Exception const none;
    std::cout << none.getSeNumber() << ", " << zan::istr(none.what()).size() << " bytes of text\n";
}

EXAMPLE(AutoPtr) {
    zan::AutoPtr<wchar_t> const text = zan::to_wstr("wide");
    std::cout << std::wstring(text.get()).size() << " characters\n";
}

EXAMPLE(istr_cp) {
    // also: iwstr_cp
    zan::istr_cp const name("caf\xE9", 1252);
    zan::String const text(zan::toUtf8(zan::ansi(name), name.codepage()));
    std::cout << text << '\n';
}

int main() {
    return reference::run("reference_base.log");
}
