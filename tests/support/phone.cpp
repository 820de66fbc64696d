#include "tests/support/phone.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "daemon/registration.h"
#include "platform/host/hdlc.h"
#include "support/worker.h"

namespace fs = std::filesystem;

namespace {
constexpr uint8_t kFtmSubsystem = 11;
constexpr size_t kFtmMessageOffset = 5;
constexpr size_t kCfgPartitionSize = 16384;
constexpr auto kPatience = std::chrono::seconds(10);

// What the platform reports of a test. Workers that outlive their test keep writing here.
struct Record {
    std::mutex mutex;
    std::vector<LogLine> log;
    std::vector<uint64_t> delays;
    std::function<void(uint64_t)> on_delay;
};

std::string without_line_ends(std::string text) {
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

std::string make_root() {
    std::string root = (fs::temp_directory_path() / "vendordiag-test-XXXXXX").string();
    if (mkdtemp(root.data()) == nullptr) {
        throw std::runtime_error("no temporary directory " + root);
    }
    fs::create_directories(root + "/.sim");
    return root;
}

HostSettings phone_settings(const std::string& root, const std::shared_ptr<Record>& record) {
    HostSettings settings;
    settings.root = root;
    settings.listen = {"unix:" + root + "/.sim/diag"};
    settings.time_scale = 0;
    settings.power_exits = false;
    settings.response_fill = 0xA5;
    settings.log_sink = [record](const HostLogRecord& line) {
        const std::scoped_lock lock(record->mutex);
        record->log.push_back({line.priority, without_line_ends(line.text)});
    };
    settings.sleep_sink = [record](uint64_t micros) {
        std::function<void(uint64_t)> action;
        {
            const std::scoped_lock lock(record->mutex);
            record->delays.push_back(micros);
            action = record->on_delay;
        }
        if (action) {
            action(micros);
        }
        std::this_thread::yield();  // a poll without a pause must not starve the others
    };
    return settings;
}

// Registers every table, once per process, on a phone of its own: the start-up's publishing leaves no trace in a test.
void register_tables() {
    static const bool done = [] {
        const std::string root = make_root();
        host_configure(phone_settings(root, std::make_shared<Record>()));
        register_commands();
        fs::remove_all(root);
        return true;
    }();
    (void)done;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::optional<std::string> file_content(const std::string& host_file) {
    std::ifstream in(host_file, std::ios::binary);
    if (!in || fs::is_directory(host_file)) {
        return std::nullopt;
    }
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::string show(const std::vector<LogLine>& lines, size_t marked) {
    std::ostringstream out;
    for (size_t i = 0; i < lines.size(); ++i) {
        out << (i == marked ? "  -> " : "     ") << ::testing::PrintToString(lines[i]) << "\n";
    }
    return out.str();
}

FtmReply ftm_exchange(const Bytes& request) {
    const auto response = host_diag_serve(request);
    if (!response || response->size() < kFtmMessageOffset) {
        return {};
    }
    return {(*response)[kFtmMessageOffset - 1], Bytes(response->begin() + kFtmMessageOffset, response->end())};
}
}  // namespace

Bytes text_bytes(std::string_view text) { return {text.begin(), text.end()}; }

Bytes hex(std::string_view digits) {
    std::string plain;
    std::copy_if(digits.begin(), digits.end(), std::back_inserter(plain), [](char c) { return c != ' '; });
    Bytes bytes;
    for (size_t i = 0; i + 1 < plain.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(plain.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string to_hex(const Bytes& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        text.append(text.empty() ? "" : " ").append({kDigits[byte >> 4], kDigits[byte & 15]});
    }
    return text;
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes counted(const std::string& text) { return Bytes{static_cast<uint8_t>(text.size())} + text_bytes(text); }

Bytes ftm_packet(uint16_t command, const std::string& name, const Bytes& args) {
    return Bytes{75, kFtmSubsystem, static_cast<uint8_t>(command), static_cast<uint8_t>(command >> 8)} +
           text_bytes(name) + Bytes{0} + args;
}

Bytes info_packet(uint8_t command, const Bytes& groups, uint8_t count) {
    return Bytes{75, 253, command, 0, static_cast<uint8_t>(10 + groups.size()), 0, 0, 0, count, 0} + groups;
}

Bytes framed(const Bytes& packet) {
    Bytes frame;
    hdlc_encode(packet.data(), packet.size(), &frame);
    return frame;
}

std::string unframed(const Bytes& frame) {
    HdlcDecoder decoder;
    HdlcEvent event = HdlcEvent::kNone;
    hdlc_decode(&decoder, frame.data(), frame.size(), &event);
    size_t size = 0;
    const uint8_t* const packet = hdlc_packet(decoder, &size);
    return event == HdlcEvent::kPacket ? to_hex(Bytes(packet, packet + size)) : hdlc_event_text(event);
}

void PrintTo(const LogLine& line, std::ostream* out) {
    constexpr std::string_view kLetters = "??VDIWEF";
    *out << kLetters[static_cast<size_t>(line.priority) % kLetters.size()] << " \"" << line.text << '"';
}

std::string FtmReply::text() const { return {message.begin(), std::find(message.begin(), message.end(), 0)}; }

Bytes FtmReply::first(size_t count) const {
    return {message.begin(), message.begin() + static_cast<std::ptrdiff_t>(std::min(count, message.size()))};
}

struct PhoneTest::State {
    std::string root;
    std::shared_ptr<Record> record = std::make_shared<Record>();
};

PhoneTest::PhoneTest() : state_(new State) {
    register_tables();
    state_->root = make_root();
    host_configure(phone_settings(state_->root, state_->record));
}

PhoneTest::~PhoneTest() {
    on_delay(nullptr);
    std::error_code ignored;  // a worker may still be writing there
    fs::remove_all(state_->root, ignored);
    delete state_;
}

std::string PhoneTest::host(const std::string& device_path) const { return state_->root + "/" + device_path; }

void PhoneTest::write_file(const std::string& path, std::string_view content) {
    fs::create_directories(fs::path(host(path)).parent_path());
    std::ofstream out(host(path), std::ios::binary);
    out << content;
    out.close();
    ASSERT_TRUE(out.good()) << path;
}

std::string PhoneTest::read_file_text(const std::string& path) const {
    const auto content = file_content(host(path));
    EXPECT_TRUE(content.has_value()) << path << " cannot be read";
    return content.value_or("");
}

bool PhoneTest::exists(const std::string& path) const {
    struct stat st {};
    return lstat(host(path).c_str(), &st) == 0;
}

void PhoneTest::make_dir(const std::string& path) { fs::create_directories(host(path)); }

void PhoneTest::make_link(const std::string& path, const std::string& target) {
    fs::create_directories(fs::path(host(path)).parent_path());
    fs::remove(host(path));
    fs::create_symlink(target, host(path));
}

void PhoneTest::remove(const std::string& path) { fs::remove_all(host(path)); }

unsigned PhoneTest::mode_of(const std::string& path) const {
    struct stat st {};
    EXPECT_EQ(lstat(host(path).c_str(), &st), 0) << path;
    return st.st_mode & 07777U;
}

void PhoneTest::make_tool(const std::string& path, const std::string& body) {
    const std::string name = fs::path(path).filename();
    write_file(path, "#!/bin/sh\nprintf '%s\\n' \"" + name + "${*:+ $*}\" >>\"$VENDORDIAG_ROOT/.sim/tool-calls\"\n" +
                         body + "\n");
    fs::permissions(host(path), fs::perms(0755));
}

std::vector<std::string> PhoneTest::calls() const {
    std::string text = file_content(state_->root + "/.sim/tool-calls").value_or("");
    for (size_t at = 0; (at = text.find(state_->root + "/", at)) != std::string::npos;) {
        text.erase(at, state_->root.size());  // the arguments as the daemon gave them
    }
    return lines_of(text);
}

void PhoneTest::set_property(const std::string& name, const std::string& value) {
    set_state("properties/" + name, value);
}
std::string PhoneTest::property(const std::string& name) const { return state("properties/" + name); }

void PhoneTest::set_state(const std::string& name, const std::string& content) { write_file("/.sim/" + name, content); }

std::string PhoneTest::state(const std::string& name) const {
    return file_content(state_->root + "/.sim/" + name).value_or("");
}

std::vector<std::string> PhoneTest::power_calls() const { return lines_of(state("power")); }
std::vector<std::string> PhoneTest::modem_journal() const { return lines_of(state("modem/journal")); }

void PhoneTest::make_cfg_partition() { write_file("/dev/block/by-name/orbcfg", std::string(kCfgPartitionSize, '\0')); }

Bytes PhoneTest::exchange(const Bytes& request) { return host_diag_serve(request).value_or(Bytes{}); }

void start_death_tests_afresh() {
#ifndef VENDORDIAG_EMULATED
    GTEST_FLAG_SET(death_test_style, "threadsafe");
#endif
}

void PhoneTest::in_a_fresh_process(const std::function<void()>& body) {
    start_death_tests_afresh();
    const auto whole = [&] {
        body();
        remove("");
        exit(HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(whole(), ::testing::ExitedWithCode(0), "");
}

FtmReply PhoneTest::ftm(const std::string& name, const Bytes& args) {
    return ftm_exchange(ftm_packet(kExtended, name, args));
}
FtmReply PhoneTest::ftm_main(const std::string& name, const Bytes& args) {
    return ftm_exchange(ftm_packet(kMain, name, args));
}

std::vector<LogLine> PhoneTest::log() const {
    const std::scoped_lock lock(state_->record->mutex);
    return state_->record->log;
}

void PhoneTest::clear_log() {
    const std::scoped_lock lock(state_->record->mutex);
    state_->record->log.clear();
}

void PhoneTest::expect_log(const std::vector<LogLine>& lines) const {
    const std::vector<LogLine> written = log();
    auto from = written.begin();
    for (size_t i = 0; i < lines.size(); ++i) {
        const auto found = std::find(from, written.end(), lines[i]);
        if (found == written.end()) {
            ADD_FAILURE() << "not in the log (in this order):\n"
                          << show(lines, i) << "the log:\n"
                          << show(written, ~0U);
            return;
        }
        from = found + 1;
    }
}

void PhoneTest::expect_log_only(const std::vector<LogLine>& lines) const {
    const std::vector<LogLine> written = log();
    if (written == lines) {
        return;
    }
    const auto differs = std::mismatch(lines.begin(), lines.end(), written.begin(), written.end());
    const auto at = static_cast<size_t>(differs.first - lines.begin());
    ADD_FAILURE() << "expected log:\n" << show(lines, at) << "the log:\n" << show(written, at);
}

bool PhoneTest::log_contains(std::string_view text) const {
    const std::vector<LogLine> written = log();
    return std::any_of(written.begin(), written.end(),
                       [&](const LogLine& line) { return line.text.find(text) != std::string::npos; });
}

std::vector<uint64_t> PhoneTest::delays() const {
    const std::scoped_lock lock(state_->record->mutex);
    return state_->record->delays;
}

void PhoneTest::on_delay(std::function<void(uint64_t microseconds)> action) {
    const std::scoped_lock lock(state_->record->mutex);
    state_->record->on_delay = std::move(action);
}

void PhoneTest::wait_for_workers(unsigned remaining) {
    EXPECT_TRUE(eventually([remaining] { return workers_running() <= remaining; }))
        << workers_running() << " workers still run";
}

bool PhoneTest::eventually(const std::function<bool()>& condition) const {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

HostSettings PhoneTest::settings() const { return host_settings(); }
void PhoneTest::reconfigure(const HostSettings& settings) { host_configure(settings); }
