// NBR beside protobuf and msgpack: a record of eight fields, one of them nested, alone and 1000
// times in a list with one more field behind it.
//
// nbr_encode  from filled objects into a buffer that is used again
// nbr_decode  to a tree that owns its nodes, and its end; msgpack copies strings and bytes, the
//             tree of NBR views them
// nbr_lookup  the one field behind the 1000 records; the peers parse all of it
// nbr_codec   as nbr_encode, through CodecInterface

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "zan/nbr/stream.h"

#ifdef ZAN_PEER_MSGPACK
#define MSGPACK_NO_BOOST
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#include <msgpack.hpp>
#pragma GCC diagnostic pop
#endif
#ifdef ZAN_PEER_PROTOBUF
#include "nbr_record.pb.h"
#endif

namespace {

using zan::nbr::OutputStream;

struct Place {
    int x = 0;
    int y = 0;
    zan::String label;
};

struct Record {
    int id = 0;
    __int64 stamp = 0;
    bool active = false;
    double score = 0;
    zan::String name;
    zan::String note;
    zan::Bytes digest;
    Place place;
};

char const TRAILER[] = "the last of them";
constexpr unsigned char TRAILER_ID = 200;

std::vector<Record> records(unsigned n) {
    std::vector<Record> all(n);
    for (unsigned i = 0; i < n; ++i) {
        Record& r = all[i];
        r.id = static_cast<int>(i * 7919 + 1);
        r.stamp = 1402899187125000 + static_cast<__int64>(i) * 1000003;
        r.active = i % 2 == 0;
        r.score = 0.37 * i + 1;
        r.name = "record-" + std::to_string(i);
        r.note = "a line of text that says a little about it";
        r.digest = zan::Bytes("0123456789abcdef");
        r.place.x = static_cast<int>(i % 640);
        r.place.y = -static_cast<int>(i % 480);
        r.place.label = "north wing";
    }
    return all;
}

void encodeFields(OutputStream& out, Record const& r) {
    out.write(1, r.id);
    out.write(2, r.stamp);
    out.write(3, r.active);
    out.write(4, r.score);
    out.write(5, r.name);
    out.write(6, r.note);
    out.write(7, r.digest);
    OutputStream::Entry const place(out, 8);
    out.write(1, r.place.x);
    out.write(2, r.place.y);
    out.write(3, r.place.label);
}

// One record stands alone; more stand in a list with the trailer behind.
void encode(OutputStream& out, std::vector<Record> const& all) {
    OutputStream::Entry const entry(out);
    if (all.size() == 1) return encodeFields(out, all[0]);
    for (Record const& r : all) {
        OutputStream::Entry const one(out, 1);
        encodeFields(out, r);
    }
    out.write(TRAILER_ID, zan::istr(TRAILER));
}

class CodecRecord : public zan::nbr::CodecInterface {
public:
    explicit CodecRecord(Record const& r) : r_(&r) {}
    void codec(zan::nbr::CodecStream& s) override {
        OutputStream::Entry const entry(s.bos());
        encodeFields(s.bos(), *r_);
    }

private:
    Record const* r_;
};

struct Input {
    explicit Input(unsigned n) : all(records(n)) { encode(out, all); }
    std::vector<Record> all;
    OutputStream out;
};

Input const& input(benchmark::State const& state) {
    static Input const one(1), many(1000);
    return state.range(0) == 1 ? one : many;
}

void encodeZan(benchmark::State& state) {
    auto const& all = input(state).all;
    OutputStream out;
    for (auto _ : state) {
        out.reset();
        encode(out, all);
        benchmark::DoNotOptimize(out.str().data());
    }
    state.counters["wire"] = static_cast<double>(out.str().size());
}

void codecZan(benchmark::State& state) {
    auto const& all = input(state).all;
    std::vector<CodecRecord> const objects(all.begin(), all.end());
    OutputStream out;
    for (auto _ : state) {
        out.reset();
        OutputStream::Entry const entry(out);
        for (CodecRecord const& r : objects) out.write(1, r);
        benchmark::DoNotOptimize(out.str().data());
    }
}

void decodeZan(benchmark::State& state) {
    zan::istr const wire = input(state).out.str();
    for (auto _ : state) {
        std::unique_ptr<zan::nbr::ValueBase> const tree(zan::nbr::parser::from(wire));
        benchmark::DoNotOptimize(tree.get());
    }
}

void lookupZan(benchmark::State& state) {
    zan::istr const wire = input(state).out.str();
    for (auto _ : state) {
        zan::nbr::InputStream const in(wire, TRAILER_ID);
        zan::istr found;
        if (in.getSimpleValue() != nullptr) in.getSimpleValue()->read(found);
        if (found != zan::istr(TRAILER)) return state.SkipWithError("not found");
    }
}

BENCHMARK(encodeZan)->Name("nbr_encode/zan")->Arg(1)->Arg(1000);
BENCHMARK(codecZan)->Name("nbr_codec/zan")->Arg(1)->Arg(1000);
BENCHMARK(decodeZan)->Name("nbr_decode/zan")->Arg(1)->Arg(1000);
BENCHMARK(lookupZan)->Name("nbr_lookup/zan")->Arg(1000);

#ifdef ZAN_PEER_PROTOBUF

void fill(bench::Record& p, Record const& r) {
    p.set_id(r.id);
    p.set_stamp(r.stamp);
    p.set_active(r.active);
    p.set_score(r.score);
    p.set_name(r.name);
    p.set_note(r.note);
    p.set_digest(r.digest.data(), r.digest.size());
    p.mutable_place()->set_x(r.place.x);
    p.mutable_place()->set_y(r.place.y);
    p.mutable_place()->set_label(r.place.label);
}

bench::Records filled(std::vector<Record> const& all) {
    bench::Records list;
    for (Record const& r : all) fill(*list.add_record(), r);
    list.set_trailer(TRAILER);
    return list;
}

void encodeMessage(benchmark::State& state, google::protobuf::MessageLite const& message) {
    std::string buffer(message.ByteSizeLong(), 0);
    for (auto _ : state) {
        message.SerializeToArray(buffer.data(), static_cast<int>(buffer.size()));
        benchmark::DoNotOptimize(buffer.data());
    }
    state.counters["wire"] = static_cast<double>(buffer.size());
}

void encodeProtobuf(benchmark::State& state) {
    auto const& all = input(state).all;
    bench::Records const list = filled(all);
    if (all.size() == 1)
        encodeMessage(state, list.record(0));
    else
        encodeMessage(state, list);
}

template <class Message>
void decodeMessage(benchmark::State& state, std::string const& wire) {
    for (auto _ : state) {
        Message message;
        if (!message.ParseFromString(wire)) return state.SkipWithError("not parsed");
        benchmark::DoNotOptimize(&message);
    }
}

void decodeProtobuf(benchmark::State& state) {
    auto const& all = input(state).all;
    bench::Records const list = filled(all);
    if (all.size() == 1)
        decodeMessage<bench::Record>(state, list.record(0).SerializeAsString());
    else
        decodeMessage<bench::Records>(state, list.SerializeAsString());
}

void lookupProtobuf(benchmark::State& state) {
    std::string const wire = filled(input(state).all).SerializeAsString();
    for (auto _ : state) {
        bench::Records list;
        if (!list.ParseFromString(wire) || list.trailer() != TRAILER)
            return state.SkipWithError("not found");
    }
}

BENCHMARK(encodeProtobuf)->Name("nbr_encode/protobuf")->Arg(1)->Arg(1000);
BENCHMARK(encodeProtobuf)->Name("nbr_codec/protobuf")->Arg(1)->Arg(1000);
BENCHMARK(decodeProtobuf)->Name("nbr_decode/protobuf")->Arg(1)->Arg(1000);
BENCHMARK(lookupProtobuf)->Name("nbr_lookup/protobuf")->Arg(1000);

#endif

#ifdef ZAN_PEER_MSGPACK

using Packer = msgpack::packer<msgpack::sbuffer>;

void packText(Packer& out, std::string const& s) {
    out.pack_str(static_cast<std::uint32_t>(s.size()));
    out.pack_str_body(s.c_str(), static_cast<std::uint32_t>(s.size()));
}

// Arrays, which is what msgpack writes for a class: without ids.
void packRecord(Packer& out, Record const& r) {
    out.pack_array(8);
    out.pack(r.id);
    out.pack(r.stamp);
    out.pack(r.active);
    out.pack(r.score);
    packText(out, r.name);
    packText(out, r.note);
    out.pack_bin(static_cast<std::uint32_t>(r.digest.size()));
    out.pack_bin_body(r.digest.c_str(), static_cast<std::uint32_t>(r.digest.size()));
    out.pack_array(3);
    out.pack(r.place.x);
    out.pack(r.place.y);
    packText(out, r.place.label);
}

void packAll(Packer& out, std::vector<Record> const& all) {
    if (all.size() == 1) return packRecord(out, all[0]);
    out.pack_array(static_cast<std::uint32_t>(all.size() + 1));
    for (Record const& r : all) packRecord(out, r);
    packText(out, TRAILER);
}

void encodeMsgpack(benchmark::State& state) {
    auto const& all = input(state).all;
    msgpack::sbuffer buffer;
    for (auto _ : state) {
        buffer.clear();
        Packer packer(buffer);
        packAll(packer, all);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.counters["wire"] = static_cast<double>(buffer.size());
}

void decodeMsgpack(benchmark::State& state) {
    msgpack::sbuffer buffer;
    Packer packer(buffer);
    packAll(packer, input(state).all);
    for (auto _ : state) {
        msgpack::object_handle const tree = msgpack::unpack(buffer.data(), buffer.size());
        benchmark::DoNotOptimize(tree.get());
    }
}

void lookupMsgpack(benchmark::State& state) {
    msgpack::sbuffer buffer;
    Packer packer(buffer);
    packAll(packer, input(state).all);
    for (auto _ : state) {
        msgpack::object_handle const tree = msgpack::unpack(buffer.data(), buffer.size());
        auto const& list = tree.get().via.array;
        if (list.ptr[list.size - 1].as<std::string>() != TRAILER)
            return state.SkipWithError("not found");
    }
}

BENCHMARK(encodeMsgpack)->Name("nbr_encode/msgpack")->Arg(1)->Arg(1000);
BENCHMARK(decodeMsgpack)->Name("nbr_decode/msgpack")->Arg(1)->Arg(1000);
BENCHMARK(lookupMsgpack)->Name("nbr_lookup/msgpack")->Arg(1000);

#endif

}  // namespace
