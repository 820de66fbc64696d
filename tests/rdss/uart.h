// The simulated phone's UART over a real pseudo-terminal, with the test at the far end.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "platform/include/handles.h"
#include "rdss/serial_port.h"
#include "tests/support/phone.h"

class UartTest : public PhoneTest {
   protected:
    static constexpr const char* kAutosuspend = kUartAutosuspendNode;

    UartTest() {
        far_end_ = UniqueFd(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        EXPECT_TRUE(far_end_.ok() && grantpt(far_end_.get()) == 0 && unlockpt(far_end_.get()) == 0);
        name_ = ptsname(far_end_.get());
        make_link("/dev/ttyHS1", name_);
        write_file(kAutosuspend, "2000\n");
        // Somebody has the line open throughout, so that the far end never finds it hung up.
        keeper_ = UniqueFd(open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }
    ~UartTest() override { serial_port = {-1, -1}; }

    void chip_says(std::string_view bytes) {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(far_end_.get(), bytes.data(), bytes.size()));
    }
    // All that has arrived at the far end.
    std::string chip_hears() {
        std::string heard;
        char bytes[4096];
        for (ssize_t n = 0; (n = read(far_end_.get(), bytes, sizeof(bytes))) > 0;) {
            heard.append(bytes, static_cast<size_t>(n));
        }
        return heard;
    }
    void hang_up() { far_end_ = UniqueFd(); }

    // The log with "[function #]" for every source line.
    std::vector<LogLine> log_without_source_lines() const {
        std::vector<LogLine> lines = log();
        for (LogLine& line : lines) {
            const size_t end = line.text.find(']');
            if (line.text.starts_with('[') && end != std::string::npos) {
                line.text.replace(line.text.find(' '), end - line.text.find(' '), " #");
            }
        }
        return lines;
    }
    // These lines stand in the log in this order; others may stand between them.
    void expect_in_order(const std::vector<LogLine>& wanted) const {
        const std::vector<LogLine> lines = log_without_source_lines();
        auto at = lines.begin();
        for (const LogLine& line : wanted) {
            at = std::find(at, lines.end(), line);
            ASSERT_NE(at, lines.end()) << line.text << "\nin " << ::testing::PrintToString(lines);
            ++at;
        }
    }
    static size_t open_descriptors() {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

   private:
    UniqueFd far_end_;
    UniqueFd keeper_;
    std::string name_;
};
