// Stops in `here` with one of everything that the printers know. Takes them as an application does,
// but for the list of attributes, which only the library's own debug information has.
#include <zan/zan.h>

#include "zan/xml/attr_list.h"

struct Job : virtual zan::Shared {
    int number = 42;
};
struct UrgentJob : Job {
    int level = 3;
};

[[gnu::noinline]] void here() {
    asm volatile("");
}

// At -O0 what is used later is there when the program stops.
template <class... T>
void use(T const&... values) {
    (static_cast<void>(&values), ...);
}

int main() {
    zan::istr const text("a \"quoted\"\n\x01", 12);
    zan::istr const part(text, 1);
    zan::istr const none;
    zan::iwstr const wide(L"\u4E2D\u6587");
    char room[16] = "cut";
    zan::ostr const buffer(room, sizeof(room));
    zan::String const string("caf\xC3\xA9");
    zan::String const big(std::string(5000, 'x'));
    zan::Bytes bytes(zan::istr("\x00\xFF\x41", 3));
    zan::Bytes const noBytes;
    zan::Handle<Job> const job(new UrgentJob);
    zan::Handle<Job> const second(job);
    zan::Handle<Job> const noJob;
    zan::Time const point = zan::Time::microSeconds(1402927987125000);
    zan::Time const span = zan::Time::milliSeconds(1500);
    zan::Time const forever = zan::Time::forever();
    zan::Bit const bit(true);
    zan::Long const number(-7);
    zan::pml::ntv::Unit unit;
    zan::pml::ntvFromPml(unit, zan::istr("server(port:int(80) log(file('a:b') level(3)) empty())"));
    zan::pml::ntv::Unit const emptyUnit;
    zan::pml::ntv::Unit typed("typed");
    typed.value(new zan::pml::ntv::IntegerValue(5));
    zan::XMLParser const parser("<order id='7' x='&lt;'><item>bolt</item><item/></order>");
    zan::XMLNode const& node = *parser.rootNode();
    zan::XMLAttr const attribute("key", "value");
    zan::detail::XMLAttrList const attributes;
    std::vector<zan::String> const strings = {"one", "two"};
    here();
    use(text, part, none, wide, buffer, string, big, bytes, noBytes, job, second, noJob, point,
        span);
    use(forever, bit, number, unit, emptyUnit, typed, node, attribute, attributes, strings);
}
