// A simulated RDSS chip: plays the far end of a simulated phone's UART on a pseudo-terminal. Like the chip it says
// nothing while the phone keeps it without power, and hears no satellite while the antennas are switched away from it.
#include <fcntl.h>
#include <getopt.h>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include "platform/host/program_path.h"

namespace {

constexpr size_t kSentenceMax = 4096;
constexpr const char* kNodes = "/sys/devices/platform/soc/soc:orb_rchip/orb-rchip/";
constexpr const char* kTime = "080910.00";

struct Settings {
    std::string root;
    std::string cn = "41.2";
    std::string cn_new = "38.5";
    std::string checksum = "good";
    long delay_ms = 0;
    long noise = 0;
    long seed = 1;
    long chunk = 0;
    bool echo = false;
    bool silent = false;
    bool wrong = false;
    bool verbose = false;
    bool help = false;
};

Settings settings;
std::minstd_rand noise_source;
volatile sig_atomic_t ended;

// An option and the setting that it changes; one of the three pointers is set.
struct OptionRow {
    const char* name;
    const char* argument;  // null: none
    const char* help;
    std::string* text;
    long* number;
    bool* flag;
};
const OptionRow kOptions[] = {
    {"root", "DIR", "the phone's root (default: $VENDORDIAG_ROOT, else \"device\" beside this program)", &settings.root,
     nullptr, nullptr},
    {"cn", "TEXT", "carrier-to-noise ratio to report (default: 41.2)", &settings.cn, nullptr, nullptr},
    {"cn-new", "TEXT", "the one that the newer request reports (default: 38.5)", &settings.cn_new, nullptr, nullptr},
    {"checksum", "KIND", "good, bad, placeholder (\"hh\") or none (default: good)", &settings.checksum, nullptr,
     nullptr},
    {"delay", "MS", "wait before each answer", nullptr, &settings.delay_ms, nullptr},
    {"noise", "N", "send N bytes of line noise before each sentence", nullptr, &settings.noise, nullptr},
    {"seed", "N", "start value of the noise (default: 1)", nullptr, &settings.seed, nullptr},
    {"chunk", "N", "send N bytes at a time (default: whole sentences)", nullptr, &settings.chunk, nullptr},
    {"echo", nullptr, "send every request back before its answer", nullptr, nullptr, &settings.echo},
    {"silent", nullptr, "never answer", nullptr, nullptr, &settings.silent},
    {"wrong", nullptr, "answer every request negatively", nullptr, nullptr, &settings.wrong},
    {"verbose", nullptr, "print what is received and sent", nullptr, nullptr, &settings.verbose},
    {"help", nullptr, "print this text and exit", nullptr, nullptr, &settings.help},
};
constexpr size_t kOptionCount = sizeof(kOptions) / sizeof(kOptions[0]);
constexpr const char* kChecksums[] = {"good", "bad", "placeholder", "none"};

// What the chip answers to a request that begins with `id`. {cn} and {cn_new} stand for the settings.
struct AnswerRow {
    std::string_view id;
    std::string_view positive;
    std::string_view negative;
};
constexpr AnswerRow kAnswers[] = {
    {"QXDFTSTART", "QXDFTSTART,2,0", "QXDFTSTART,2,1"},
    {"QXDFTSTOP", "QXDFTSTOP,2,0", "QXDFTSTOP,2,1"},
    {"QXDFTCNQ", "QXDFTCNQ,2,{cn}", "QXDFTCNQ,1,0.0"},
    {"CCPWS", "BDPWI,{time},1,1,{cn_new},{cn_new}", "BDPWI,{time},0,0,0.0,0.0"},
    {"CCTCQ", "BDFKI,{time},TCQ,Y,0,60,1", "BDFKI,{time},TCQ,N,2,60,1"},
};

void replace_all(std::string* text, std::string_view what, std::string_view by) {
    for (size_t at = text->find(what); at != std::string::npos; at = text->find(what, at + by.size())) {
        text->replace(at, what.size(), by);
    }
}

bool node_is_on(const char* name) {
    std::ifstream node(settings.root + kNodes + name);
    return node.get() == '1';
}

void say(const char* arrow, std::string_view bytes) {
    if (settings.verbose) {
        const size_t end = bytes.find_last_not_of("\r\n");
        printf("%s %.*s\n", arrow, static_cast<int>(end + 1), bytes.data());
        (void)fflush(stdout);
    }
}

// What nobody takes in time is lost, as on any UART. False when the line is gone.
bool send_bytes(int line, std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t limit = settings.chunk > 0 ? static_cast<size_t>(settings.chunk) : bytes.size();
        const ssize_t sent = write(line, bytes.data(), std::min(bytes.size(), limit));
        if (sent < 0) {
            return errno == EAGAIN;
        }
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

// Anything but the byte that would start a sentence.
std::string line_noise() {
    std::string noise;
    while (noise.size() < static_cast<size_t>(settings.noise)) {
        const auto byte = static_cast<char>(noise_source() >> 8U & 0xFFU);
        noise += byte == '$' ? '#' : byte;
    }
    return noise;
}

std::string with_checksum(const std::string& body) {
    unsigned sum = 0;
    for (const char c : body) {
        sum ^= static_cast<unsigned char>(c);
    }
    char digits[4] = "hh";
    if (settings.checksum == "good" || settings.checksum == "bad") {
        (void)snprintf(digits, sizeof(digits), "%02X", (settings.checksum == "bad" ? ~sum : sum) & 0xFFU);
    }
    return "$" + body + (settings.checksum == "none" ? "" : std::string("*") + digits) + "\r\n";
}

std::string answer_to(const AnswerRow& row) {
    const bool positive = !settings.wrong && node_is_on("bd_gps_sw") && node_is_on("bd_wifi_sw");
    std::string body(positive ? row.positive : row.negative);
    replace_all(&body, "{cn}", settings.cn);
    replace_all(&body, "{cn_new}", settings.cn_new);
    replace_all(&body, "{time}", kTime);
    return with_checksum(body);
}

// Serves one sentence from the phone, "$" to line feed. False when the line is gone.
bool serve(int line, const std::string& request) {
    const std::string_view body = std::string_view(request).substr(1);
    const auto* row =
        std::find_if(std::begin(kAnswers), std::end(kAnswers), [&](auto& r) { return body.starts_with(r.id); });
    if (!node_is_on("power_on")) {
        return true;
    }
    say("<", request);
    if (settings.silent || row == std::end(kAnswers)) {
        return true;
    }
    (void)usleep(static_cast<useconds_t>(settings.delay_ms * 1000));
    if (settings.echo && !send_bytes(line, line_noise() + request)) {
        return false;
    }
    const std::string answer = answer_to(*row);
    say(">", answer);
    return send_bytes(line, line_noise() + answer);
}

// Takes what the phone sends, sentence by sentence. False when the line is gone.
bool take_bytes(int line, std::string_view bytes, std::string* sentence) {
    for (const char c : bytes) {
        if (c == '$' || sentence->size() >= kSentenceMax) {
            sentence->clear();
        }
        if (c == '$' || !sentence->empty()) {
            *sentence += c;
        }
        if (c == '\n' && !sentence->empty()) {
            if (!serve(line, *sentence)) {
                return false;
            }
            sentence->clear();
        }
    }
    return true;
}

// Serves the line until a signal ends it; `waiting` is the signal mask while it waits. Returns the exit status.
int run(int line, const sigset_t& waiting) {
    std::string sentence;
    while (ended == 0) {
        pollfd input = {line, POLLIN, 0};
        if (ppoll(&input, 1, nullptr, &waiting) < 0) {
            continue;
        }
        char bytes[512];
        const ssize_t count = read(line, bytes, sizeof(bytes));
        if (count <= 0 || !take_bytes(line, {bytes, static_cast<size_t>(count)}, &sentence)) {
            perror("rdss-chip: line");
            return 1;
        }
    }
    return 0;
}

void print_help() {
    printf(
        "Usage: rdss-chip [OPTION]...\n"
        "Plays the RDSS chip of a simulated phone: opens a pseudo-terminal, links it as\n"
        "dev/ttyHS1 below the phone's root and answers the chip test until it is ended.\n\n");
    for (const OptionRow& row : kOptions) {
        const std::string head =
            std::string(row.name) + (row.argument != nullptr ? std::string(" ") + row.argument : "");
        printf("  --%-15s %s\n", head.c_str(), row.help);
    }
}

bool take_number(const OptionRow& row, const char* text) {
    char* end = nullptr;
    *row.number = strtol(text, &end, 10);
    if (end == text || *end != '\0' || *row.number < 0 || *row.number > 1000000) {
        (void)fprintf(stderr, "rdss-chip: --%s: not a number from 0 to 1000000: %s\n", row.name, text);
        return false;
    }
    return true;
}

bool take_option(const OptionRow& row, const char* argument) {
    if (row.number != nullptr) {
        return take_number(row, argument);
    }
    if (row.flag != nullptr) {
        *row.flag = true;
    } else {
        *row.text = argument;
    }
    return true;
}

bool parse_options(int argc, char** argv) {
    option options[kOptionCount + 1] = {};
    std::transform(std::begin(kOptions), std::end(kOptions), options, [](const OptionRow& row) {
        return option{row.name, row.argument != nullptr ? required_argument : no_argument, nullptr, 0};
    });
    int index = 0;
    for (int found = 0; (found = getopt_long(argc, argv, "", options, &index)) != -1;) {
        if (found != 0 || !take_option(kOptions[index], optarg)) {
            return false;
        }
    }
    if (optind < argc) {
        (void)fprintf(stderr, "rdss-chip: unexpected argument: %s\n", argv[optind]);
        return false;
    }
    if (std::find(std::begin(kChecksums), std::end(kChecksums), settings.checksum) == std::end(kChecksums)) {
        (void)fprintf(stderr, "rdss-chip: --checksum: good, bad, placeholder or none: %s\n", settings.checksum.c_str());
        return false;
    }
    return true;
}

std::string default_root() {
    if (const char* root = getenv("VENDORDIAG_ROOT"); root != nullptr && *root != '\0') {
        return root;
    }
    return beside_program("device");
}

// A new pseudo-terminal in raw mode. Its slave side stays open in `*slave`, so that the line outlives every opening by
// the phone. Returns the master side, or -1.
int open_line(int* slave, std::string* name) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    char path[128] = "";
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 || ptsname_r(master, path, sizeof(path)) != 0) {
        return -1;
    }
    *name = path;
    *slave = open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw = {};
    if (*slave < 0 || tcgetattr(*slave, &raw) != 0) {
        return -1;
    }
    cfmakeraw(&raw);
    return tcsetattr(*slave, TCSANOW, &raw) == 0 ? master : -1;
}

// Puts the link in place in one step, whatever stood there.
bool link_line(const std::string& target, const std::string& link) {
    const std::string beside = link + "." + std::to_string(getpid());
    (void)mkdir(link.substr(0, link.rfind('/')).c_str(), 0755);
    return symlink(target.c_str(), beside.c_str()) == 0 && rename(beside.c_str(), link.c_str()) == 0;
}

void unlink_line(const std::string& target, const std::string& link) {
    char current[128] = "";
    if (readlink(link.c_str(), current, sizeof(current) - 1) > 0 && target == current) {
        (void)unlink(link.c_str());
    }
}

void end_at_signal(int) { ended = 1; }

}  // namespace

int main(int argc, char** argv) {
    if (!parse_options(argc, argv)) {
        return 2;
    }
    if (settings.help) {
        print_help();
        return 0;
    }
    if (settings.root.empty()) {
        settings.root = default_root();
    }
    noise_source.seed(static_cast<unsigned>(settings.seed));
    struct sigaction action = {};
    action.sa_handler = end_at_signal;
    sigset_t ending;
    sigset_t waiting;
    (void)sigemptyset(&ending);
    for (const int number : {SIGINT, SIGTERM}) {
        (void)sigaction(number, &action, nullptr);
        (void)sigaddset(&ending, number);
    }
    (void)sigprocmask(SIG_BLOCK, &ending, &waiting);

    int slave = -1;
    std::string name;
    const int line = open_line(&slave, &name);
    const std::string link = settings.root + "/dev/ttyHS1";
    if (line < 0 || !link_line(name, link)) {
        (void)fprintf(stderr, "rdss-chip: %s: %s\n", link.c_str(), strerror(errno));
        return 1;
    }
    printf("rdss-chip: %s -> %s\n", link.c_str(), name.c_str());
    (void)fflush(stdout);
    const int status = run(line, waiting);
    unlink_line(name, link);
    (void)close(line);
    (void)close(slave);
    return status;
}
