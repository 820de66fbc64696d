// Configuration lookup and set against the bare transfers that they stand for: open, lock, read or write 8192 bytes,
// unlock, close.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "bench/ratio.h"
#include "platform/host/host.h"
#include "vendorcfg/vendorcfg.h"

namespace {

constexpr size_t kImageSize = 8192;
constexpr off_t kImageOffset = 4096;
char image[kImageSize];
std::string partition;

void lock(int fd, short type) {
    struct flock whole = {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    (void)fcntl(fd, F_SETLK, &whole);
}

void bare_read() {
    const int fd = open(partition.c_str(), O_RDONLY | O_CLOEXEC);
    lock(fd, F_RDLCK);
    benchmark::DoNotOptimize(pread(fd, image, kImageSize, kImageOffset));
    lock(fd, F_UNLCK);
    (void)close(fd);
}

void bare_write() {
    const int fd = open(partition.c_str(), O_RDWR | O_DSYNC | O_CLOEXEC);
    lock(fd, F_WRLCK);
    benchmark::DoNotOptimize(pwrite(fd, image, kImageSize, kImageOffset));
    lock(fd, F_UNLCK);
    (void)close(fd);
}

void lookup(benchmark::State& state) {
    char value[kCfgValueSize];
    for (auto _ : state) {
        benchmark::DoNotOptimize(cfg_get("serialno", value, "0"));
    }
}
BENCHMARK(lookup)->Apply(repeat_five);

void bare_lookup(benchmark::State& state) {
    for (auto _ : state) {
        bare_read();
    }
}
BENCHMARK(bare_lookup)->Apply(repeat_five);

void set(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(cfg_set("serialno", "A1B2"));
    }
}
BENCHMARK(set)->Apply(repeat_five);

// A set reads the image twice before it writes it.
void bare_set(benchmark::State& state) {
    for (auto _ : state) {
        bare_read();
        bare_read();
        bare_write();
    }
}
BENCHMARK(bare_set)->Apply(repeat_five);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    char root[] = "/tmp/bench-vendorcfg-XXXXXX";
    if (mkdtemp(root) == nullptr) {
        return 1;
    }
    HostSettings settings;
    settings.root = root;
    host_configure(settings);
    partition = std::string(root) + "/dev/block/by-name/orbcfg";
    std::filesystem::create_directories(std::string(root) + "/dev/block/by-name");
    std::ofstream(partition) << std::string(16384, '\0');
    const bool stored = cfg_set("serialno", "A1B2") == 1;
    RatioReporter reporter({{"lookup", "bare_lookup", "at most 1.1"}, {"set", "bare_set", "at most 1.1"}});
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::filesystem::remove_all(root);
    return stored ? 0 : 1;
}
