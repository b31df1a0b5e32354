#include "support/vectors.h"
#include "tcp/tcp_support.h"

namespace {

using namespace zan_test;

TEST(FrameVectors, FramesComeAndGoAsTheyStandThere) {
    TestServer test;
    test.echo();
    Peer peer = test.connect();
    for (Vector const& v : vectors("frame.txt", "frame")) {
        std::string const wire = fromDigits(v.fields[1]);
        ASSERT_TRUE(peer.write(wire));
        ASSERT_EQ(wire, peer.read(wire.size())) << "line " << v.line;
        EXPECT_EQ(fromDigits(v.fields[0]), test.recorder->messages().back());
    }
}

TEST(FrameVectors, StreamsHoldThesePayloads) {
    for (Vector const& v : vectors("frame.txt", "stream")) {
        TestServer test;
        Peer peer = test.connect();
        ASSERT_TRUE(peer.write(fromDigits(v.fields[0])));
        peer.close();
        ASSERT_TRUE(test.recorder->waitClosed(1)) << "line " << v.line;
        std::vector<std::string> wanted;
        for (std::size_t i = 1; i < v.fields.size(); ++i) wanted.push_back(fromDigits(v.fields[i]));
        EXPECT_EQ(wanted, test.recorder->messages()) << "line " << v.line;
    }
}

}  // namespace
