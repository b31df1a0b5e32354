#include "zan/tcp/frame_buffer.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using zan::tcp::FrameBuffer;

void put(FrameBuffer& buffer, unsigned long need, std::string const& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        zan::ostr room = buffer.room(need);
        ASSERT_FALSE(room.empty());
        std::size_t const n = std::min(bytes.size() - at, room.max_size());
        std::memcpy(room.buffer(), bytes.data() + at, n);
        buffer.arrived(n);
        at += n;
    }
}

TEST(FrameBufferMemory, FollowsWhatHasArrivedAndNotWhatWasAnnounced) {
    FrameBuffer buffer;
    put(buffer, 4, "\xff\xff\xff\xff");
    EXPECT_EQ(0xFFFFFFFFul, buffer.announced());
    unsigned long const need = 4 + buffer.announced();
    for (int i = 0; i < 2000; ++i) {
        put(buffer, need, std::string(500, 'x'));
        ASSERT_LE(buffer.capacity(), std::max(2 * buffer.available(), FrameBuffer::FIRST_SIZE));
    }
}

TEST(FrameBufferMemory, ComesBackAfterLargeFrames) {
    FrameBuffer buffer;
    auto const take = [&](unsigned long size) {
        put(buffer, size, std::string(size, 'x'));
        buffer.drop(size);
    };
    take(1000000);
    EXPECT_EQ(1000000u, buffer.capacity());
    buffer.trim();
    EXPECT_LE(buffer.capacity(), FrameBuffer::FIRST_SIZE) << "silence";
    take(1000000);
    for (int i = 0; i < 200; ++i) take(100);
    EXPECT_LE(buffer.capacity(), FrameBuffer::FIRST_SIZE) << "small frames only";
    for (int i = 0; i < 200; ++i) take(i % 50 == 0 ? 65540 : 100);
    EXPECT_EQ(65540u, buffer.capacity()) << "large frames go on";
    // What is there is kept, wherever it stands.
    put(buffer, 65540, std::string(60000, 'a') + "tail");
    buffer.drop(60000);
    buffer.trim();
    EXPECT_EQ("tail", std::string(buffer.data(), buffer.available()));
    EXPECT_LE(buffer.capacity(), FrameBuffer::FIRST_SIZE);
}

}  // namespace
