// What no packet tells of the peripherals' tests: which input devices are watched, and failing system calls.
#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

#include "peripheral/input_events.h"
#include "peripheral/key_test.h"
#include "tests/support/faults.h"
#include "tests/support/phone.h"

namespace {

// The registry is filled for good: each look at it has a process of its own.
class InputDevices : public PhoneTest {
   protected:
    InputDevices() {
        remove("/dev/input");
        make_dir("/dev/input");
    }
    void add_device(int number, const char* types) {
        const std::string name = "event" + std::to_string(number);
        ASSERT_EQ(mkfifo(host("/dev/input/" + name).c_str(), 0600), 0);
        remove("/sys/class/input/" + name);
        if (types != nullptr) {
            write_file("/sys/class/input/" + name + "/device/capabilities/ev", types);
        }
    }
};

TEST_F(InputDevices, OnlyThoseWithKeyOrRelativeEventsAreWatched) {
    in_a_fresh_process([this] {
        int number = 0;
        for (const char* types : {"3", "5", "7", "9", "1", "100000", static_cast<const char*>(nullptr)}) {
            add_device(number++, types);
        }
        write_file("/dev/input/mice", "");
        EXPECT_EQ(ev_init(input_key_callback, nullptr), 0);
        EXPECT_EQ(ev_count(), 3U);
        remove("/dev/input");
        EXPECT_EQ(ev_init(input_key_callback, nullptr), 0);
        EXPECT_EQ(ev_count(), 3U);
        Faults faults;
        faults.fail(Call::kThreadCreate, 1, EAGAIN);
        EXPECT_EQ(exchange(hex("4b cd 1a 00 01")).at(4), 2);
        EXPECT_TRUE(delays().empty());
    });
}

TEST_F(InputDevices, AScanStopsAtExactlySixteenAndTheListsAtThirtyTwo) {
    in_a_fresh_process([this] {
        const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
        for (int i = 0; i < 20; ++i) {
            add_device(i, "3");
        }
        (void)exchange(hex("4b cd a4 00"));
        EXPECT_EQ(ev_count(), 16U);
        const auto before = descriptors();
        (void)exchange(hex("4b cd 1a 00 00"));
        EXPECT_EQ(ev_count(), 32U) << "16 again beyond the stop, four refused";
        (void)exchange(hex("4b cd a4 00"));
        EXPECT_EQ(ev_count(), 32U);
        EXPECT_EQ(descriptors(), before + 16) << "a refused device stays open";
    });
}

class Peripheral : public PhoneTest {};

TEST_F(Peripheral, AWorkerThatCannotBeStartedCostsNoTime) {
    for (const char* request : {"4b ab 08 00", "4b cd 04 00 01"}) {
        Faults faults;
        faults.fail(Call::kThreadCreate, 1, EAGAIN);
        EXPECT_EQ(exchange(hex(request)).at(4), 1) << request;
    }
    EXPECT_TRUE(delays().empty());
    EXPECT_FALSE(log_contains("thread successful"));
}

TEST_F(Peripheral, AProgramThatCannotBeStartedIsAFailure) {
    on_delay([this](uint64_t) { wait_for_workers(); });
    for (const auto& [request, line] : {std::pair{"4b ab 07 00", "run shell not complete, script exit code: -1"},
                                        {"4b cd 04 00 01", "set audio_path failed exit code: -1"}}) {
        Faults faults;
        faults.fail(Call::kSpawn, 1, EAGAIN);
        EXPECT_EQ(exchange(hex(request)).at(4), 1);
        expect_log({E(line)});
    }
}

// Kept: the property is set before there is a response on the way out, after there is one on the way in.
TEST_F(Peripheral, TheLedPropertyOutlivesAMissingResponseOnTheWayOutOnly) {
    for (const auto& [request, value] : {std::pair{"4b ab 06 02 05", ""}, {"4b ab 06 01", "0"}}) {
        host_diag_fail_alloc(0, 1);
        EXPECT_EQ(exchange(hex(request)), Bytes());
        EXPECT_EQ(property("debug.entry.ledtest"), value);
    }
}

}  // namespace
