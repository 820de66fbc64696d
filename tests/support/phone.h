// The fixture of every test: a fresh simulated phone in a temporary directory, virtual time, the log in memory, and
// every table registered as after start-up.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/host.h"
#include "platform/include/log.h"

using Bytes = std::vector<uint8_t>;

// Bytes of a text and of a hexadecimal text ("4b 0b fe 7f"; blanks are skipped).
Bytes text_bytes(std::string_view text);
Bytes hex(std::string_view digits);
std::string to_hex(const Bytes& bytes);
Bytes operator+(Bytes left, const Bytes& right);

// Parts of requests: a text behind its length, an FTM command, and one of `count` groups to the information store.
Bytes counted(const std::string& text);
Bytes ftm_packet(uint16_t command, const std::string& name, const Bytes& args = {});
Bytes info_packet(uint8_t command, const Bytes& groups, uint8_t count);
constexpr uint16_t kMain = 32766;
constexpr uint16_t kExtended = 32767;

// A packet's frame, and what a frame holds: a packet in hexadecimal, or the name of a fault.
Bytes framed(const Bytes& packet);
std::string unframed(const Bytes& frame);

// One expected log line: priority and the whole text without its trailing line feeds.
struct LogLine {
    int priority;
    std::string text;
    bool operator==(const LogLine&) const = default;
};
inline LogLine D(std::string text) { return {ANDROID_LOG_DEBUG, std::move(text)}; }
inline LogLine I(std::string text) { return {ANDROID_LOG_INFO, std::move(text)}; }
inline LogLine E(std::string text) { return {ANDROID_LOG_ERROR, std::move(text)}; }
void PrintTo(const LogLine& line, std::ostream* out);

// The answer to an FTM command.
struct FtmReply {
    int status = -1;                  // -1: no response at all
    Bytes message;                    // from byte 5 to the end of the response
    std::string text() const;         // the message up to its first zero byte
    Bytes first(size_t count) const;  // its first bytes
};

// Lets every EXPECT_EXIT start the program again: its child shares nothing with the tests before. An emulated program
// cannot start itself, there a copy has to do.
void start_death_tests_afresh();

class PhoneTest : public ::testing::Test {
   protected:
    PhoneTest();
    ~PhoneTest() override;

    // Files, by device path. Parents are made as needed.
    std::string host(const std::string& device_path) const;
    void write_file(const std::string& path, std::string_view content);
    std::string read_file_text(const std::string& path) const;  // fails the test when it is not there
    bool exists(const std::string& path) const;
    void make_dir(const std::string& path);
    void make_link(const std::string& path, const std::string& target);  // target as it stands in the link
    void remove(const std::string& path);                                // a file or a whole tree
    unsigned mode_of(const std::string& path) const;

    // A vendor program at a device path: a shell script. Every run appends "<name> <arguments>" to calls().
    void make_tool(const std::string& path, const std::string& body = "");
    std::vector<std::string> calls() const;

    // Library state.
    void set_property(const std::string& name, const std::string& value);
    std::string property(const std::string& name) const;                  // empty when unset
    void set_state(const std::string& name, const std::string& content);  // below .sim/
    std::string state(const std::string& name) const;                     // empty when missing
    std::vector<std::string> power_calls() const;                         // lines of .sim/power
    std::vector<std::string> modem_journal() const;

    // An empty configuration partition (16384 zero bytes) that the store finds.
    void make_cfg_partition();

    // Requests, through the registered tables. No answer: empty.
    Bytes exchange(const Bytes& request);
    // Byte `fill` of a response that no handler wrote (response buffers come poisoned with it).
    static constexpr uint8_t kPoison = 0xA5;
    FtmReply ftm(const std::string& name, const Bytes& args = {});       // extended map
    FtmReply ftm_main(const std::string& name, const Bytes& args = {});  // main map

    // The log since the last clear_log (or the test's start).
    std::vector<LogLine> log() const;
    void clear_log();
    // These lines stand in the log in this order; others may stand between them.
    void expect_log(const std::vector<LogLine>& lines) const;
    // These lines and nothing else.
    void expect_log_only(const std::vector<LogLine>& lines) const;
    bool log_contains(std::string_view text) const;

    // Delays asked for since the start, in microseconds, in order. They return at once.
    std::vector<uint64_t> delays() const;
    // Runs at every delay, on the delaying thread, before it returns: to change the phone while somebody waits.
    void on_delay(std::function<void(uint64_t microseconds)> action);
    // Waits (real time, at most 10 s, else the test fails) until no worker but `remaining` runs.
    void wait_for_workers(unsigned remaining = 0);
    // Waits likewise until a condition holds.
    bool eventually(const std::function<bool()>& condition) const;

    // Runs a part of the test in a process of its own: it leaves process-wide state behind, or expects none.
    void in_a_fresh_process(const std::function<void()>& body);

    HostSettings settings() const;  // in force
    void reconfigure(const HostSettings& settings);

   private:
    struct State;
    State* state_;
};
