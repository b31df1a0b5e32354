#include "zan/platform/codepage.h"

#include <iconv.h>
#include <langinfo.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "zan/platform/debug_heap.h"
#include "zan/platform/thread.h"
#include "zan/platform/utf8.h"

namespace zan::platform {

namespace {

constexpr wchar_t REPLACEMENT = 0xFFFD;
constexpr char WIDE[] = "WCHAR_T";

enum class Kind {
    Table,      // one or two bytes to a character, no state, nothing combined
    Direct,     // up to four bytes, no shift states
    Composing,  // one byte, but a letter and its marks make one character
    Shifting    // escape sequences change the meaning of what follows
};

struct Page {
    long number;
    char const* charset;
    Kind kind;
};

constexpr Page PAGES[] = {
    {437, "CP437", Kind::Table},
    {850, "CP850", Kind::Table},
    {852, "CP852", Kind::Table},
    {855, "CP855", Kind::Table},
    {857, "CP857", Kind::Table},
    {858, "CP858", Kind::Table},
    {860, "CP860", Kind::Table},
    {861, "CP861", Kind::Table},
    {862, "CP862", Kind::Table},
    {863, "CP863", Kind::Table},
    {864, "CP864", Kind::Table},
    {865, "CP865", Kind::Table},
    {866, "CP866", Kind::Table},
    {869, "CP869", Kind::Table},
    {874, "CP874", Kind::Table},
    {932, "CP932", Kind::Table},
    {936, "CP936", Kind::Table},
    {949, "CP949", Kind::Table},
    {950, "CP950", Kind::Table},
    {1250, "CP1250", Kind::Table},
    {1251, "CP1251", Kind::Table},
    {1252, "CP1252", Kind::Table},
    {1253, "CP1253", Kind::Table},
    {1254, "CP1254", Kind::Table},
    {1255, "CP1255", Kind::Composing},
    {1256, "CP1256", Kind::Table},
    {1257, "CP1257", Kind::Table},
    {1258, "CP1258", Kind::Composing},
    {1361, "CP1361", Kind::Table},
    {10000, "MACINTOSH", Kind::Table},
    {20127, "US-ASCII", Kind::Table},
    {20866, "KOI8-R", Kind::Table},
    {21866, "KOI8-U", Kind::Table},
    {28591, "ISO-8859-1", Kind::Table},
    {28592, "ISO-8859-2", Kind::Table},
    {28593, "ISO-8859-3", Kind::Table},
    {28594, "ISO-8859-4", Kind::Table},
    {28595, "ISO-8859-5", Kind::Table},
    {28596, "ISO-8859-6", Kind::Table},
    {28597, "ISO-8859-7", Kind::Table},
    {28598, "ISO-8859-8", Kind::Table},
    {28599, "ISO-8859-9", Kind::Table},
    {28600, "ISO-8859-10", Kind::Table},
    {28601, "ISO-8859-11", Kind::Table},
    {28603, "ISO-8859-13", Kind::Table},
    {28604, "ISO-8859-14", Kind::Table},
    {28605, "ISO-8859-15", Kind::Table},
    {28606, "ISO-8859-16", Kind::Table},
    {50220, "ISO-2022-JP", Kind::Shifting},
    {51932, "EUC-JP", Kind::Direct},
    {51949, "EUC-KR", Kind::Table},
    {54936, "GB18030", Kind::Direct},
    {65000, "UTF-7", Kind::Shifting},
};
constexpr unsigned long PAGE_COUNT = sizeof PAGES / sizeof PAGES[0];

Page const* findPage(long number) {
    for (Page const& page : PAGES)
        if (page.number == number) return &page;
    return nullptr;
}

// The page that a number stands for right now: true for UTF-8, otherwise `page` is set, or null
// for an unknown number. The locale's charset is asked each time, as the program may change it.
bool resolve(long number, Page& storage, Page const*& page) {
    page = nullptr;
    if (number == CODE_PAGE_UTF8) return true;
    if (number != CODE_PAGE_LOCALE) {
        page = findPage(number);
        return false;
    }
    char const* charset = nl_langinfo(CODESET);
    // The "C" locale calls its charset ASCII; UTF-8 holds that and says more.
    if (charset == nullptr || *charset == 0 || std::strcmp(charset, "ANSI_X3.4-1968") == 0 ||
        std::strcmp(charset, "UTF-8") == 0)
        return true;
    // Nothing is known of the charset, so it gets the most careful treatment.
    storage = {CODE_PAGE_LOCALE, charset, Kind::Shifting};
    page = &storage;
    return false;
}

class Converter {
public:
    Converter(char const* to, char const* from) : handle_(iconv_open(to, from)) {}
    ~Converter() {
        if (valid()) iconv_close(handle_);
    }
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;

    bool valid() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    void reset() { iconv(handle_, nullptr, nullptr, nullptr, nullptr); }

    // Brings out what the converter holds back and returns to the initial shift state.
    void flush(char*& out, unsigned long& room) { iconv(handle_, nullptr, nullptr, &out, &room); }

    // 0, or the errno value of the stop.
    int run(char const*& in, unsigned long& left, char*& out, unsigned long& room) {
        // The declaration lacks a const; the input is not written to.
        auto* from = const_cast<char*>(in);
        bool const failed = iconv(handle_, &from, &left, &out, &room) == ~0UL;
        in = from;
        return failed ? errno : 0;
    }

private:
    iconv_t handle_;
};

// The converters of one thread.

struct Pair {
    long number;
    std::string charset;
    std::unique_ptr<Converter> decoder;
    std::unique_ptr<Converter> encoder;
};

thread_local std::vector<Pair>* converters = nullptr;

void closeConverters(void*) {
    // Cleared first: a later callback of this thread may convert, and then starts anew.
    std::vector<Pair>* old = converters;
    converters = nullptr;
    delete old;
}

Pair& pairOf(Page const& page) {
    UncheckedBlocks const lifelong;  // in the main thread
    if (converters == nullptr) {
        converters = new std::vector<Pair>;
        // If this fails the converters outlive the thread: a leak, in a process without memory.
        atThreadExit(&closeConverters, nullptr);
    }
    for (Pair& pair : *converters) {
        if (pair.number != page.number) continue;
        if (pair.charset != page.charset) pair = Pair{page.number, page.charset, nullptr, nullptr};
        return pair;
    }
    converters->push_back(Pair{page.number, page.charset, nullptr, nullptr});
    return converters->back();
}

Converter* decoderOf(Page const& page) {
    Pair& pair = pairOf(page);
    UncheckedBlocks const lifelong;
    if (!pair.decoder) pair.decoder = std::make_unique<Converter>(WIDE, page.charset);
    if (!pair.decoder->valid()) pair.decoder.reset();
    return pair.decoder.get();
}

Converter* encoderOf(Page const& page) {
    Pair& pair = pairOf(page);
    UncheckedBlocks const lifelong;
    if (!pair.encoder) pair.encoder = std::make_unique<Converter>(page.charset, WIDE);
    if (!pair.encoder->valid()) pair.encoder.reset();
    return pair.encoder.get();
}

// The tables of a page of one or two bytes. All characters of these pages lie below U+10000, so
// 16 bits hold a character as well as its bytes.
struct Table {
    static constexpr std::uint16_t NONE = 0xFFFD;  // in single and pair: no character
    static constexpr std::uint16_t LEAD = 0xFFFF;  // in single: the first of two bytes

    bool ascii = false;                // the first 128 bytes are ASCII
    std::uint16_t single[256];         // by byte
    std::vector<std::uint16_t> pair;   // by both bytes, the first one on top; empty without pairs
    std::vector<std::uint16_t> bytes;  // by character: a byte, or two with the first one on top

    // False if the page is not of the kind that it was taken for.
    bool fill(Converter& decoder, Converter& encoder);
};

// One sequence through the converter: the character, NONE, or LEAD for the start of a longer one.
// -1 for anything else.
int decodeOne(Converter& decoder, char const* in, unsigned long n) {
    wchar_t wide[4];
    auto* out = reinterpret_cast<char*>(wide);
    unsigned long room = sizeof wide;
    unsigned long left = n;
    decoder.reset();
    int const error = decoder.run(in, left, out, room);
    if (error == EINVAL && left == n) return Table::LEAD;
    if (error != 0) return Table::NONE;
    if (left != 0 || room != sizeof wide - sizeof wide[0]) return -1;
    auto const c = static_cast<std::uint32_t>(wide[0]);  // wchar_t has a sign on some processors
    return c >= Table::NONE ? -1 : static_cast<int>(c);
}

bool Table::fill(Converter& decoder, Converter& encoder) {
    ascii = true;
    for (unsigned i = 0; i < 256; ++i) {
        char const byte = static_cast<char>(i);
        int const c = decodeOne(decoder, &byte, 1);
        if (c < 0) return false;
        single[i] = static_cast<std::uint16_t>(c);
        if (i < 128 && single[i] != i) ascii = false;
        if (c != LEAD) continue;
        if (pair.empty()) pair.assign(0x10000, NONE);
        for (unsigned k = 0; k < 256; ++k) {
            char const both[] = {byte, static_cast<char>(k)};
            int const d = decodeOne(decoder, both, 2);
            if (d < 0 || d == LEAD) return false;
            pair[i << 8 | k] = static_cast<std::uint16_t>(d);
        }
    }
    bytes.assign(0x10000, 0);
    for (wchar_t c = 0; c < 0x10000; ++c) {
        char to[8];
        char* out = to;
        unsigned long room = sizeof to;
        auto const* in = reinterpret_cast<char const*>(&c);
        unsigned long left = sizeof c;
        encoder.reset();
        if (encoder.run(in, left, out, room) != 0) continue;
        auto const byte = [&](int i) {
            return static_cast<unsigned>(static_cast<unsigned char>(to[i]));
        };
        if (out - to == 1)
            bytes[static_cast<unsigned long>(c)] = static_cast<std::uint16_t>(byte(0));
        else if (out - to == 2 && byte(0) != 0)
            bytes[static_cast<unsigned long>(c)] =
                static_cast<std::uint16_t>(byte(0) << 8 | byte(1));
        else
            return false;
    }
    return true;
}

// Built once for the process and never freed: threads convert until the very end.
std::atomic<Table const*> tables[PAGE_COUNT];

Table const* tableOf(Page const& page) {
    std::atomic<Table const*>& slot = tables[&page - PAGES];
    Table const* table = slot.load(std::memory_order_acquire);
    if (table != nullptr) return table;
    UncheckedBlocks const lifelong;
    static std::mutex& building = *new std::mutex;
    std::lock_guard<std::mutex> lock(building);
    table = slot.load(std::memory_order_relaxed);
    if (table != nullptr) return table;
    Converter decoder(WIDE, page.charset);
    Converter encoder(page.charset, WIDE);
    if (!decoder.valid() || !encoder.valid()) return nullptr;
    auto made = std::make_unique<Table>();
    if (!made->fill(decoder, encoder)) return nullptr;
    table = made.release();
    slot.store(table, std::memory_order_release);
    return table;
}

unsigned long tableToWide(Table const& table, char const* in, unsigned long n, wchar_t* out) {
    auto const* p = reinterpret_cast<unsigned char const*>(in);
    auto const* const end = p + n;
    wchar_t* o = out;
    // NONE is the replacement character itself.
    if (table.pair.empty()) {
        while (p != end) *o++ = table.single[*p++];
        return n;
    }
    while (p != end) {
        if (table.ascii) {
            unsigned long const run = widenAscii(reinterpret_cast<char const*>(p),
                                                 static_cast<unsigned long>(end - p), o);
            p += run;
            o += run;
            if (p == end) break;
        }
        do {
            std::uint16_t c = Table::NONE;
            if (end - p >= 2) c = table.pair[static_cast<unsigned>(p[0]) << 8 | p[1]];
            if (c != Table::NONE) {
                p += 2;
            } else {
                c = table.single[*p++];
                if (c == Table::LEAD) c = Table::NONE;
            }
            *o++ = c;
        } while (p != end && (*p >= 0x80 || !table.ascii));
    }
    return static_cast<unsigned long>(o - out);
}

unsigned long tableFromWide(Table const& table, wchar_t const* in, unsigned long n, char* out) {
    char* o = out;
    for (wchar_t const* const end = in + n; in != end; ++in) {
        auto const c = static_cast<std::uint32_t>(*in);
        std::uint16_t const b = c < 0x10000 ? table.bytes[c] : std::uint16_t{0};
        if (b > 0xFF) {
            *o++ = static_cast<char>(b >> 8);
            *o++ = static_cast<char>(b);
        } else {
            *o++ = b != 0 || c == 0 ? static_cast<char>(b) : '?';
        }
    }
    return static_cast<unsigned long>(o - out);
}

unsigned long decodeBy(Converter& decoder, Kind kind, char const* in, unsigned long n,
                       wchar_t* wide) {
    auto* out = reinterpret_cast<char*>(wide);
    unsigned long room = n * sizeof(wchar_t);
    auto const replace = [&](unsigned long skip) {
        // A letter that waits for its marks comes before the damage.
        if (kind == Kind::Composing) decoder.flush(out, room);
        if (room < sizeof REPLACEMENT) return false;
        std::memcpy(out, &REPLACEMENT, sizeof REPLACEMENT);
        out += sizeof REPLACEMENT;
        room -= sizeof REPLACEMENT;
        in += skip;
        n -= skip;
        return true;
    };
    decoder.reset();
    while (n != 0) {
        int const error = decoder.run(in, n, out, room);
        if (error == 0) break;
        if (error == EILSEQ ? !replace(1) : error == EINVAL ? !replace(n) : true) break;
    }
    decoder.flush(out, room);
    return static_cast<unsigned long>(reinterpret_cast<wchar_t*>(out) - wide);
}

// The system's converters drop these characters silently where the charset lacks them.
bool isTag(wchar_t c) {
    return c >= 0xE0000 && c <= 0xE007F;
}

unsigned long encodeBy(Converter& encoder, Page const& page, wchar_t const* in, unsigned long n,
                       char* out, unsigned long room) {
    bool const hasTags = page.number == 54936 || page.number == 65000;
    char* const begin = out;
    wchar_t const* const end = in + n;
    auto const put = [&](wchar_t const*& from, wchar_t const* to) {
        auto const* bytes = reinterpret_cast<char const*>(from);
        unsigned long left = static_cast<unsigned long>(to - from) * sizeof(wchar_t);
        int const error = encoder.run(bytes, left, out, room);
        from = reinterpret_cast<wchar_t const*>(bytes);
        return error;
    };
    encoder.reset();
    while (in != end) {
        wchar_t const* stop = end;
        if (!hasTags)
            for (stop = in; stop != end && !isTag(*stop);) ++stop;
        int const error = put(in, stop);
        if (error != 0 && error != EILSEQ) break;
        if (in == end) break;
        // The mark goes through the converter too, as it may need another shift state.
        wchar_t const mark = L'?';
        wchar_t const* from = &mark;
        if (put(from, from + 1) != 0) break;
        ++in;
    }
    encoder.flush(out, room);
    return static_cast<unsigned long>(out - begin);
}

}  // namespace

bool codePageKnown(long codePage) {
    Page storage;
    Page const* page;
    return resolve(codePage, storage, page) || page != nullptr;
}

unsigned long maxBytes(long codePage, unsigned long n) {
    Page storage;
    Page const* page;
    if (resolve(codePage, storage, page) || page == nullptr || page->kind != Kind::Shifting)
        return 4 * n;
    return 8 * n + 16;
}

bool toWide(long codePage, char const* in, unsigned long n, wchar_t* out, unsigned long& written) {
    written = 0;
    Page storage;
    Page const* page;
    if (resolve(codePage, storage, page)) {
        written = utf8ToWide(in, n, out);
        return true;
    }
    if (page == nullptr) return false;
    if (page->kind == Kind::Table) {
        Table const* table = tableOf(*page);
        if (table == nullptr) return false;
        written = tableToWide(*table, in, n, out);
        return true;
    }
    Converter* decoder = decoderOf(*page);
    if (decoder == nullptr) return false;
    written = decodeBy(*decoder, page->kind, in, n, out);
    return true;
}

bool toWide(long codePage, char const* in, unsigned long n, std::wstring& out) {
    Page storage;
    Page const* page;
    if (resolve(codePage, storage, page)) {
        utf8ToWide(in, n, out);
        return true;
    }
    out.resize(page == nullptr ? 0 : n);
    unsigned long written = 0;
    bool const done = page != nullptr && toWide(codePage, in, n, out.data(), written);
    out.resize(written);
    return done;
}

bool fromWide(long codePage, wchar_t const* in, unsigned long n, char* out,
              unsigned long& written) {
    written = 0;
    Page storage;
    Page const* page;
    if (resolve(codePage, storage, page)) {
        written = wideToUtf8(in, n, out);
        return true;
    }
    if (page == nullptr) return false;
    if (page->kind == Kind::Table) {
        Table const* table = tableOf(*page);
        if (table == nullptr) return false;
        written = tableFromWide(*table, in, n, out);
        return true;
    }
    Converter* encoder = encoderOf(*page);
    if (encoder == nullptr) return false;
    written = encodeBy(*encoder, *page, in, n, out, maxBytes(codePage, n));
    return true;
}

bool fromWide(long codePage, wchar_t const* in, unsigned long n, std::string& out) {
    Page storage;
    Page const* page;
    if (resolve(codePage, storage, page)) {
        out.resize(utf8Length(in, n));
        wideToUtf8(in, n, out.data());
        return true;
    }
    unsigned long room = 0;
    if (page != nullptr) room = page->kind == Kind::Table ? 2 * n : maxBytes(codePage, n);
    out.resize(room);
    unsigned long written = 0;
    bool const done = page != nullptr && fromWide(codePage, in, n, out.data(), written);
    out.resize(written);
    return done;
}

}  // namespace zan::platform
