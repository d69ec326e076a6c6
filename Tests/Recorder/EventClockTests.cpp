#include "TavrikCore/Recorder/EventClock.h"

#include <gtest/gtest.h>

using namespace tavrik;
using namespace std::chrono_literals;

namespace {

const EventClock::TimePoint arrival0 = EventClock::TimePoint(1'000'000ms);

} // namespace

// Relative times come from the stamps; the epoch from the least-delayed arrival seen.
TEST(EventClock, StampsKeepTheirSpacingWhateverTheDelivery) {
    EventClock clock;
    EXPECT_EQ(clock.place(5000, arrival0), arrival0);
    // Delivered 700 ms later, stamped 500 ms later: it waited 200 ms.
    EXPECT_EQ(clock.place(5500, arrival0 + 700ms), arrival0 + 500ms);
    // Two stamped together and delivered apart stay together.
    EXPECT_EQ(clock.place(5600, arrival0 + 900ms), arrival0 + 600ms);
    EXPECT_EQ(clock.place(5600, arrival0 + 2s), arrival0 + 600ms);
    // One that came quicker than the first shows the first had waited: never after its arrival.
    EXPECT_EQ(clock.place(6000, arrival0 + 995ms), arrival0 + 995ms);
    EXPECT_EQ(clock.place(6100, arrival0 + 3s), arrival0 + 1095ms);

    // A stamp from another epoch (another toolkit's clock) starts over rather than being placed
    // minutes back; later stamps follow the new one.
    EXPECT_EQ(clock.place(900'000, arrival0 + 4s), arrival0 + 4s);
    EXPECT_EQ(clock.place(900'500, arrival0 + 5s), arrival0 + 4500ms);

    // A new start forgets the old epoch.
    clock.reset();
    EXPECT_EQ(clock.place(100, arrival0 + 10s), arrival0 + 10s);
}

TEST(EventClock, ThirtyTwoBitStampsWrapAround) {
    EventClock server(true);
    EXPECT_EQ(server.place(0xFFFF'FF00, arrival0), arrival0);
    EXPECT_EQ(server.place(0x0000'0100, arrival0 + 512ms), arrival0 + 512ms);
    // A stamp a little behind the last (another client's event, ordered by the server) is earlier.
    EXPECT_EQ(server.place(0x0000'00F0, arrival0 + 600ms), arrival0 + 496ms);
}
