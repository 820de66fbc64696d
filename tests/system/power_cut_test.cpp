// Every command that stores something, with the power cut at every moment and every state of the disk that the cut may
// leave, and with every call failing: until the answer each store holds the old content or the new one, whole; from an
// answer of success on the new one.
#include <cerrno>
#include <filesystem>
#include <new>

#include "tests/support/disk.h"
#include "tests/support/faults.h"
#include "tests/support/phone.h"

namespace fs = std::filesystem;

namespace {

Bytes record(const char* name, const std::string& value) { return text_bytes(name) + Bytes{0} + counted(value); }
Bytes with_text(const char* name, const std::string& text) { return ftm_packet(kExtended, name, text_bytes(text)); }

// One command that stores a text of six or more characters, or, without looking at it, removes what is stored.
struct Store {
    const char* name;
    Bytes (*write)(const std::string& text);
    bool removes = false;
    bool silent = false;  // its answer does not tell of a failed write
};
const Store kGenerated = {"signing request", [](const std::string&) { return with_text("GenCSR", ""); }};
const Store kStores[] = {
    {"information store", [](const std::string& text) { return info_packet(4, counted("color") + counted(text), 1); }},
    {"information store erased", [](const std::string&) { return info_packet(4, {}, 0); }, true},
    {"configuration record",
     [](const std::string& text) { return ftm_packet(kExtended, "WriteVC", record("cut", text)); }, false, true},
    {"configuration record of the other area",
     [](const std::string& text) { return ftm_packet(kExtended, "WriteVC", record("auth_type", text)); }, false, true},
    {"Wi-Fi address", [](const std::string& text) { return with_text("WriteWifimac", text); }},
    {"Bluetooth address", [](const std::string& text) { return with_text("WriteBTmac", text); }},
    {"OMA-DM record", [](const std::string& text) { return with_text("WriteOMADM", text); }},
    {"country code", [](const std::string& text) { return with_text("WriteCountryCode", text); }},
    {"LCD current", [](const std::string& text) { return with_text("WriteLcdCurrent", text); }},
    {"fan light", [](const std::string& text) { return ftm_packet(kMain, "openfanlight", text_bytes(text)); }, false,
     true},
    {"board number", [](const std::string& text) { return ftm_packet(kMain, "StoreBoardNum", text_bytes(text)); }},
    {"Widevine keybox",
     [](const std::string& text) { return ftm_packet(kMain, "InstallWidevineKey", Bytes{1} + text_bytes(text)); }},
    kGenerated,
    {"signing request cleared", [](const std::string&) { return with_text("ClearCSRData", ""); }, true}};

class PowerCut : public PhoneTest {
   protected:
    PowerCut() {
        for (const char* dir : {"/persist/omadm", "/persist/keybox", "/mnt/vendor/persist/keybox", "/cache"}) {
            make_dir(dir);
        }
        make_cfg_partition();
        write_file("/etc/passwd", "bluetooth:x:1002:1002::/:\n");
        write_file("/etc/group", "bluetooth:x:1002:\n");
        make_tool("/vendor/bin/rkp_factory_extraction_tool", "cat \"$VENDORDIAG_ROOT/.sim/csr\"");
        make_tool("/vendor/bin/StoreKeybox", "echo succeeds!");
        root_ = fs::canonical(host("")).string();
        (void)exchange(ftm_packet(kExtended, "WriteVC", record("serialno", "that nobody writes again")));
    }

    Bytes write(const Store& store, const std::string& text) {
        set_state("csr", text);
        return exchange(store.write(text));
    }

    // What every reader finds, one line each.
    std::vector<std::string> contents() {
        std::vector<std::string> all;
        all.push_back(to_hex(exchange(info_packet(3, counted("color") + counted("operator"), 2))));
        for (const char* name : {"cut", "auth_type", "fanlight", "serialno"}) {
            all.push_back(to_hex(ftm("ReadVC", record(name, "")).first(64)));
        }
        for (const char* name :
             {"ReadWifimac", "ReadBTmac", "ReadOMADM", "ReadCountryCode", "ReadLcdCurrent", "GetCSR"}) {
            all.push_back(to_hex(ftm(name).first(64)));
        }
        for (const char* path : {"/cache/board_number", "/persist/fan_light", "/persist/keybox/widevine_keybox.bin"}) {
            all.push_back(exists(path) ? read_file_text(path) : "none");
        }
        return all;
    }

    void put_on_disk(const DiskImage& image) {
        for (const auto& [name, content] : files_below(root_)) {
            if (!image.contains(name)) {
                fs::remove(name);
            }
        }
        for (const auto& [name, content] : image) {
            write_file(name.substr(root_.size()), content);
        }
    }

    // One command, cut everywhere. `before` is what is stored before it.
    void cut_everywhere(const std::function<Bytes()>& command) {
        const std::vector<std::string> before = contents();
        const DiskRecord disk(root_);
        const Bytes answer = command();
        ASSERT_GE(answer.size(), 5U);
        ASSERT_EQ(answer[4], 0) << to_hex(answer);
        const size_t steps = disk.steps();
        ASSERT_GT(steps, 0U);
        const std::vector<std::string> after = contents();
        ASSERT_NE(before, after);
        for (size_t i = 0; i <= steps && !HasFailure(); ++i) {
            for (const DiskImage& image : disk.states(i)) {
                put_on_disk(image);
                const std::vector<std::string> found = contents();
                for (size_t k = 0; k < found.size(); ++k) {
                    EXPECT_TRUE(found[k] == after[k] || (i < steps && found[k] == before[k]))
                        << "cut behind step " << i << " of " << steps << "\n  found  " << found[k] << "\n  before "
                        << before[k] << "\n  after  " << after[k];
                }
            }
        }
    }
    std::string root_;
};

TEST_F(PowerCut, LeavesTheOldOrTheNewContentWhole) {
    for (const Store& store : kStores) {
        SCOPED_TRACE(store.name);
        cut_everywhere([&] { return write(store, "444444"); });
        if (!store.removes) {
            cut_everywhere([&] { return write(store, "2222222"); });
        }
    }
}

TEST_F(PowerCut, OfOneCallLeavesTheOldOrTheNewContentWhole) {
    struct {
        Call call;
        int error;  // 0: one byte is moved
    } const faults[] = {
        {Call::kOpen, EMFILE},   {Call::kRead, EIO},    {Call::kRead, 0},        {Call::kRead, EINTR},
        {Call::kWrite, ENOSPC},  {Call::kWrite, 0},     {Call::kWrite, EINTR},   {Call::kPread, EIO},
        {Call::kPread, 0},       {Call::kPread, EINTR}, {Call::kPwrite, ENOSPC}, {Call::kPwrite, EINTR},
        {Call::kFcntl, EAGAIN},  {Call::kFsync, EIO},   {Call::kClose, EIO},     {Call::kAccess, EACCES},
        {Call::kStat, EACCES},   {Call::kRename, EIO},  {Call::kUnlink, EACCES}, {Call::kSpawn, EAGAIN},
        {Call::kMalloc, ENOMEM}, {Call::kNew, ENOMEM}};
    for (const Store& store : kStores) {
        (void)write(store, store.removes ? "" : "444444");
        if (store.removes) {
            (void)write((&store)[-1], "444444");
        }
        const DiskImage old = files_below(root_);
        const std::vector<std::string> before = contents();
        (void)write(store, "2222222");
        const std::vector<std::string> after = contents();
        for (const auto& fault : faults) {
            bool hit = true;
            for (unsigned nth = 1; hit && !HasFailure(); nth += 1 + (fault.call == Call::kNew ? nth / 8 : 0)) {
                SCOPED_TRACE(std::string(store.name) + ": call " + std::to_string(static_cast<int>(fault.call)) +
                             " error " + std::to_string(fault.error) + " number " + std::to_string(nth));
                put_on_disk(old);
                int status = -1;
                {
                    Faults planned;
                    fault.error != 0 ? planned.fail(fault.call, nth, fault.error) : planned.shorten(fault.call, nth, 1);
                    try {
                        const Bytes answer = write(store, "2222222");
                        status = answer.size() > 4 && answer[0] == 75 ? answer[4] : -1;
                    } catch (const std::bad_alloc&) {  // the test's own memory
                    }
                    hit = planned.count(fault.call) >= nth;
                }
                EXPECT_TRUE(fault.error != EINTR || status == 0) << status;
                if (status == 1 && store.write == kGenerated.write && !exists("/mnt/vendor/persist/keybox/csr.json")) {
                    continue;  // told: a tool of which nothing arrives takes the old request away
                }
                const std::vector<std::string> found = contents();
                for (size_t k = 0; k < found.size(); ++k) {
                    EXPECT_TRUE(found[k] == after[k] || (found[k] == before[k] && (status != 0 || store.silent)))
                        << "status " << status << "\n  found  " << found[k] << "\n  before " << before[k]
                        << "\n  after  " << after[k];
                }
            }
        }
    }
}

// The transfer itself goes into the file in place: only its end promises anything.
TEST_F(PowerCut, LeavesAKeyboxWholeThatWasTransferred) {
    const std::string file = root_ + "/mnt/vendor/persist/keybox/keybox.xml";
    const DiskRecord disk(root_);
    const Bytes handle = exchange(hex("4b fd 18 00 01 00 00 00"));
    ASSERT_EQ(handle.size(), 12U);
    const Bytes fd(handle.begin() + 4, handle.begin() + 8);
    EXPECT_EQ(exchange(hex("4b fd 1a 00") + fd + hex("00 00 00 00") + text_bytes("<key")).at(16), 0);
    EXPECT_EQ(exchange(hex("4b fd 1a 00") + fd + hex("04 00 00 00") + text_bytes("box/>")).at(16), 0);
    EXPECT_EQ(exchange(hex("4b fd 19 00") + fd).at(4), 0);
    for (const DiskImage& image : disk.states(disk.steps())) {
        EXPECT_EQ(image.contains(file) ? image.at(file) : "none", "<keybox/>");
    }
}

}  // namespace
