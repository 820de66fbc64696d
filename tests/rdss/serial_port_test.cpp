#include "rdss/serial_port.h"

#include <chrono>
#include <tuple>

#include "tests/rdss/uart.h"

namespace {

constexpr SerialOptions kRaw = {115200, 8, 'N', 1, 0, 0, 0};

SerialOptions with(const std::function<void(SerialOptions&)>& change) {
    SerialOptions options = kRaw;
    change(options);
    return options;
}

TEST_F(UartTest, SupportedOptionsSetTheirFlags) {
    struct Case {
        SerialOptions options;
        tcflag_t control;  // what is left of the flags set before
        tcflag_t input;
        speed_t speed;
    };
    const Case cases[] = {
        {kRaw, CS8 | PARODD, 0, B115200},
        {with([](auto& o) { o.baud = 2400, o.data_bits = 5; }), CS5 | PARODD, 0, B2400},
        {with([](auto& o) { o.baud = 3000000, o.data_bits = 6; }), CS6 | PARODD, 0, B3000000},
        {with([](auto& o) { o.data_bits = 7, o.stop_bits = 2; }), CS7 | PARODD | CSTOPB, 0, B115200},
        {with([](auto& o) { o.parity = 'E'; }), CS8 | PARENB, INPCK, B115200},
        {with([](auto& o) { o.parity = 'e'; }), CS8 | PARENB, INPCK, B115200},
        {with([](auto& o) { o.parity = 'o'; }), CS8 | PARENB | PARODD, INPCK, B115200},
        {with([](auto& o) { o.parity = 'S'; }), CS8 | PARODD, INPCK, B115200},
        {with([](auto& o) { o.flow = 1; }), CS8 | PARODD | CRTSCTS, 0, B115200},
        {with([](auto& o) { o.flow = 2; }), CS8 | PARODD | IXON, 0, B115200},  // among the control flags
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        struct termios settings = {};
        settings.c_iflag = INPCK | ICRNL;
        settings.c_cflag = PARENB | PARODD | CSTOPB;
        ASSERT_TRUE(apply_serial_options(c.options, &settings));
        EXPECT_EQ(c.control, settings.c_cflag & ~tcflag_t{CLOCAL | CREAD | CBAUD});
        EXPECT_EQ(static_cast<tcflag_t>(CLOCAL | CREAD), settings.c_cflag & (CLOCAL | CREAD));
        EXPECT_EQ(c.input, settings.c_iflag);
        EXPECT_EQ(c.speed, cfgetispeed(&settings));
        EXPECT_EQ(c.speed, cfgetospeed(&settings));
    }
}

TEST_F(UartTest, UnsupportedOptionsAreRefusedWithOneLine) {
    const std::pair<SerialOptions, const char*> cases[] = {
        {with([](auto& o) { o.baud = 57600; }), "[set_serial_opt #]Unsupported baud: 57600"},
        {with([](auto& o) { o.data_bits = 9; }), "[set_serial_opt #]Unsupported data size"},
        {with([](auto& o) { o.parity = 'X'; }), "[set_serial_opt #]Unsupported parity"},
        {with([](auto& o) { o.stop_bits = 3; }), "[set_serial_opt #]Unsupported stop bits: 3"},
        {with([](auto& o) { o.flow = 3, o.baud = 1; }), "[set_serial_opt #]Unsupported flow ctrl"}};
    for (const auto& [options, line] : cases) {
        clear_log();
        struct termios settings = {};
        EXPECT_FALSE(apply_serial_options(options, &settings));
        EXPECT_EQ(std::vector{E(line)}, log_without_source_lines());
    }
}

TEST_F(UartTest, OpenPortIsARawBlockingLineThatDoesNotSuspend) {
    chip_says("stale");
    const int fd = open_ser_com(kRdssUart, kRdssBaud);
    ASSERT_GE(fd, 0);
    struct termios settings = {};
    ASSERT_EQ(0, tcgetattr(fd, &settings));
    EXPECT_EQ(B115200, cfgetospeed(&settings));
    EXPECT_EQ(0U, settings.c_lflag & (ICANON | ECHO | ISIG));
    EXPECT_EQ(0, settings.c_cc[VMIN]);
    EXPECT_EQ(0, fcntl(fd, F_GETFL) & O_NONBLOCK);
    EXPECT_EQ("-1", read_file_text(kAutosuspend));
    char stale = 0;
    EXPECT_EQ(0, port_recv(&stale, 1, 20));
    clear_log();
    EXPECT_EQ(0, close_ser_com());
    EXPECT_EQ(std::vector({D("success to set autosuspend_delay: 2000"), D("close ser success")}), log());
    EXPECT_EQ("2000", read_file_text(kAutosuspend));
    EXPECT_EQ(-1, fcntl(fd, F_GETFD));
}

TEST_F(UartTest, HundredOpeningsHoldOneDescriptor) {
    ASSERT_GE(open_ser_com(kRdssUart, kRdssBaud), 0);
    const size_t before = open_descriptors();
    for (int i = 0; i < 100; i++) {
        ASSERT_GE(open_ser_com(kRdssUart, kRdssBaud), 0);
    }
    EXPECT_EQ(before, open_descriptors());
    EXPECT_EQ(-1, serial_port.saved_autosuspend);  // the value that the opening before had set
    EXPECT_EQ(0, close_ser_com());
    EXPECT_EQ("-1", read_file_text(kAutosuspend));
}

TEST_F(UartTest, PortThatCannotBeUsedIsNotKept) {
    const size_t before = open_descriptors();
    EXPECT_EQ(-1, open_ser_com("/dev/none", kRdssBaud));
    expect_in_order({E("[open_ser_com #]open: /dev/none failed, err_no: 2")});
    EXPECT_EQ(-1, open_ser_com(kRdssUart, 57600));
    EXPECT_TRUE(log_contains("]failed to change baud: 57600, err_no: "));
    EXPECT_EQ(-1, serial_port.fd);
    EXPECT_EQ("-1", read_file_text(kAutosuspend));
    EXPECT_EQ(before, open_descriptors());
}

TEST_F(UartTest, AutosuspendNodeIsReadAsANumber) {
    const std::tuple<const char*, int, LogLine> cases[] = {
        {"2000\n", 2000, D("success to get autosuspend_delay: 2000")},
        {"", 0, E("failed to get autosuspend_delay")},
        {"0000000000000012345", 12, D("success to get autosuspend_delay: 0000000000000012")}};
    for (const auto& [content, delay, line] : cases) {
        clear_log();
        write_file(kAutosuspend, content);
        EXPECT_EQ(delay, uart_get_autosuspend_delay());
        EXPECT_EQ(std::vector{line}, log());
    }
    remove(kAutosuspend);
    EXPECT_EQ(-1, uart_get_autosuspend_delay());
    expect_in_order({E("[uart_get_autosuspend_delay #]open: " + std::string(kAutosuspend) + " failed, err_no: 2")});
}

TEST_F(UartTest, ReceivingEndsAtTheWantedCountOrTheCountedTime) {
    char bytes[8] = {};
    EXPECT_EQ(-1, port_recv(bytes, 8, 20));
    EXPECT_TRUE(log().empty());
    ASSERT_GE(open_ser_com(kRdssUart, kRdssBaud), 0);
    chip_says("0123456789");
    EXPECT_EQ(8, port_recv(bytes, 8, 1000));
    EXPECT_EQ("01234567", std::string(bytes, 8));
    EXPECT_EQ(0, port_recv(bytes, 8, 0));
    EXPECT_EQ(2, port_recv(bytes, 8, 20));
    const auto start = std::chrono::steady_clock::now();
    clear_log();
    EXPECT_EQ(0, port_recv(bytes, 8, 101));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
    EXPECT_EQ(std::vector{D("[port_recv #]nn=0")}, log_without_source_lines());
    hang_up();
    EXPECT_LE(port_recv(bytes, 8, 200), 0);
    EXPECT_EQ(-1, port_send("x", 1));
}

// What the chip hears behind a sentence: the chip of the cases answers whatever stands there.
TEST_F(UartTest, SentencesArePaddedWithZerosAndAStartForgetsWhatTheChipSaid) {
    for (const char* node : {"power_on", "bd_gps_sw", "bd_wifi_sw"}) {
        write_file(std::string("/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/") + node, "0");
    }
    EXPECT_EQ(0, ftm("startrchiptest").status);
    EXPECT_EQ(std::string(1, '\0'), chip_hears());
    on_delay([this](uint64_t) { chip_says("$BDPWI,1,1,1,30.1,38.5*hh\r\n"); });
    EXPECT_EQ("38.5", ftm("sendRchipNEWCN").text());
    on_delay([this](uint64_t) { chip_says("$BDFKI,1,TCQ,Y,0,60,1*hh\r\n"); });  // any positive answer counts
    EXPECT_EQ(0, ftm("startrchiptest").status);
    for (const auto& [command, text, padding] : {std::tuple{"stopRchiptest", "$QXDFTSTOP,01*hh\r\n", 14},
                                                 {"sendRchipCN", "$QXDFTCNQ,01*hh\r\n", 15},
                                                 {"sendRchipNEWCN", "$CCPWS,64,3,10*hh\r\n", 13},
                                                 {"sendrchipCCTCQ", "开心,1*hh\r\n", 36}}) {
        EXPECT_EQ("", ftm(command).text()) << command;
        const std::string end = text + std::string(static_cast<size_t>(padding), '\0');
        std::string heard;
        EXPECT_TRUE(eventually([&] { return (heard += chip_hears()).ends_with(end); })) << command;
    }
}

}  // namespace
